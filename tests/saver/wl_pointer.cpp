// Input for tests on a Wayland compositor, through wlroots' virtual-pointer
// interface or KWin's fake input (which KWin gives with
// KWIN_WAYLAND_NO_PERMISSION_CHECKS=1, to clients of its own user):
//   wl_pointer move DX DY          relative motion
//   wl_pointer press               a left click where the pointer stands
//   wl_pointer click X Y W H       to (X, Y) of a W x H layout, then a left click
//   wl_pointer key CODE            a key pressed and released (fake input only)
//   wl_pointer dpms on|off         every output's power (KWin's interface)
// Exit 0 once the compositor has the events, 1 when it has no such interface.
#include <unistd.h>
#include <wayland-client.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

#include "fake-input-client-protocol.h"
#include "kde-dpms-client-protocol.h"
#include "virtual-pointer-client-protocol.h"

namespace {

constexpr std::uint32_t kLeftButton = 0x110;  // BTN_LEFT

struct Globals {
  wl_seat* seat = nullptr;
  zwlr_virtual_pointer_manager_v1* manager = nullptr;
  org_kde_kwin_fake_input* fake = nullptr;
  org_kde_kwin_dpms_manager* dpms = nullptr;
  std::vector<wl_output*> outputs;
};

void global(void* data, wl_registry* registry, std::uint32_t name, const char* interface,
            std::uint32_t version) {
  auto* g = static_cast<Globals*>(data);
  if (std::strcmp(interface, wl_seat_interface.name) == 0 && !g->seat) {
    g->seat = static_cast<wl_seat*>(wl_registry_bind(registry, name, &wl_seat_interface, 1));
  } else if (std::strcmp(interface, zwlr_virtual_pointer_manager_v1_interface.name) == 0) {
    g->manager = static_cast<zwlr_virtual_pointer_manager_v1*>(
        wl_registry_bind(registry, name, &zwlr_virtual_pointer_manager_v1_interface, 1));
  } else if (std::strcmp(interface, wl_output_interface.name) == 0) {
    g->outputs.push_back(
        static_cast<wl_output*>(wl_registry_bind(registry, name, &wl_output_interface, 1)));
  } else if (std::strcmp(interface, org_kde_kwin_dpms_manager_interface.name) == 0) {
    g->dpms = static_cast<org_kde_kwin_dpms_manager*>(
        wl_registry_bind(registry, name, &org_kde_kwin_dpms_manager_interface, 1));
  } else if (std::strcmp(interface, org_kde_kwin_fake_input_interface.name) == 0 && version >= 4) {
    g->fake = static_cast<org_kde_kwin_fake_input*>(
        wl_registry_bind(registry, name, &org_kde_kwin_fake_input_interface, 4));
  }
}

constexpr wl_registry_listener kRegistry = {global, [](void*, wl_registry*, std::uint32_t) {}};

// The compositor's fake input, which moves the seat's one pointer.
int fakeInput(wl_display* display, org_kde_kwin_fake_input* fake, std::string_view what,
              char** argv) {
  org_kde_kwin_fake_input_authenticate(fake, "tavrel tests", "input for the tests");
  const auto button = [&](std::uint32_t code, bool key) {
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
    button(static_cast<std::uint32_t>(std::atoi(argv[2])), true);
  } else {
    if (what == "click") {
      // The layout's size is the compositor's own here.
      org_kde_kwin_fake_input_pointer_motion_absolute(fake, wl_fixed_from_int(std::atoi(argv[2])),
                                                      wl_fixed_from_int(std::atoi(argv[3])));
    }
    button(kLeftButton, false);
  }
  wl_display_roundtrip(display);
  org_kde_kwin_fake_input_destroy(fake);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view what = argc > 1 ? argv[1] : "";
  if (!((what == "move" && argc == 4) || (what == "press" && argc == 2) ||
        (what == "click" && argc == 6) || (what == "key" && argc == 3) ||
        (what == "dpms" && argc == 3))) {
    std::fprintf(stderr,
                 "usage: wl_pointer move DX DY | press | click X Y W H | key CODE | dpms on|off\n");
    return 2;
  }
  wl_display* display = wl_display_connect(nullptr);
  if (!display) {
    std::fprintf(stderr, "wl_pointer: no compositor\n");
    return 1;
  }
  Globals g;
  wl_registry* registry = wl_display_get_registry(display);
  wl_registry_add_listener(registry, &kRegistry, &g);
  wl_display_roundtrip(display);
  if (what == "dpms") {
    if (!g.dpms) {
      std::fprintf(stderr, "wl_pointer: the compositor has no power interface\n");
      return 1;
    }
    const std::uint32_t mode = std::string_view(argv[2]) == "on" ? 0 : 3;  // On, Off
    for (wl_output* output : g.outputs)
      org_kde_kwin_dpms_set(org_kde_kwin_dpms_manager_get(g.dpms, output), mode);
    wl_display_roundtrip(display);
    wl_display_disconnect(display);
    return 0;
  }
  if (g.fake && !g.manager) {
    const int status = fakeInput(display, g.fake, what, argv);
    wl_display_disconnect(display);
    return status;
  }
  if (!g.manager || what == "key") {
    std::fprintf(stderr, "wl_pointer: the compositor has no virtual pointers\n");
    return 1;
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
  zwlr_virtual_pointer_manager_v1_destroy(g.manager);
  if (g.seat) wl_seat_destroy(g.seat);
  wl_registry_destroy(registry);
  wl_display_roundtrip(display);
  wl_display_disconnect(display);
  return 0;
}
