#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <span>
#include <string>
#include <system_error>
#include <utility>

#include "VECamera/platform/Value.h"
#include "device/base/Result.h"

/// File-system calls that do not stop halfway at a signal. Any thread.
namespace vecamera::device::foundation {

/// Why the file system did not do what it was asked for.
struct FileError {
  /// An `errno` value.
  int code = 0;
  /// For people, in English, without a full stop.
  std::string message;
};

template <class T>
using FileResult = Result<T, FileError>;

/// The failure of the system call before, or of that `errno` value.
inline Failure<FileError> fileFailure(int code = errno) {
  return Failure(FileError{code, std::generic_category().message(code)});
}

/// Owns an open file descriptor, or none.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor();

  explicit operator bool() const { return number_ >= 0; }
  int number() const { return number_; }

 private:
  int number_ = -1;
};

/// Whether a link that is the last component of a path is followed.
enum class LastLink { follow, refuse };

/// `openat` with close-on-exec; `folder` may be `AT_FDCWD`. A path that holds a zero byte names
/// nothing.
FileResult<Descriptor> openAt(int folder, const std::filesystem::path& path, int flags,
                              unsigned mode = 0);
FileResult<Descriptor> openFolderAt(int folder, const std::filesystem::path& path,
                                    LastLink lastLink);

struct OpenedFile {
  Descriptor descriptor;
  /// In bytes, when it was opened.
  std::uint64_t size = 0;
};
/// Opens the regular file for reading; refuses anything else.
FileResult<OpenedFile> openFileForReading(const std::filesystem::path& path);

/// The next bytes: fewer than asked for only at the end of the file.
FileResult<Data> readUpTo(const Descriptor& file, std::size_t length);

inline constexpr std::size_t unlimitedBytes = std::numeric_limits<std::size_t>::max() / 2;
/// The bytes up to the end of the file, pipe or device; the error is `EFBIG` where there are more.
FileResult<Data> readAll(const Descriptor& file, std::size_t maxBytes = unlimitedBytes);

FileResult<void> writeAll(const Descriptor& file, std::span<const std::byte> bytes);
/// Writes what `from` holds from its position on.
FileResult<void> copyAll(const Descriptor& from, const Descriptor& to);
/// Returns when what was written survives a loss of power.
FileResult<void> synchronize(const Descriptor& file);

/// What happens where somebody else has the lock.
enum class IfLocked { wait, fail };
/// Takes the lock of the file or folder, which nobody else has until the descriptor is closed. The
/// system closes it where the process dies. Fails with `EWOULDBLOCK` where it may not wait.
FileResult<void> lock(const Descriptor& file, IfLocked ifLocked);

}  // namespace vecamera::device::foundation
