#pragma once

#include <nlohmann/json_fwd.hpp>

#include "VECamera/platform/Value.h"
#include "device/script/json/StrictJson.h"

namespace vecamera::device::script {

/// The value as JSON: a byte buffer is {"bytes": BASE64}, a URL {"url": "..."}, a dictionary an
/// object with its keys in order. Real numbers keep their point (12.0); those that JSON cannot
/// write become the texts "NaN", "Infinity" and "-Infinity". An object of the platform, which has
/// no content to show, is null.
Json toJson(const Value& value);

/// The value of the JSON. An object with the one key "bytes" or "url", as `toJson` writes it,
/// becomes a byte buffer or a URL. Whole numbers past the range of 64 bits become real ones. Fails
/// where a "bytes" is not Base64.
ScriptResult<Value> toValue(const Json& json);

}  // namespace vecamera::device::script
