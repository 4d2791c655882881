#include "canvas/image_io.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <system_error>

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

void putBig32(Bytes& out, std::uint32_t v) {
  for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<std::uint8_t>(v >> shift));
}
void putLittle(Bytes& out, std::uint32_t v, int bytes) {
  for (int i = 0; i < bytes; ++i) out.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
}

std::uint32_t crc32(const std::uint8_t* data, std::size_t n) {
  static const std::array<std::uint32_t, 256> table = [] {
    std::array<std::uint32_t, 256> t{};
    for (std::uint32_t i = 0; i < 256; ++i) {
      std::uint32_t c = i;
      for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
      t[i] = c;
    }
    return t;
  }();
  std::uint32_t c = 0xFFFFFFFFu;
  for (std::size_t i = 0; i < n; ++i) c = table[(c ^ data[i]) & 0xFF] ^ (c >> 8);
  return c ^ 0xFFFFFFFFu;
}

std::uint32_t adler32(const Bytes& data) {
  std::uint32_t a = 1, b = 0;
  for (std::uint8_t byte : data) {
    a = (a + byte) % 65521;
    b = (b + a) % 65521;
  }
  return (b << 16) | a;
}

// Deflate bits go out least significant first; Huffman codes most
// significant first, hence the reversal.
class BitWriter {
 public:
  explicit BitWriter(Bytes& out) : out_(out) {}

  void bits(std::uint32_t value, int count) {
    acc_ |= value << filled_;
    filled_ += count;
    while (filled_ >= 8) {
      out_.push_back(static_cast<std::uint8_t>(acc_));
      acc_ >>= 8;
      filled_ -= 8;
    }
  }
  void code(std::uint32_t value, int length) {
    std::uint32_t reversed = 0;
    for (int i = 0; i < length; ++i) reversed |= ((value >> i) & 1) << (length - 1 - i);
    bits(reversed, length);
  }
  void flush() {
    if (filled_ > 0) out_.push_back(static_cast<std::uint8_t>(acc_));
    acc_ = 0;
    filled_ = 0;
  }

 private:
  Bytes& out_;
  std::uint32_t acc_ = 0;
  int filled_ = 0;
};

// The fixed Huffman code of deflate.
void literalOrLength(BitWriter& w, int symbol) {
  if (symbol < 144) {
    w.code(0x30 + symbol, 8);
  } else if (symbol < 256) {
    w.code(0x190 + symbol - 144, 9);
  } else if (symbol < 280) {
    w.code(symbol - 256, 7);
  } else {
    w.code(0xC0 + symbol - 280, 8);
  }
}

constexpr std::array<int, 29> kLengthBase = {3,  4,  5,  6,   7,   8,   9,   10,  11, 13,
                                             15, 17, 19, 23,  27,  31,  35,  43,  51, 59,
                                             67, 83, 99, 115, 131, 163, 195, 227, 258};
constexpr std::array<int, 29> kLengthExtra = {0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2,
                                              2, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5, 0};
constexpr std::array<int, 30> kDistBase = {
    1,   2,   3,   4,   5,   7,    9,    13,   17,   25,   33,   49,   65,    97,    129,
    193, 257, 385, 513, 769, 1025, 1537, 2049, 3073, 4097, 6145, 8193, 12289, 16385, 24577};
constexpr std::array<int, 30> kDistExtra = {0, 0, 0, 0, 1, 1, 2, 2,  3,  3,  4,  4,  5,  5,  6,
                                            6, 7, 7, 8, 8, 9, 9, 10, 10, 11, 11, 12, 12, 13, 13};

void match(BitWriter& w, int length, int distance) {
  int i = static_cast<int>(kLengthBase.size()) - 1;
  while (kLengthBase[i] > length) --i;
  literalOrLength(w, 257 + i);
  w.bits(static_cast<std::uint32_t>(length - kLengthBase[i]), kLengthExtra[i]);
  int d = static_cast<int>(kDistBase.size()) - 1;
  while (kDistBase[d] > distance) --d;
  w.code(static_cast<std::uint32_t>(d), 5);
  w.bits(static_cast<std::uint32_t>(distance - kDistBase[d]), kDistExtra[d]);
}

// A zlib stream of one fixed-Huffman block with greedy LZ77 matching. Our
// pictures are large areas of one colour, where this comes close to what a
// full encoder achieves, and the output depends on the input alone.
Bytes zlibCompress(const Bytes& data) {
  constexpr int kWindow = 32768;
  constexpr int kHashBits = 15;
  constexpr int kMaxChain = 16;
  constexpr int kMaxMatch = 258;

  Bytes out = {0x78, 0x01};
  BitWriter w(out);
  w.bits(1, 1);  // final block
  w.bits(1, 2);  // fixed Huffman codes

  const std::size_t n = data.size();
  std::vector<std::int64_t> head(std::size_t{1} << kHashBits, -1);
  std::vector<std::int64_t> prev(kWindow, -1);
  auto hashAt = [&](std::size_t i) {
    const std::uint32_t key = (std::uint32_t{data[i]} << 16) | (std::uint32_t{data[i + 1]} << 8) |
                              std::uint32_t{data[i + 2]};
    return (key * 2654435761u) >> (32 - kHashBits);
  };
  auto insert = [&](std::size_t i) {
    if (i + 3 > n) return;
    const auto h = hashAt(i);
    prev[i % kWindow] = head[h];
    head[h] = static_cast<std::int64_t>(i);
  };

  std::size_t i = 0;
  while (i < n) {
    int bestLength = 0;
    int bestDistance = 0;
    if (i + 3 <= n) {
      const int limit = static_cast<int>(std::min<std::size_t>(kMaxMatch, n - i));
      std::int64_t candidate = head[hashAt(i)];
      for (int chain = 0; chain < kMaxChain && candidate >= 0; ++chain) {
        const auto distance = static_cast<std::int64_t>(i) - candidate;
        if (distance > kWindow) break;
        int length = 0;
        while (length < limit && data[candidate + length] == data[i + length]) ++length;
        if (length > bestLength) {
          bestLength = length;
          bestDistance = static_cast<int>(distance);
          if (length == limit) break;
        }
        const std::int64_t next = prev[candidate % kWindow];
        if (next >= candidate) break;  // the slot was reused by a newer position
        candidate = next;
      }
    }
    if (bestLength >= 3) {
      match(w, bestLength, bestDistance);
      for (int k = 0; k < bestLength; ++k) insert(i + k);
      i += bestLength;
    } else {
      literalOrLength(w, data[i]);
      insert(i);
      ++i;
    }
  }
  literalOrLength(w, 256);
  w.flush();
  putBig32(out, adler32(data));
  return out;
}

void pngChunk(Bytes& out, const char* type, const Bytes& body) {
  putBig32(out, static_cast<std::uint32_t>(body.size()));
  const std::size_t start = out.size();
  out.insert(out.end(), type, type + 4);
  out.insert(out.end(), body.begin(), body.end());
  putBig32(out, crc32(out.data() + start, out.size() - start));
}

int paethPredictor(int a, int b, int c) {
  const int p = a + b - c;
  const int pa = std::abs(p - a), pb = std::abs(p - b), pc = std::abs(p - c);
  if (pa <= pb && pa <= pc) return a;
  return pb <= pc ? b : c;
}

// Filtered scanlines: each row takes whichever filter leaves the smallest
// sum of magnitudes, the usual rule of thumb.
Bytes filteredRows(const ImageData& img) {
  const std::size_t stride = static_cast<std::size_t>(img.width) * 3;
  Bytes out;
  out.reserve((stride + 1) * img.height);
  std::vector<std::uint8_t> above(stride, 0), row(stride);
  std::array<Bytes, 5> candidates;
  for (auto& c : candidates) c.resize(stride);
  for (int y = 0; y < img.height; ++y) {
    for (int x = 0; x < img.width; ++x) {
      const Colour c = img.at(x, y);
      row[3 * x] = red(c);
      row[3 * x + 1] = green(c);
      row[3 * x + 2] = blue(c);
    }
    int bestFilter = 0;
    long bestCost = std::numeric_limits<long>::max();
    for (int f = 0; f < 5; ++f) {
      long cost = 0;
      for (std::size_t i = 0; i < stride; ++i) {
        const int a = i >= 3 ? row[i - 3] : 0;
        const int b = above[i];
        const int c = i >= 3 ? above[i - 3] : 0;
        int predicted = 0;
        if (f == 1) predicted = a;
        if (f == 2) predicted = b;
        if (f == 3) predicted = (a + b) / 2;
        if (f == 4) predicted = paethPredictor(a, b, c);
        const auto v = static_cast<std::uint8_t>(row[i] - predicted);
        candidates[f][i] = v;
        cost += v < 128 ? v : 256 - v;
      }
      if (cost < bestCost) {
        bestCost = cost;
        bestFilter = f;
      }
    }
    out.push_back(static_cast<std::uint8_t>(bestFilter));
    out.insert(out.end(), candidates[bestFilter].begin(), candidates[bestFilter].end());
    std::swap(above, row);
  }
  return out;
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

Bytes encodePng(const ImageData& img) {
  Bytes out = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  Bytes header;
  putBig32(header, static_cast<std::uint32_t>(img.width));
  putBig32(header, static_cast<std::uint32_t>(img.height));
  header.insert(header.end(), {8, 2, 0, 0, 0});  // 8 bits, RGB, deflate, no interlace
  pngChunk(out, "IHDR", header);
  pngChunk(out, "IDAT", zlibCompress(filteredRows(img)));
  pngChunk(out, "IEND", {});
  return out;
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

bool writeFile(const std::filesystem::path& path, std::span<const std::uint8_t> bytes) {
  std::filesystem::path temporary = path;
  temporary += ".tmp";
  {
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    if (!out) return false;
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
    out.close();
    if (!out) {
      std::error_code ignored;
      std::filesystem::remove(temporary, ignored);
      return false;
    }
  }
  std::error_code ec;
  std::filesystem::rename(temporary, path, ec);
  if (!ec) return true;
  std::filesystem::remove(temporary, ec);
  return false;
}

}  // namespace tavrel
