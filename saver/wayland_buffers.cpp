#include "saver/wayland_buffers.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstring>

#include "saver/pixels.h"

namespace tavrel::saver {

namespace {

// wl_shm's XRGB8888: little-endian words 0x00RRGGBB, which every compositor offers.
constexpr PixelFormat kXrgb{0xFF0000, 0xFF00, 0xFF, 0, 32, 32, false};

}  // namespace

int sharedFile(std::size_t bytes) {
  const int fd = memfd_create("tavrel-saver", MFD_CLOEXEC);
  if (fd >= 0 && ftruncate(fd, static_cast<off_t>(bytes)) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

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

const Converted* Converted::from(const ImageData* img, std::uint64_t v, int z) {
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

}  // namespace tavrel::saver
