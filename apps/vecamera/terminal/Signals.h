#pragma once

namespace vecamera::app {

/// From here on, an interruption and a request to end only set a flag, so that what was made for
/// the play is removed; a second one ends the program at once. A reader that goes away is seen
/// where the output is written.
void catchSignals();
/// Whether the program was asked to end. Any thread.
bool wasInterrupted();

}  // namespace vecamera::app
