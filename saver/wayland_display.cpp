#include "saver/wayland_display.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "canvas/text.h"

namespace tavrel::saver {

namespace {

template <typename T>
T* bind(wl_registry* registry, std::uint32_t name, const wl_interface* interface,
        std::uint32_t offered, std::uint32_t wanted) {
  return static_cast<T*>(wl_registry_bind(registry, name, interface, std::min(offered, wanted)));
}

}  // namespace

WaylandDisplay::WaylandDisplay() : seats([this](const wl_surface* s) { return whose(s); }) {}

WaylandDisplay::~WaylandDisplay() {
  if (connection_.display == nullptr) return;
  if (reading_) wl_display_cancel_read(connection_.display);
  if (confirm_) wl_callback_destroy(confirm_);
  outputs.clear();
  Globals& g = globals;
  if (g.layerShell) zwlr_layer_shell_v1_destroy(g.layerShell);
  if (g.wmBase) xdg_wm_base_destroy(g.wmBase);
  if (g.viewporter) wp_viewporter_destroy(g.viewporter);
  if (g.fractionalScale) wp_fractional_scale_manager_v1_destroy(g.fractionalScale);
  if (g.subcompositor) wl_subcompositor_destroy(g.subcompositor);
  if (g.shm) wl_shm_destroy(g.shm);
  if (g.compositor) wl_compositor_destroy(g.compositor);
  if (registry_) wl_registry_destroy(registry_);
}

Whose WaylandDisplay::whose(const wl_surface* surface) const {
  for (const auto& o : outputs)
    if (o->owns(surface)) return o->presented() ? Whose::oursShown : Whose::ours;
  return Whose::other;
}

const wl_registry_listener WaylandDisplay::kRegistryListener = {
    .global =
        [](void* data, wl_registry* registry, uint32_t name, const char* interface,
           uint32_t version) {
          static_cast<WaylandDisplay*>(data)->global(registry, name, interface, version);
        },
    .global_remove =
        [](void* data, wl_registry*, uint32_t name) {
          auto& outputs = static_cast<WaylandDisplay*>(data)->outputs;
          std::erase_if(outputs, [name](const auto& o) { return o->name() == name; });
        },
};

const xdg_wm_base_listener WaylandDisplay::kWmBaseListener = {
    .ping = [](void*, xdg_wm_base* base, uint32_t serial) { xdg_wm_base_pong(base, serial); },
};

void WaylandDisplay::global(wl_registry* registry, std::uint32_t name, std::string_view interface,
                            std::uint32_t version) {
  Globals& g = globals;
  if (interface == wl_compositor_interface.name) {
    g.compositor = bind<wl_compositor>(registry, name, &wl_compositor_interface, version, 4);
  } else if (interface == wl_subcompositor_interface.name) {
    g.subcompositor =
        bind<wl_subcompositor>(registry, name, &wl_subcompositor_interface, version, 1);
  } else if (interface == wl_shm_interface.name) {
    g.shm = bind<wl_shm>(registry, name, &wl_shm_interface, version, 1);
  } else if (interface == zwlr_layer_shell_v1_interface.name) {
    const char* shell = std::getenv(kShellVariable);
    if (shell == nullptr || std::string_view(shell) != "xdg")
      g.layerShell =
          bind<zwlr_layer_shell_v1>(registry, name, &zwlr_layer_shell_v1_interface, version, 4);
  } else if (interface == xdg_wm_base_interface.name) {
    g.wmBase = bind<xdg_wm_base>(registry, name, &xdg_wm_base_interface, version, 3);
    xdg_wm_base_add_listener(g.wmBase, &kWmBaseListener, this);
  } else if (interface == wp_viewporter_interface.name) {
    g.viewporter = bind<wp_viewporter>(registry, name, &wp_viewporter_interface, version, 1);
  } else if (interface == wp_fractional_scale_manager_v1_interface.name) {
    g.fractionalScale = bind<wp_fractional_scale_manager_v1>(
        registry, name, &wp_fractional_scale_manager_v1_interface, version, 1);
  } else if (interface == wl_output_interface.name) {
    auto* output = bind<wl_output>(registry, name, &wl_output_interface, version, 3);
    outputs.push_back(std::make_unique<Output>(globals, name, output, outputsSeen_++));
    outputs.back()->cover(covering_);
  } else if (interface == wl_seat_interface.name) {
    seats.add(connection_.display, bind<wl_seat>(registry, name, &wl_seat_interface, version, 5));
  } else {
    idle.bind(registry, name, interface, version);
  }
}

std::optional<std::string> WaylandDisplay::connect() {
  const char* name = std::getenv("WAYLAND_DISPLAY");
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  // A socket name is found in the runtime folder; without one libwayland
  // would add a line of its own.
  if ((name == nullptr || *name != '/') && (runtime == nullptr || *runtime == '\0'))
    return std::string("cannot connect to the Wayland compositor: XDG_RUNTIME_DIR is not set");
  connection_.display = wl_display_connect(nullptr);
  if (connection_.display == nullptr) {
    return std::string("cannot connect to the Wayland compositor '") +
           (name && *name ? name : "wayland-0") + "'";
  }
  registry_ = wl_display_get_registry(connection_.display);
  wl_registry_add_listener(registry_, &kRegistryListener, this);
  if (wl_display_roundtrip(connection_.display) < 0) return lost();
  if (!globals.compositor || !globals.shm)
    return std::string("the Wayland compositor offers no shared-memory buffers (wl_shm)");
  if (!globals.layerShell && !globals.wmBase)
    return std::string("the Wayland compositor offers neither layer-shell nor xdg-shell surfaces");
  return std::nullopt;
}

void WaylandDisplay::cover(bool on) {
  covering_ = on;
  for (const auto& o : outputs) o->cover(on);
}

const wl_callback_listener WaylandDisplay::kConfirmListener = {
    .done =
        [](void* data, wl_callback* callback, uint32_t) {
          wl_callback_destroy(callback);
          static_cast<WaylandDisplay*>(data)->confirm_ = nullptr;
        },
};

void WaylandDisplay::confirm() {
  if (confirm_) wl_callback_destroy(confirm_);
  confirm_ = wl_display_sync(connection_.display);
  wl_callback_add_listener(confirm_, &kConfirmListener, this);
}

short WaylandDisplay::prepare() {
  while (wl_display_prepare_read(connection_.display) != 0)
    if (wl_display_dispatch_pending(connection_.display) < 0) return 0;
  reading_ = true;
  short events = POLLIN;
  if (wl_display_flush(connection_.display) < 0) {
    if (errno != EAGAIN) {
      wl_display_cancel_read(connection_.display);
      reading_ = false;
      return 0;
    }
    events |= POLLOUT;  // the compositor reads slowly: wait until it has room
  }
  return events;
}

bool WaylandDisplay::read(short revents) {
  reading_ = false;
  if (revents & (POLLIN | POLLERR | POLLHUP)) {
    if (wl_display_read_events(connection_.display) < 0) return false;
  } else {
    wl_display_cancel_read(connection_.display);
  }
  return wl_display_dispatch_pending(connection_.display) >= 0;
}

std::string WaylandDisplay::lost() const {
  const int error = connection_.display ? wl_display_get_error(connection_.display) : 0;
  if (error == EPROTO) {
    const wl_interface* interface = nullptr;
    const std::uint32_t code =
        wl_display_get_protocol_error(connection_.display, &interface, nullptr);
    return "the Wayland compositor ended the connection: protocol error " + std::to_string(code) +
           (interface ? std::string(" on ") + interface->name : std::string());
  }
  return "lost the connection to the Wayland compositor";
}

}  // namespace tavrel::saver
