#pragma once

#include <string>
#include <string_view>

#include "device/base/Result.h"

namespace vecamera::app {

/// How the program ends.
enum class ExitStatus {
  success = 0,
  /// The request was tried and failed.
  failure = 1,
  /// The request cannot be carried out as it stands; nothing was done.
  usage = 2,
};

/// A value, or an error message for the user.
template <class T>
using AppResult = device::Result<T, std::string>;

/// "vecamera: MESSAGE" on standard error.
void complain(std::string_view message);

/// Complains, and returns the status.
ExitStatus refuse(std::string_view message);
ExitStatus fail(std::string_view message);

/// On a terminal, a bar on standard error that shows the share done, from 0 to 1, and is gone at 1;
/// elsewhere nothing.
void showProgress(double share, std::string_view text);
/// Takes away a bar that did not come to its end.
void endProgress();

/// From here on, an interruption and a request to end only set a flag, so that what was made for
/// the play is removed; a second one ends the program at once. A reader that goes away is seen
/// where the output is written.
void catchSignals();
/// Whether the program was asked to end. Any thread.
bool wasInterrupted();

}  // namespace vecamera::app
