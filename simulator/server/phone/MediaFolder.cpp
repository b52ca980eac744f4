#include "simulator/server/phone/MediaFolder.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "device/foundation/Base64.h"
#include "device/foundation/files/Folders.h"
#include "simulator/server/http/ContentTypes.h"

namespace vecamera::simulator {

MediaFolder::Writer::~Writer() {
  if (name_.empty()) return;
  unlink((folder_.folder_ / name_).c_str());
  const std::lock_guard lock(folder_.mutex_);
  folder_.totalBytes_ -= bytes_;
  --folder_.unfinished_;
}

device::Result<void, MediaFolder::WriteError> MediaFolder::Writer::write(
    std::span<const char> bytes) {
  const auto refused = [](std::string why, WriteError::Kind kind = WriteError::Kind::limit) {
    return Failure(WriteError{kind, std::move(why)});
  };
  if (bytes_ + bytes.size() > folder_.limits_.fileBytes)
    return refused("a file has at most " + std::to_string(folder_.limits_.fileBytes >> 20U) +
                   " MiB");
  if (!folder_.reserve(bytes.size()))
    return refused("this phone was given " + std::to_string(folder_.limits_.totalBytes >> 20U) +
                   " MiB of media already; restart the device, or open another tab for a fresh "
                   "one");
  bytes_ += bytes.size();
  if (foundation::writeAll(file_, std::as_bytes(bytes))) return {};
  return refused("the file cannot be written; is the disk full?", WriteError::Kind::disk);
}

std::string MediaFolder::Writer::finish() {
  const std::lock_guard lock(folder_.mutex_);
  --folder_.unfinished_;
  folder_.files_[name_].bytes = bytes_;
  return std::exchange(name_, {});
}

ScriptResult<std::unique_ptr<MediaFolder::Writer>> MediaFolder::begin(
    std::string_view originalName) {
  const auto refusal = failed("this phone takes no more files; open another tab");
  auto extension = extensionOf(originalName);
  if (!extension.empty()) extension.insert(0, 1, '.');
  const std::lock_guard lock(mutex_);
  if (files_.size() + unfinished_ >= limits_.files) return refusal;
  if (!foundation::makePrivateFolder(folder_ / "media")) return refusal;
  while (true) {
    auto name = "media/" + std::to_string(++number_) + extension;
    auto file = foundation::openAt(AT_FDCWD, folder_ / name,
                                   O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
    if (!file && file.error().code == EEXIST) continue;
    if (!file) return refusal;
    ++unfinished_;
    return std::unique_ptr<Writer>(new Writer(*this, std::move(name), *std::move(file)));
  }
}

ScriptResult<std::string> MediaFolder::add(const Data& contents, std::string_view originalName) {
  const auto writer = begin(originalName);
  if (!writer) return writer.failure();
  const auto bytes = contents.bytes();
  if (auto written = (*writer)->write({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
      !written)
    return failed(written.error().message);
  return (*writer)->finish();
}

ScriptResult<HeldFile> MediaFolder::hold(std::string_view nameOrDataUrl) {
  std::string name(nameOrDataUrl);
  if (name.starts_with("data:")) {
    constexpr std::string_view marker = ";base64,";
    const auto comma = name.find(marker);
    const auto bytes = comma == std::string::npos
                           ? std::nullopt
                           : foundation::decodeBase64(nameOrDataUrl.substr(comma + marker.size()));
    if (!bytes) return failed("a data URL is written \"data:TYPE;base64,BASE64\"");
    auto added = add(*bytes, "data." + extensionOfType(nameOrDataUrl.substr(5, comma - 5)));
    if (!added) return failed("the file cannot be written");
    name = *std::move(added);
  }
  if (auto held = holdFinished(name)) return held;
  return failed("there is no such file (any more); upload it first, or give a data URL");
}

/// Null where there is none.
HeldFile MediaFolder::holdFinished(std::string_view name) {
  const std::lock_guard lock(mutex_);
  const auto found = files_.find(name);
  if (found == files_.end()) return nullptr;
  if (auto held = found->second.held.lock()) return held;
  HeldFile held(new std::filesystem::path(folder_ / found->first),
                [this](const std::filesystem::path* path) {
                  removeReleased(*path);
                  delete path;
                });
  found->second.held = held;
  return held;
}

/// Takes the file out, unless somebody has begun to hold it anew.
void MediaFolder::removeReleased(const std::filesystem::path& path) {
  const std::lock_guard lock(mutex_);
  const auto found = files_.find(path.lexically_relative(folder_).string());
  if (found == files_.end() || !found->second.held.expired()) return;
  unlink(path.c_str());
  totalBytes_ -= found->second.bytes;
  files_.erase(found);
}

void MediaFolder::removeUnheld() {
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

}  // namespace vecamera::simulator
