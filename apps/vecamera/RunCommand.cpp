#include "apps/vecamera/RunCommand.h"

#include <filesystem>
#include <iostream>
#include <iterator>

#include "apps/vecamera/Signals.h"
#include "device/script/Player.h"
#include "device/script/ScriptReader.h"

namespace vecamera::app {
namespace {

std::variant<device::Script, device::ScriptError> read(const std::string& script) {
  if (script != "-") return device::readScript(script);
  const std::string text{std::istreambuf_iterator<char>(std::cin), {}};
  std::error_code ignored;
  return device::parseScript(text, "standard input", std::filesystem::current_path(ignored));
}

ExitStatus statusOf(device::PlayOutcome outcome) {
  switch (outcome) {
    case device::PlayOutcome::finished: return ExitStatus::success;
    case device::PlayOutcome::failed: return ExitStatus::failure;
    case device::PlayOutcome::notPlayable: return ExitStatus::usage;
  }
  return ExitStatus::failure;
}

}  // namespace

ExitStatus run(const RunOptions& options) {
  const auto script = read(options.script);
  if (const auto* error = std::get_if<device::ScriptError>(&script)) {
    std::cerr << error->message << std::endl;
    return ExitStatus::usage;
  }
  const auto outcome = device::playScript(
      std::get<device::Script>(script), {options.limit, wasInterrupted},
      [](const std::string& line) { std::cout << line << std::endl; }, std::cerr);
  if (!std::cout) return fail("standard output cannot be written, so events are missing from it");
  return statusOf(outcome);
}

}  // namespace vecamera::app
