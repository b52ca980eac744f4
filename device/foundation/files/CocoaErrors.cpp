#include "device/foundation/files/CocoaErrors.h"

#include <cerrno>
#include <filesystem>
#include <string>

namespace vecamera::device::foundation {
namespace {

/// Codes of the Cocoa error domain.
enum CocoaErrorCode {
  fileNoSuchFile = 4,
  fileWriteUnknown = 512,
  fileWriteNoPermission = 513,
  fileWriteUnsupportedScheme = 518,
  fileWriteOutOfSpace = 640,
};

NSError cocoaError(CocoaErrorCode code, std::string description) {
  NSError error;
  error.domain = "NSCocoaErrorDomain";
  error.code = code;
  error.userInfo.emplace(NSLocalizedDescriptionKey, std::move(description));
  return error;
}

std::string quoted(const std::string& name) {
  return "“" + name + "”";
}

struct Names {
  std::string item;
  std::string folder;
};

/// The quoted names of the item at the path and of the folder that holds it.
Names namesOf(std::string_view text) {
  while (text.size() > 1 && text.ends_with('/')) text.remove_suffix(1);
  const std::filesystem::path path(text);
  const auto folder = path.parent_path();
  return {quoted(path.has_filename() ? path.filename().string() : path.string()),
          quoted(folder.has_filename() ? folder.filename().string() : folder.string())};
}

}  // namespace

NSError removalError(std::string_view path, int code) {
  const std::string text = namesOf(path).item + " couldn’t be removed";
  switch (code) {
    case ENOENT:
    case ENOTDIR: return cocoaError(fileNoSuchFile, text + ".");
    case EACCES:
    case EPERM:
      return cocoaError(fileWriteNoPermission,
                        text + " because you don’t have permission to access it.");
    default: return cocoaError(fileWriteUnknown, text + ".");
  }
}

NSError writingError(std::string_view path, int code) {
  const auto [item, folder] = namesOf(path);
  const std::string text = "The file " + item + " couldn’t be saved in the folder " + folder;
  switch (code) {
    // The platform's sentence does name the file here, not the folder that is missing.
    case ENOENT: return cocoaError(fileNoSuchFile, "The folder " + item + " doesn’t exist.");
    case EACCES:
    case EPERM:
      return cocoaError(fileWriteNoPermission, "You don’t have permission to save the file " +
                                                   item + " in the folder " + folder + ".");
    case ENOSPC:
    case EDQUOT:
      return cocoaError(fileWriteOutOfSpace, text + " because there isn’t enough space available.");
    default: return cocoaError(fileWriteUnknown, text + ".");
  }
}

NSError unsupportedSchemeError() {
  return cocoaError(fileWriteUnsupportedScheme,
                    "The file couldn’t be saved because the specified URL type isn’t supported.");
}

}  // namespace vecamera::device::foundation
