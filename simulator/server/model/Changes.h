#pragma once

#include <vector>

#include "simulator/server/base/ErrorCode.h"

namespace vecamera::simulator {

/// The faults that are in force after the changes, in the form of a `faults` step. The changes are
/// an object of faults by place; null takes those of a place away.
RequestResult<Json> mergeFaults(const Json& inForce, const Json& changes);

/// The steps of a device script that the changes of a `configure` amount to: those of `faults`,
/// `permissions`, `viewController` and `location`, in this order. Other keys are not looked at.
/// `faults` are in force now. Each step can be read.
RequestResult<std::vector<Json>> stepsOf(const Json& changes, const Json& faults);

/// The `device` part with the changes; null takes a key back to its default.
Json changedDevice(Json device, const Json& changes);

}  // namespace vecamera::simulator
