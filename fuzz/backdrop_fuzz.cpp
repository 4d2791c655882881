// The backdrop reader: the header check before Qt's BMP decoder. What it
// lets through decodes to a picture of the size the headers give, within
// the limits.
#include <QBuffer>
#include <QByteArray>
#include <cstddef>
#include <cstdint>

#include "fuzz/check.h"
#include "window/picture_file.h"

using namespace tavrel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  QByteArray bytes =
      QByteArray::fromRawData(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
  QBuffer buffer(&bytes);
  buffer.open(QIODevice::ReadOnly);
  const auto image = readBitmap(buffer);
  if (!image) return 0;
  fuzz::require(image->width > 0 && image->height > 0, "a picture has pixels");
  fuzz::require(image->width <= kMaxBitmapSide && image->height <= kMaxBitmapSide,
                "a picture is within the side limit");
  fuzz::require(static_cast<std::int64_t>(image->width) * image->height <= kMaxBitmapPixels,
                "a picture is within the pixel limit");
  fuzz::require(image->pixels.size() == static_cast<std::size_t>(image->width) * image->height,
                "a picture holds all its pixels");
  return 0;
}
