// The outputs of a Wayland desktop: each wl_output's current mode and, from
// xdg-output, its place and size in the desktop's layout.
#include "wallpaper/wallpaper.h"

#ifdef TAVREL_WALLPAPER_WAYLAND
#include <poll.h>
#include <wayland-client.h>

#include <chrono>
#include <list>

#include "xdg-output-unstable-v1-client-protocol.h"
#endif

namespace tavrel::wallpaper {

#ifndef TAVREL_WALLPAPER_WAYLAND

std::vector<Output> waylandOutputs(std::string& why) {
  why = "this build does not speak to Wayland compositors";
  return {};
}

#else

namespace {

// What the compositor said of one output. Names are cut short: they come
// from elsewhere.
struct Seen {
  wl_output* output = nullptr;
  zxdg_output_v1* xdg = nullptr;
  std::string name;
  int x = 0, y = 0, transform = 0, modeWidth = 0, modeHeight = 0, scale = 1;
  bool logical = false;
  int lx = 0, ly = 0, lw = 0, lh = 0;
};

std::string shortName(const char* s) {
  return std::string(s ? s : "").substr(0, 64);
}

const wl_output_listener kOutput = {
    [](void* data, wl_output*, int32_t x, int32_t y, int32_t, int32_t, int32_t, const char*,
       const char*, int32_t transform) {
      auto* s = static_cast<Seen*>(data);
      s->x = x, s->y = y, s->transform = transform;
    },
    [](void* data, wl_output*, uint32_t flags, int32_t width, int32_t height, int32_t) {
      auto* s = static_cast<Seen*>(data);
      if (flags & WL_OUTPUT_MODE_CURRENT) s->modeWidth = width, s->modeHeight = height;
    },
    [](void*, wl_output*) {},
    [](void* data, wl_output*, int32_t factor) { static_cast<Seen*>(data)->scale = factor; },
    [](void* data, wl_output*, const char* name) {
      auto* s = static_cast<Seen*>(data);
      if (s->name.empty()) s->name = shortName(name);
    },
    [](void*, wl_output*, const char*) {},
};

const zxdg_output_v1_listener kXdgOutput = {
    [](void* data, zxdg_output_v1*, int32_t x, int32_t y) {
      auto* s = static_cast<Seen*>(data);
      s->lx = x, s->ly = y, s->logical = true;
    },
    [](void* data, zxdg_output_v1*, int32_t width, int32_t height) {
      auto* s = static_cast<Seen*>(data);
      s->lw = width, s->lh = height;
    },
    [](void*, zxdg_output_v1*) {},
    [](void* data, zxdg_output_v1*, const char* name) {
      static_cast<Seen*>(data)->name = shortName(name);
    },
    [](void*, zxdg_output_v1*, const char*) {},
};

struct Globals {
  wl_registry* registry = nullptr;
  zxdg_output_manager_v1* manager = nullptr;
  std::list<Seen> outputs;  // addresses stay put for the listeners
};

const wl_registry_listener kRegistry = {
    [](void* data, wl_registry* registry, uint32_t id, const char* interface, uint32_t version) {
      auto* g = static_cast<Globals*>(data);
      const std::string_view name = interface;
      if (name == wl_output_interface.name && version >= 2 && g->outputs.size() < 64) {
        const uint32_t v = std::min<uint32_t>(
            version, std::min<uint32_t>(4, static_cast<uint32_t>(wl_output_interface.version)));
        Seen& s = g->outputs.emplace_back();
        s.output = static_cast<wl_output*>(wl_registry_bind(registry, id, &wl_output_interface, v));
        wl_output_add_listener(s.output, &kOutput, &s);
      } else if (name == zxdg_output_manager_v1_interface.name && !g->manager) {
        g->manager = static_cast<zxdg_output_manager_v1*>(wl_registry_bind(
            registry, id, &zxdg_output_manager_v1_interface, std::min<uint32_t>(version, 3)));
      }
    },
    [](void*, wl_registry*, uint32_t) {},
};

// A round trip that gives up after a while: a compositor that never
// answers ends the wait, not the program.
bool roundtrip(wl_display* d) {
  bool done = false;
  static const wl_callback_listener kDone = {
      [](void* data, wl_callback*, uint32_t) { *static_cast<bool*>(data) = true; }};
  wl_callback* cb = wl_display_sync(d);
  wl_callback_add_listener(cb, &kDone, &done);
  const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  bool ok = true;
  while (!done && ok) {
    while (wl_display_prepare_read(d) != 0) wl_display_dispatch_pending(d);
    wl_display_flush(d);
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        giveUp - std::chrono::steady_clock::now());
    pollfd p{wl_display_get_fd(d), POLLIN, 0};
    if (left.count() <= 0 || poll(&p, 1, static_cast<int>(left.count())) <= 0) {
      wl_display_cancel_read(d);
      ok = false;
    } else {
      ok = wl_display_read_events(d) == 0 && wl_display_dispatch_pending(d) >= 0;
    }
  }
  wl_callback_destroy(cb);
  return ok;
}

}  // namespace

std::vector<Output> waylandOutputs(std::string& why) {
  wl_display* d = wl_display_connect(nullptr);
  if (d == nullptr) {
    why = "cannot connect to the Wayland compositor";
    return {};
  }
  Globals g;
  g.registry = wl_display_get_registry(d);
  wl_registry_add_listener(g.registry, &kRegistry, &g);
  bool answered = roundtrip(d);
  if (answered && g.manager)
    for (Seen& s : g.outputs) {
      s.xdg = zxdg_output_manager_v1_get_xdg_output(g.manager, s.output);
      zxdg_output_v1_add_listener(s.xdg, &kXdgOutput, &s);
    }
  answered = answered && roundtrip(d) && roundtrip(d);
  std::vector<Output> out;
  for (Seen& s : g.outputs) {
    // A mode is given as the output stands before it is turned.
    const bool turned = s.transform % 2 == 1;
    Output o{s.name,
             s.x,
             s.y,
             0,
             0,
             turned ? s.modeHeight : s.modeWidth,
             turned ? s.modeWidth : s.modeHeight};
    if (s.logical) {
      o.x = s.lx, o.y = s.ly, o.width = s.lw, o.height = s.lh;
    } else if (s.scale > 0) {
      o.width = o.deviceWidth / s.scale, o.height = o.deviceHeight / s.scale;
    }
    if (answered && usable(o)) out.push_back(o);
    if (s.xdg) zxdg_output_v1_destroy(s.xdg);
    wl_output_destroy(s.output);
  }
  if (g.manager) zxdg_output_manager_v1_destroy(g.manager);
  wl_registry_destroy(g.registry);
  wl_display_disconnect(d);
  if (!answered)
    why = "the Wayland compositor did not answer";
  else if (out.empty())
    why = "the Wayland compositor reports no output";
  return out;
}

#endif

}  // namespace tavrel::wallpaper
