#pragma once

#include <memory>
#include <optional>

#include "VECamera/platform/Container.h"
#include "VECamera/platform/Value.h"
#include "VECamera/runtime/Task.h"

namespace vecamera {

struct PictureOptions;

/// What a result operation gives: the status (absent on success) and the payload of the answer.
struct ResultPair {
  std::optional<CommandStatus> status;
  std::optional<Dictionary> payload;
};

/// Turns the picker's answer for a movie into the command's answer.
class VideoResult {
 public:
  virtual ~VideoResult() = default;
  /// Awaited on the main actor, with the command's options (null where the picker carries none)
  /// and the picker's info dictionary.
  virtual Task<ResultPair> resultForVideo(std::shared_ptr<PictureOptions> options,
                                          Dictionary info) = 0;
};

/// The operation of a platform without movie export: every movie is answered with
/// `FAIL_TAKE_PICTURE` and the message "Fail take picture".
class NoVideoResult : public VideoResult {
 public:
  Task<ResultPair> resultForVideo(std::shared_ptr<PictureOptions> options,
                                  Dictionary info) override;
};

}  // namespace vecamera
