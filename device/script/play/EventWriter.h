#pragma once

#include <functional>

#include "device/script/assembly/ScriptedDevice.h"
#include "device/script/json/StrictJson.h"

namespace vecamera::device::script {

/// Takes one event, a JSON object. Whoever writes it uses `toLine`.
using EventSink = std::function<void(const Json& event)>;

/// Turns what happens on a scripted device into the events of a script's output.
class EventWriter : public ScriptObserver {
 public:
  explicit EventWriter(EventSink sink) : sink_(std::move(sink)) {}

  void answered(const container::Callback& callback) override;
  void loggedDebug(std::string_view msg) override;
  void loggedError(std::string_view tag, std::string_view msg, std::string_view filename, int line,
                   std::string_view funcName) override;
  void printed(std::string_view line) override;
  void promptShown(container::Permission permission) override;
  void presented(const UIViewController& controller, bool animated) override;
  void dismissed(const UIViewController& controller, bool animated) override;
  void openedURL(const URL& url) override;
  void locationManagerTold(std::string_view what) override;
  void onSaved(const photos::SavedAsset& asset) override;
  void onImageDestinationFinalized(std::string_view type, const Dictionary& properties,
                                   std::size_t bytes) override;

  /// Writes any other event.
  void write(const Json& event) { sink_(event); }

 private:
  const EventSink sink_;
};

}  // namespace vecamera::device::script
