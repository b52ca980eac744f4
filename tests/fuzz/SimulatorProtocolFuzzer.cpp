#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "device/script/script/ScriptJson.h"
#include "simulator/server/http/Http.h"
#include "simulator/server/model/AutomaticAnswers.h"
#include "simulator/server/model/Changes.h"
#include "simulator/server/model/LocationUpdates.h"
#include "simulator/server/phone/DevicePart.h"
#include "simulator/server/phone/PathPolicy.h"
#include "simulator/server/phone/PhoneRequest.h"

namespace vecamera::simulator {
namespace {

/// What a phone makes of a request before it does anything.
void look(const StepRequest& request) {
  const auto read =
      device::script::stepFromJson(request.step, "/nonexistent", device::script::FileScope::folder);
  if (read) (void)checkFiles(read->step, {});
}

void look(const RestartRequest& request) {
  const auto device = request.part == RestartRequest::Part::changes
                          ? changedDevice(Json::object(), request.device)
                          : request.device;
  if (checkRequestedPart(device)) (void)scriptOf({device, {}, std::nullopt});
}

void look(const RestoreSamplesRequest&) {}

void look(const ConfigureRequest& request) {
  (void)stepsOf(request.changes, Json::array());
  (void)AutomaticAnswers().change(request.changes.value("prompts", Json::object()));
  (void)LocationUpdates::parse(request.changes.value("locationUpdates", Json::object()), {});
}

}  // namespace
}  // namespace vecamera::simulator

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using namespace vecamera::simulator;
  const std::string_view text(reinterpret_cast<const char*>(bytes), size);
  if (const auto request = parsePhoneRequest(text)) {
    if (!request->id.is_number()) std::abort();
    std::visit([](const auto& what) { look(what); }, request->what);
  }
  if (const auto target = parseTarget(text))
    for (const auto& segment : target->segments)
      if (segment.empty() || segment == ".." || segment.find('/') != std::string::npos)
        std::abort();
  const auto range = parseRange(text, 1000);
  if (range && range->begin + range->length > 1000) std::abort();
  return 0;
}
