#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <set>
#include <sstream>
#include <string>

#include "device/base/CancellationCheck.h"
#include "device/foundation/files/ApplicationHome.h"
#include "device/script/play/PlaySession.h"
#include "simulator/server/model/AutomaticAnswers.h"
#include "simulator/server/model/LocationUpdates.h"
#include "simulator/server/phone/MediaFolder.h"
#include "simulator/server/phone/PhoneLibrary.h"
#include "simulator/server/phone/PhoneMessages.h"
#include "simulator/server/phone/PhoneRequest.h"
#include "simulator/server/phone/PhoneSetup.h"
#include "simulator/server/phone/PhoneState.h"
#include "simulator/server/phone/Recording.h"

namespace vecamera::simulator {

/// The device of a phone, on which a browser's requests are carried out. On the phone's thread.
class PhoneDevice {
 public:
  /// What it is given outlives it. `isCancelled` is asked while the device works; true ends that.
  PhoneDevice(const PhoneSetup& setup, const foundation::ApplicationHome& home, MediaFolder& media,
              PhoneLibrary& library, Recording& recording, device::CancellationCheck isCancelled)
      : setup_(setup),
        home_(home),
        media_(media),
        library_(library),
        recording_(recording),
        isCancelled_(std::move(isCancelled)) {}

  /// Makes the device that the phone begins with, or reports why it cannot be made.
  void start();
  /// Carries out the request of the message and replies.
  void handle(const std::string& message);
  /// Whether work waits for the world outside or for a time, so that `resume` is to be called now
  /// and then.
  bool isWaiting() const;
  void resume();
  /// When the device is to do something by itself, so that `automate` is to be called; nothing:
  /// not before the next request.
  std::optional<LocationUpdates::Clock::time_point> due() const;
  /// Does what the device does by itself: gives automatic answers and location updates.
  void automate();

 private:
  RequestResult<> carryOut(PhoneRequest& request);
  RequestResult<> restart(const RestartRequest& request);
  RequestResult<> restoreSamples();
  RequestResult<> configure(const Json& changes);
  Json deviceInForce() const;

  ScriptResult<> begin(const DevicePart& part, OldAssets oldAssets);
  ScriptResult<> makeDevice(const DevicePart& part, OldAssets oldAssets);
  URLTransformer urlTransformer() const;
  void beginRecording(const DevicePart& part, const script::DeviceSetup& setup);
  void onEvent(const Json& event);
  std::string commandAtWork() const;
  /// `bytes` is the length of the message.
  RequestResult<> play(Json step, std::size_t bytes);
  RequestResult<> playStep(Json step, std::size_t bytes);
  RequestResult<> checkLimits(const script::Step& step, std::size_t bytes);
  void reportEnd(const ScriptResult<>& result);
  void record(const Json& step, Recording::File file);
  Date realNow() const { return setup_.realTime() + clockOffset_; }
  void moveClock();
  bool canAutomate() const;
  std::optional<Json> automaticStep();
  void observeLocation();
  void reportClosed();
  void finishWork();
  void sendState();

  const PhoneSetup& setup_;
  const foundation::ApplicationHome& home_;
  MediaFolder& media_;
  PhoneLibrary& library_;
  Recording& recording_;
  const device::CancellationCheck isCancelled_;
  PhoneMessages messages_{setup_.onMessage};
  PhoneState state_{setup_.filesAddress, Json::array()};
  std::ostringstream diagnostics_;
  std::unique_ptr<script::PlaySession> session_;
  /// The part that was asked for, without what is the server's own.
  Json requested_ = Json::object();
  AutomaticAnswers answers_;
  LocationUpdates updates_;
  bool hasStartedManager_ = false;
  /// Those whose loss was reported.
  std::set<const device::container::Callback*> closed_;
  /// Why there is no device.
  std::string broken_;
  /// How far the device's clock is ahead of the real time, which it follows unless it is fixed.
  std::chrono::microseconds clockOffset_{0};
  ClockMode clockMode_ = ClockMode::real;
  /// The last step asked not to settle.
  bool isUnsettled_ = false;
  std::size_t calls_ = 0;
  std::size_t callBytes_ = 0;
};

}  // namespace vecamera::simulator
