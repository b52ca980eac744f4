#include "VECamera/platform/Container.h"

namespace vecamera {

std::string_view nameOf(CommandStatus status) {
  switch (status) {
    case CommandStatus::INVALID_PARAM: return "INVALID_PARAM";
    case CommandStatus::NO_PERMISSION: return "NO_PERMISSION";
    case CommandStatus::FAIL_TAKE_PICTURE: return "FAIL_TAKE_PICTURE";
    case CommandStatus::UNABLE_FILE_WRITE: return "UNABLE_FILE_WRITE";
    case CommandStatus::UNABLE_FILE_REMOVE: return "UNABLE_FILE_REMOVE";
    case CommandStatus::OBJECT_REFERENCE_FAILED: return "OBJECT_REFERENCE_FAILED";
  }
  return "UNKNOWN";
}

}  // namespace vecamera
