#include "device/photos/AssetAddress.h"

#include <algorithm>

#include "device/foundation/Urls.h"

namespace vecamera::device::photos {

namespace {

constexpr std::string_view addressStart = "assets-library://asset/";

// ASCII only, whatever the machine's locale.
char upper(char letter) {
  return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
}

std::string uppercased(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(), upper);
  return result;
}

/// Takes what stands before the separator off the text, and the separator with it.
std::string_view takeUntil(std::string_view& text, char separator) {
  const std::size_t end = text.find(separator);
  const std::string_view taken = text.substr(0, end);
  text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
  return taken;
}

}  // namespace

std::string_view assetUuid(std::string_view identifier) {
  return identifier.substr(0, identifier.find('/'));
}

std::string assetAddress(std::string_view identifier, std::string_view extension) {
  const std::string ext = uppercased(extension);
  return std::string(addressStart) + "asset." + ext +
         "?id=" + foundation::percentEncoded(assetUuid(identifier), "-._~") + "&ext=" + ext;
}

std::optional<std::string> identifierInAssetAddress(std::string_view address) {
  if (uppercased(address.substr(0, addressStart.size())) != uppercased(addressStart))
    return std::nullopt;
  address.remove_prefix(addressStart.size());

  std::string_view query = takeUntil(address, '#');
  const std::string_view name = takeUntil(query, '?');
  constexpr std::string_view stem = "asset.";
  if (!name.starts_with(stem) || name.size() == stem.size()) return std::nullopt;
  if (name.find('/') != std::string_view::npos) return std::nullopt;

  while (!query.empty()) {
    const std::string_view item = takeUntil(query, '&');
    if (item.starts_with("id=") && item.size() > 3)
      return foundation::removingPercentEncoding(item.substr(3));
  }
  return std::nullopt;
}

}  // namespace vecamera::device::photos
