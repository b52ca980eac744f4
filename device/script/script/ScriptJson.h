#pragma once

#include "device/script/json/JsonFields.h"
#include "device/script/script/Script.h"

namespace vecamera::device::script {

/// As `parseScript`.
ScriptResult<Script> scriptFromJson(const Json& document, const std::filesystem::path& folder,
                                    FileScope scope = FileScope::anywhere);

/// One step, without data URLs. The places of errors begin at the step.
ScriptResult<ScriptStep> stepFromJson(const Json& step, const std::filesystem::path& folder,
                                      FileScope scope);

}  // namespace vecamera::device::script
