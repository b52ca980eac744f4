#include "device/script/play/AnsweredContent.h"

#include "device/foundation/Base64.h"
#include "device/foundation/Urls.h"

namespace vecamera::device::script {
namespace {

constexpr std::string_view assetScheme = "assets-library:";

ScriptResult<AnsweredContent> decoded(std::string_view base64) {
  auto bytes = foundation::decodeBase64(base64);
  if (!bytes) return failed("it is not in Base64");
  return AnsweredContent(*std::move(bytes));
}

ScriptResult<AnsweredContent> contentOfAsset(std::string_view address,
                                             photos::LibraryStore& library) {
  const auto asset = library.fetchByAddress(withAmpersands(address));
  if (!asset) return failed(asset.error().message);
  auto file = library.originalFile(asset->identifier);
  if (!file) return failed(file.error().message);
  return AnsweredContent(*std::move(file));
}

ScriptResult<AnsweredContent> contentOfAddress(const std::string& address,
                                               photos::LibraryStore& library) {
  if (address.starts_with("data:")) {
    const auto comma = address.find(',');
    if (comma == std::string::npos) return failed("it is no data URL");
    return decoded(std::string_view(address).substr(comma + 1));
  }
  if (address.starts_with(assetScheme)) return contentOfAsset(address, library);
  const auto path = foundation::filePathOf(URL(address));
  if (!path) return failed(address + " names no file");
  // An asset's address is transformed as the URL of a file of that name.
  if (path->starts_with("/" + std::string(assetScheme)))
    return contentOfAsset(std::string_view(*path).substr(1), library);
  return AnsweredContent(std::filesystem::path(*path));
}

}  // namespace

ScriptResult<AnsweredContent> answeredContent(const Value& result, photos::LibraryStore& library) {
  if (const auto* text = result.text()) return contentOfAddress(*text, library);
  if (const auto* url = result.url()) return contentOfAddress(url->absoluteString(), library);
  if (const auto* data = result.data()) {
    const auto bytes = data->bytes();
    return decoded({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  }
  return failed("it is empty");
}

std::string withAmpersands(std::string_view address) {
  std::string text;
  for (std::size_t at = 0; at < address.size(); ++at) {
    const bool isEscape = address.substr(at, 3) == "%26";
    text += isEscape ? '&' : address[at];
    if (isEscape) at += 2;
  }
  return text;
}

}  // namespace vecamera::device::script
