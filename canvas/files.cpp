#include "canvas/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>

#include "canvas/text.h"

namespace tavrel {

namespace fs = std::filesystem;

FileHandle& FileHandle::operator=(FileHandle&& o) noexcept {
  if (this != &o) {
    if (fd_ >= 0) ::close(fd_);
    fd_ = o.release();
  }
  return *this;
}

FileHandle::~FileHandle() {
  if (fd_ >= 0) ::close(fd_);
}

int FileHandle::release() {
  const int fd = fd_;
  fd_ = -1;
  return fd;
}

std::string describe(ReadProblem problem, const fs::path& path, std::string_view what) {
  const std::string name = quotedText(path.string());
  switch (problem) {
    case ReadProblem::notRegular:
      return name + " is not a regular file";
    case ReadProblem::tooLarge:
      return name + " is too large for " + std::string(what);
    case ReadProblem::cannotOpen:
    case ReadProblem::readError:
      break;
  }
  return name + " can't be read";
}

std::variant<FileHandle, ReadProblem> openRegular(const fs::path& path) {
  // O_NONBLOCK: opening a FIFO without a writer would wait for one.
  FileHandle file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
  if (!file) return errno == ENXIO ? ReadProblem::notRegular : ReadProblem::cannotOpen;
  struct stat st {};
  if (::fstat(file.get(), &st) != 0) return ReadProblem::cannotOpen;
  if (!S_ISREG(st.st_mode)) return ReadProblem::notRegular;
  return file;
}

std::variant<std::string, ReadProblem> readFileCapped(const fs::path& path, std::size_t limit,
                                                      bool wholeLines) {
  auto opened = openRegular(path);
  if (auto* problem = std::get_if<ReadProblem>(&opened)) return *problem;
  const FileHandle file = std::move(std::get<FileHandle>(opened));
  // One byte past the limit tells a file that ends there from a longer one;
  // the buffer grows with what is read, not with what the file claims.
  std::string text;
  std::size_t got = 0;
  while (got <= limit) {
    if (got == text.size()) text.resize(std::min(limit + 1, std::max<std::size_t>(2 * got, 65536)));
    const ssize_t n = ::read(file.get(), text.data() + got, text.size() - got);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return ReadProblem::readError;
    if (n == 0) break;
    got += static_cast<std::size_t>(n);
  }
  text.resize(got);
  if (got <= limit) return text;
  if (!wholeLines) return ReadProblem::tooLarge;
  const auto lastNewline = text.rfind('\n', limit - 1);
  text.resize(lastNewline == std::string::npos ? 0 : lastNewline + 1);
  return text;
}

namespace {

// A temporary file created new next to `path`: O_EXCL with O_CREAT refuses
// any name that exists, a link included, so nothing planted can receive the
// bytes. Gives the open file and its name.
std::pair<FileHandle, fs::path> createTemporary(const fs::path& path) {
  static std::atomic<unsigned> counter{0};
  const auto clock = static_cast<unsigned>(std::chrono::steady_clock::now().time_since_epoch() /
                                           std::chrono::nanoseconds(1));
  for (int attempt = 0; attempt < 100; ++attempt) {
    char suffix[32];
    std::snprintf(suffix, sizeof suffix, ".%d.%08x.tmp", static_cast<int>(::getpid()),
                  clock * 2654435761u + counter++);
    std::string name(1, '.');
    name.append(path.filename().string()).append(suffix);
    fs::path temporary = path.parent_path() / name;
    const int fd = ::open(temporary.c_str(),
                          O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY, 0666);
    if (fd >= 0) return {FileHandle(fd), std::move(temporary)};
    if (errno != EEXIST) break;
  }
  return {};
}

bool writeAll(int fd, std::span<const std::uint8_t> bytes) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<std::size_t>(n);
  }
  return true;
}

// The temporary file, written whole and closed; empty when that failed.
fs::path writtenTemporary(const fs::path& path, std::span<const std::uint8_t> bytes) {
  auto [file, temporary] = createTemporary(path);
  if (!file) return {};
  const bool written = writeAll(file.get(), bytes);
  const bool closed = ::close(file.release()) == 0;
  if (written && closed) return temporary;
  const int reason = errno;
  ::unlink(temporary.c_str());
  errno = reason;
  return {};
}

}  // namespace

bool writeFile(const fs::path& path, std::span<const std::uint8_t> bytes) {
  const fs::path temporary = writtenTemporary(path, bytes);
  if (temporary.empty()) return false;
  if (::rename(temporary.c_str(), path.c_str()) == 0) return true;
  const int reason = errno;
  ::unlink(temporary.c_str());
  errno = reason;
  return false;
}

bool writeFile(const fs::path& path, std::string_view text) {
  return writeFile(path,
                   std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
}

NewFile writeFileIfAbsent(const fs::path& path, std::span<const std::uint8_t> bytes) {
  const fs::path temporary = writtenTemporary(path, bytes);
  if (temporary.empty()) return NewFile::failed;
  // The name is taken only when nothing has it, a link included; where the
  // file system can't rename that way, a hard link does the same.
  if (::renameat2(AT_FDCWD, temporary.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE) == 0)
    return NewFile::written;
  int error = errno;
  if (error == EINVAL || error == ENOSYS) {
    const bool linked = ::link(temporary.c_str(), path.c_str()) == 0;
    error = linked ? 0 : errno;
  }
  ::unlink(temporary.c_str());
  errno = error;
  if (error == 0) return NewFile::written;
  return error == EEXIST ? NewFile::exists : NewFile::failed;
}

bool canCreateFilesIn(const fs::path& folder) {
  auto [file, temporary] = createTemporary(folder / ".tavrel-probe");
  if (!file) return false;
  ::unlink(temporary.c_str());
  return true;
}

}  // namespace tavrel
