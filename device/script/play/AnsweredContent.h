#pragma once

#include <filesystem>
#include <variant>

#include "VECamera/platform/Value.h"
#include "device/photos/LibraryStore.h"
#include "device/script/json/ScriptError.h"

namespace vecamera::device::script {

/// The key of an answer's data under which the picture or movie stands.
inline constexpr std::string_view resultKey = "callbackURI";

/// Bytes, or the file that holds them.
using AnsweredContent = std::variant<Data, std::filesystem::path>;

/// What such a value stands for. It is a data URL or the Base64 text of the bytes as a byte buffer;
/// the URL or the path of a file; or the address of an asset in the photo library. The file need
/// not exist.
ScriptResult<AnsweredContent> answeredContent(const Value& result, photos::LibraryStore& library);

/// The address with each "%26" as "&": the module escapes each "&" of an address that it hands to
/// the page.
std::string withAmpersands(std::string_view address);

}  // namespace vecamera::device::script
