#include "canvas/image_io.h"

#include <png.h>

#include <algorithm>
#include <csetjmp>
#include <cstring>
#include <new>
#include <variant>

namespace tavrel {

namespace {

std::uint8_t red(Colour c) {
  return static_cast<std::uint8_t>(c & 0xFF);
}
std::uint8_t green(Colour c) {
  return static_cast<std::uint8_t>((c >> 8) & 0xFF);
}
std::uint8_t blue(Colour c) {
  return static_cast<std::uint8_t>((c >> 16) & 0xFF);
}

void putLittle(Bytes& out, std::uint32_t v, int bytes) {
  for (int i = 0; i < bytes; ++i) out.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
}

Colour rgb(std::uint32_t r, std::uint32_t g, std::uint32_t b) {
  return static_cast<Colour>(r | (g << 8) | (b << 16));
}

// PNG through libpng. libpng reports an error by a longjmp back to the
// setjmp of the function that drives it; those functions (writeRows,
// readRows) own no object with a destructor, so a jump skips none. What
// must outlive a jump belongs to their callers.

// The largest side of a PNG we read: that of the largest picture the
// renderer writes. libpng checks it before anything is allocated for pixels.
constexpr png_uint_32 kMaxPngSide = 16384;

[[noreturn]] void jumpBack(png_structp png, png_const_charp) {
  png_longjmp(png, 1);
}
void ignoreWarning(png_structp, png_const_charp) {}

void appendToBytes(png_structp png, png_bytep data, std::size_t n) {
  auto* out = static_cast<Bytes*>(png_get_io_ptr(png));
  bool stored = true;
  try {
    out->insert(out->end(), data, data + n);
  } catch (const std::bad_alloc&) {
    stored = false;
  }
  if (!stored) png_error(png, "out of memory");
}
void flushNothing(png_structp) {}

struct PngWriter {
  png_structp png =
      png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, jumpBack, ignoreWarning);
  png_infop info = png ? png_create_info_struct(png) : nullptr;
  ~PngWriter() { png_destroy_write_struct(&png, &info); }
};

bool writeRows(png_structp png, png_infop info, const ImageData& img, png_textp texts,
               int textCount, png_bytep row) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_set_IHDR(png, info, static_cast<png_uint_32>(img.width), static_cast<png_uint_32>(img.height),
               8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
               PNG_FILTER_TYPE_DEFAULT);
  if (textCount > 0) png_set_text(png, info, texts, textCount);
  png_write_info(png, info);
  for (int y = 0; y < img.height; ++y) {
    for (int x = 0; x < img.width; ++x) {
      const Colour c = img.at(x, y);
      row[3 * x] = red(c);
      row[3 * x + 1] = green(c);
      row[3 * x + 2] = blue(c);
    }
    png_write_row(png, row);
  }
  png_write_end(png, info);
  return true;
}

struct MemorySource {
  std::span<const std::uint8_t> bytes;
  std::size_t at = 0;
};

void readFromMemory(png_structp png, png_bytep out, std::size_t n) {
  auto* in = static_cast<MemorySource*>(png_get_io_ptr(png));
  if (n > in->bytes.size() - in->at) png_error(png, "cut short");
  std::memcpy(out, in->bytes.data() + in->at, n);
  in->at += n;
}

struct PngReader {
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, jumpBack, ignoreWarning);
  png_infop info = png ? png_create_info_struct(png) : nullptr;
  std::vector<png_byte> rgb;  // the rows as libpng gives them, 3 bytes a pixel
  std::vector<png_bytep> rows;
  ~PngReader() { png_destroy_read_struct(&png, &info, nullptr); }
};

// Any PNG becomes 8-bit RGB: palettes and grey expanded, 16 bits cut to 8,
// alpha dropped, passes of an interlaced file merged.
bool readRows(PngReader& r) {
  if (setjmp(png_jmpbuf(r.png))) return false;
  png_set_user_limits(r.png, kMaxPngSide, kMaxPngSide);
  png_read_info(r.png, r.info);
  png_set_expand(r.png);
  png_set_strip_16(r.png);
  png_set_strip_alpha(r.png);
  png_set_gray_to_rgb(r.png);
  png_set_interlace_handling(r.png);
  png_read_update_info(r.png, r.info);
  const std::size_t width = png_get_image_width(r.png, r.info);
  const std::size_t height = png_get_image_height(r.png, r.info);
  if (png_get_rowbytes(r.png, r.info) != width * 3) png_error(r.png, "not 8-bit RGB");
  r.rgb.resize(width * 3 * height);
  r.rows.resize(height);
  for (std::size_t y = 0; y < height; ++y) r.rows[y] = r.rgb.data() + y * width * 3;
  png_read_image(r.png, r.rows.data());
  png_read_end(r.png, r.info);
  return true;
}

}  // namespace

ImageData zoomed(const ImageData& img, int zoom) {
  if (zoom <= 1) return img;
  ImageData out;
  out.width = img.width * zoom;
  out.height = img.height * zoom;
  out.pixels.resize(static_cast<std::size_t>(out.width) * out.height);
  for (int y = 0; y < out.height; ++y) {
    Colour* row = out.pixels.data() + static_cast<std::size_t>(y) * out.width;
    for (int x = 0; x < out.width; ++x) row[x] = img.at(x / zoom, y / zoom);
  }
  return out;
}

Bytes encodePng(const ImageData& img, const PngTexts& texts) {
  PngWriter w;
  if (!w.info) return {};
  std::vector<png_text> chunks(texts.size());
  for (std::size_t i = 0; i < texts.size(); ++i) {
    // libpng copies what it is given and changes none of it.
    chunks[i].compression = PNG_ITXT_COMPRESSION_zTXt;
    chunks[i].key = const_cast<char*>(texts[i].first.c_str());
    chunks[i].text = const_cast<char*>(texts[i].second.c_str());
    chunks[i].itxt_length = texts[i].second.size();
  }
  Bytes out;
  png_set_write_fn(w.png, &out, appendToBytes, flushNothing);
  std::vector<png_byte> row(static_cast<std::size_t>(std::max(img.width, 0)) * 3);
  if (!writeRows(w.png, w.info, img, chunks.data(), static_cast<int>(chunks.size()), row.data()))
    return {};
  return out;
}

const std::string* PngFile::text(std::string_view keyword) const {
  for (const auto& [key, value] : texts)
    if (key == keyword) return &value;
  return nullptr;
}

std::optional<PngFile> decodePng(std::span<const std::uint8_t> file) {
  try {
    PngReader r;
    if (!r.info) return std::nullopt;
    MemorySource source{file};
    png_set_read_fn(r.png, &source, readFromMemory);
    if (!readRows(r)) return std::nullopt;
    PngFile f;
    f.image.width = static_cast<int>(png_get_image_width(r.png, r.info));
    f.image.height = static_cast<int>(png_get_image_height(r.png, r.info));
    f.image.pixels.resize(r.rgb.size() / 3);
    for (std::size_t i = 0; i < f.image.pixels.size(); ++i)
      f.image.pixels[i] = rgb(r.rgb[3 * i], r.rgb[3 * i + 1], r.rgb[3 * i + 2]);
    png_textp texts = nullptr;
    const int count = png_get_text(r.png, r.info, &texts, nullptr);
    for (int i = 0; i < count; ++i) {
      const png_text& t = texts[i];
      const std::size_t length =
          t.compression >= PNG_ITXT_COMPRESSION_NONE ? t.itxt_length : t.text_length;
      f.texts.emplace_back(t.key, t.text ? std::string(t.text, length) : std::string());
    }
    return f;
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }
}

std::optional<PngFile> readPng(const std::filesystem::path& path) {
  constexpr std::size_t kMaxFile = std::size_t{kMaxPngSide} * kMaxPngSide * 4;
  const auto read = readFileCapped(path, kMaxFile);
  const auto* bytes = std::get_if<std::string>(&read);
  if (!bytes) return std::nullopt;
  return decodePng(std::span(reinterpret_cast<const std::uint8_t*>(bytes->data()), bytes->size()));
}

Bytes encodeBmp(const ImageData& img) {
  const std::uint32_t stride = (static_cast<std::uint32_t>(img.width) * 3 + 3) & ~3u;
  const std::uint32_t dataSize = stride * static_cast<std::uint32_t>(img.height);
  Bytes out;
  out.reserve(54 + dataSize);
  out.push_back('B');
  out.push_back('M');
  putLittle(out, 54 + dataSize, 4);
  putLittle(out, 0, 4);
  putLittle(out, 54, 4);
  putLittle(out, 40, 4);
  putLittle(out, static_cast<std::uint32_t>(img.width), 4);
  putLittle(out, static_cast<std::uint32_t>(img.height), 4);
  putLittle(out, 1, 2);   // planes
  putLittle(out, 24, 2);  // bits per pixel
  putLittle(out, 0, 4);   // uncompressed
  putLittle(out, dataSize, 4);
  putLittle(out, 3780, 4);  // 96 dots per inch, both ways
  putLittle(out, 3780, 4);
  putLittle(out, 0, 4);
  putLittle(out, 0, 4);
  for (int y = img.height - 1; y >= 0; --y) {
    for (int x = 0; x < img.width; ++x) {
      const Colour c = img.at(x, y);
      out.insert(out.end(), {blue(c), green(c), red(c)});
    }
    out.resize(out.size() + (stride - static_cast<std::uint32_t>(img.width) * 3), 0);
  }
  return out;
}

}  // namespace tavrel
