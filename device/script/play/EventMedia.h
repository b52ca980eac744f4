#pragma once

#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "VECamera/platform/Foundation.h"
#include "device/photos/LibraryStore.h"
#include "device/script/json/StrictJson.h"

namespace vecamera::device::script {

/// What the pictures and movies are that events speak of: their `media`. Nothing where there are no
/// bytes to be read, or where those are no picture and no movie. Used on one thread at a time.
class EventMedia {
 public:
  explicit EventMedia(photos::LibraryStore& library) : library_(library) {}

  /// The container's URL transformer made one of the other. What it gave leads to the same file.
  void onUrlTransformed(const URL& from, const URL& to);

  std::optional<Json> ofAnswer(const Dictionary& data) const;
  std::optional<Json> ofAsset(std::string_view identifier) const;
  static std::optional<Json> ofFile(const std::filesystem::path& file);

 private:
  photos::LibraryStore& library_;
  /// What the transformer was given, by what it gave.
  std::map<std::string, URL> untransformed_;
};

}  // namespace vecamera::device::script
