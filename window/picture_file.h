// Bitmap files as pictures: Qt's BMP reader decodes them, behind a look at
// the headers that refuses what is inconsistent or too big before any pixel
// is read.
#pragma once

#include <QIODevice>
#include <QString>
#include <cstdint>
#include <optional>

#include "canvas/surface.h"

namespace tavrel {

// The largest picture read: 8192 pixels a side and 16 Mi pixels in all
// (4096 x 4096). A backdrop shows at its natural size in a drawing area
// about 1000 pixels wide, so a larger one shows nothing more; at the limit a
// load holds about 128 MB for a moment and takes a fraction of a second.
inline constexpr int kMaxBitmapSide = 8192;
inline constexpr std::int64_t kMaxBitmapPixels = std::int64_t{1} << 24;

// A BMP file of 1, 4, 8, 16, 24 or 32 bits per pixel, uncompressed, RLE or
// bit fields, rows stored either way up, alpha dropped. Nothing when the
// path is not a regular file, or the file is not a consistent BMP within
// the limits. Qt resource paths (":/...") work too.
std::optional<ImageData> readBitmap(const QString& path);
// The same from a device open for reading at its start.
std::optional<ImageData> readBitmap(QIODevice& file);

}  // namespace tavrel
