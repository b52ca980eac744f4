#pragma once

#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "VECamera/core/VECameraPlugin.h"
#include "device/container/Ledger.h"

namespace vecamera::device::container {

/// What the container's command delegate offers a page command.
struct UrlTransformerOffer {
  /// Whether there is a command delegate at all.
  bool hasDelegate = true;
  /// Empty: the delegate has no transformer.
  URLTransformer transformer;
};

/// A stand-in for the host container: it owns the plug-in object, dispatches by selector, hands out
/// callbacks and keeps their ledger. Used on one thread at a time, but for the URL transformer,
/// which any thread may ask for.
class Container {
 public:
  Container(const NSClock& clock, DeviceObserver& observer);

  /// Makes a plug-in object and wires it with a web view and, if given, the view controller.
  void create(const Platform& platform, std::shared_ptr<UIViewController> viewController);
  /// Lets the plug-in object go.
  void release() { plugin_.reset(); }
  /// The plug-in object, or null.
  const std::shared_ptr<VECameraPlugin>& plugin() const { return plugin_; }

  /// Whether the plug-in object that the callback was given to is still there.
  bool keepsPluginOf(const Callback& callback) const {
    return plugin_ && callback.pluginNumber() == pluginNumber_;
  }

  /// A refusal of the dispatcher, in words.
  struct Refusal {
    std::string why;
  };
  /// Calls the selector on the plug-in object: its value, or why it was not called (no object, an
  /// unknown selector, a wrong number of arguments).
  std::variant<Value, Refusal> perform(std::string_view selector, std::span<const Value> arguments);
  /// A new callback for a page command with these arguments, entered in the ledger.
  std::shared_ptr<Callback> makeCallback(std::string name, std::string selector, Array arguments);

  void setUrlTransformer(UrlTransformerOffer offer);
  const Ledger& ledger() const { return ledger_; }

 private:
  /// Shared with the callbacks, which may outlive this object.
  struct Delegates {
    std::mutex mutex;
    std::shared_ptr<CommandDelegate> current;
  };

  const NSClock& clock_;
  DeviceObserver& observer_;
  const std::shared_ptr<Delegates> delegates_;
  std::shared_ptr<VECameraPlugin> plugin_;
  int pluginNumber_ = 0;
  Ledger ledger_;
};

/// The container's log, as events.
class ObservedLog : public VELog {
 public:
  explicit ObservedLog(DeviceObserver& observer) : observer_(observer) {}
  void debug(std::string_view msg) override { observer_.loggedDebug(msg); }
  void error(std::string_view tag, std::string_view msg, std::string_view filename, int line,
             std::string_view funcName) override {
    observer_.loggedError(tag, msg, filename, line, funcName);
  }

 private:
  DeviceObserver& observer_;
};

}  // namespace vecamera::device::container
