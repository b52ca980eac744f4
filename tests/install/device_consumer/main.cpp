#include <iostream>

#include "device/script/play/Player.h"
#include "device/script/script/ScriptReader.h"

using namespace vecamera::device;

/// Prints how many commands were answered by a device that offers no source.
int main() {
  const auto read = parseScript(
      R"({
        "device": {"availableSources": []},
        "steps": [{"do": "takePicture", "as": "a", "arguments": []}]
      })",
      "script", ".");
  if (const auto* error = std::get_if<ScriptError>(&read)) {
    std::cerr << error->message << '\n';
    return 2;
  }
  int answers = 0;
  const auto outcome = playScript(
      std::get<Script>(read), {},
      [&](const std::string& line) {
        std::cerr << line << '\n';
        answers += line.find(R"("event":"answer")") != std::string::npos;
      },
      std::cerr);
  std::cout << answers << '\n';
  return outcome == PlayOutcome::finished ? 0 : 1;
}
