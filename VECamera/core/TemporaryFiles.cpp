#include "VECamera/core/VECameraPlugin.h"

namespace vecamera {
namespace {

/// Begins the name of every temporary file.
constexpr std::string_view photoPrefix = "velmora_photo_";

}  // namespace

std::string VECameraPlugin::tempFilePath(std::string_view extension) const {
  const auto temporary = platform_.fileManager.temporaryDirectory();
  if (!temporary) platform_.process.fatalError("There is no temporary directory.");
  const auto directory = platform_.fileManager.stringByStandardizingPath(*temporary);
  const auto formatter = platform_.dateFormatters.makeDateFormatter();
  // Settled: a twelve-hour clock without a marker.
  formatter->setDateFormat("yyyyMMddhhmmss");
  const auto stamp = formatter->stringFromDate(platform_.clock.now());
  std::string path =
      directory + "/" + std::string(photoPrefix) + stamp + "." + std::string(extension);
  // Settled: the name is not varied, and callers rely on a free one, so a taken name is waited for.
  while (platform_.fileManager.fileExistsAtPath(path))
    platform_.fileManager.waitForChangeAtPath(path);
  return path;
}

void VECameraPlugin::cleanup(const std::shared_ptr<CallBackManager>& callback) {
  NSFileManager& files = platform_.fileManager;
  const auto temporary = files.temporaryDirectory().value_or("");
  const auto fail = [&] {
    callback->error(CommandStatus::UNABLE_FILE_REMOVE, "One or more files failed to be deleted.",
                    false);
  };
  const auto enumerator = files.enumeratorAtPath(temporary);
  if (!enumerator) {
    fail();
    return;
  }
  while (const auto entry = enumerator->nextObject()) {
    const std::string* file = entry->text();
    if (!file) break;
    const auto base = platform_.urls.URLWithString(temporary);
    const auto url =
        base ? platform_.urls.appendingPathComponent(*base, *file) : std::optional<URL>();
    if (!url) continue;
    // Settled: the removal is asked for under the URL's text, so a name that a URL escapes is not
    // found.
    if (const auto error = files.removeItemAtPath(url->absoluteString())) {
      platform_.log.error(
          "",
          "Failed to delete: " + temporary + *file + " (error: " + error->localizedDescription(),
          pluginSourceFile, 190, "cleanup(_:)");
      fail();
      return;
    }
  }
  callback->success(false);
}

}  // namespace vecamera
