// A Wayland client for the tests: input through wlroots' virtual-pointer
// interface or KWin's fake input (which KWin gives with
// KWIN_WAYLAND_NO_PERMISSION_CHECKS=1, to clients of its own user), and a
// window that holds idleness back.
//   wl_tool move DX DY          relative motion
//   wl_tool press               a left click where the pointer stands
//   wl_tool click X Y W H       to (X, Y) of a W x H layout, then a left click
//   wl_tool key CODE            a key pressed and released (fake input only)
//   wl_tool window              a white window with an idle inhibitor, until
//                               killed; it tells each key it gets on stderr
// Exit 0 once the compositor has the events, 1 when it has no such interface.
#include <sys/mman.h>
#include <unistd.h>
#include <wayland-client.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "fake-input-client-protocol.h"
#include "idle-inhibit-unstable-v1-client-protocol.h"
#include "virtual-pointer-client-protocol.h"
#include "xdg-shell-client-protocol.h"

namespace {

constexpr std::uint32_t kLeftButton = 0x110;  // BTN_LEFT

struct Globals {
  wl_seat* seat = nullptr;
  zwlr_virtual_pointer_manager_v1* manager = nullptr;
  org_kde_kwin_fake_input* fake = nullptr;
  wl_compositor* compositor = nullptr;
  wl_shm* shm = nullptr;
  xdg_wm_base* wmBase = nullptr;
  zwp_idle_inhibit_manager_v1* inhibitor = nullptr;
};

template <typename T>
void take(T*& to, wl_registry* registry, std::uint32_t name, const wl_interface* interface,
          std::uint32_t version) {
  to = static_cast<T*>(wl_registry_bind(registry, name, interface, version));
}

void global(void* data, wl_registry* registry, std::uint32_t name, const char* interface,
            std::uint32_t version) {
  auto* g = static_cast<Globals*>(data);
  const std::string_view is = interface;
  if (is == wl_seat_interface.name && !g->seat) {
    take(g->seat, registry, name, &wl_seat_interface, 1);
  } else if (is == zwlr_virtual_pointer_manager_v1_interface.name) {
    take(g->manager, registry, name, &zwlr_virtual_pointer_manager_v1_interface, 1);
  } else if (is == org_kde_kwin_fake_input_interface.name && version >= 4) {
    take(g->fake, registry, name, &org_kde_kwin_fake_input_interface, 4);
  } else if (is == wl_compositor_interface.name) {
    take(g->compositor, registry, name, &wl_compositor_interface, 1);
  } else if (is == wl_shm_interface.name) {
    take(g->shm, registry, name, &wl_shm_interface, 1);
  } else if (is == xdg_wm_base_interface.name) {
    take(g->wmBase, registry, name, &xdg_wm_base_interface, 1);
  } else if (is == zwp_idle_inhibit_manager_v1_interface.name) {
    take(g->inhibitor, registry, name, &zwp_idle_inhibit_manager_v1_interface, 1);
  }
}

constexpr wl_registry_listener kRegistry = {global, [](void*, wl_registry*, std::uint32_t) {}};

// The compositor's fake input, which moves the seat's one pointer.
int fakeInput(wl_display* display, org_kde_kwin_fake_input* fake, std::string_view what,
              char** argv) {
  org_kde_kwin_fake_input_authenticate(fake, "tavrel tests", "input for the tests");
  const auto press = [&](std::uint32_t code, bool key) {
    for (std::uint32_t state : {1u, 0u}) {
      key ? org_kde_kwin_fake_input_keyboard_key(fake, code, state)
          : org_kde_kwin_fake_input_button(fake, code, state);
      wl_display_roundtrip(display);
    }
  };
  if (what == "move") {
    org_kde_kwin_fake_input_pointer_motion(fake, wl_fixed_from_int(std::atoi(argv[2])),
                                           wl_fixed_from_int(std::atoi(argv[3])));
  } else if (what == "key") {
    press(static_cast<std::uint32_t>(std::atoi(argv[2])), true);
  } else {
    if (what == "click") {
      // The layout's size is the compositor's own here.
      org_kde_kwin_fake_input_pointer_motion_absolute(fake, wl_fixed_from_int(std::atoi(argv[2])),
                                                      wl_fixed_from_int(std::atoi(argv[3])));
    }
    press(kLeftButton, false);
  }
  wl_display_roundtrip(display);
  return 0;
}

// A white toplevel with an idle inhibitor, shown until the process is
// killed: the application that has the focus, telling the keys it gets.
int window(wl_display* display, const Globals& g) {
  if (!g.compositor || !g.shm || !g.wmBase || !g.inhibitor) {
    std::fprintf(stderr, "wl_tool: the compositor offers no idle inhibitors on windows\n");
    return 1;
  }
  static const xdg_wm_base_listener pong = {
      [](void*, xdg_wm_base* base, std::uint32_t serial) { xdg_wm_base_pong(base, serial); }};
  xdg_wm_base_add_listener(g.wmBase, &pong, nullptr);
  wl_surface* surface = wl_compositor_create_surface(g.compositor);
  xdg_surface* xdg = xdg_wm_base_get_xdg_surface(g.wmBase, surface);
  static const xdg_surface_listener configure = {
      [](void*, xdg_surface* s, std::uint32_t serial) { xdg_surface_ack_configure(s, serial); }};
  xdg_surface_add_listener(xdg, &configure, nullptr);
  xdg_toplevel_set_app_id(xdg_surface_get_toplevel(xdg), "tavrel-test-inhibitor");
  wl_surface_commit(surface);
  wl_display_roundtrip(display);
  constexpr int kSide = 64;
  const int fd = memfd_create("white", MFD_CLOEXEC);
  if (fd < 0 || ftruncate(fd, kSide * kSide * 4) != 0) return 1;
  void* pixels = mmap(nullptr, kSide * kSide * 4, PROT_WRITE, MAP_SHARED, fd, 0);
  std::memset(pixels, 0xFF, kSide * kSide * 4);
  wl_shm_pool* pool = wl_shm_create_pool(g.shm, fd, kSide * kSide * 4);
  wl_buffer* buffer =
      wl_shm_pool_create_buffer(pool, 0, kSide, kSide, kSide * 4, WL_SHM_FORMAT_XRGB8888);
  zwp_idle_inhibit_manager_v1_create_inhibitor(g.inhibitor, surface);
  static const wl_keyboard_listener keys = {
      .keymap = [](void*, wl_keyboard*, uint32_t, int32_t fd, uint32_t) { close(fd); },
      .enter = [](void*, wl_keyboard*, uint32_t, wl_surface*, wl_array*) {},
      .leave = [](void*, wl_keyboard*, uint32_t, wl_surface*) {},
      .key = [](void*, wl_keyboard*, uint32_t, uint32_t, uint32_t key,
                uint32_t state) { std::fprintf(stderr, "key %u %u\n", key, state); },
      .modifiers = [](void*, wl_keyboard*, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t) {},
      .repeat_info = [](void*, wl_keyboard*, int32_t, int32_t) {},
  };
  // The keyboard comes and goes with the tests' virtual keyboards.
  static const wl_seat_listener seatListener = {
      .capabilities =
          [](void*, wl_seat* seat, uint32_t caps) {
            static wl_keyboard* keyboard = nullptr;
            if ((caps & WL_SEAT_CAPABILITY_KEYBOARD) && !keyboard) {
              keyboard = wl_seat_get_keyboard(seat);
              wl_keyboard_add_listener(keyboard, &keys, nullptr);
            } else if (!(caps & WL_SEAT_CAPABILITY_KEYBOARD) && keyboard) {
              wl_keyboard_destroy(keyboard);
              keyboard = nullptr;
            }
          },
      .name = [](void*, wl_seat*, const char*) {},
  };
  if (g.seat) wl_seat_add_listener(g.seat, &seatListener, nullptr);
  wl_surface_attach(surface, buffer, 0, 0);
  wl_surface_commit(surface);
  while (wl_display_dispatch(display) >= 0) {
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view what = argc > 1 ? argv[1] : "";
  if (!((what == "move" && argc == 4) || (what == "press" && argc == 2) ||
        (what == "click" && argc == 6) || (what == "key" && argc == 3) ||
        (what == "window" && argc == 2))) {
    std::fprintf(stderr, "usage: wl_tool move DX DY | press | click X Y W H | key CODE | window\n");
    return 2;
  }
  wl_display* display = wl_display_connect(nullptr);
  if (!display) {
    std::fprintf(stderr, "wl_tool: no compositor\n");
    return 1;
  }
  Globals g;
  wl_registry* registry = wl_display_get_registry(display);
  wl_registry_add_listener(registry, &kRegistry, &g);
  wl_display_roundtrip(display);
  // Every proxy goes before the connection, so that a sanitized build finds
  // no leak.
  const auto end = [&](int status) {
    for (wl_proxy* p :
         {reinterpret_cast<wl_proxy*>(g.seat), reinterpret_cast<wl_proxy*>(g.manager),
          reinterpret_cast<wl_proxy*>(g.fake), reinterpret_cast<wl_proxy*>(g.compositor),
          reinterpret_cast<wl_proxy*>(g.shm), reinterpret_cast<wl_proxy*>(g.wmBase),
          reinterpret_cast<wl_proxy*>(g.inhibitor), reinterpret_cast<wl_proxy*>(registry)})
      if (p) wl_proxy_destroy(p);
    wl_display_disconnect(display);
    return status;
  };
  if (what == "window") return window(display, g);
  if (g.fake && !g.manager) return end(fakeInput(display, g.fake, what, argv));
  if (!g.manager || what == "key") {
    std::fprintf(stderr, "wl_tool: the compositor has no virtual pointers\n");
    return end(1);
  }
  zwlr_virtual_pointer_v1* pointer =
      zwlr_virtual_pointer_manager_v1_create_virtual_pointer(g.manager, g.seat);
  // The new device settles in the seat, and the clients that heard of it
  // take their pointers, before it moves.
  wl_display_roundtrip(display);
  usleep(200000);
  std::uint32_t time = 1;
  // The compositor gives the pointer to the surface under it at its first
  // motion; the motions after that move it there.
  const auto move = [&](int dx, int dy) {
    zwlr_virtual_pointer_v1_motion(pointer, ++time, wl_fixed_from_int(dx), wl_fixed_from_int(dy));
    zwlr_virtual_pointer_v1_frame(pointer);
    wl_display_roundtrip(display);
  };
  if (what == "move") {
    move(0, 0);
    move(std::atoi(argv[2]), std::atoi(argv[3]));
  } else {
    if (what == "click") {
      const auto arg = [&](int i) { return static_cast<std::uint32_t>(std::atoi(argv[i])); };
      zwlr_virtual_pointer_v1_motion_absolute(pointer, time, arg(2), arg(3), arg(4), arg(5));
      zwlr_virtual_pointer_v1_frame(pointer);
    }
    if (what == "press") move(0, 0);
    for (std::uint32_t state :
         {WL_POINTER_BUTTON_STATE_PRESSED, WL_POINTER_BUTTON_STATE_RELEASED}) {
      zwlr_virtual_pointer_v1_button(pointer, ++time, kLeftButton, state);
      zwlr_virtual_pointer_v1_frame(pointer);
    }
  }
  wl_display_roundtrip(display);
  zwlr_virtual_pointer_v1_destroy(pointer);
  wl_display_roundtrip(display);
  return end(0);
}
