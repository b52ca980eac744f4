#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vecamera::device::photos {

/// The part of a local identifier before the first "/", which names the asset in addresses.
std::string_view assetUuid(std::string_view identifier);

/// "assets-library://asset/asset.EXT?id=UUID&ext=EXT" with the extension in upper case.
std::string assetAddress(std::string_view identifier, std::string_view extension);

/// What stands under "id" in such an address, with its escapes resolved; this may be a UUID or a
/// whole local identifier. Nothing where the text is no such address.
std::optional<std::string> identifierInAssetAddress(std::string_view address);

}  // namespace vecamera::device::photos
