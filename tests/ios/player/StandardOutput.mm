#include "tests/ios/player/StandardOutput.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>

namespace vecamera::ios {

StandardOutput::StandardOutput() : captured_(memfd_create("stdout", 0)), real_(dup(STDOUT_FILENO)) {
  if (captured_ < 0 || real_ < 0 || dup2(captured_, STDOUT_FILENO) < 0)
    throw std::runtime_error("standard output cannot be captured");
}

StandardOutput::~StandardOutput() {
  std::fflush(stdout);
  dup2(real_, STDOUT_FILENO);
  close(real_);
  close(captured_);
}

void StandardOutput::readLines(const std::function<void(std::string_view line)>& onLine) {
  std::fflush(stdout);
  char buffer[4096];
  while (const ssize_t count = pread(captured_, buffer, sizeof buffer, read_)) {
    if (count < 0) return;
    read_ += count;
    begun_.append(buffer, static_cast<std::size_t>(count));
  }
  for (std::size_t end; (end = begun_.find('\n')) != std::string::npos;) {
    const std::string line = begun_.substr(0, end);
    begun_.erase(0, end + 1);
    onLine(line);
  }
}

void StandardOutput::writeLine(std::string_view line) {
  std::string text = std::string(line) + '\n';
  for (std::string_view left = text; !left.empty();) {
    const ssize_t count = write(real_, left.data(), left.size());
    if (count <= 0) throw std::runtime_error("standard output cannot be written");
    left.remove_prefix(static_cast<std::size_t>(count));
  }
}

}  // namespace vecamera::ios
