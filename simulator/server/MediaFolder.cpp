#include "simulator/server/MediaFolder.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "device/foundation/ApplicationHome.h"
#include "simulator/server/ContentTypes.h"

namespace vecamera::simulator {

MediaFolder::MediaFolder(std::filesystem::path folder, MediaLimits limits)
    : folder_(std::move(folder)), limits_(limits) {}

MediaFolder::Writer::Writer(MediaFolder& folder, std::string name, device::Descriptor file)
    : folder_(folder), name_(std::move(name)), file_(std::move(file)) {}

MediaFolder::Writer::~Writer() {
  if (name_.empty()) return;
  unlink((folder_.folder_ / name_).c_str());
  folder_.release(bytes_);
}

std::optional<std::string> MediaFolder::Writer::write(std::span<const char> bytes) {
  if (bytes_ + bytes.size() > folder_.limits_.fileBytes)
    return "a file has at most " + std::to_string(folder_.limits_.fileBytes >> 20U) + " MiB";
  if (!folder_.reserve(bytes.size()))
    return "this phone was given " + std::to_string(folder_.limits_.totalBytes >> 20U) +
           " MiB of media already; open another tab for a fresh one";
  bytes_ += bytes.size();
  while (!bytes.empty()) {
    const auto written = ::write(file_.number(), bytes.data(), bytes.size());
    if (written < 0 && errno != EINTR) return "the file cannot be written; is the disk full?";
    if (written > 0) bytes = bytes.subspan(static_cast<std::size_t>(written));
  }
  return std::nullopt;
}

std::string MediaFolder::Writer::finish() {
  const std::lock_guard lock(folder_.mutex_);
  folder_.files_.emplace(name_, bytes_);
  return std::exchange(name_, {});
}

std::unique_ptr<MediaFolder::Writer> MediaFolder::begin(std::string_view originalName) {
  std::string name;
  {
    const std::lock_guard lock(mutex_);
    if (number_ >= limits_.files) return nullptr;
    name = "media/" + std::to_string(++number_);
  }
  if (const auto extension = extensionOf(originalName); !extension.empty()) name += "." + extension;
  device::makePrivateFolder((folder_ / "media").string());
  auto file = device::openAt(AT_FDCWD, (folder_ / name).string(),
                             O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
  if (!file) return nullptr;
  return std::unique_ptr<Writer>(new Writer(*this, std::move(name), std::move(file)));
}

bool MediaFolder::has(std::string_view name) const {
  const std::lock_guard lock(mutex_);
  return files_.contains(name);
}

void MediaFolder::remove(std::string_view name) {
  const std::lock_guard lock(mutex_);
  const auto found = files_.find(name);
  if (found == files_.end()) return;
  unlink((folder_ / found->first).c_str());
  totalBytes_ -= found->second;
  files_.erase(found);
}

bool MediaFolder::reserve(std::uint64_t bytes) {
  const std::lock_guard lock(mutex_);
  if (bytes > limits_.totalBytes - totalBytes_) return false;
  totalBytes_ += bytes;
  return true;
}

void MediaFolder::release(std::uint64_t bytes) {
  const std::lock_guard lock(mutex_);
  totalBytes_ -= bytes;
}

}  // namespace vecamera::simulator
