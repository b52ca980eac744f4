#pragma once

#include "device/script/json/ScriptError.h"

namespace vecamera::simulator {

using device::script::failed;
using device::script::ScriptError;

/// A value, or why there is none: for the user of the browser, or the developer. What a phone does
/// are steps of a script, so its errors are those of scripts, with their places.
template <class T = void>
using Result = device::Result<T, ScriptError>;

}  // namespace vecamera::simulator
