#pragma once

#include <optional>

#include "VECamera/platform/Container.h"
#include "VECamera/platform/Value.h"

namespace vecamera {

/// What a result operation gives: the status (absent on success) and the payload of the answer.
struct ResultPair {
  std::optional<CommandStatus> status;
  std::optional<Dictionary> payload;
};

}  // namespace vecamera
