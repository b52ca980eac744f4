#include "simulator/server/phone/Recording.h"

#include <array>
#include <fstream>
#include <utility>

#include "device/foundation/Base64.h"
#include "device/foundation/files/PartialFile.h"
#include "device/script/json/JsonValue.h"
#include "simulator/server/http/ContentTypes.h"

namespace vecamera::simulator {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

/// The file as a JSON text, piece by piece.
bool writeDataUrl(std::ostream& out, const fs::path& path) {
  // Pieces of a multiple of three bytes have no padding between them.
  std::array<char, 3 * 16384> piece;
  std::ifstream file(path, std::ios::binary);
  if (!file) return false;
  // Parameters of a media type have no place in the address of a file.
  const auto type = contentTypeOf(path.string());
  out << "\"data:" << type.substr(0, type.find(';')) << ";base64,";
  while (file.read(piece.data(), piece.size()) || file.gcount() > 0) {
    const std::string_view bytes(piece.data(), static_cast<std::size_t>(file.gcount()));
    out << device::foundation::Base64().base64EncodedString("", Data::copyOf(bytes));
  }
  out << '"';
  return file.eof() && out.good();
}

/// An object with one more member, which is the file.
bool writeWithFile(std::ostream& out, const Json& object, const std::string& key,
                   const fs::path& path) {
  auto text = device::script::toLine(object);
  text.pop_back();
  out << text << (object.empty() ? "" : ",") << '"' << key << "\":";
  const bool written = writeDataUrl(out, path);
  out << '}';
  return written;
}

/// Nobody reads half a file under its name, and a failed write leaves none behind. Until it is
/// whole it has a hidden name, which no watcher of the folder minds.
template <class Write>
bool replaceFile(const fs::path& path, Write write) {
  auto partial = device::foundation::PartialFile::createBeside(path);
  if (!partial) return false;
  std::ofstream out(partial->path(), std::ios::binary | std::ios::trunc);
  const bool isWritten = out.is_open() && write(out);
  out.close();
  return isWritten && !out.fail() && partial->moveTo(path);
}

}  // namespace

void Recording::begin(Json device, std::vector<Asset> library) {
  const std::lock_guard lock(mutex_);
  device_ = std::move(device);
  library_ = std::move(library);
  steps_.clear();
  bytes_ = 0;
  ended_.reset();
}

bool Recording::add(Json step, File file) {
  const auto bytes = device::script::toLine(step).size();
  const std::lock_guard lock(mutex_);
  if (ended_) return false;
  if (steps_.size() >= limits_.steps)
    ended_ = "it has " + std::to_string(limits_.steps) + " steps, and takes no more";
  else if (bytes_ + bytes > limits_.bytes)
    ended_ = "its steps have " + std::to_string(limits_.bytes >> 20U) + " MiB, and no room is left";
  if (ended_) return false;
  bytes_ += bytes;
  steps_.push_back({std::move(step), std::move(file)});
  return true;
}

void Recording::end(std::string why) {
  const std::lock_guard lock(mutex_);
  ended_ = std::move(why);
}

std::optional<std::string> Recording::ended() const {
  const std::lock_guard lock(mutex_);
  return ended_;
}

std::size_t Recording::steps() const {
  const std::lock_guard lock(mutex_);
  return steps_.size();
}

bool Recording::writeTo(const fs::path& path) const {
  std::unique_lock lock(mutex_);
  const auto device = device_;
  const auto library = library_;
  const auto steps = steps_;
  lock.unlock();
  return replaceFile(path, [&](std::ostream& out) {
    bool written = true;
    out << "{\n  \"device\": {";
    const char* separator = "\n    ";
    for (const auto& [key, value] : device.items()) {
      out << std::exchange(separator, ",\n    ") << Json(key).dump() << ": "
          << device::script::toLine(value);
    }
    if (!library.empty()) {
      out << std::exchange(separator, ",\n    ") << "\"library\": [";
      const char* between = "\n      ";
      for (const auto& asset : library) {
        out << std::exchange(between, ",\n      ");
        written = writeWithFile(out, {{"id", asset.id}}, "file", *asset.held) && written;
      }
      out << "\n    ]";
    }
    out << "\n  },\n  \"steps\": [";
    separator = "\n    ";
    for (const auto& step : steps) {
      out << std::exchange(separator, ",\n    ");
      if (step.file.key.empty())
        out << device::script::toLine(step.json);
      else
        written = writeWithFile(out, step.json, step.file.key, *step.file.held) && written;
    }
    out << "\n  ]\n}\n";
    return written;
  });
}

}  // namespace vecamera::simulator
