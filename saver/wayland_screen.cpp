#include "saver/wayland_screen.h"

#include <poll.h>
#include <sys/mman.h>
#include <unistd.h>
#include <wayland-client.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "canvas/display_scale.h"
#include "fractional-scale-v1-client-protocol.h"
#include "layer-shell-client-protocol.h"
#include "saver/pixels.h"
#include "saver/show.h"
#include "viewporter-client-protocol.h"
#include "xdg-shell-client-protocol.h"

namespace tavrel::saver {

namespace {

using Clock = Timeline::Clock;

// wl_shm's XRGB8888: little-endian words 0x00RRGGBB, which every compositor offers.
constexpr PixelFormat kXrgb{0xFF0000, 0xFF00, 0xFF, 0, 32, 32, false};
constexpr int kBytesPerPixel = 4;
constexpr int kTextMargin = 2;  // program pixels from the corner, as on X

// An image enlarged for one zoom, in the buffers' format; converted once
// for each version of the image.
struct Converted {
  std::uint64_t version = 0;
  int zoom = 0;
  int width = 0, height = 0;
  std::vector<std::uint8_t> bytes;

  const Converted* from(const ImageData* img, std::uint64_t v, int z) {
    if (img == nullptr) return nullptr;
    if (v != version || z != zoom) {
      version = v;
      zoom = z;
      width = img->width * z;
      height = img->height * z;
      bytes = serverImage(*img, z, kXrgb);
    }
    return this;
  }
};

// What every output shows: the picture and, with --fps, a line of text over
// its top left corner; each with a number that changes with it.
struct Scene {
  const ImageData* picture = nullptr;
  std::uint64_t pictureVersion = 0;
  const ImageData* text = nullptr;
  std::uint64_t textVersion = 0;
};

class Wayland;

struct Buffer {
  wl_buffer* buffer = nullptr;
  std::uint8_t* pixels = nullptr;
  bool busy = false;          // the compositor holds it
  std::optional<Rect> shown;  // where the picture stands in it; black elsewhere
};

// A buffer written once, when it is made: a picture, a text or black. It is
// let go when the compositor no longer holds it.
struct Sheet {
  wl_buffer* buffer = nullptr;
  bool busy = false;  // the compositor holds it
  Sheet() = default;
  Sheet(const Sheet&) = delete;
  Sheet& operator=(const Sheet&) = delete;
  ~Sheet() {
    if (buffer) wl_buffer_destroy(buffer);
  }
};

// A surface of its own above the output's black, for the picture or the
// text: moving it is a message, and its pixels go to the compositor once.
struct Layer {
  wl_surface* surface = nullptr;
  wl_subsurface* subsurface = nullptr;
  std::unique_ptr<Sheet> sheet;
};

// One output and the surface that covers it.
class Output {
 public:
  Output(Wayland& app, std::uint32_t name, wl_output* output, std::uint32_t seed);
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  std::uint32_t name() const { return name_; }
  wl_surface* surface() const { return surface_; }
  void step(int steps) {
    if (bounce_)
      for (int i = 0; i < steps; ++i) bounce_->step();
  }
  // Draws and commits when the picture moved or something changed, the
  // compositor is ready for a frame and a buffer is free; whether it drew.
  bool draw(const Scene& scene);
  // Whether it would draw at once: shown, and not waiting for the
  // compositor's callback of its last frame.
  bool ready() const {
    return configured_ && (layered_ ? black_ != nullptr : memory_ != MAP_FAILED) && !frame_;
  }

 private:
  void announce();
  void makeSurface();
  void configure(int logicalWidth, int logicalHeight);
  void resize();
  bool allocate(int width, int height);
  void dropBuffers();
  bool makeLayers();
  void dropLayers();
  void dropLayer(Layer& layer);
  void show(Layer& layer, const Converted* image);
  void retire(std::unique_ptr<Sheet> sheet);
  void drawBuffer(Buffer& b, const Converted* picture, const Converted* text, const Rect& now);
  void drawLayers(const Scene& scene, const Converted* picture, const Converted* text,
                  const Rect& now);
  void dropSurface();

  static const wl_output_listener kOutputListener;
  static const zwlr_layer_surface_v1_listener kLayerListener;
  static const xdg_surface_listener kXdgSurfaceListener;
  static const xdg_toplevel_listener kToplevelListener;
  static const wp_fractional_scale_v1_listener kFractionalListener;
  static const wl_callback_listener kFrameListener;
  static const wl_buffer_listener kBufferListener;
  static const wl_buffer_listener kSheetListener;

  Wayland& app_;
  std::uint32_t name_;
  wl_output* output_;
  Random directions_;
  int scale_ = 1;     // the output's whole-number scale
  int scale120_ = 0;  // its fractional scale in 120ths, where offered
  int modeWidth_ = 0, modeHeight_ = 0;
  wl_surface* surface_ = nullptr;
  zwlr_layer_surface_v1* layer_ = nullptr;
  xdg_surface* xdgSurface_ = nullptr;
  xdg_toplevel* toplevel_ = nullptr;
  wp_fractional_scale_v1* fractional_ = nullptr;
  wp_viewport* viewport_ = nullptr;
  int logicalWidth_ = 0, logicalHeight_ = 0;
  bool configured_ = false;
  int width_ = 0, height_ = 0;  // device pixels
  int whole_ = 1;               // device pixels to a surface unit, where whole
  Layout layout_;
  // Where every zoomed program pixel begins on a whole surface unit, the
  // picture and the text are surfaces of their own over a black one; else
  // (a fractional scale, a zoom the scale does not divide) both are drawn
  // into buffers that cover the output.
  bool layered_ = false;
  std::unique_ptr<Sheet> black_;
  Layer pictureLayer_, textLayer_;
  std::vector<std::unique_ptr<Sheet>> retired_;  // replaced, still held by the compositor
  std::optional<Bounce> bounce_;
  void* memory_ = MAP_FAILED;
  std::size_t bytes_ = 0;
  Buffer buffers_[2];
  wl_callback* frame_ = nullptr;
  bool fresh_ = true;              // nothing committed since the buffers were made
  std::optional<Rect> committed_;  // where the picture stands on the output
  std::uint64_t pictureVersion_ = 0, textVersion_ = 0;  // as committed
  Converted picture_, text_;
};

class Wayland {
 public:
  explicit Wayland(const Settings& s, std::uint32_t seed) : settings_(s), seed_(seed) {}
  ~Wayland();
  std::optional<std::string> connect();
  Ending run();

  wl_compositor* compositor = nullptr;
  wl_shm* shm = nullptr;
  zwlr_layer_shell_v1* layerShell = nullptr;
  xdg_wm_base* wmBase = nullptr;
  wp_viewporter* viewporter = nullptr;
  wp_fractional_scale_manager_v1* fractionalScale = nullptr;
  wl_subcompositor* subcompositor = nullptr;
  bool ready = false;   // the globals are bound: outputs may make surfaces
  bool input = false;   // a key, button or motion came
  bool closed = false;  // a window was closed by the compositor

 private:
  struct Seat {
    Wayland* app;
    wl_seat* seat;
    wl_keyboard* keyboard = nullptr;
    wl_pointer* pointer = nullptr;
    wl_fixed_t x = 0, y = 0;
  };
  static const wl_registry_listener kRegistryListener;
  static const wl_seat_listener kSeatListener;
  static const wl_keyboard_listener kKeyboardListener;
  static const wl_pointer_listener kPointerListener;
  static const xdg_wm_base_listener kWmBaseListener;
  void global(wl_registry* registry, std::uint32_t name, std::string_view interface,
              std::uint32_t version);
  void capabilities(Seat& seat, std::uint32_t caps);

  const Settings& settings_;
  std::uint32_t seed_;
  wl_display* display_ = nullptr;
  wl_registry* registry_ = nullptr;
  std::vector<std::unique_ptr<Output>> outputs_;
  std::vector<std::unique_ptr<Seat>> seats_;
  std::uint32_t outputsMade_ = 0;
};

// --- Output ---------------------------------------------------------------

Output::Output(Wayland& app, std::uint32_t name, wl_output* output, std::uint32_t seed)
    : app_(app), name_(name), output_(output), directions_(seed) {
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
  if (!surface_ && app_.ready) makeSurface();
  if (configured_) resize();
}

void Output::makeSurface() {
  surface_ = wl_compositor_create_surface(app_.compositor);
  wl_region* opaque = wl_compositor_create_region(app_.compositor);
  wl_region_add(opaque, 0, 0, INT32_MAX, INT32_MAX);
  wl_surface_set_opaque_region(surface_, opaque);
  wl_region_destroy(opaque);
  if (app_.viewporter) {
    viewport_ = wp_viewporter_get_viewport(app_.viewporter, surface_);
    if (app_.fractionalScale) {
      fractional_ =
          wp_fractional_scale_manager_v1_get_fractional_scale(app_.fractionalScale, surface_);
      wp_fractional_scale_v1_add_listener(fractional_, &kFractionalListener, this);
    }
  }
  if (app_.layerShell) {
    layer_ = zwlr_layer_shell_v1_get_layer_surface(
        app_.layerShell, surface_, output_, ZWLR_LAYER_SHELL_V1_LAYER_OVERLAY, "tavrel-saver");
    zwlr_layer_surface_v1_set_anchor(
        layer_, ZWLR_LAYER_SURFACE_V1_ANCHOR_TOP | ZWLR_LAYER_SURFACE_V1_ANCHOR_BOTTOM |
                    ZWLR_LAYER_SURFACE_V1_ANCHOR_LEFT | ZWLR_LAYER_SURFACE_V1_ANCHOR_RIGHT);
    zwlr_layer_surface_v1_set_exclusive_zone(layer_, -1);  // over panels too
    zwlr_layer_surface_v1_set_keyboard_interactivity(
        layer_, ZWLR_LAYER_SURFACE_V1_KEYBOARD_INTERACTIVITY_EXCLUSIVE);
    zwlr_layer_surface_v1_add_listener(layer_, &kLayerListener, this);
  } else {
    xdgSurface_ = xdg_wm_base_get_xdg_surface(app_.wmBase, surface_);
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
    .close = [](void* data, xdg_toplevel*) { static_cast<Output*>(data)->app_.closed = true; },
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

// A file of shared memory of `bytes` bytes, for the compositor to map.
int sharedFile(std::size_t bytes) {
  const int fd = memfd_create("tavrel-saver", MFD_CLOEXEC);
  if (fd >= 0 && ftruncate(fd, static_cast<off_t>(bytes)) != 0) {
    close(fd);
    return -1;
  }
  return fd;
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
  if (bounce_) {
    bounce_->resize(layout_.width, layout_.height);
  } else {
    bounce_ = firstBounce(layout_.width, layout_.height, directions_);
  }
  dropBuffers();
  dropLayers();
  width_ = width;
  height_ = height;
  whole_ = whole;
  fresh_ = true;
  committed_.reset();
  layered_ = app_.subcompositor && !fractional && layout_.zoom % whole == 0;
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
  wl_shm_pool* pool = wl_shm_create_pool(app_.shm, fd, static_cast<int32_t>(2 * one));
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

// A sheet of `width` x `height` pixels holding `bytes`, or black without them.
std::unique_ptr<Sheet> makeSheet(wl_shm* shm, int width, int height, const std::uint8_t* bytes,
                                 const wl_buffer_listener* listener) {
  const int stride = width * kBytesPerPixel;
  const std::size_t size = static_cast<std::size_t>(stride) * height;
  const int fd = sharedFile(size);
  if (fd < 0) return nullptr;
  if (bytes) {
    void* memory = mmap(nullptr, size, PROT_WRITE, MAP_SHARED, fd, 0);
    if (memory == MAP_FAILED) {
      close(fd);
      return nullptr;
    }
    std::memcpy(memory, bytes, size);
    munmap(memory, size);
  }
  auto sheet = std::make_unique<Sheet>();
  wl_shm_pool* pool = wl_shm_create_pool(shm, fd, static_cast<int32_t>(size));
  sheet->buffer = wl_shm_pool_create_buffer(pool, 0, width, height, stride, WL_SHM_FORMAT_XRGB8888);
  wl_buffer_add_listener(sheet->buffer, listener, sheet.get());
  wl_shm_pool_destroy(pool);
  close(fd);
  return sheet;
}

// Black under the picture: a buffer of the output's size, never written.
// (One pixel stretched by the viewport would do, but compositors that
// scale in fixed point leave a few lines of the edge uncovered.)
bool Output::makeLayers() {
  black_ = makeSheet(app_.shm, width_, height_, nullptr, &kSheetListener);
  if (!black_) return false;
  wl_surface_attach(surface_, black_->buffer, 0, 0);
  wl_surface_damage_buffer(surface_, 0, 0, INT32_MAX, INT32_MAX);
  black_->busy = true;
  for (Layer* layer : {&pictureLayer_, &textLayer_}) {
    layer->surface = wl_compositor_create_surface(app_.compositor);
    layer->subsurface =
        wl_subcompositor_get_subsurface(app_.subcompositor, layer->surface, surface_);
    wl_surface_set_buffer_scale(layer->surface, whole_);
    // No input region: input goes to the surface below, which takes it all.
    wl_region* none = wl_compositor_create_region(app_.compositor);
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
  auto sheet =
      makeSheet(app_.shm, image->width, image->height, image->bytes.data(), &kSheetListener);
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
  dropBuffers();
  // With the surface gone the compositor lets go of every buffer.
  retired_.clear();
  width_ = height_ = 0;
}

const wl_callback_listener Output::kFrameListener = {
    .done =
        [](void* data, wl_callback* callback, uint32_t) {
          wl_callback_destroy(callback);
          static_cast<Output*>(data)->frame_ = nullptr;
        },
};

const wl_buffer_listener Output::kBufferListener = {
    .release = [](void* data, wl_buffer*) { static_cast<Buffer*>(data)->busy = false; },
};

const wl_buffer_listener Output::kSheetListener = {
    .release = [](void* data, wl_buffer*) { static_cast<Sheet*>(data)->busy = false; },
};

bool Output::draw(const Scene& scene) {
  if (!ready() || !bounce_) return false;
  std::erase_if(retired_, [](const auto& sheet) { return !sheet->busy; });
  const int zoom = layout_.zoom;
  const Converted* c = picture_.from(scene.picture, scene.pictureVersion, zoom);
  const Converted* t = text_.from(scene.text, scene.textVersion, zoom);
  Rect now{bounce_->left() * zoom, bounce_->top() * zoom, 0, 0};
  if (c) now.width = c->width, now.height = c->height;
  if (!fresh_ && committed_ == now && pictureVersion_ == scene.pictureVersion &&
      textVersion_ == scene.textVersion)
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
  pictureVersion_ = scene.pictureVersion;
  textVersion_ = scene.textVersion;
  return true;
}

void Output::drawLayers(const Scene& scene, const Converted* picture, const Converted* text,
                        const Rect& now) {
  if (fresh_ || pictureVersion_ != scene.pictureVersion) show(pictureLayer_, picture);
  if (fresh_ || textVersion_ != scene.textVersion) show(textLayer_, text);
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
  if (fresh_) {
    wl_surface_damage_buffer(surface_, 0, 0, INT32_MAX, INT32_MAX);
  } else {
    for (const Rect& r : {*committed_, now, place})
      if (!r.empty()) wl_surface_damage_buffer(surface_, r.x, r.y, r.width, r.height);
  }
  b.busy = true;
}

// --- Wayland --------------------------------------------------------------

const wl_registry_listener Wayland::kRegistryListener = {
    .global =
        [](void* data, wl_registry* registry, uint32_t name, const char* interface,
           uint32_t version) {
          static_cast<Wayland*>(data)->global(registry, name, interface, version);
        },
    .global_remove =
        [](void* data, wl_registry*, uint32_t name) {
          auto& outputs = static_cast<Wayland*>(data)->outputs_;
          std::erase_if(outputs, [name](const auto& o) { return o->name() == name; });
        },
};

template <typename T>
T* bind(wl_registry* registry, std::uint32_t name, const wl_interface* interface,
        std::uint32_t offered, std::uint32_t wanted) {
  return static_cast<T*>(wl_registry_bind(registry, name, interface, std::min(offered, wanted)));
}

void Wayland::global(wl_registry* registry, std::uint32_t name, std::string_view interface,
                     std::uint32_t version) {
  if (interface == wl_compositor_interface.name) {
    compositor = bind<wl_compositor>(registry, name, &wl_compositor_interface, version, 4);
  } else if (interface == wl_subcompositor_interface.name) {
    subcompositor = bind<wl_subcompositor>(registry, name, &wl_subcompositor_interface, version, 1);
  } else if (interface == wl_shm_interface.name) {
    shm = bind<wl_shm>(registry, name, &wl_shm_interface, version, 1);
  } else if (interface == zwlr_layer_shell_v1_interface.name) {
    const char* shell = std::getenv(kShellVariable);
    if (shell == nullptr || std::string_view(shell) != "xdg")
      layerShell =
          bind<zwlr_layer_shell_v1>(registry, name, &zwlr_layer_shell_v1_interface, version, 4);
  } else if (interface == xdg_wm_base_interface.name) {
    wmBase = bind<xdg_wm_base>(registry, name, &xdg_wm_base_interface, version, 3);
    xdg_wm_base_add_listener(wmBase, &kWmBaseListener, this);
  } else if (interface == wp_viewporter_interface.name) {
    viewporter = bind<wp_viewporter>(registry, name, &wp_viewporter_interface, version, 1);
  } else if (interface == wp_fractional_scale_manager_v1_interface.name) {
    fractionalScale = bind<wp_fractional_scale_manager_v1>(
        registry, name, &wp_fractional_scale_manager_v1_interface, version, 1);
  } else if (interface == wl_output_interface.name) {
    // Each output its own bounce: the first as the X module's, the others
    // from sources of their own.
    auto* output = bind<wl_output>(registry, name, &wl_output_interface, version, 3);
    outputs_.push_back(
        std::make_unique<Output>(*this, name, output, (seed_ ^ 0x9E3779B9u) + outputsMade_++));
  } else if (interface == wl_seat_interface.name) {
    auto* seat = bind<wl_seat>(registry, name, &wl_seat_interface, version, 5);
    seats_.push_back(std::make_unique<Seat>(Seat{this, seat}));
    wl_seat_add_listener(seat, &kSeatListener, seats_.back().get());
  }
}

const xdg_wm_base_listener Wayland::kWmBaseListener = {
    .ping = [](void*, xdg_wm_base* base, uint32_t serial) { xdg_wm_base_pong(base, serial); },
};

const wl_seat_listener Wayland::kSeatListener = {
    .capabilities =
        [](void* data, wl_seat*, uint32_t caps) {
          auto* seat = static_cast<Seat*>(data);
          seat->app->capabilities(*seat, caps);
        },
    .name = [](void*, wl_seat*, const char*) {},
};

void Wayland::capabilities(Seat& seat, std::uint32_t caps) {
  const bool keyboard = caps & WL_SEAT_CAPABILITY_KEYBOARD;
  const bool pointer = caps & WL_SEAT_CAPABILITY_POINTER;
  if (keyboard && !seat.keyboard) {
    seat.keyboard = wl_seat_get_keyboard(seat.seat);
    wl_keyboard_add_listener(seat.keyboard, &kKeyboardListener, &seat);
  } else if (!keyboard && seat.keyboard) {
    wl_keyboard_release(seat.keyboard);
    seat.keyboard = nullptr;
  }
  if (pointer && !seat.pointer) {
    seat.pointer = wl_seat_get_pointer(seat.seat);
    wl_pointer_add_listener(seat.pointer, &kPointerListener, &seat);
  } else if (!pointer && seat.pointer) {
    wl_pointer_release(seat.pointer);
    seat.pointer = nullptr;
  }
}

const wl_keyboard_listener Wayland::kKeyboardListener = {
    .keymap = [](void*, wl_keyboard*, uint32_t, int32_t fd, uint32_t) { close(fd); },
    .enter = [](void*, wl_keyboard*, uint32_t, wl_surface*, wl_array*) {},
    .leave = [](void*, wl_keyboard*, uint32_t, wl_surface*) {},
    .key =
        [](void* data, wl_keyboard*, uint32_t, uint32_t, uint32_t, uint32_t state) {
          if (state == WL_KEYBOARD_KEY_STATE_PRESSED) static_cast<Seat*>(data)->app->input = true;
        },
    .modifiers = [](void*, wl_keyboard*, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t) {},
    .repeat_info = [](void*, wl_keyboard*, int32_t, int32_t) {},
};

// A pointer that merely finds itself over a new surface has not moved: only
// motion to another place counts.
const wl_pointer_listener Wayland::kPointerListener = {
    .enter =
        [](void* data, wl_pointer* pointer, uint32_t serial, wl_surface*, wl_fixed_t x,
           wl_fixed_t y) {
          auto* seat = static_cast<Seat*>(data);
          wl_pointer_set_cursor(pointer, serial, nullptr, 0, 0);
          seat->x = x;
          seat->y = y;
        },
    .leave = [](void*, wl_pointer*, uint32_t, wl_surface*) {},
    .motion =
        [](void* data, wl_pointer*, uint32_t, wl_fixed_t x, wl_fixed_t y) {
          auto* seat = static_cast<Seat*>(data);
          if (x != seat->x || y != seat->y) seat->app->input = true;
          seat->x = x;
          seat->y = y;
        },
    .button =
        [](void* data, wl_pointer*, uint32_t, uint32_t, uint32_t, uint32_t state) {
          if (state == WL_POINTER_BUTTON_STATE_PRESSED) static_cast<Seat*>(data)->app->input = true;
        },
    .axis = [](void*, wl_pointer*, uint32_t, uint32_t, wl_fixed_t) {},
    .frame = [](void*, wl_pointer*) {},
    .axis_source = [](void*, wl_pointer*, uint32_t) {},
    .axis_stop = [](void*, wl_pointer*, uint32_t, uint32_t) {},
    .axis_discrete = [](void*, wl_pointer*, uint32_t, int32_t) {},
    .axis_value120 = nullptr,
};

Wayland::~Wayland() {
  if (display_ == nullptr) return;
  outputs_.clear();
  for (const auto& seat : seats_) {
    if (seat->keyboard) wl_keyboard_release(seat->keyboard);
    if (seat->pointer) wl_pointer_release(seat->pointer);
    wl_seat_destroy(seat->seat);
  }
  if (layerShell) zwlr_layer_shell_v1_destroy(layerShell);
  if (wmBase) xdg_wm_base_destroy(wmBase);
  if (viewporter) wp_viewporter_destroy(viewporter);
  if (fractionalScale) wp_fractional_scale_manager_v1_destroy(fractionalScale);
  if (subcompositor) wl_subcompositor_destroy(subcompositor);
  if (shm) wl_shm_destroy(shm);
  if (compositor) wl_compositor_destroy(compositor);
  if (registry_) wl_registry_destroy(registry_);
  wl_display_flush(display_);
  wl_display_disconnect(display_);
}

std::optional<std::string> Wayland::connect() {
  const char* name = std::getenv("WAYLAND_DISPLAY");
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  // A socket name is found in the runtime folder; without one libwayland
  // would add a line of its own.
  if ((name == nullptr || *name != '/') && (runtime == nullptr || *runtime == '\0'))
    return std::string("cannot connect to the Wayland compositor: XDG_RUNTIME_DIR is not set");
  display_ = wl_display_connect(nullptr);
  if (display_ == nullptr) {
    return std::string("cannot connect to the Wayland compositor '") +
           (name && *name ? name : "wayland-0") + "'";
  }
  registry_ = wl_display_get_registry(display_);
  wl_registry_add_listener(registry_, &kRegistryListener, this);
  if (wl_display_roundtrip(display_) < 0) return std::string("the Wayland compositor went away");
  if (!compositor || !shm)
    return std::string("the Wayland compositor offers no shared-memory buffers (wl_shm)");
  if (!layerShell && !wmBase)
    return std::string("the Wayland compositor offers neither layer-shell nor xdg-shell surfaces");
  ready = true;
  return std::nullopt;
}

Ending Wayland::run() {
  Pictures pictures(settings_, seed_, 1000, 1000);
  Timeline timeline(Clock::now(), std::chrono::seconds(settings_.interval),
                    bounceStepPeriod(settings_.speed == Speed::fast));
  Picture current;
  Scene scene;
  FrameRate rate(Clock::now());
  ImageData text;
  const int fd = wl_display_get_fd(display_);
  // The compositor's frame callbacks pace the drawing: a step due before
  // the next frame could show it is taken at the callback, not woken for.
  const Clock::duration early = bounceStepPeriod(settings_.speed == Speed::fast);
  for (;;) {
    if (closed || (input && settings_.inputExits)) return {};
    const Timeline::Due due = timeline.take(Clock::now() + early);
    for (const auto& o : outputs_) o->step(due.steps);
    if (due.picture) {
      if (Picture made = pictures.next()) {
        current = std::move(made);
        scene.picture = current.get();
        ++scene.pictureVersion;
      }
    }
    bool idle = false, drew = false;
    for (const auto& o : outputs_) {
      drew = o->draw(scene) || drew;
      idle = idle || o->ready();
    }
    if (settings_.fps && drew && rate.frame(Clock::now())) {
      text = textPicture(rate.text());
      scene.text = &text;
      ++scene.textVersion;
    }
    // Waiting for frame callbacks, only a picture is worth waking for.
    const Clock::time_point wake = idle ? timeline.wake() : timeline.nextPicture();

    while (wl_display_prepare_read(display_) != 0)
      if (wl_display_dispatch_pending(display_) < 0) return {};
    short events = POLLIN;
    if (wl_display_flush(display_) < 0) {
      if (errno != EAGAIN) {
        wl_display_cancel_read(display_);
        return {};
      }
      events |= POLLOUT;  // the compositor reads slowly: wait until it has room
    }
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(wake - early - Clock::now());
    pollfd fds[] = {{fd, events, 0}, {signalDescriptor(), POLLIN, 0}};
    const int n = poll(fds, 2, static_cast<int>(std::max<long long>(0, wait.count())));
    if (n > 0 && (fds[0].revents & (POLLIN | POLLERR | POLLHUP))) {
      if (wl_display_read_events(display_) < 0) return {};
    } else {
      wl_display_cancel_read(display_);
    }
    if (wl_display_dispatch_pending(display_) < 0) return {};
    if (n <= 0 || !(fds[1].revents & POLLIN)) continue;
    while (const int signal = takeSignal()) {
      if (ends(signal)) return {0, signal};
      timeline.pictureNow(Clock::now());
    }
  }
}

}  // namespace

std::variant<Ending, std::string> runWayland(const Settings& s, std::uint32_t seed) {
  Wayland wayland(s, seed);
  if (auto problem = wayland.connect()) return *problem;
  return wayland.run();
}

}  // namespace tavrel::saver
