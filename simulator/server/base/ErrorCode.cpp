#include "simulator/server/base/ErrorCode.h"

namespace vecamera::simulator {

std::string_view nameOf(ErrorCode code) {
  switch (code) {
    case ErrorCode::badRequest: return "badRequest";
    case ErrorCode::badStep: return "badStep";
    case ErrorCode::badDevice: return "badDevice";
    case ErrorCode::forbidden: return "forbidden";
    case ErrorCode::noSuchFile: return "noSuchFile";
    case ErrorCode::notNow: return "notNow";
    case ErrorCode::limit: return "limit";
    case ErrorCode::noDevice: return "noDevice";
    case ErrorCode::processEnded: return "processEnded";
    case ErrorCode::internal: return "internal";
    case ErrorCode::notFound: return "notFound";
    case ErrorCode::noSession: return "noSession";
    case ErrorCode::badMethod: return "badMethod";
    case ErrorCode::tooLong: return "tooLong";
    case ErrorCode::starting: return "starting";
    case ErrorCode::diskFull: return "diskFull";
    case ErrorCode::idle: return "idle";
    case ErrorCode::madeRoom: return "madeRoom";
    case ErrorCode::takenOver: return "takenOver";
    case ErrorCode::tooMany: return "tooMany";
    case ErrorCode::stopped: return "stopped";
    case ErrorCode::version: return "version";
  }
  return "internal";
}

}  // namespace vecamera::simulator
