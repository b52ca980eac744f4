#include "apps/vecamera/terminal/Terminal.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <iostream>
#include <utility>

namespace vecamera::app {
namespace {

bool isProgressShown = false;
volatile std::sig_atomic_t interrupted = 0;

void interrupt(int number) {
  interrupted = 1;
  std::signal(number, SIG_DFL);
}

}  // namespace

void complain(std::string_view message) {
  std::cerr << "vecamera: " << message << std::endl;
}

ExitStatus refuse(std::string_view message) {
  complain(message);
  return ExitStatus::usage;
}

ExitStatus fail(std::string_view message) {
  complain(message);
  return ExitStatus::failure;
}

void showProgress(double share, std::string_view text) {
  constexpr std::size_t width = 30;
  if (isatty(STDERR_FILENO) == 0) return;
  const auto filled = static_cast<std::size_t>(std::clamp(share, 0.0, 1.0) * width);
  std::cerr << "\r[" << std::string(filled, '#') << std::string(width - filled, ' ') << "] " << text
            << std::flush;
  isProgressShown = true;
  if (share >= 1) endProgress();
}

void endProgress() {
  if (std::exchange(isProgressShown, false)) std::cerr << "\r\033[K" << std::flush;
}

void catchSignals() {
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGINT, interrupt);
  std::signal(SIGTERM, interrupt);
}

bool wasInterrupted() {
  return interrupted != 0;
}

}  // namespace vecamera::app
