#pragma once

#include <string>
#include <string_view>

#include "simulator/server/base/DeviceNames.h"

namespace vecamera::simulator {

/// What kind of failure a text describes, for programs: it stands beside each text for people.
enum class ErrorCode {
  /// The message or request is not one of the protocol's.
  badRequest,
  /// The step cannot be read.
  badStep,
  /// The `device` part, or a change of it, cannot be read.
  badDevice,
  /// What is asked for is the server's own, or nobody's on this connection.
  forbidden,
  /// A file that is named is not there.
  noSuchFile,
  /// The step cannot be played as the device stands.
  notNow,
  /// A limit of the phone is reached.
  limit,
  /// There is no device: it could not be made.
  noDevice,
  /// The module has ended the application's process.
  processEnded,
  /// The disk, or the server itself, has failed.
  internal,
  /// There is nothing at the address.
  notFound,
  /// There is no such session, or no longer.
  noSession,
  /// The request's method is none that the address takes.
  badMethod,
  /// It is too long.
  tooLong,
  /// The phone has not begun; ask again.
  starting,
  /// The disk is full.
  diskFull,
  /// The session was idle for too long.
  idle,
  /// The session made room for another.
  madeRoom,
  /// Another page took the phone over.
  takenOver,
  /// There are too many sessions, or connections of one.
  tooMany,
  /// The server was stopped.
  stopped,
  /// The client speaks another version of the protocol.
  version,
};

/// As messages spell it.
std::string_view nameOf(ErrorCode code);

/// Why a request was not carried out, for programs and in words.
struct RequestError {
  ErrorCode code = ErrorCode::badRequest;
  std::string message;
};

template <class T = void>
using RequestResult = device::Result<T, RequestError>;

/// `return refused(ErrorCode::limit, "...")` out of a function that gives a `RequestResult<T>`.
inline Failure<RequestError> refused(ErrorCode code, std::string message) {
  return {{code, std::move(message)}};
}
/// A script's error as one of that code.
inline Failure<RequestError> refused(ErrorCode code, const script::ScriptError& error) {
  return refused(code, error.description());
}

}  // namespace vecamera::simulator
