#include "device/photos/PrivateFiles.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <system_error>
#include <vector>

namespace vecamera::device::photos {

namespace {

std::string textOf(int error) {
  return std::generic_category().message(error);
}

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() {
    if (number_ >= 0) ::close(number_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int number() const { return number_; }
  bool open() const { return number_ >= 0; }

 private:
  int number_;
};

bool writeAll(int descriptor, std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    bytes = bytes.subspan(static_cast<std::size_t>(written));
  }
  return true;
}

}  // namespace

std::optional<std::string> makePrivateFolder(const std::filesystem::path& folder) {
  std::error_code error;
  if (std::filesystem::is_directory(folder, error)) return std::nullopt;
  const auto parent = folder.parent_path();
  if (!parent.empty() && parent != folder) {
    if (auto problem = makePrivateFolder(parent)) return problem;
  }
  if (::mkdir(folder.c_str(), 0700) != 0) {
    const int reason = errno;
    // Another process may have been quicker.
    if (!std::filesystem::is_directory(folder, error)) return textOf(reason);
  }
  return syncFolder(folder.parent_path());
}

std::optional<std::string> makePrivateFile(const std::filesystem::path& file) {
  const Descriptor made(::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!made.open() && errno != EEXIST) return textOf(errno);
  return std::nullopt;
}

std::optional<std::string> writePrivateFile(const std::filesystem::path& file, const Data& data) {
  const Descriptor made(::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
  if (!made.open()) return textOf(errno);
  if (!writeAll(made.number(), data.bytes())) return textOf(errno);
  if (::fsync(made.number()) != 0) return textOf(errno);
  return std::nullopt;
}

std::optional<std::string> copyToPrivateFile(const std::filesystem::path& from,
                                             const std::filesystem::path& file) {
  const Descriptor source(::open(from.c_str(), O_RDONLY | O_CLOEXEC));
  if (!source.open()) return textOf(errno);
  const Descriptor made(::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
  if (!made.open()) return textOf(errno);
  std::vector<std::uint8_t> piece(1U << 20);
  while (true) {
    const ssize_t got = ::read(source.number(), piece.data(), piece.size());
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return textOf(errno);
    if (got == 0) break;
    if (!writeAll(made.number(), {piece.data(), static_cast<std::size_t>(got)}))
      return textOf(errno);
  }
  if (::fsync(made.number()) != 0) return textOf(errno);
  return std::nullopt;
}

std::optional<std::string> syncFolder(const std::filesystem::path& folder) {
  const Descriptor opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!opened.open() || ::fsync(opened.number()) != 0) return textOf(errno);
  return std::nullopt;
}

std::variant<Data, std::string> readFile(const std::filesystem::path& file) {
  const Descriptor opened(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
  struct stat status {};
  if (!opened.open() || ::fstat(opened.number(), &status) != 0) return textOf(errno);
  if (S_ISDIR(status.st_mode)) return textOf(EISDIR);

  // One byte more than expected, so that the end is met without growing the buffer.
  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(status.st_size) + 1);
  std::size_t filled = 0;
  while (true) {
    if (filled == bytes.size()) bytes.resize(filled * 2);
    const ssize_t got = ::read(opened.number(), bytes.data() + filled, bytes.size() - filled);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return textOf(errno);
    if (got == 0) break;
    filled += static_cast<std::size_t>(got);
  }
  bytes.resize(filled);
  return Data(std::move(bytes));
}

std::optional<std::string> problemWithReading(const std::filesystem::path& file) {
  const Descriptor opened(::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  struct stat status {};
  if (!opened.open() || ::fstat(opened.number(), &status) != 0) return textOf(errno);
  if (S_ISDIR(status.st_mode)) return textOf(EISDIR);
  if (!S_ISREG(status.st_mode)) return "It is no regular file";
  return std::nullopt;
}

std::filesystem::path partialName(const std::filesystem::path& file) {
  static std::atomic<unsigned> count = 0;
  return file.parent_path() / (".part-" + std::to_string(::getpid()) + "-" +
                               std::to_string(++count) + "-" + file.filename().string());
}

bool isPartialInUse(const std::string& fileName) {
  int process = 0;
  if (std::sscanf(fileName.c_str(), ".part-%d-", &process) != 1 || process <= 0) return false;
  // A process of another user refuses the question, and so is there.
  return ::kill(process, 0) == 0 || errno == EPERM;
}

FolderLock::FolderLock(const std::filesystem::path& folder)
    : descriptor_(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  if (descriptor_ < 0) {
    error_ = textOf(errno);
    return;
  }
  while (::flock(descriptor_, LOCK_EX) != 0) {
    if (errno == EINTR) continue;
    error_ = textOf(errno);
    return;
  }
}

FolderLock::~FolderLock() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

}  // namespace vecamera::device::photos
