#include "simulator/server/model/AutomaticAnswers.h"

#include <utility>

#include "device/script/script/ScriptJson.h"

namespace vecamera::simulator {
namespace {

constexpr const char* ask = "ask";

Json answerStep(const Json& permission, const Json& answer) {
  return {{"do", "answer"}, {"prompt", permission}, {"with", answer}};
}

}  // namespace

RequestResult<> AutomaticAnswers::change(const Json& changes) {
  if (!changes.is_object()) return refused(ErrorCode::badRequest, "prompts: it is an object");
  auto changed = answers_;
  for (const auto& [permission, answer] : changes.items()) {
    const auto step = answerStep(permission, answer == ask ? Json("denied") : answer);
    const auto read = script::stepFromJson(step, "/", script::FileScope::folder);
    const bool isAsked = answer == ask && answers_.contains(permission);
    if (!read && !isAsked)
      return refused(ErrorCode::badRequest,
                     "prompts." + permission + ": " + read.error().message + ", or \"ask\"");
    changed[permission] = answer;
  }
  answers_ = std::move(changed);
  return {};
}

std::optional<Json> AutomaticAnswers::stepFor(const std::set<Permission>& prompts) const {
  for (const auto prompt : prompts) {
    const std::string permission(device::container::nameOf(prompt));
    if (const auto& answer = answers_[permission]; answer != ask)
      return answerStep(permission, answer);
  }
  return std::nullopt;
}

}  // namespace vecamera::simulator
