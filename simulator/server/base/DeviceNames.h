#pragma once

#include <nlohmann/json.hpp>

#include "device/foundation/files/Descriptor.h"
#include "device/script/json/StrictJson.h"

/// The names of the device that the whole simulator uses.
namespace vecamera::simulator {

namespace foundation = device::foundation;
namespace script = device::script;
using device::Failure;
using foundation::FileResult;
using script::failed;
using script::Json;
using script::toLine;
// What a phone does are steps of a script, so the simulator's errors are those of scripts.
using script::ScriptResult;

}  // namespace vecamera::simulator
