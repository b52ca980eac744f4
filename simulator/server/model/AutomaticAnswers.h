#pragma once

#include <optional>
#include <set>

#include "device/container/Permission.h"
#include "simulator/server/base/ErrorCode.h"

namespace vecamera::simulator {

/// What the user answers to system prompts as soon as they are on screen. Used on one thread.
class AutomaticAnswers {
 public:
  using Permission = device::container::Permission;

  /// Applies the changes, an object of answers by permission: as an `answer` step gives them, or
  /// "ask" where the prompt waits for the user. An error changes nothing.
  RequestResult<> change(const Json& changes);
  /// All of them, by permission.
  Json toJson() const { return answers_; }
  /// The `answer` step to one of the prompts on screen; nothing where none is answered by itself.
  std::optional<Json> stepFor(const std::set<Permission>& prompts) const;

 private:
  Json answers_ = {{"camera", "ask"}, {"photoLibrary", "ask"}, {"location", "ask"}};
};

}  // namespace vecamera::simulator
