#include "apps/vecamera/commands/Commands.h"

#include <iostream>

#include "device/script/play/Player.h"
#include "device/script/script/ScriptReader.h"

namespace vecamera::app {
namespace {

device::Result<device::script::Script, device::script::ScriptError> read(
    const std::string& script) {
  if (script != "-") return device::script::readScript(script);
  std::error_code ignored;
  return device::script::readScriptFromInput(std::filesystem::current_path(ignored));
}

}  // namespace

ExitStatus run(const RunOptions& options) {
  const auto refuseScript = [&options](const device::script::ScriptError& error) {
    std::cerr << (options.script == "-" ? "standard input" : options.script) << ": "
              << error.description() << std::endl;
    return ExitStatus::usage;
  };
  const auto script = read(options.script);
  if (!script) return refuseScript(script.error());
  const auto played = device::script::playScript(
      *script, {options.limit, wasInterrupted},
      [](std::string_view line) { std::cout << line << std::endl; }, std::cerr);
  if (!std::cout) return fail("standard output cannot be written, so events are missing from it");
  if (!played) return refuseScript(played.error());
  return *played == device::script::PlayResult::finished ? ExitStatus::success
                                                         : ExitStatus::failure;
}

}  // namespace vecamera::app
