#include "window/picture_file.h"

#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QImageReader>
#include <variant>

#include "canvas/files.h"
#include "window/image_convert.h"

namespace tavrel {

namespace {

constexpr qint64 kFileHeader = 14;
// The largest info header, bit-field masks after the smallest one that has
// them, and the largest palette: all that precedes the pixels.
constexpr qint64 kMostBeforePixels = kFileHeader + 124 + 12 + 256 * 4;

enum Compression : std::uint32_t { kNone = 0, kRle8 = 1, kRle4 = 2, kBitFields = 3 };

std::uint32_t little(const QByteArray& b, qint64 at, int bytes) {
  std::uint32_t v = 0;
  for (int i = 0; i < bytes; ++i)
    v |= std::uint32_t{static_cast<std::uint8_t>(b[at + i])} << (8 * i);
  return v;
}

// The size of the picture when the headers at the start of a file of
// `fileSize` bytes describe a bitmap that lies whole inside the file and
// within the limits; nothing otherwise. Qt's reader is lenient where this is
// strict: it reads a data offset inside the headers as "right after them"
// and fills rows missing at the end of a file with whatever it likes.
std::optional<QSize> checkedSize(const QByteArray& head, qint64 fileSize) {
  if (head.size() < kFileHeader + 12 || head[0] != 'B' || head[1] != 'M') return std::nullopt;
  const std::uint32_t dataOffset = little(head, 10, 4);
  const std::uint32_t headerSize = little(head, 14, 4);
  // The 12-byte header has 16-bit sizes, no compression and 3-byte palette
  // entries; the others share the layout of the 40-byte one.
  const bool core = headerSize == 12;
  if (!core && headerSize != 40 && headerSize != 64 && headerSize != 108 && headerSize != 124)
    return std::nullopt;
  if (head.size() < kFileHeader + headerSize) return std::nullopt;
  std::int64_t width = 0, height = 0;
  std::uint32_t planes = 0, bits = 0, compression = kNone, imageSize = 0, coloursUsed = 0;
  if (core) {
    width = static_cast<std::int16_t>(little(head, 18, 2));
    height = static_cast<std::int16_t>(little(head, 20, 2));
    planes = little(head, 22, 2);
    bits = little(head, 24, 2);
  } else {
    width = static_cast<std::int32_t>(little(head, 18, 4));
    height = static_cast<std::int32_t>(little(head, 22, 4));
    planes = little(head, 26, 2);
    bits = little(head, 28, 2);
    compression = little(head, 30, 4);
    imageSize = little(head, 34, 4);
    coloursUsed = little(head, 46, 4);
  }

  const std::int64_t rows = height < 0 ? -height : height;  // negative: stored top-down
  if (planes != 1 || width <= 0 || rows == 0) return std::nullopt;
  if (width > kMaxBitmapSide || rows > kMaxBitmapSide || width * rows > kMaxBitmapPixels)
    return std::nullopt;
  if (bits != 1 && bits != 4 && bits != 8 && bits != 16 && bits != 24 && bits != 32)
    return std::nullopt;
  const bool rle = compression == kRle8 || compression == kRle4;
  const bool matches = compression == kNone || (compression == kRle8 && bits == 8) ||
                       (compression == kRle4 && bits == 4) ||
                       (compression == kBitFields && (bits == 16 || bits == 32));
  // Run-length data is stored bottom-up only, and says how long it is.
  if (!matches || (rle && (height < 0 || imageSize == 0))) return std::nullopt;

  std::int64_t tables = 0;
  if (compression == kBitFields && headerSize == 40) tables = 12;  // the masks follow the header
  if (bits <= 8) {
    const std::int64_t entries = coloursUsed == 0 ? std::int64_t{1} << bits : coloursUsed;
    if (entries > std::int64_t{1} << bits) return std::nullopt;
    tables = entries * (core ? 3 : 4);
  }
  if (dataOffset < kFileHeader + headerSize + tables || dataOffset >= fileSize) return std::nullopt;
  const std::int64_t stride = (width * bits + 31) / 32 * 4;
  const std::int64_t dataSize = rle ? imageSize : stride * rows;
  if (dataSize > fileSize - dataOffset) return std::nullopt;
  return QSize(static_cast<int>(width), static_cast<int>(rows));
}

}  // namespace

std::optional<ImageData> readBitmap(const QString& path) {
  // Only a regular file: a folder fails, and a pipe or a device could block
  // or never end. Qt's resources are files of its own.
  QFile file(path);
  if (path.startsWith(':')) {
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly)) return std::nullopt;
  } else {
    auto opened = openRegular(QFile::encodeName(path).toStdString());
    auto* handle = std::get_if<FileHandle>(&opened);
    if (!handle || !file.open(handle->get(), QIODevice::ReadOnly, QFileDevice::AutoCloseHandle))
      return std::nullopt;
    handle->release();
  }
  return readBitmap(file);
}

std::optional<ImageData> readBitmap(QIODevice& file) {
  const auto size = checkedSize(file.read(kMostBeforePixels), file.size());
  if (!size || !file.seek(0)) return std::nullopt;

  QImageReader reader(&file, "bmp");
  reader.setAutoDetectImageFormat(false);
  QImage image;
  if (!reader.read(&image) || image.size() != *size) return std::nullopt;
  if (image.format() != QImage::Format_RGB32 && image.format() != QImage::Format_ARGB32)
    image.convertTo(QImage::Format_RGB32);

  return fromQImage(image);
}

}  // namespace tavrel
