#include "device/foundation/Bundles.h"

#include <fcntl.h>
#include <unicode/locid.h>

#include <filesystem>
#include <system_error>
#include <utility>

#include "device/foundation/PropertyLists.h"
#include "device/foundation/StringsTable.h"
#include "device/foundation/files/Folders.h"
#include "device/foundation/files/WholeFiles.h"

namespace vecamera::device::foundation {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t maxFileBytes = std::size_t{4} << 20;
constexpr std::string_view localizationSuffix = ".lproj";

bool isFolder(const fs::path& path) {
  std::error_code error;
  return fs::is_directory(path, error);
}

/// The form in which language identifiers are compared.
std::string normalized(std::string_view language) {
  std::string form(language);
  for (char& c : form) {
    if (c == '_') c = '-';
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return form;
}

/// Where the English name of a language is not what it was when localizations had such names.
constexpr std::pair<std::string_view, std::string_view> formerNames[] = {
    {"be", "byelorussian"}, {"bn", "bengali"},   {"fa", "farsi"},
    {"ky", "kirghiz"},      {"nb", "norwegian"}, {"nn", "nynorsk"},
    {"or", "oriya"},        {"si", "sinhalese"}, {"ug", "uighur"}};

/// The name by which a localization went before there were language codes.
std::string englishName(const char* languageCode) {
  for (const auto& [code, name] : formerNames)
    if (code == languageCode) return std::string(name);
  icu::UnicodeString name;
  std::string utf8;
  icu::Locale(languageCode).getDisplayLanguage(icu::Locale::getEnglish(), name).toUTF8String(utf8);
  return normalized(utf8);
}

/// The English name for a language code, and the code for an English name.
std::optional<std::string> otherName(const std::string& language) {
  for (const char* const* code = icu::Locale::getISOLanguages(); *code; ++code) {
    if (language == *code) return englishName(*code);
    if (language.size() > 3 && language == englishName(*code)) return *code;
  }
  return std::nullopt;
}

/// The names that a localization for the language may have, best first.
std::vector<std::string> candidates(std::string_view language) {
  std::vector<std::string> names;
  for (std::string name = normalized(language); !name.empty();) {
    names.push_back(name);
    const auto subtag = name.rfind('-');
    name.resize(subtag == std::string::npos ? 0 : subtag);
  }
  if (!names.empty())
    if (auto other = otherName(names.back())) names.push_back(std::move(*other));
  return names;
}

class Bundle : public NSBundle {
 public:
  Bundle(std::string path, const std::vector<std::string>& languages)
      : path_(std::move(path)), languages_(languages) {}

  std::optional<std::string> pathForResource(std::string_view name,
                                             std::string_view type) override {
    std::string file(name);
    if (!type.empty()) file.append(".").append(type);
    if (file.empty() || file.find('\0') != std::string::npos) return std::nullopt;
    for (const std::string& folder : resourceFolders()) {
      std::error_code error;
      std::string path = folder + "/" + file;
      if (fs::exists(path, error)) return path;
    }
    return std::nullopt;
  }

  std::string localizedStringForKey(std::string_view key) override {
    if (!table_) table_ = readTable();
    const auto found = table_->find(key);
    return found == table_->end() ? std::string(key) : found->second;
  }

 private:
  struct Localization {
    std::string normalizedName;
    std::string path;
  };

  /// Sorted by path, so that of two folders for one language it is always the same that counts.
  std::vector<Localization> localizations() const {
    const auto folder = openFolderAt(AT_FDCWD, path_, LastLink::follow);
    const auto names = folder ? entryNames(*folder).value() : std::nullopt;
    std::vector<Localization> found;
    for (const std::string& name : names.value_or(std::vector<std::string>())) {
      const std::string path = path_ + "/" + name;
      if (!name.ends_with(localizationSuffix) || !isFolder(path)) continue;
      const auto stem = name.substr(0, name.size() - localizationSuffix.size());
      found.push_back({normalized(stem), path});
    }
    return found;
  }

  std::string developmentRegion() const {
    const auto info = readFile(path_ + "/Info.plist", maxFileBytes);
    const auto texts = info ? propertyListTexts(*info) : std::nullopt;
    if (!texts) return "";
    const auto region = texts->find("CFBundleDevelopmentRegion");
    return region == texts->end() ? "" : region->second;
  }

  /// The paths of the localizations that serve the user, best first.
  std::vector<std::string> servingLocalizations() const {
    const auto present = localizations();
    std::vector<std::string> wanted;
    for (const std::string& language : languages_) {
      const auto names = candidates(language);
      wanted.insert(wanted.end(), names.begin(), names.end());
    }
    const auto region = candidates(developmentRegion());
    wanted.insert(wanted.end(), region.begin(), region.end());
    wanted.emplace_back("base");
    std::vector<std::string> serving;
    for (const std::string& name : wanted) {
      for (const Localization& localization : present) {
        if (localization.normalizedName == name) serving.push_back(localization.path);
      }
    }
    return serving;
  }

  std::vector<std::string> resourceFolders() const {
    if (path_.empty()) return {};
    std::vector<std::string> folders = servingLocalizations();
    folders.insert(folders.begin(), path_);
    return folders;
  }

  StringsTable readTable() const {
    if (path_.empty()) return {};
    std::vector<std::string> folders = servingLocalizations();
    folders.push_back(path_);
    for (const std::string& folder : folders) {
      const auto file = readFile(folder + "/Localizable.strings", maxFileBytes);
      if (!file) continue;
      if (auto table = parseStringsTable(*file)) return std::move(*table);
    }
    return {};
  }

  /// Empty for a bundle without resources.
  const std::string path_;
  const std::vector<std::string> languages_;
  std::optional<StringsTable> table_;
};

}  // namespace

Bundles::Bundles(std::optional<std::string> mainBundlePath, std::vector<std::string> languages)
    : mainBundlePath_(std::move(mainBundlePath).value_or("")), languages_(std::move(languages)) {}

std::unique_ptr<NSBundle> Bundles::mainBundle() {
  if (auto bundle = bundleWithPath(mainBundlePath_)) return bundle;
  return std::make_unique<Bundle>("", languages_);
}

std::unique_ptr<NSBundle> Bundles::bundleWithPath(std::string_view path) {
  if (path.find('\0') != std::string_view::npos || !isFolder(path)) return nullptr;
  while (path.size() > 1 && path.ends_with('/')) path.remove_suffix(1);
  return std::make_unique<Bundle>(std::string(path), languages_);
}

}  // namespace vecamera::device::foundation
