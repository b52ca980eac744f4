#pragma once

#include <nlohmann/json.hpp>

#include "device/script/json/StrictJson.h"

namespace vecamera::device::foundation {}

namespace vecamera::simulator {

namespace foundation = device::foundation;
namespace script = device::script;
using script::failed;
using script::Json;
using script::ScriptError;
using script::toLine;

/// A value, or why there is none: for the user of the browser, or the developer. What a phone does
/// are steps of a script, so its errors are those of scripts, with their places.
template <class T = void>
using Result = device::Result<T, ScriptError>;

}  // namespace vecamera::simulator
