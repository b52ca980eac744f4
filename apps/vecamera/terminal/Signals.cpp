#include "apps/vecamera/terminal/Signals.h"

#include <csignal>

namespace vecamera::app {
namespace {

volatile std::sig_atomic_t interrupted = 0;

void interrupt(int number) {
  interrupted = 1;
  std::signal(number, SIG_DFL);
}

}  // namespace

void catchSignals() {
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGINT, interrupt);
  std::signal(SIGTERM, interrupt);
}

bool wasInterrupted() {
  return interrupted != 0;
}

}  // namespace vecamera::app
