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

using device::Failure;

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

AppResult<Data> decoded(std::string_view base64) {
  auto bytes = device::foundation::decodeBase64(base64);
  if (!bytes) return Failure("it is not in Base64");
  return *std::move(bytes);
}

AppResult<Data> bytesOfAsset(const std::string& address, const std::filesystem::path& home) {
  const auto library = device::photos::LibraryStore::open(device::script::libraryFolder(home),
                                                          device::script::libraryOptions());
  if (!library) return Failure(library.error().message);
  const auto asset = (*library)->fetchByAddress(unescaped(address));
  if (!asset) return Failure(asset.error().message);
  auto bytes = (*library)->readOriginal(asset->identifier);
  if (!bytes) return Failure(bytes.error().message);
  return *std::move(bytes);
}

AppResult<Data> bytesOfAddress(const std::string& address, const std::filesystem::path& home) {
  if (address.starts_with("data:")) {
    const auto comma = address.find(',');
    if (comma == std::string::npos) return Failure("it is no data URL");
    return decoded(std::string_view(address).substr(comma + 1));
  }
  if (address.starts_with("assets-library:")) return bytesOfAsset(address, home);
  const auto path = device::foundation::filePathOf(URL(address));
  if (!path) return Failure(address + " names no file");
  auto bytes = device::foundation::readFile(*path);
  if (!bytes) return Failure(*path + ": " + bytes.error().message);
  return *std::move(bytes);
}

}  // namespace

Value resultOf(const nlohmann::ordered_json& answer) {
  const auto data =
      device::script::toValue(nlohmann::json(answer.value("data", nlohmann::ordered_json())));
  const auto* dictionary = data ? data->dictionary() : nullptr;
  const auto* result = dictionary ? find(*dictionary, "callbackURI") : nullptr;
  return result ? *result : Value();
}

AppResult<Data> bytesOfResult(const Value& callbackUri, const std::filesystem::path& home) {
  if (const auto* text = callbackUri.text()) return bytesOfAddress(*text, home);
  if (const auto* url = callbackUri.url()) return bytesOfAddress(url->absoluteString(), home);
  if (const auto* data = callbackUri.data()) {
    const auto bytes = data->bytes();
    return decoded({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  }
  return Failure("it is empty");
}

}  // namespace vecamera::app
