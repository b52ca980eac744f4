#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/server/phone/Phone.h"
#include "tests/simulator/server/MessageCheck.h"

namespace vecamera::simulator {

/// A phone whose messages a test reads, with a clock that goes on by a second each time it is read.
class TestPhone {
 public:
  using Json = nlohmann::ordered_json;
  static constexpr const char* filesAddress = "http://127.0.0.1:1/.vecamera/files/TOKEN/";

  explicit TestPhone(PhoneSetup setup = {}) {
    setup.filesAddress = filesAddress;
    setup.realTime = [this] { return now_ += std::chrono::seconds(1); };
    setup.onDiagnostic = [this](const std::string& line) {
      const std::lock_guard lock(mutex_);
      diagnostics_ += line + "\n";
      arrived_.notify_one();
    };
    setup.onMessage = [this](PhoneMessage message) {
      const std::lock_guard lock(mutex_);
      messages_.push_back(std::move(message));
      arrived_.notify_one();
    };
    auto home = device::foundation::ApplicationHome::makePrivate();
    home_ = home->path();
    phone_ = std::make_unique<Phone>(std::move(setup), *std::move(home));
    // The first state says that the phone has begun.
    readUntil(PhoneMessage::Kind::state);
  }

  /// The reply to the request, after everything that it brought about was read.
  Json ask(Json request) {
    request["id"] = ++lastId_;
    phone_->receive(request.dump());
    auto reply = Json::parse(readUntil(PhoneMessage::Kind::reply));
    if (reply["type"] == "done")
      checkLater(request["type"].get<std::string>() + "Request", request);
    return reply;
  }
  Json step(const Json& step) { return ask({{"type", "step"}, {"step", step}}); }
  /// The reason why the step failed, or an empty text.
  std::string whyNot(const Json& refused) { return step(refused).value("why", ""); }

  std::string readUntil(PhoneMessage::Kind kind) {
    std::unique_lock lock(mutex_);
    for (;;) {
      const bool came =
          arrived_.wait_for(lock, std::chrono::minutes(2), [this] { return !messages_.empty(); });
      if (!came) throw std::runtime_error("the phone says nothing: " + diagnostics_);
      const auto message = std::move(messages_.front());
      messages_.pop_front();
      if (message.kind != PhoneMessage::Kind::restarted) {
        const auto json = Json::parse(message.text);
        checkLater(json["type"].get<std::string>(), json);
      }
      if (message.kind == PhoneMessage::Kind::state) {
        state_ = Json::parse(message.text);
        ++states_;
      }
      if (message.kind == PhoneMessage::Kind::logged) logged_.push_back(Json::parse(message.text));
      if (message.kind == PhoneMessage::Kind::restarted) logged_.clear();
      if (message.kind == kind) return message.text;
    }
  }

  Phone& phone() { return *phone_; }
  /// As of the latest message.
  const Json& state() const { return state_; }
  int states() const { return states_; }
  std::string diagnostics() {
    const std::lock_guard lock(mutex_);
    return diagnostics_;
  }
  /// Until the developer got a line with that text in it.
  void waitForDiagnostic(std::string_view text) {
    std::unique_lock lock(mutex_);
    const bool came = arrived_.wait_for(lock, std::chrono::minutes(2), [&] {
      return diagnostics_.find(text) != std::string::npos;
    });
    if (!came) throw std::runtime_error("the phone sends no \"" + std::string(text) + "\"");
  }
  /// The numbered messages of the device that is there.
  const std::vector<Json>& messages() const { return logged_; }
  /// Those of that type.
  std::vector<Json> messages(std::string_view type) const {
    std::vector<Json> found;
    for (const auto& message : logged_)
      if (message["type"] == type) found.push_back(message);
    return found;
  }
  Json configure(const Json& changes) { return ask({{"type", "configure"}, {"changes", changes}}); }
  std::vector<std::string> events() const {
    std::vector<std::string> lines;
    for (const auto& message : logged_)
      if (message["type"] == "event") lines.push_back(message["event"].dump());
    return lines;
  }
  const std::string& home() const { return home_; }
  void end() { phone_.reset(); }

 private:
  // Read on the phone's thread only.
  Date now_{std::chrono::microseconds(1'700'000'000'000'000)};
  std::mutex mutex_;
  std::condition_variable arrived_;
  std::deque<PhoneMessage> messages_;
  std::string diagnostics_;
  Json state_;
  int states_ = 0;
  std::vector<Json> logged_;
  int lastId_ = 0;
  std::string home_;
  std::unique_ptr<Phone> phone_;
};

}  // namespace vecamera::simulator
