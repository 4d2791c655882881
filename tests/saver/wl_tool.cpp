// A Wayland client for the tests: input through wlroots' virtual-pointer
// interface or KWin's fake input (which KWin gives with
// KWIN_WAYLAND_NO_PERMISSION_CHECKS=1, to clients of its own user), and a
// window that holds idleness back.
//   wl_tool move DX DY    relative motion
//   wl_tool press         a left click where the pointer stands
//   wl_tool key CODE      a key pressed and released (fake input only)
//   wl_tool window        a white window with an idle inhibitor, until
//                         killed; it tells each key it gets on stderr
// Exit 0 once the compositor has the events, 1 when it has no such interface.
// The connection stays open to the end, so that what it holds is reachable
// and a sanitized build finds no leak.
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

wl_display* display = nullptr;
wl_seat* seat = nullptr;
zwlr_virtual_pointer_manager_v1* pointers = nullptr;
org_kde_kwin_fake_input* fake = nullptr;
wl_compositor* compositor = nullptr;
wl_shm* shm = nullptr;
xdg_wm_base* wmBase = nullptr;
zwp_idle_inhibit_manager_v1* inhibitors = nullptr;

// Binds the first global of its kind at the version the tool needs.
template <auto& to>
void bind(wl_registry* registry, std::uint32_t name, const wl_interface* is,
          std::uint32_t version) {
  if (!to)
    to = static_cast<std::remove_reference_t<decltype(to)>>(
        wl_registry_bind(registry, name, is, version));
}

void global(void*, wl_registry* registry, std::uint32_t name, const char* interface,
            std::uint32_t version) {
  const struct {
    decltype(&bind<seat>) take;
    const wl_interface* is;
    std::uint32_t version;
  } wanted[] = {{bind<seat>, &wl_seat_interface, 1},
                {bind<pointers>, &zwlr_virtual_pointer_manager_v1_interface, 1},
                {bind<fake>, &org_kde_kwin_fake_input_interface, 4},
                {bind<compositor>, &wl_compositor_interface, 1},
                {bind<shm>, &wl_shm_interface, 1},
                {bind<wmBase>, &xdg_wm_base_interface, 1},
                {bind<inhibitors>, &zwp_idle_inhibit_manager_v1_interface, 1}};
  for (const auto& w : wanted)
    if (std::string_view(interface) == w.is->name && version >= w.version)
      w.take(registry, name, w.is, w.version);
}

// KWin's fake input, which moves the seat's one pointer.
void fakeInput(std::string_view what, char** argv) {
  org_kde_kwin_fake_input_authenticate(fake, "tavrel tests", "input for the tests");
  if (what == "move")
    org_kde_kwin_fake_input_pointer_motion(fake, wl_fixed_from_int(std::atoi(argv[2])),
                                           wl_fixed_from_int(std::atoi(argv[3])));
  for (std::uint32_t state : {1u, 0u}) {
    if (what == "key")
      org_kde_kwin_fake_input_keyboard_key(fake, static_cast<std::uint32_t>(std::atoi(argv[2])),
                                           state);
    if (what == "press") org_kde_kwin_fake_input_button(fake, kLeftButton, state);
    wl_display_roundtrip(display);
  }
}

// wlroots' virtual pointer: the compositor gives the pointer to the surface
// under it at its first motion; the motions after that move it there.
void virtualPointer(std::string_view what, char** argv) {
  zwlr_virtual_pointer_v1* pointer =
      zwlr_virtual_pointer_manager_v1_create_virtual_pointer(pointers, seat);
  // The new device settles in the seat, and the clients that heard of it
  // take their pointers, before it moves.
  wl_display_roundtrip(display);
  usleep(200000);
  std::uint32_t time = 1;
  const auto send = [&](auto event, auto... args) {
    event(pointer, ++time, args...);
    zwlr_virtual_pointer_v1_frame(pointer);
    wl_display_roundtrip(display);
  };
  send(zwlr_virtual_pointer_v1_motion, 0, 0);
  if (what == "move")
    send(zwlr_virtual_pointer_v1_motion, wl_fixed_from_int(std::atoi(argv[2])),
         wl_fixed_from_int(std::atoi(argv[3])));
  for (std::uint32_t state : {WL_POINTER_BUTTON_STATE_PRESSED, WL_POINTER_BUTTON_STATE_RELEASED})
    if (what == "press") send(zwlr_virtual_pointer_v1_button, kLeftButton, state);
}

// A white toplevel with an idle inhibitor, shown until the process is
// killed: the application that has the focus, telling the keys it gets.
int window() {
  static const xdg_wm_base_listener pong = {
      [](void*, xdg_wm_base* base, std::uint32_t serial) { xdg_wm_base_pong(base, serial); }};
  xdg_wm_base_add_listener(wmBase, &pong, nullptr);
  wl_surface* surface = wl_compositor_create_surface(compositor);
  xdg_surface* xdg = xdg_wm_base_get_xdg_surface(wmBase, surface);
  static const xdg_surface_listener configure = {
      [](void*, xdg_surface* s, std::uint32_t serial) { xdg_surface_ack_configure(s, serial); }};
  xdg_surface_add_listener(xdg, &configure, nullptr);
  xdg_toplevel_set_app_id(xdg_surface_get_toplevel(xdg), "tavrel-test-inhibitor");
  wl_surface_commit(surface);
  wl_display_roundtrip(display);
  constexpr int kBytes = 64 * 64 * 4;
  const int fd = memfd_create("white", MFD_CLOEXEC);
  if (fd < 0 || ftruncate(fd, kBytes) != 0) return 1;
  std::memset(mmap(nullptr, kBytes, PROT_WRITE, MAP_SHARED, fd, 0), 0xFF, kBytes);
  wl_buffer* buffer = wl_shm_pool_create_buffer(wl_shm_create_pool(shm, fd, kBytes), 0, 64, 64,
                                                64 * 4, WL_SHM_FORMAT_XRGB8888);
  zwp_idle_inhibit_manager_v1_create_inhibitor(inhibitors, surface);
  static const wl_keyboard_listener keys = {
      .keymap = [](void*, wl_keyboard*, uint32_t, int32_t fd, uint32_t) { close(fd); },
      .enter = [](void*, wl_keyboard*, uint32_t, wl_surface*, wl_array*) {},
      .leave = [](void*, wl_keyboard*, uint32_t, wl_surface*) {},
      .key = [](void*, wl_keyboard*, uint32_t, uint32_t, uint32_t key,
                uint32_t state) { std::fprintf(stderr, "key %u %u\n", key, state); },
      .modifiers = [](void*, wl_keyboard*, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t) {},
      .repeat_info = [](void*, wl_keyboard*, int32_t, int32_t) {},
  };
  // The keyboard comes and goes with the tests' virtual keyboards: a new one
  // each time it comes.
  static const wl_seat_listener seatListener = {
      .capabilities =
          [](void*, wl_seat* seat, uint32_t caps) {
            if (caps & WL_SEAT_CAPABILITY_KEYBOARD)
              wl_keyboard_add_listener(wl_seat_get_keyboard(seat), &keys, nullptr);
          },
      .name = [](void*, wl_seat*, const char*) {},
  };
  if (seat) wl_seat_add_listener(seat, &seatListener, nullptr);
  wl_surface_attach(surface, buffer, 0, 0);
  wl_surface_commit(surface);
  while (wl_display_dispatch(display) >= 0) {
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view what = argc > 1 ? argv[1] : "";
  if (argc != (what == "move"                        ? 4
               : what == "key"                       ? 3
               : what == "press" || what == "window" ? 2
                                                     : 0))
    return std::fprintf(stderr, "usage: wl_tool move DX DY | press | key CODE | window\n"), 2;
  if (!(display = wl_display_connect(nullptr)))
    return std::fprintf(stderr, "wl_tool: no compositor\n"), 1;
  static const wl_registry_listener registry = {global, [](void*, wl_registry*, std::uint32_t) {}};
  wl_registry_add_listener(wl_display_get_registry(display), &registry, nullptr);
  wl_display_roundtrip(display);
  if (what == "window" && compositor && shm && wmBase && inhibitors) return window();
  if (what != "window" && fake && !pointers) return fakeInput(what, argv), 0;
  if (what != "window" && what != "key" && pointers) return virtualPointer(what, argv), 0;
  std::fprintf(stderr, "wl_tool: the compositor offers no such interface\n");
  return 1;
}
