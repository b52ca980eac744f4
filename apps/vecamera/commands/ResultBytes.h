#pragma once

#include <filesystem>
#include <nlohmann/json_fwd.hpp>

#include "VECamera/platform/Value.h"
#include "apps/vecamera/terminal/Terminal.h"

namespace vecamera::app {

/// The value under "callbackURI" of an answer's data; null where it has none.
Value resultOf(const nlohmann::ordered_json& answer);

/// The bytes that such a value stands for. It is a data URL or the Base64 text of the
/// bytes as a byte buffer; the URL or the path of a file; or the address of an asset in the photo
/// library of the home.
AppResult<Data> bytesOfResult(const Value& callbackUri, const std::filesystem::path& home);

}  // namespace vecamera::app
