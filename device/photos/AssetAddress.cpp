#include "device/photos/AssetAddress.h"

#include <algorithm>

#include "device/foundation/Urls.h"

namespace vecamera::device::photos {

namespace {

// ASCII only, whatever the machine's locale.
char upper(char letter) {
  return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
}

std::string uppercased(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(), upper);
  return result;
}

}  // namespace

std::string_view assetUuid(std::string_view identifier) {
  return identifier.substr(0, identifier.find('/'));
}

std::string assetAddress(std::string_view identifier, std::string_view extension) {
  const std::string ext = uppercased(extension);
  return "assets-library://asset/asset." + ext +
         "?id=" + foundation::percentEncoded(assetUuid(identifier), "-._~") + "&ext=" + ext;
}

std::optional<std::string> identifierInAssetAddress(std::string_view address) {
  const auto parts = foundation::urlParts(address);
  constexpr std::string_view stem = "/asset.";
  if (!parts || parts->scheme != "assets-library" || parts->userInfo || parts->port ||
      uppercased(parts->host.value_or("")) != "ASSET" || !parts->path.starts_with(stem) ||
      parts->path.size() == stem.size() || parts->path.rfind('/') != 0)
    return std::nullopt;
  auto identifier = foundation::queryItem(URL(std::string(address)), "id");
  return identifier && identifier->empty() ? std::nullopt : std::move(identifier);
}

}  // namespace vecamera::device::photos
