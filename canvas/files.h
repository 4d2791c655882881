// Files from elsewhere and files written: every reader opens through
// openRegular, every writer goes through writeFile or writeNewFile.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <variant>

namespace tavrel {

// A file descriptor that closes itself.
class FileHandle {
 public:
  FileHandle() = default;
  explicit FileHandle(int fd) : fd_(fd) {}
  FileHandle(FileHandle&& o) noexcept : fd_(o.release()) {}
  FileHandle& operator=(FileHandle&& o) noexcept;
  ~FileHandle();
  int get() const { return fd_; }
  int release();
  explicit operator bool() const { return fd_ >= 0; }

 private:
  int fd_ = -1;
};

// Why a file could not be read.
enum class ReadProblem { cannotOpen, notRegular, tooLarge, readError };
// "'p.gpl' can't be read", "'p.gpl' is not a regular file", ...; `what`
// names the kind of file the caller wanted ("a palette") for tooLarge.
std::string describe(ReadProblem problem, const std::filesystem::path& path,
                     std::string_view what = "the file");

// Opens a file for reading only when it is a regular file: a FIFO, a device
// or a folder is refused without waiting on it (the open does not block, and
// the kind is checked on what was opened). A symlink to a regular file is
// read.
std::variant<FileHandle, ReadProblem> openRegular(const std::filesystem::path& path);

// A whole regular file of at most `limit` bytes. With `wholeLines`, a larger
// file is not refused: it gives its lines up to the last newline within the
// limit, and never a line cut short.
std::variant<std::string, ReadProblem> readFileCapped(const std::filesystem::path& path,
                                                      std::size_t limit, bool wholeLines = false);

// Writes through a temporary file created new in the same folder (it can't
// be a link planted in advance) and a rename, so a reader never sees half a
// file. A link at `path` itself is replaced, not followed. False when the
// file could not be written, errno naming why; nothing is left behind then.
bool writeFile(const std::filesystem::path& path, std::span<const std::uint8_t> bytes);
bool writeFile(const std::filesystem::path& path, std::string_view text);

// The same, but never replacing anything at `path`.
enum class NewFile { written, exists, failed };
NewFile writeFileIfAbsent(const std::filesystem::path& path, std::span<const std::uint8_t> bytes);

// Whether files can be created in `folder`: a temporary one is created new
// and removed again.
bool canCreateFilesIn(const std::filesystem::path& folder);

}  // namespace tavrel
