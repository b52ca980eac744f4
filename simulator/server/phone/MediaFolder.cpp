#include "simulator/server/phone/MediaFolder.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "device/foundation/files/Folders.h"
#include "simulator/server/http/ContentTypes.h"

namespace vecamera::simulator {

MediaFolder::MediaFolder(std::filesystem::path folder, MediaLimits limits)
    : folder_(std::move(folder)), limits_(limits) {}

MediaFolder::Writer::Writer(MediaFolder& folder, std::string name,
                            device::foundation::Descriptor file)
    : folder_(folder), name_(std::move(name)), file_(std::move(file)) {}

MediaFolder::Writer::~Writer() {
  if (name_.empty()) return;
  unlink((folder_.folder_ / name_).c_str());
  folder_.release(bytes_);
  const std::lock_guard lock(folder_.mutex_);
  --folder_.unfinished_;
}

std::optional<std::string> MediaFolder::Writer::write(std::span<const char> bytes) {
  if (bytes_ + bytes.size() > folder_.limits_.fileBytes)
    return "a file has at most " + std::to_string(folder_.limits_.fileBytes >> 20U) + " MiB";
  if (!folder_.reserve(bytes.size()))
    return "this phone was given " + std::to_string(folder_.limits_.totalBytes >> 20U) +
           " MiB of media already; restart the device, or open another tab for a fresh one";
  bytes_ += bytes.size();
  if (device::foundation::writeAll(file_, std::as_bytes(bytes))) return std::nullopt;
  hasDiskFailed_ = true;
  return "the file cannot be written; is the disk full?";
}

std::string MediaFolder::Writer::finish() {
  const std::lock_guard lock(folder_.mutex_);
  --folder_.unfinished_;
  folder_.files_[name_].bytes = bytes_;
  return std::exchange(name_, {});
}

std::unique_ptr<MediaFolder::Writer> MediaFolder::begin(std::string_view originalName) {
  auto extension = extensionOf(originalName);
  if (!extension.empty()) extension.insert(0, 1, '.');
  const std::lock_guard lock(mutex_);
  if (files_.size() + unfinished_ >= limits_.files) return nullptr;
  if (!device::foundation::makePrivateFolder(folder_ / "media")) return nullptr;
  while (true) {
    auto name = "media/" + std::to_string(++number_) + extension;
    auto file = device::foundation::openAt(AT_FDCWD, folder_ / name,
                                           O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
    if (!file && file.error().code == EEXIST) continue;
    if (!file) return nullptr;
    ++unfinished_;
    return std::unique_ptr<Writer>(new Writer(*this, std::move(name), *std::move(file)));
  }
}

HeldFile MediaFolder::hold(std::string_view name) {
  const std::lock_guard lock(mutex_);
  const auto found = files_.find(name);
  if (found == files_.end()) return nullptr;
  if (auto held = found->second.held.lock()) return held;
  HeldFile held(new std::filesystem::path(folder_ / found->first),
                [this](const std::filesystem::path* path) {
                  drop(*path);
                  delete path;
                });
  found->second.held = held;
  return held;
}

/// Takes the file out, unless somebody has begun to hold it anew.
void MediaFolder::drop(const std::filesystem::path& path) {
  const std::lock_guard lock(mutex_);
  const auto found = files_.find(path.lexically_relative(folder_).string());
  if (found == files_.end() || !found->second.held.expired()) return;
  unlink(path.c_str());
  totalBytes_ -= found->second.bytes;
  files_.erase(found);
}

void MediaFolder::dropUnheld() {
  const std::lock_guard lock(mutex_);
  std::erase_if(files_, [this](const auto& entry) {
    const auto& [name, file] = entry;
    if (!file.held.expired()) return false;
    unlink((folder_ / name).c_str());
    totalBytes_ -= file.bytes;
    return true;
  });
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
