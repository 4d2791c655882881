#include "saver/wayland_output.h"

#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#include "canvas/display_scale.h"

namespace tavrel::saver {

namespace {

constexpr int kTextMargin = 2;  // program pixels from the corner, as on X

}  // namespace

Output::Output(const Globals& g, std::uint32_t name, wl_output* output, int key)
    : g_(g), name_(name), output_(output), key_(key) {
  wl_output_add_listener(output_, &kOutputListener, this);
}

Output::~Output() {
  dropSurface();
  if (wl_output_get_version(output_) >= WL_OUTPUT_RELEASE_SINCE_VERSION) {
    wl_output_release(output_);
  } else {
    wl_output_destroy(output_);
  }
}

const wl_output_listener Output::kOutputListener = {
    .geometry = [](void*, wl_output*, int32_t, int32_t, int32_t, int32_t, int32_t, const char*,
                   const char*, int32_t) {},
    .mode =
        [](void* data, wl_output*, uint32_t flags, int32_t width, int32_t height, int32_t) {
          auto* o = static_cast<Output*>(data);
          if (flags & WL_OUTPUT_MODE_CURRENT) o->modeWidth_ = width, o->modeHeight_ = height;
        },
    .done = [](void* data, wl_output*) { static_cast<Output*>(data)->announce(); },
    .scale = [](void* data, wl_output*,
                int32_t factor) { static_cast<Output*>(data)->scale_ = std::max(1, factor); },
    .name = nullptr,
    .description = nullptr,
};

void Output::announce() {
  described_ = true;
  if (!surface_ && wanted_) makeSurface();
  if (configured_) resize();
}

void Output::cover(bool on) {
  wanted_ = on;
  if (on && !surface_ && described_) makeSurface();
  if (!on) dropSurface();
}

std::optional<Layout> Output::layout() const {
  if (!configured_ || width_ == 0) return std::nullopt;
  return layout_;
}

void Output::makeSurface() {
  surface_ = wl_compositor_create_surface(g_.compositor);
  wl_region* opaque = wl_compositor_create_region(g_.compositor);
  wl_region_add(opaque, 0, 0, INT32_MAX, INT32_MAX);
  wl_surface_set_opaque_region(surface_, opaque);
  wl_region_destroy(opaque);
  if (g_.viewporter) {
    viewport_ = wp_viewporter_get_viewport(g_.viewporter, surface_);
    if (g_.fractionalScale) {
      fractional_ =
          wp_fractional_scale_manager_v1_get_fractional_scale(g_.fractionalScale, surface_);
      wp_fractional_scale_v1_add_listener(fractional_, &kFractionalListener, this);
    }
  }
  if (g_.layerShell) {
    layer_ = zwlr_layer_shell_v1_get_layer_surface(
        g_.layerShell, surface_, output_, ZWLR_LAYER_SHELL_V1_LAYER_OVERLAY, "tavrel-saver");
    zwlr_layer_surface_v1_set_anchor(
        layer_, ZWLR_LAYER_SURFACE_V1_ANCHOR_TOP | ZWLR_LAYER_SURFACE_V1_ANCHOR_BOTTOM |
                    ZWLR_LAYER_SURFACE_V1_ANCHOR_LEFT | ZWLR_LAYER_SURFACE_V1_ANCHOR_RIGHT);
    zwlr_layer_surface_v1_set_exclusive_zone(layer_, -1);  // over panels too
    zwlr_layer_surface_v1_set_keyboard_interactivity(
        layer_, ZWLR_LAYER_SURFACE_V1_KEYBOARD_INTERACTIVITY_EXCLUSIVE);
    zwlr_layer_surface_v1_add_listener(layer_, &kLayerListener, this);
  } else {
    xdgSurface_ = xdg_wm_base_get_xdg_surface(g_.wmBase, surface_);
    xdg_surface_add_listener(xdgSurface_, &kXdgSurfaceListener, this);
    toplevel_ = xdg_surface_get_toplevel(xdgSurface_);
    xdg_toplevel_add_listener(toplevel_, &kToplevelListener, this);
    xdg_toplevel_set_title(toplevel_, "Tavrel");
    xdg_toplevel_set_app_id(toplevel_, "tavrel-saver");
    xdg_toplevel_set_fullscreen(toplevel_, output_);
  }
  wl_surface_commit(surface_);
}

const zwlr_layer_surface_v1_listener Output::kLayerListener = {
    .configure =
        [](void* data, zwlr_layer_surface_v1* layer, uint32_t serial, uint32_t width,
           uint32_t height) {
          zwlr_layer_surface_v1_ack_configure(layer, serial);
          static_cast<Output*>(data)->configure(static_cast<int>(width), static_cast<int>(height));
        },
    .closed = [](void* data, zwlr_layer_surface_v1*) { static_cast<Output*>(data)->dropSurface(); },
};

const xdg_surface_listener Output::kXdgSurfaceListener = {
    .configure =
        [](void* data, xdg_surface* surface, uint32_t serial) {
          xdg_surface_ack_configure(surface, serial);
          auto* o = static_cast<Output*>(data);
          o->configure(o->logicalWidth_, o->logicalHeight_);
        },
};

const xdg_toplevel_listener Output::kToplevelListener = {
    .configure =
        [](void* data, xdg_toplevel*, int32_t width, int32_t height, wl_array*) {
          auto* o = static_cast<Output*>(data);
          // No size yet: the output's own, until the compositor says.
          o->logicalWidth_ = width > 0 ? width : o->modeWidth_ / o->scale_;
          o->logicalHeight_ = height > 0 ? height : o->modeHeight_ / o->scale_;
        },
    .close = [](void* data, xdg_toplevel*) { static_cast<Output*>(data)->closed_ = true; },
    .configure_bounds = nullptr,
    .wm_capabilities = nullptr,
};

const wp_fractional_scale_v1_listener Output::kFractionalListener = {
    .preferred_scale =
        [](void* data, wp_fractional_scale_v1*, uint32_t scale) {
          auto* o = static_cast<Output*>(data);
          o->scale120_ = static_cast<int>(scale);
          if (o->configured_) o->resize();
        },
};

void Output::configure(int logicalWidth, int logicalHeight) {
  logicalWidth_ = logicalWidth;
  logicalHeight_ = logicalHeight;
  configured_ = logicalWidth > 0 && logicalHeight > 0;
  if (configured_) resize();
}

// The output in device pixels, one buffer pixel to a device pixel: a
// whole-number scale through the buffer scale, or the viewport where the
// compositor says the scale in 120ths.
void Output::resize() {
  const bool viaViewport = fractional_ && scale120_ > 0;
  const bool fractional = viaViewport && scale120_ % 120 != 0;
  const int whole = viaViewport ? std::max(1, scale120_ / 120) : scale_;
  int width = logicalWidth_ * whole, height = logicalHeight_ * whole;
  if (fractional) {
    width = static_cast<int>(std::lround(logicalWidth_ * scale120_ / 120.0));
    height = static_cast<int>(std::lround(logicalHeight_ * scale120_ / 120.0));
  }
  if (width == width_ && height == height_ && whole == whole_ &&
      (layered_ ? black_ != nullptr : memory_ != MAP_FAILED))
    return;
  const char* scale = std::getenv(kScaleVariable);
  layout_ = layoutFor(width, height, scale ? std::optional<std::string_view>(scale) : std::nullopt);
  dropBuffers();
  dropLayers();
  width_ = width;
  height_ = height;
  whole_ = whole;
  fresh_ = true;
  committed_.reset();
  layered_ = g_.subcompositor && !fractional && layout_.zoom % whole == 0;
  // The buffer's scale and the viewport, as the buffers on this surface need.
  if (viaViewport && !layered_) {
    wl_surface_set_buffer_scale(surface_, 1);
    wp_viewport_set_destination(viewport_, logicalWidth_, logicalHeight_);
  } else {
    if (viewport_) wp_viewport_set_destination(viewport_, -1, -1);
    wl_surface_set_buffer_scale(surface_, whole);
  }
  if (layered_ ? !makeLayers() : !allocate(width, height)) {
    dropBuffers();
    dropLayers();
  }
}

bool Output::allocate(int width, int height) {
  const int stride = width * kBytesPerPixel;
  const std::size_t one = static_cast<std::size_t>(stride) * height;
  const int fd = sharedFile(2 * one);
  if (fd < 0) return false;
  memory_ = mmap(nullptr, 2 * one, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (memory_ == MAP_FAILED) {
    close(fd);
    return false;
  }
  bytes_ = 2 * one;
  wl_shm_pool* pool = wl_shm_create_pool(g_.shm, fd, static_cast<int32_t>(2 * one));
  for (int i = 0; i < 2; ++i) {
    Buffer& b = buffers_[i];
    b.buffer = wl_shm_pool_create_buffer(pool, static_cast<int32_t>(i * one), width, height, stride,
                                         WL_SHM_FORMAT_XRGB8888);
    wl_buffer_add_listener(b.buffer, &kBufferListener, &b);
    b.pixels = static_cast<std::uint8_t*>(memory_) + i * one;
    b.busy = false;
    b.shown.reset();
  }
  wl_shm_pool_destroy(pool);
  close(fd);
  return true;
}

void Output::dropBuffers() {
  for (Buffer& b : buffers_) {
    if (b.buffer) wl_buffer_destroy(b.buffer);
    b = Buffer{};
  }
  if (memory_ != MAP_FAILED) munmap(memory_, bytes_);
  memory_ = MAP_FAILED;
}

// Black under the picture: a buffer of the output's size, never written.
// (One pixel stretched by the viewport would do, but compositors that
// scale in fixed point leave a few lines of the edge uncovered.)
bool Output::makeLayers() {
  black_ = makeSheet(g_.shm, width_, height_, nullptr, &kSheetListener);
  if (!black_) return false;
  wl_surface_attach(surface_, black_->buffer, 0, 0);
  wl_surface_damage_buffer(surface_, 0, 0, INT32_MAX, INT32_MAX);
  black_->busy = true;
  for (Layer* layer : {&pictureLayer_, &textLayer_}) {
    layer->surface = wl_compositor_create_surface(g_.compositor);
    layer->subsurface = wl_subcompositor_get_subsurface(g_.subcompositor, layer->surface, surface_);
    wl_surface_set_buffer_scale(layer->surface, whole_);
    // No input region: input goes to the surface below, which takes it all.
    wl_region* none = wl_compositor_create_region(g_.compositor);
    wl_surface_set_input_region(layer->surface, none);
    wl_region_destroy(none);
  }
  const int margin = kTextMargin * layout_.zoom / whole_;
  wl_subsurface_set_position(textLayer_.subsurface, margin, margin);
  return true;
}

void Output::dropLayer(Layer& layer) {
  if (layer.sheet) retire(std::move(layer.sheet));
  if (layer.subsurface) wl_subsurface_destroy(layer.subsurface);
  if (layer.surface) wl_surface_destroy(layer.surface);
  layer = Layer{};
}

void Output::dropLayers() {
  dropLayer(textLayer_);
  dropLayer(pictureLayer_);
  if (black_) retire(std::move(black_));
}

void Output::retire(std::unique_ptr<Sheet> sheet) {
  if (sheet->busy) retired_.push_back(std::move(sheet));
}

// The layer's new image; committed with the output's surface, as
// subsurfaces are.
void Output::show(Layer& layer, const Converted* image) {
  if (image == nullptr) return;
  auto sheet = makeSheet(g_.shm, image->width, image->height, image->bytes.data(), &kSheetListener);
  if (!sheet) return;
  wl_surface_attach(layer.surface, sheet->buffer, 0, 0);
  wl_surface_damage_buffer(layer.surface, 0, 0, INT32_MAX, INT32_MAX);
  wl_surface_commit(layer.surface);
  sheet->busy = true;
  if (layer.sheet) retire(std::move(layer.sheet));
  layer.sheet = std::move(sheet);
}

void Output::dropSurface() {
  if (frame_) wl_callback_destroy(frame_);
  frame_ = nullptr;
  dropLayers();
  if (layer_) zwlr_layer_surface_v1_destroy(layer_);
  if (toplevel_) xdg_toplevel_destroy(toplevel_);
  if (xdgSurface_) xdg_surface_destroy(xdgSurface_);
  if (viewport_) wp_viewport_destroy(viewport_);
  if (fractional_) wp_fractional_scale_v1_destroy(fractional_);
  if (surface_) wl_surface_destroy(surface_);
  layer_ = nullptr;
  toplevel_ = nullptr;
  xdgSurface_ = nullptr;
  viewport_ = nullptr;
  fractional_ = nullptr;
  surface_ = nullptr;
  configured_ = false;
  presented_ = false;
  closed_ = false;
  dropBuffers();
  // With the surface gone the compositor lets go of every buffer.
  retired_.clear();
  width_ = height_ = 0;
}

const wl_callback_listener Output::kFrameListener = {
    .done =
        [](void* data, wl_callback* callback, uint32_t) {
          wl_callback_destroy(callback);
          auto* o = static_cast<Output*>(data);
          o->frame_ = nullptr;
          o->presented_ = true;
        },
};

const wl_buffer_listener Output::kBufferListener = {
    .release = [](void* data, wl_buffer*) { static_cast<Buffer*>(data)->busy = false; },
};

const wl_buffer_listener Output::kSheetListener = {
    .release = [](void* data, wl_buffer*) { static_cast<Sheet*>(data)->busy = false; },
};

bool Output::draw(const Show& scene, const Bounce& bounce) {
  if (!ready()) return false;
  std::erase_if(retired_, [](const auto& sheet) { return !sheet->busy; });
  const int zoom = layout_.zoom;
  const Converted* c = picture_.from(scene.picture(), scene.pictureVersion(), zoom);
  const Converted* t = text_.from(scene.text(), scene.textVersion(), zoom);
  Rect now{bounce.left() * zoom, bounce.top() * zoom, 0, 0};
  if (c) now.width = c->width, now.height = c->height;
  if (!fresh_ && committed_ == now && pictureVersion_ == scene.pictureVersion() &&
      textVersion_ == scene.textVersion())
    return false;
  if (layered_) {
    drawLayers(scene, c, t, now);
  } else {
    Buffer* b = !buffers_[0].busy ? &buffers_[0] : !buffers_[1].busy ? &buffers_[1] : nullptr;
    if (b == nullptr) return false;
    drawBuffer(*b, c, t, now);
  }
  frame_ = wl_surface_frame(surface_);
  wl_callback_add_listener(frame_, &kFrameListener, this);
  wl_surface_commit(surface_);
  fresh_ = false;
  committed_ = now;
  pictureVersion_ = scene.pictureVersion();
  textVersion_ = scene.textVersion();
  return true;
}

void Output::drawLayers(const Show& scene, const Converted* picture, const Converted* text,
                        const Rect& now) {
  if (fresh_ || pictureVersion_ != scene.pictureVersion()) show(pictureLayer_, picture);
  if (fresh_ || textVersion_ != scene.textVersion()) show(textLayer_, text);
  wl_subsurface_set_position(pictureLayer_.subsurface, now.x / whole_, now.y / whole_);
}

// The picture and the text drawn into the free one of two buffers that
// cover the output: only what changed since that buffer was last shown.
void Output::drawBuffer(Buffer& b, const Converted* picture, const Converted* text,
                        const Rect& now) {
  const int stride = width_ * kBytesPerPixel;
  const auto rows = [&](const Rect& r, auto&& each) {
    const int x0 = std::max(0, r.x), x1 = std::min(width_, r.x + r.width);
    const int y0 = std::max(0, r.y), y1 = std::min(height_, r.y + r.height);
    if (x1 <= x0) return;
    for (int y = y0; y < y1; ++y)
      each(b.pixels + static_cast<std::size_t>(y) * stride + x0 * kBytesPerPixel, x0, y,
           static_cast<std::size_t>(x1 - x0) * kBytesPerPixel);
  };
  if (b.shown)
    for (const Rect& r : uncovered(*b.shown, now))
      rows(r, [](std::uint8_t* p, int, int, std::size_t n) { std::memset(p, 0, n); });
  const auto copy = [&](const Converted& image, const Rect& to) {
    const int from = image.width * kBytesPerPixel;
    rows(to, [&](std::uint8_t* p, int x, int y, std::size_t n) {
      std::memcpy(p,
                  &image.bytes[static_cast<std::size_t>(y - to.y) * from +
                               static_cast<std::size_t>(x - to.x) * kBytesPerPixel],
                  n);
    });
  };
  if (picture) copy(*picture, now);
  b.shown = now;
  // The text goes over the picture, in every frame; the buffer keeps no
  // account of it, so the picture's strips may clear it.
  const int zoom = layout_.zoom;
  const Rect place =
      text ? Rect{kTextMargin * zoom, kTextMargin * zoom, text->width, text->height} : Rect{};
  if (text) copy(*text, place);

  wl_surface_attach(surface_, b.buffer, 0, 0);
  // A full-screen window is repainted whole at every frame: sway 1.7 at
  // scale 2 on a second output loses the damage of part of the window,
  // leaving the desktop showing there.
  if (fresh_ || toplevel_) {
    wl_surface_damage_buffer(surface_, 0, 0, INT32_MAX, INT32_MAX);
  } else {
    for (const Rect& r : {*committed_, now, place})
      if (!r.empty()) wl_surface_damage_buffer(surface_, r.x, r.y, r.width, r.height);
  }
  b.busy = true;
}

}  // namespace tavrel::saver
