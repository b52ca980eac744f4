#include "device/script/script/ScriptReader.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "device/foundation/files/ApplicationHome.h"
#include "device/foundation/files/Folders.h"
#include "device/foundation/files/WholeFiles.h"
#include "device/script/script/FieldReaders.h"
#include "device/script/script/ScriptJson.h"

namespace vecamera::device::script {
namespace {

namespace fs = std::filesystem;

/// A recording holds its pictures and movies.
constexpr std::size_t maxScriptBytes = 512U << 20;

/// The files of data URLs, in a private folder that is made for the first.
class InlineFiles {
 public:
  foundation::FileResult<fs::path> keep(const Data& bytes) {
    if (!folder_) {
      auto made = foundation::ApplicationHome::makePrivate();
      if (!made) return made.failure();
      folder_ = std::make_shared<foundation::ApplicationHome>(*std::move(made));
    }
    const fs::path file = fs::path(folder_->path()) / std::to_string(count_++);
    if (auto written = foundation::replaceFile(file, bytes); !written) return written.failure();
    return file;
  }
  std::shared_ptr<const void> folder() const { return folder_; }

 private:
  std::shared_ptr<foundation::ApplicationHome> folder_;
  int count_ = 0;
};

/// What `read` makes of the document, or the first error.
template <class Read>
auto readWhole(const Json& document, ReadingFiles files, Read read)
    -> ScriptResult<decltype(read(std::declval<JsonNode>()))> {
  JsonReading reading(std::move(files));
  auto made = read(JsonNode(reading, document, ""));
  if (reading.error()) return Failure{*reading.error()};
  return made;
}

Script readFields(const JsonNode& node) {
  Script script;
  const JsonFields fields(node);
  fields.allowOnly(Keys{"device", "steps"});
  if (const auto device = fields.find("device")) script.device = readDevice(*device);
  if (const auto steps = fields.require("steps")) script.steps = readList(*steps, readStep);
  return script;
}

ScriptResult<Script> parseFile(const foundation::Descriptor& file, const fs::path& folder,
                               std::string_view whenUnreadable) {
  const auto read = foundation::readAll(file, maxScriptBytes);
  if (!read && read.error().code == EFBIG)
    return failed("it is longer than 512 MiB, so it is hardly a script");
  if (!read) return failed(std::string(whenUnreadable));
  const auto bytes = read->bytes();
  return parseScript({reinterpret_cast<const char*>(bytes.data()), bytes.size()}, folder);
}

}  // namespace

ScriptResult<Script> scriptFromJson(const Json& document, const fs::path& folder, FileScope scope) {
  InlineFiles inlineFiles;
  const auto keep = [&inlineFiles](const Data& bytes) { return inlineFiles.keep(bytes); };
  auto script = readWhole(document, {fs::absolute(folder), scope, keep}, readFields);
  if (script) script->inlineFiles = inlineFiles.folder();
  return script;
}

ScriptResult<ScriptStep> stepFromJson(const Json& step, const fs::path& folder, FileScope scope) {
  return readWhole(step, {fs::absolute(folder), scope, {}}, readStep);
}

ScriptResult<Script> parseScript(std::string_view text, const fs::path& folder) {
  const auto document = parseStrictJson(text);
  return document ? scriptFromJson(*document, folder) : document.failure();
}

ScriptResult<Script> readScript(const fs::path& path) {
  std::error_code error;
  if (fs::is_directory(path, error)) return failed("it is a folder, not a script");
  if (!fs::exists(path, error))
    return failed("there is no such file; check the name and the folder");
  // A script may come through a pipe. What is not open cannot be read.
  const auto file =
      foundation::openAt(AT_FDCWD, path, O_RDONLY).value().value_or(foundation::Descriptor());
  return parseFile(file, fs::absolute(path).parent_path(),
                   "it cannot be read; check its permissions");
}

ScriptResult<Script> readScriptFromInput(const fs::path& folder) {
  const foundation::Descriptor input(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0));
  return parseFile(input, folder, "standard input cannot be read");
}

}  // namespace vecamera::device::script
