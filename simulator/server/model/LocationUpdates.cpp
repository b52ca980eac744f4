#include "simulator/server/model/LocationUpdates.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

#include "device/script/script/ScriptJson.h"

namespace vecamera::simulator {
namespace {

using std::chrono::milliseconds;
using Mode = LocationUpdates::Mode;

constexpr std::chrono::seconds walkInterval{1};
constexpr double secondsPerRound = 120;
/// In degrees of latitude.
constexpr double walkRadius = 0.006;
/// A day.
constexpr double maxDelaySeconds = 86400;

constexpr std::pair<Mode, std::string_view> modeNames[] = {
    {Mode::none, "none"}, {Mode::fix, "fix"}, {Mode::late, "late"}, {Mode::moving, "moving"}};

/// Whether a "location" step takes the fix.
RequestResult<> checkFix(const Json& fix) {
  constexpr const char* wanted = "it is an object with numbers \"latitude\" and \"longitude\"";
  if (!fix.is_object()) return refused(ErrorCode::badRequest, std::string("fix: ") + wanted);
  for (const auto* key : {"latitude", "longitude"})
    if (!fix.contains(key) || !fix[key].is_number())
      return refused(ErrorCode::badRequest, std::string("fix: ") + wanted);
  const auto read =
      script::stepFromJson({{"do", "location"}, {"to", fix}}, "/", script::FileScope::folder);
  if (!read) return refused(ErrorCode::badRequest, read.error());
  return {};
}

}  // namespace

RequestResult<LocationUpdates::Settings> LocationUpdates::parse(const Json& json,
                                                                const Settings& current) {
  const auto bad = [](const char* message) {
    return refused(ErrorCode::badRequest, std::string("locationUpdates: ") + message);
  };
  if (!json.is_object()) return bad("it is an object");
  auto settings = current;
  for (const auto& [key, value] : json.items()) {
    if (key == "mode") {
      const auto* found =
          std::find_if(std::begin(modeNames), std::end(modeNames),
                       [&value](const auto& entry) { return value == entry.second; });
      if (found == std::end(modeNames))
        return bad("\"mode\" is one of \"none\", \"fix\", \"late\", \"moving\"");
      settings.mode = found->first;
    } else if (key == "delay") {
      if (!value.is_number() || value < 0 || value > maxDelaySeconds)
        return bad("\"delay\" is a number of seconds from 0 to 86400");
      settings.delay = milliseconds(std::llround(value.get<double>() * 1000));
    } else if (key == "fix") {
      if (auto checked = checkFix(value); !checked) return checked.failure();
      settings.fix = value;
    } else {
      return bad("its keys are \"mode\", \"delay\" and \"fix\"");
    }
  }
  return settings;
}

Json LocationUpdates::toJson() const {
  const auto* mode = std::find_if(std::begin(modeNames), std::end(modeNames),
                                  [this](const auto& one) { return one.first == settings_.mode; });
  return {{"mode", mode->second},
          {"delay", static_cast<double>(settings_.delay.count()) / 1000},
          {"fix", settings_.fix}};
}

void LocationUpdates::configure(Settings settings, Clock::time_point now) {
  settings_ = std::move(settings);
  walkBegan_.reset();
  if (isLooking_) begin(now);
}

void LocationUpdates::setAutomation(Automation automation) {
  automation_ = automation;
  if (automation == Automation::off) due_.reset();
}

void LocationUpdates::setLooking(bool isLooking, Clock::time_point now) {
  if (isLooking == isLooking_) return;
  isLooking_ = isLooking;
  due_.reset();
  if (isLooking) begin(now);
}

void LocationUpdates::onManagerStarted(Clock::time_point now) {
  if (isLooking_) begin(now);
}

void LocationUpdates::onRestart() {
  isLooking_ = false;
  due_.reset();
}

std::optional<Json> LocationUpdates::take(Clock::time_point now) {
  if (!due_ || now < *due_) return std::nullopt;
  due_.reset();
  if (settings_.mode != Mode::moving) return settings_.fix;
  due_ = now + walkInterval;
  return pointOfWalk(settings_.fix, now - *walkBegan_);
}

void LocationUpdates::begin(Clock::time_point now) {
  due_.reset();
  if (automation_ == Automation::off || settings_.mode == Mode::none) return;
  if (!walkBegan_) walkBegan_ = now;
  due_ = settings_.mode == Mode::late ? now + settings_.delay : now;
}

Json pointOfWalk(const Json& around, std::chrono::duration<double> since) {
  const double angle = since.count() / secondsPerRound * 2 * std::numbers::pi;
  const double latitude = around["latitude"];
  const double widening = std::max(0.05, std::cos(latitude * std::numbers::pi / 180));
  const auto rounded = [](double degrees) { return std::round(degrees * 1e6) / 1e6; };
  Json point = around;
  point["latitude"] = rounded(latitude + walkRadius * std::sin(angle));
  point["longitude"] =
      rounded(around["longitude"].get<double>() + walkRadius / widening * std::cos(angle));
  return point;
}

}  // namespace vecamera::simulator
