#include "apps/vecamera/commands/RunCommand.h"

#include <filesystem>
#include <iostream>
#include <iterator>

#include "apps/vecamera/terminal/Signals.h"
#include "device/script/play/Player.h"
#include "device/script/script/ScriptReader.h"

namespace vecamera::app {
namespace {

std::variant<device::script::Script, device::script::ScriptError> read(const std::string& script) {
  if (script != "-") return device::script::readScript(script);
  const std::string text{std::istreambuf_iterator<char>(std::cin), {}};
  std::error_code ignored;
  return device::script::parseScript(text, "standard input",
                                     std::filesystem::current_path(ignored));
}

ExitStatus statusOf(device::script::PlayOutcome outcome) {
  switch (outcome) {
    case device::script::PlayOutcome::finished: return ExitStatus::success;
    case device::script::PlayOutcome::failed: return ExitStatus::failure;
    case device::script::PlayOutcome::notPlayable: return ExitStatus::usage;
  }
  return ExitStatus::failure;
}

}  // namespace

ExitStatus run(const RunOptions& options) {
  const auto script = read(options.script);
  if (const auto* error = std::get_if<device::script::ScriptError>(&script)) {
    std::cerr << error->message << std::endl;
    return ExitStatus::usage;
  }
  const auto outcome = device::script::playScript(
      std::get<device::script::Script>(script), {options.limit, wasInterrupted},
      [](const std::string& line) { std::cout << line << std::endl; }, std::cerr);
  if (!std::cout) return fail("standard output cannot be written, so events are missing from it");
  return statusOf(outcome);
}

}  // namespace vecamera::app
