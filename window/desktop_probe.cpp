#include "window/desktop_probe.h"

#include <wayland-client.h>
#include <xcb/randr.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

namespace tavrel {

namespace {

template <typename T>
using Reply = std::unique_ptr<T, decltype(&std::free)>;

template <typename T>
Reply<T> reply(T* r) {
  return Reply<T>(r, &std::free);
}

// Qt's own factor from the desktop's resources: Xft.dpi / 96, rounded half
// up; Qt reads the line only in the form xrdb writes it.
int xftFactor(xcb_connection_t* c, xcb_window_t root) {
  const auto r = reply(xcb_get_property_reply(
      c, xcb_get_property(c, 0, root, XCB_ATOM_RESOURCE_MANAGER, XCB_ATOM_STRING, 0, 64 * 1024 / 4),
      nullptr));
  if (!r) return 1;
  const std::string_view resources(
      static_cast<const char*>(xcb_get_property_value(r.get())),
      static_cast<std::size_t>(xcb_get_property_value_length(r.get())));
  constexpr std::string_view kDpi = "Xft.dpi:\t";
  for (std::size_t at = 0; at < resources.size();) {
    const std::size_t end = std::min(resources.find('\n', at), resources.size());
    const std::string_view line = resources.substr(at, end - at);
    at = end + 1;
    if (!line.starts_with(kDpi)) continue;
    int dpi = 0;
    const std::string_view value = line.substr(kDpi.size());
    const auto [rest, error] = std::from_chars(value.data(), value.data() + value.size(), dpi);
    if (error == std::errc() && rest == value.data() + value.size() && dpi > 0)
      return std::max(1, (dpi + 48) / 96);
  }
  return 1;
}

std::optional<DesktopScreen> probeX(const char* display) {
  int number = 0;
  const std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)> c(
      xcb_connect(display, &number), &xcb_disconnect);
  if (xcb_connection_has_error(c.get())) return std::nullopt;
  auto it = xcb_setup_roots_iterator(xcb_get_setup(c.get()));
  for (int i = 0; i < number && it.rem; ++i) xcb_screen_next(&it);
  if (!it.rem) return std::nullopt;
  const xcb_screen_t* screen = it.data;
  DesktopScreen d{screen->width_in_pixels, screen->height_in_pixels,
                  xftFactor(c.get(), screen->root)};
  // The primary monitor, where the server names the monitors (RandR 1.5);
  // else the first; the whole screen where there is no RandR.
  const xcb_query_extension_reply_t* randr = xcb_get_extension_data(c.get(), &xcb_randr_id);
  if (!randr || !randr->present) return d;
  const auto version = reply(
      xcb_randr_query_version_reply(c.get(), xcb_randr_query_version(c.get(), 1, 5), nullptr));
  if (!version || (version->major_version == 1 && version->minor_version < 5)) return d;
  const auto monitors = reply(xcb_randr_get_monitors_reply(
      c.get(), xcb_randr_get_monitors(c.get(), screen->root, 1), nullptr));
  if (!monitors) return d;
  bool first = true;
  for (auto m = xcb_randr_get_monitors_monitors_iterator(monitors.get()); m.rem;
       xcb_randr_monitor_info_next(&m)) {
    if (first || m.data->primary) {
      d.width = m.data->width;
      d.height = m.data->height;
    }
    if (m.data->primary) break;
    first = false;
  }
  return d;
}

// The first output of the compositor, as it announces itself.
struct WaylandOutput {
  wl_output* output = nullptr;
  int width = 0, height = 0, scale = 1;
  bool turned = false;  // a quarter turn: the mode's width is the screen's height
};

const wl_output_listener kOutputListener = {
    .geometry =
        [](void* data, wl_output*, int32_t, int32_t, int32_t, int32_t, int32_t, const char*,
           const char*,
           int32_t transform) { static_cast<WaylandOutput*>(data)->turned = transform % 2; },
    .mode =
        [](void* data, wl_output*, uint32_t flags, int32_t width, int32_t height, int32_t) {
          if (!(flags & WL_OUTPUT_MODE_CURRENT)) return;
          static_cast<WaylandOutput*>(data)->width = width;
          static_cast<WaylandOutput*>(data)->height = height;
        },
    .done = [](void*, wl_output*) {},
    .scale = [](void* data, wl_output*,
                int32_t factor) { static_cast<WaylandOutput*>(data)->scale = std::max(1, factor); },
    // Bound at version 2: these do not come.
    .name = nullptr,
    .description = nullptr,
};

const wl_registry_listener kRegistryListener = {
    .global =
        [](void* data, wl_registry* registry, uint32_t name, const char* interface,
           uint32_t version) {
          auto* out = static_cast<WaylandOutput*>(data);
          if (out->output || std::strcmp(interface, wl_output_interface.name) != 0 || version < 2)
            return;
          out->output =
              static_cast<wl_output*>(wl_registry_bind(registry, name, &wl_output_interface, 2));
          wl_output_add_listener(out->output, &kOutputListener, out);
        },
    .global_remove = [](void*, wl_registry*, uint32_t) {},
};

std::optional<DesktopScreen> probeWayland() {
  const std::unique_ptr<wl_display, decltype(&wl_display_disconnect)> display(
      wl_display_connect(nullptr), &wl_display_disconnect);
  if (!display) return std::nullopt;
  WaylandOutput out;
  wl_registry* registry = wl_display_get_registry(display.get());
  wl_registry_add_listener(registry, &kRegistryListener, &out);
  // The globals, then the output's own events.
  const bool answered =
      wl_display_roundtrip(display.get()) >= 0 && wl_display_roundtrip(display.get()) >= 0;
  if (out.output) wl_output_destroy(out.output);
  wl_registry_destroy(registry);
  if (!answered || out.width <= 0 || out.height <= 0) return std::nullopt;
  if (out.turned) std::swap(out.width, out.height);
  return DesktopScreen{out.width, out.height, out.scale};
}

std::vector<std::string> platformList(std::string_view names) {
  std::vector<std::string> list;
  for (std::size_t at = 0; at <= names.size();) {
    const std::size_t end = std::min(names.find(';', at), names.size());
    const std::string_view name = names.substr(at, end - at);
    if (!name.empty()) list.emplace_back(name.substr(0, name.find(':')));
    at = end + 1;
  }
  return list;
}

}  // namespace

std::vector<std::string> platformsQtTries(int argc, char** argv) {
  for (int i = 1; i + 1 < argc; ++i)
    if (std::strcmp(argv[i], "-platform") == 0) return platformList(argv[i + 1]);
  if (const char* env = std::getenv("QT_QPA_PLATFORM"); env && *env) return platformList(env);
  std::vector<std::string> list;
  const char* session = std::getenv("XDG_SESSION_TYPE");
  if (std::getenv("WAYLAND_DISPLAY") || (session && std::strcmp(session, "wayland") == 0))
    list.emplace_back("wayland");
  list.emplace_back("xcb");
  return list;
}

std::optional<DesktopScreen> probeDesktop(int argc, char** argv) {
  const char* display = nullptr;
  for (int i = 1; i + 1 < argc; ++i)
    if (std::strcmp(argv[i], "-display") == 0) display = argv[i + 1];
  for (const std::string& platform : platformsQtTries(argc, argv)) {
    std::optional<DesktopScreen> found;
    if (platform == "xcb")
      found = probeX(display);
    else if (platform.starts_with("wayland"))
      found = probeWayland();
    else
      return std::nullopt;
    if (found) return found;
  }
  return std::nullopt;
}

}  // namespace tavrel
