// Drawing on a Wayland desktop: one output and the surface that covers it,
// a layer-shell overlay or, where the compositor has no layer-shell, a
// full-screen xdg-shell window.
#pragma once

#include <sys/mman.h>
#include <wayland-client.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "fractional-scale-v1-client-protocol.h"
#include "layer-shell-client-protocol.h"
#include "saver/show.h"
#include "saver/wayland_buffers.h"
#include "viewporter-client-protocol.h"
#include "xdg-shell-client-protocol.h"

namespace tavrel::saver {

// What surfaces are made with: the compositor's globals the module binds.
struct Globals {
  wl_compositor* compositor = nullptr;
  wl_shm* shm = nullptr;
  zwlr_layer_shell_v1* layerShell = nullptr;
  xdg_wm_base* wmBase = nullptr;
  wp_viewporter* viewporter = nullptr;
  wp_fractional_scale_manager_v1* fractionalScale = nullptr;
  wl_subcompositor* subcompositor = nullptr;
};

class Output {
 public:
  // `key`: the output's number among those the module has seen, from 0.
  Output(const Globals& g, std::uint32_t name, wl_output* output, int key);
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  std::uint32_t name() const { return name_; }
  int key() const { return key_; }
  // Covers the output (once the compositor has described it), or takes
  // the surface away.
  void cover(bool on);
  bool owns(const wl_surface* surface) const { return surface && surface == surface_; }
  // The size in program pixels, once the compositor has configured the surface.
  std::optional<Layout> layout() const;
  // Draws and commits when the picture moved or something changed, the
  // compositor is ready for a frame and a buffer is free; whether it drew.
  bool draw(const Show& show, const Bounce& bounce);
  // Whether it would draw at once: shown, and not waiting for the
  // compositor's callback of its last frame. While the output is off no
  // callback comes, and nothing is drawn.
  bool ready() const {
    return configured_ && (layered_ ? black_ != nullptr : memory_ != MAP_FAILED) && !frame_;
  }
  // Whether the compositor has shown a frame of the surface.
  bool presented() const { return presented_; }
  // Whether the compositor asked to close the window (full-screen windows only).
  bool takeClosed() { return std::exchange(closed_, false); }

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
  void drawLayers(const Show& show, const Converted* picture, const Converted* text,
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

  const Globals& g_;
  std::uint32_t name_;
  wl_output* output_;
  int key_;
  bool wanted_ = false;     // the show wants it covered
  bool described_ = false;  // the compositor has told its mode and scale
  int scale_ = 1;           // the output's whole-number scale
  int scale120_ = 0;        // its fractional scale in 120ths, where offered
  int modeWidth_ = 0, modeHeight_ = 0;
  wl_surface* surface_ = nullptr;
  zwlr_layer_surface_v1* layer_ = nullptr;
  xdg_surface* xdgSurface_ = nullptr;
  xdg_toplevel* toplevel_ = nullptr;
  wp_fractional_scale_v1* fractional_ = nullptr;
  wp_viewport* viewport_ = nullptr;
  int logicalWidth_ = 0, logicalHeight_ = 0;
  bool configured_ = false;
  bool closed_ = false;
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
  void* memory_ = MAP_FAILED;
  std::size_t bytes_ = 0;
  Buffer buffers_[2];
  wl_callback* frame_ = nullptr;
  bool presented_ = false;
  bool fresh_ = true;              // the next commit repaints the whole surface
  std::optional<Rect> committed_;  // where the picture stands on the output
  std::uint64_t pictureVersion_ = 0, textVersion_ = 0;  // as committed
  Converted picture_, text_;
};

}  // namespace tavrel::saver
