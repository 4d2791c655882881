// Buffers of shared memory for the compositor: pictures converted to its
// pixel format, buffers drawn into, and sheets written once.
#pragma once

#include <wayland-client.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "canvas/surface.h"
#include "saver/show.h"

namespace tavrel::saver {

inline constexpr int kBytesPerPixel = 4;  // wl_shm's XRGB8888

// An image enlarged for one zoom, in the buffers' format; converted once
// for each version of the image.
struct Converted {
  std::uint64_t version = 0;
  int zoom = 0;
  int width = 0, height = 0;
  std::vector<std::uint8_t> bytes;

  const Converted* from(const ImageData* img, std::uint64_t v, int z);
};

// A buffer that covers the output, drawn into where the picture moved.
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

// A file of shared memory of `bytes` bytes, for the compositor to map; -1
// when there is none.
int sharedFile(std::size_t bytes);

// A sheet of `width` x `height` pixels holding `bytes`, or black without
// them; none when the memory cannot be had.
std::unique_ptr<Sheet> makeSheet(wl_shm* shm, int width, int height, const std::uint8_t* bytes,
                                 const wl_buffer_listener* listener);

}  // namespace tavrel::saver
