#include "simulator/server/phone/PathPolicy.h"

#include <algorithm>
#include <optional>
#include <string>
#include <system_error>

#include "device/foundation/Urls.h"

namespace vecamera::simulator {
namespace {

namespace fs = std::filesystem;

/// Whether the path, with all links followed, lies below the folder.
bool isBelow(const fs::path& path, const fs::path& folder) {
  std::error_code failed;
  const auto whole = fs::weakly_canonical(path, failed);
  if (failed) return false;
  const auto base = fs::weakly_canonical(folder, failed);
  if (failed) return false;
  return std::mismatch(base.begin(), base.end(), whole.begin(), whole.end()).first == base.end();
}

/// The first address in the value of a file outside of the folders, or nothing.
std::optional<std::string> outsideFile(const Value& value, std::span<const fs::path> folders) {
  if (const auto* url = value.url()) {
    const auto path = foundation::filePathOf(*url);
    const bool isOutside =
        path && std::none_of(folders.begin(), folders.end(), [&path](const fs::path& folder) {
          return isBelow(fs::path("/") / *path, folder);
        });
    if (isOutside) return url->absoluteString();
  }
  if (const auto* list = value.array())
    for (const auto& element : *list)
      if (auto found = outsideFile(element, folders)) return found;
  if (const auto* dictionary = value.dictionary())
    for (const auto& [key, member] : *dictionary)
      if (auto found = outsideFile(member, folders)) return found;
  return std::nullopt;
}

}  // namespace

ScriptResult<> checkFiles(const script::Step& step, std::span<const fs::path> folders) {
  const Dictionary* info = nullptr;
  if (const auto* capture = std::get_if<script::CaptureStep>(&step)) info = &capture->info;
  if (const auto* pick = std::get_if<script::PickStep>(&step)) info = &pick->info;
  if (info == nullptr) return {};
  for (const auto& [key, value] : *info)
    if (const auto outside = outsideFile(value, folders))
      return failed("info." + key, *outside + " is no file of this phone");
  return {};
}

}  // namespace vecamera::simulator
