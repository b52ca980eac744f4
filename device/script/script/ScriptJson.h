#pragma once

#include "device/script/json/JsonFields.h"
#include "device/script/script/Script.h"

namespace vecamera::device::script {

/// As `parseScript`.
Result<Script, ScriptError> scriptFromJson(const Json& document,
                                           const std::filesystem::path& folder,
                                           FileScope scope = FileScope::anywhere);

/// One step, which may not hold a data URL. Places begin at the step.
Result<ScriptStep, ScriptError> stepFromJson(const Json& step, const std::filesystem::path& folder,
                                             FileScope scope);

}  // namespace vecamera::device::script
