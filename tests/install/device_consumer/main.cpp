#include <iostream>

#include "device/script/play/Player.h"
#include "device/script/script/ScriptReader.h"

using namespace vecamera::device::script;

/// Prints how many commands were answered by a device that offers no source.
int main() {
  const auto read = parseScript(
      R"({
        "device": {"availableSources": []},
        "steps": [{"do": "takePicture", "as": "a", "arguments": []}]
      })",
      ".");
  if (!read) {
    std::cerr << read.error().description() << '\n';
    return 2;
  }
  int answers = 0;
  const auto played = playScript(
      *read, {},
      [&](std::string_view line) {
        std::cerr << line << '\n';
        answers += line.starts_with(R"({"event":"answer")");
      },
      std::cerr);
  std::cout << answers << '\n';
  return played && *played == PlayResult::finished ? 0 : 1;
}
