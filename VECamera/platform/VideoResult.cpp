#include "VECamera/platform/VideoResult.h"

namespace vecamera {

Task<ResultPair> NoVideoResult::resultForVideo(std::shared_ptr<PictureOptions> /*options*/,
                                               Dictionary /*info*/) {
  ResultPair result;
  result.status = CommandStatus::FAIL_TAKE_PICTURE;
  result.payload = Dictionary{{"errorMsg", "Fail take picture"}};
  co_return result;
}

}  // namespace vecamera
