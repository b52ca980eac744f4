#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace vecamera::ios {

/// Standard output from its making to its end goes into memory, where its lines can be read. Made
/// once, used on one thread at a time.
class StandardOutput {
 public:
  StandardOutput();
  StandardOutput(const StandardOutput&) = delete;
  StandardOutput& operator=(const StandardOutput&) = delete;
  ~StandardOutput();

  /// The whole lines that were written since the last call.
  void readLines(const std::function<void(std::string_view line)>& onLine);
  /// Writes a line to what standard output was before.
  void writeLine(std::string_view line);

 private:
  int captured_;
  int real_;
  off_t read_ = 0;
  std::string begun_;
};

}  // namespace vecamera::ios
