#include "device/script/expectation/Expectation.h"

namespace vecamera::device::script {

std::string toText(const Expectation& expectation) {
  std::string text;
  for (const auto& step : expectation.steps) {
    if (step.action == endOfScript && step.events.empty()) continue;
    text += toLine({{"do", step.action}}) + "\n";
    for (const auto& event : step.events) text += toLine(event) + "\n";
  }
  return text;
}

ScriptResult<Expectation> parseExpectation(std::string_view text) {
  Expectation expectation;
  auto& steps = expectation.steps;
  for (std::size_t number = 1; !text.empty(); ++number) {
    const auto end = std::min(text.find('\n'), text.size());
    const auto line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (line.find_first_not_of(" \t\r") == std::string_view::npos) continue;
    const auto place = "line " + std::to_string(number);
    const auto parsed = parseStrictJson(line);
    if (!parsed) return failed(place, "it is no JSON: " + parsed.error().message);
    const auto textOf = [&parsed](const char* key) -> const std::string* {
      const auto found = parsed->is_object() ? parsed->find(key) : parsed->end();
      return found == parsed->end() ? nullptr : found->get_ptr<const std::string*>();
    };
    if (const auto* action = textOf("do")) {
      if (!steps.empty() && steps.back().action == endOfScript)
        return failed(place, "no step comes after the end");
      steps.push_back({*action, {}});
    } else if (!textOf("event")) {
      return failed(place, "it is neither a step, {\"do\": ...}, nor an event, {\"event\": ...}");
    } else if (steps.empty()) {
      return failed(place, "an event comes before the first step");
    } else {
      steps.back().events.push_back(*parsed);
    }
  }
  if (steps.empty()) return failed("it is empty");
  if (steps.back().action != endOfScript) steps.push_back({std::string(endOfScript), {}});
  return expectation;
}

}  // namespace vecamera::device::script
