#include "apps/vecamera/commands/ResultBytes.h"

#include <nlohmann/json.hpp>

#include "device/foundation/Base64.h"
#include "device/foundation/Urls.h"
#include "device/foundation/files/WholeFiles.h"
#include "device/photos/LibraryStore.h"
#include "device/script/assembly/LibraryOptions.h"
#include "device/script/json/JsonValue.h"

namespace vecamera::app {
namespace {

/// The module escapes each "&" of an address that it hands to the page.
std::string unescaped(const std::string& address) {
  std::string text;
  for (std::size_t at = 0; at < address.size(); ++at) {
    const bool isEscape = address.compare(at, 3, "%26") == 0;
    text += isEscape ? '&' : address[at];
    if (isEscape) at += 2;
  }
  return text;
}

std::optional<Data> bytesOfAsset(const std::string& address, const std::filesystem::path& home) {
  const auto library = device::photos::LibraryStore::open(device::script::libraryFolder(home),
                                                          device::script::libraryOptions());
  if (!library) return std::nullopt;
  const auto asset = (*library)->fetchByAddress(unescaped(address));
  if (!asset) return std::nullopt;
  const auto bytes = (*library)->readOriginal(asset->identifier);
  return bytes ? std::optional(*bytes) : std::nullopt;
}

std::optional<Data> bytesOfAddress(const std::string& address, const std::filesystem::path& home) {
  if (address.starts_with("data:")) {
    const auto comma = address.find(',');
    if (comma == std::string::npos) return std::nullopt;
    return device::foundation::decodeBase64(std::string_view(address).substr(comma + 1));
  }
  if (address.starts_with("assets-library:")) return bytesOfAsset(address, home);
  const auto path = device::foundation::filePathOf(URL(address));
  return path ? device::foundation::readFile(*path).value() : std::nullopt;
}

}  // namespace

Value resultOf(const nlohmann::ordered_json& answer) {
  const auto data =
      device::script::toValue(nlohmann::json(answer.value("data", nlohmann::ordered_json())));
  const auto* dictionary = data ? data->dictionary() : nullptr;
  const auto* result = dictionary ? find(*dictionary, "callbackURI") : nullptr;
  return result ? *result : Value();
}

std::optional<Data> bytesOfResult(const Value& callbackUri, const std::filesystem::path& home) {
  if (const auto* text = callbackUri.text()) return bytesOfAddress(*text, home);
  if (const auto* url = callbackUri.url()) return bytesOfAddress(url->absoluteString(), home);
  if (const auto* data = callbackUri.data()) {
    const auto bytes = data->bytes();
    return device::foundation::decodeBase64(
        {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  }
  return std::nullopt;
}

}  // namespace vecamera::app
