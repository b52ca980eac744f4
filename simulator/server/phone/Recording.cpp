#include "simulator/server/phone/Recording.h"

#include <algorithm>
#include <utility>

#include "device/foundation/Base64.h"
#include "device/foundation/files/PartialFile.h"
#include "simulator/server/http/ContentTypes.h"

namespace vecamera::simulator {
namespace {

namespace fs = std::filesystem;
using std::chrono::steady_clock;

constexpr std::chrono::seconds writeInterval{1};
/// Of the phone's time, writing takes no more than one part in so many.
constexpr int writeShare = 10;

/// Writes texts to a file in larger pieces. The first error stays.
class TextWriter {
 public:
  explicit TextWriter(const foundation::Descriptor& file) : file_(file) {}
  TextWriter& operator<<(std::string_view text) {
    constexpr std::size_t pieceBytes = 1U << 16U;
    piece_ += text;
    return piece_.size() < pieceBytes ? *this : flush();
  }
  TextWriter& flush() {
    if (written_) written_ = foundation::writeAll(file_, std::as_bytes(std::span(piece_)));
    piece_.clear();
    return *this;
  }
  const FileResult<void>& written() const { return written_; }

 private:
  const foundation::Descriptor& file_;
  std::string piece_;
  FileResult<void> written_;
};

/// The file as a JSON text, piece by piece.
FileResult<void> writeDataUrl(TextWriter& out, const fs::path& path) {
  // Pieces of a multiple of three bytes have no padding between them.
  constexpr std::size_t pieceBytes = std::size_t{3} * 16384;
  const auto file = foundation::openFileForReading(path);
  if (!file) return file.failure();
  // Parameters of a media type have no place in the address of a file.
  const auto type = contentTypeOf(path.string());
  out << "\"data:" << type.substr(0, type.find(';')) << ";base64,";
  for (std::size_t got = pieceBytes; got == pieceBytes;) {
    const auto piece = foundation::readUpTo(file->descriptor, pieceBytes);
    if (!piece) return piece.failure();
    got = piece->size();
    out << foundation::Base64().base64EncodedString("", *piece);
  }
  out << "\"";
  return {};
}

/// The text of an object, which is not empty, with the file as one more member.
FileResult<void> writeWithFile(TextWriter& out, std::string_view object, const std::string& key,
                               const fs::path& path) {
  object.remove_suffix(1);
  out << object << ",\"" << key << "\":";
  auto written = writeDataUrl(out, path);
  out << "}";
  return written;
}

}  // namespace

void Recording::begin(Json device, std::vector<Asset> library) {
  releaseFiles();
  isDirty_ = true;
  const std::lock_guard lock(mutex_);
  device_ = std::move(device);
  library_ = std::move(library);
  steps_.clear();
  bytes_ = 0;
  ended_.reset();
}

void Recording::add(const Json& step, File file) {
  // The name in front, for people who read the recording.
  Json sorted = {{"do", step["do"]}};
  sorted.update(step);
  auto text = toLine(sorted);
  if (!ended() && steps() >= limits_.steps)
    end("it has " + std::to_string(limits_.steps) + " steps, and takes no more");
  else if (!ended() && bytes_ + text.size() > limits_.bytes)
    end("its steps have " + std::to_string(limits_.bytes >> 20U) + " MiB, and no room is left");
  if (ended()) {
    if (file.held) unrecorded_.push_back(std::move(file.held));
    return;
  }
  isDirty_ = true;
  const std::lock_guard lock(mutex_);
  bytes_ += text.size();
  steps_.push_back({std::move(text), std::move(file)});
}

void Recording::end(const std::string& why) {
  onDiagnostic_("the recording has ended: " + why);
  const std::lock_guard lock(mutex_);
  ended_ = why;
}

std::optional<Recording::TimePoint> Recording::nextWrite() const {
  return isDirty_ && file_ ? std::optional(nextWrite_) : std::nullopt;
}

void Recording::write() {
  if (!nextWrite()) return;
  const auto begun = steady_clock::now();
  // What could not be written is tried again, and reported once.
  const auto written = writeTo(*file_);
  isDirty_ = !written;
  if (isDirty_ && !hasWriteFailed_)
    onDiagnostic_("the recording cannot be written to " + file_->string() + ": " +
                  written.error().message);
  hasWriteFailed_ = isDirty_;
  const auto end = steady_clock::now();
  nextWrite_ = end + std::max<steady_clock::duration>(writeInterval, writeShare * (end - begun));
}

std::optional<std::string> Recording::ended() const {
  const std::lock_guard lock(mutex_);
  return ended_;
}

std::size_t Recording::steps() const {
  const std::lock_guard lock(mutex_);
  return steps_.size();
}

FileResult<void> Recording::writeTo(const fs::path& path) const {
  std::unique_lock lock(mutex_);
  const auto device = device_;
  const auto library = library_;
  const auto steps = steps_;
  lock.unlock();

  auto partial = foundation::PartialFile::createBeside(path);
  if (!partial) return partial.failure();
  TextWriter out(partial->descriptor());
  out << "{\n  \"device\": {";
  const char* separator = "\n    ";
  for (const auto& [key, value] : device.items())
    out << std::exchange(separator, ",\n    ") << Json(key).dump() << ": " << toLine(value);
  if (!library.empty()) {
    out << std::exchange(separator, ",\n    ") << "\"library\": [";
    const char* between = "\n      ";
    for (const auto& asset : library) {
      out << std::exchange(between, ",\n      ");
      const auto text = toLine({{"id", asset.id}});
      if (auto written = writeWithFile(out, text, "file", *asset.held); !written) return written;
    }
    out << "\n    ]";
  }
  out << "\n  },\n  \"steps\": [";
  separator = "\n    ";
  for (const auto& [text, file] : steps) {
    out << std::exchange(separator, ",\n    ");
    if (file.key.empty())
      out << text;
    else if (auto written = writeWithFile(out, text, file.key, *file.held); !written)
      return written;
  }
  out << "\n  ]\n}\n";
  if (!out.flush().written()) return out.written();
  return partial->moveTo(path);
}

}  // namespace vecamera::simulator
