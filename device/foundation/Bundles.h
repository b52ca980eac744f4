#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "VECamera/platform/Foundation.h"

namespace vecamera::device::foundation {

/// Resource bundles in folders: resources at the root, localized ones in "ko.lproj" and the like,
/// and an optional "Info.plist". Any thread.
///
/// Texts come from one "Localizable.strings": that of the first preferred language that the bundle
/// has, else of its development region, else of "Base.lproj", else the one at its root. A language
/// matches its folder in any case, with "-" or "_", without its last subtags ("zh-Hant-TW" also
/// takes "zh-Hant" and "zh"), and by its former English name as well as by its code ("Korean" and
/// "ko"), whichever of them the user prefers. A table that cannot be read counts as absent.
class Bundles : public NSBundles {
 public:
  /// The main bundle's folder; where there is none, the main bundle has no resources. `languages`
  /// are the user's preferred languages, best first.
  Bundles(std::optional<std::string> mainBundlePath, std::vector<std::string> languages);
  std::unique_ptr<NSBundle> mainBundle() override;
  /// Null where the path is no folder.
  std::unique_ptr<NSBundle> bundleWithPath(std::string_view path) override;

 private:
  const std::string mainBundlePath_;
  const std::vector<std::string> languages_;
};

}  // namespace vecamera::device::foundation
