#pragma once

#include <string_view>

namespace vecamera::app {

/// How the program ends.
enum class ExitStatus {
  success = 0,
  /// What was asked for was tried and did not come off.
  failure = 1,
  /// The request makes no sense as it stands; nothing was done.
  usage = 2,
};

/// "vecamera: WHY" on standard error.
void complain(std::string_view why);

/// Says why, and gives the status back.
ExitStatus refuse(std::string_view why);
ExitStatus fail(std::string_view why);

/// On a terminal, a bar on standard error that shows the share done, from 0 to 1, and is gone at 1;
/// elsewhere nothing.
void showProgress(double share, std::string_view text);
/// Takes away a bar that did not come to its end.
void endProgress();

}  // namespace vecamera::app
