#include "canvas/png_text.h"

#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <limits>

namespace tavrel {

namespace {

constexpr std::array<std::uint8_t, 8> kSignature = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
constexpr int kMaxChunks = 1 << 16;
// A keyword is 1 to 79 bytes and its NUL.
constexpr std::size_t kKeywordSpace = 80;

// Where the bytes come from: memory, or a file read in order.
class Source {
 public:
  virtual ~Source() = default;
  // Exactly n bytes, or false.
  virtual bool read(std::uint8_t* out, std::size_t n) = 0;
  virtual bool skip(std::uint64_t n) = 0;
};

class MemorySource final : public Source {
 public:
  explicit MemorySource(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}
  bool read(std::uint8_t* out, std::size_t n) override {
    if (n > bytes_.size() - at_) return false;
    std::memcpy(out, bytes_.data() + at_, n);
    at_ += n;
    return true;
  }
  bool skip(std::uint64_t n) override {
    if (n > bytes_.size() - at_) return false;
    at_ += static_cast<std::size_t>(n);
    return true;
  }

 private:
  std::span<const std::uint8_t> bytes_;
  std::size_t at_ = 0;
};

class FileSource final : public Source {
 public:
  explicit FileSource(int fd) : fd_(fd) {}
  bool read(std::uint8_t* out, std::size_t n) override {
    while (n > 0) {
      const ssize_t got = ::read(fd_, out, n);
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) return false;
      out += got;
      n -= static_cast<std::size_t>(got);
    }
    return true;
  }
  // A skip past the end is found by the next read.
  bool skip(std::uint64_t n) override {
    return n <= static_cast<std::uint64_t>(std::numeric_limits<off_t>::max()) &&
           ::lseek(fd_, static_cast<off_t>(n), SEEK_CUR) >= 0;
  }

 private:
  int fd_;
};

std::uint32_t bigEndian(const std::uint8_t* p) {
  return std::uint32_t{p[0]} << 24 | std::uint32_t{p[1]} << 16 | std::uint32_t{p[2]} << 8 | p[3];
}

// zlib data unpacked to at most `limit` bytes.
std::variant<std::string, PngTextProblem> inflated(std::span<const std::uint8_t> packed,
                                                   std::size_t limit) {
  z_stream z{};
  if (inflateInit(&z) != Z_OK) return PngTextProblem::notPng;
  std::string out(limit + 1, '\0');
  z.next_in = const_cast<Bytef*>(packed.data());
  z.avail_in = static_cast<uInt>(packed.size());
  z.next_out = reinterpret_cast<Bytef*>(out.data());
  z.avail_out = static_cast<uInt>(out.size());
  const int status = inflate(&z, Z_FINISH);
  out.resize(z.total_out);
  inflateEnd(&z);
  if (out.size() > limit) return PngTextProblem::tooLarge;
  if (status != Z_STREAM_END) return PngTextProblem::notPng;
  return out;
}

// The text of a chunk whose data, the keyword and its NUL taken off, is
// `rest`: tEXt holds it plain, zTXt packed, iTXt either way after a language
// tag and a translated keyword.
std::variant<std::string, PngTextProblem> chunkText(std::string_view type,
                                                    std::span<const std::uint8_t> rest,
                                                    std::size_t limit) {
  const auto plain =
      [&](std::span<const std::uint8_t> t) -> std::variant<std::string, PngTextProblem> {
    if (t.size() > limit) return PngTextProblem::tooLarge;
    return std::string(t.begin(), t.end());
  };
  if (type == "tEXt") return plain(rest);
  if (type == "zTXt") {
    if (rest.empty() || rest[0] != 0) return PngTextProblem::notPng;
    return inflated(rest.subspan(1), limit);
  }
  if (rest.size() < 2 || rest[0] > 1 || rest[1] != 0) return PngTextProblem::notPng;
  const bool packed = rest[0] == 1;
  rest = rest.subspan(2);
  for (int field = 0; field < 2; ++field) {  // language tag, translated keyword
    const auto nul = std::find(rest.begin(), rest.end(), std::uint8_t{0});
    if (nul == rest.end()) return PngTextProblem::notPng;
    rest = rest.subspan(static_cast<std::size_t>(nul - rest.begin()) + 1);
  }
  return packed ? inflated(rest, limit) : plain(rest);
}

PngTextResult findText(Source& in, std::string_view keyword, std::size_t limit) {
  std::uint8_t head[8];
  if (!in.read(head, 8) || !std::equal(kSignature.begin(), kSignature.end(), head))
    return PngTextProblem::notPng;
  // Packed text rarely gets larger when it is packed; a little room for the
  // chunk's own fields and for text that does not pack.
  const std::size_t maxData = kKeywordSpace + 2 * limit + 1024;
  for (int chunk = 0; chunk < kMaxChunks; ++chunk) {
    if (!in.read(head, 8)) return PngTextProblem::notPng;
    const std::uint32_t length = bigEndian(head);
    const std::string_view type(reinterpret_cast<const char*>(head + 4), 4);
    if (length > 0x7FFFFFFFu) return PngTextProblem::notPng;
    if (chunk == 0 && (type != "IHDR" || length != 13)) return PngTextProblem::notPng;
    if (type == "IEND") return PngTextProblem::noText;
    const bool isText = type == "tEXt" || type == "zTXt" || type == "iTXt";
    std::size_t taken = 0;
    std::uint8_t key[kKeywordSpace];
    if (isText) {
      taken = std::min<std::size_t>(length, kKeywordSpace);
      if (!in.read(key, taken)) return PngTextProblem::notPng;
      const auto* nul = std::find(key, key + taken, std::uint8_t{0});
      if (nul == key + taken) return PngTextProblem::notPng;
      const std::string_view name(reinterpret_cast<const char*>(key),
                                  static_cast<std::size_t>(nul - key));
      if (name == keyword) {
        if (length > maxData) return PngTextProblem::tooLarge;
        std::string data(reinterpret_cast<const char*>(key), taken);
        data.resize(length + 4);  // with the check sum
        auto* bytes = reinterpret_cast<std::uint8_t*>(data.data());
        if (!in.read(bytes + taken, length + 4 - taken)) return PngTextProblem::notPng;
        uLong sum = crc32(0, head + 4, 4);
        sum = crc32(sum, bytes, length);
        if (sum != bigEndian(bytes + length)) return PngTextProblem::notPng;
        const std::size_t after = name.size() + 1;
        auto text = chunkText(type, std::span(bytes + after, length - after), limit);
        if (auto* problem = std::get_if<PngTextProblem>(&text)) return *problem;
        return std::move(std::get<std::string>(text));
      }
    }
    if (!in.skip(std::uint64_t{length} - taken + 4)) return PngTextProblem::notPng;
  }
  return PngTextProblem::noText;
}

}  // namespace

PngTextResult pngText(std::span<const std::uint8_t> file, std::string_view keyword,
                      std::size_t limit) {
  MemorySource in(file);
  return findText(in, keyword, limit);
}

PngTextResult readPngText(const std::filesystem::path& path, std::string_view keyword,
                          std::size_t limit) {
  auto opened = openRegular(path);
  if (auto* problem = std::get_if<ReadProblem>(&opened)) return *problem;
  FileSource in(std::get<FileHandle>(opened).get());
  return findText(in, keyword, limit);
}

}  // namespace tavrel
