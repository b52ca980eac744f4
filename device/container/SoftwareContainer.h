#pragma once

#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>

#include "device/base/Result.h"
#include "device/container/CallbackRegistry.h"
#include "device/container/PluginObject.h"

namespace vecamera::device::container {

/// What the container's command delegate offers a page command.
struct UrlTransformerOffer {
  /// Whether there is a command delegate at all.
  bool hasDelegate = true;
  /// Empty: the delegate has no transformer.
  URLTransformer transformer;
};

/// Why the dispatcher did not call the plug-in, in words.
struct ContainerError {
  std::string message;
};

/// A stand-in for the host container: it owns the plug-in object, dispatches by selector, and hands
/// out and registers callbacks. Used on one thread at a time, but for the URL transformer, which
/// any thread may ask for.
class SoftwareContainer {
 public:
  /// Every answer to a callback goes through the gate.
  SoftwareContainer(const NSClock& clock, DeviceObserver& observer,
                    PluginFactory makePlugin = container::makePlugin, AnswerGate gate = {});

  /// Makes a plug-in object and wires it with a web view and, if given, the view controller.
  void create(const Platform& platform, std::shared_ptr<UIViewController> viewController);
  /// Gives up the plug-in object.
  void release() { plugin_ = {}; }
  /// The app ends: no open callback is answered any more. The plug-in object stays until it is
  /// released.
  void killCallbacks();
  /// The plug-in object; an empty one where there is none.
  const PluginObject& plugin() const { return plugin_; }

  /// Whether the plug-in object that the callback was given to is still there.
  bool keepsPluginOf(const Callback& callback) const {
    return plugin_ && callback.pluginNumber() == pluginNumber_;
  }

  /// Calls the selector on the plug-in object for its value. Fails without an object, for an
  /// unknown selector and for a wrong number of arguments.
  Result<Value, ContainerError> perform(std::string_view selector,
                                        std::span<const Value> arguments);
  /// A new callback for a page command with these arguments, registered.
  std::shared_ptr<Callback> makeCallback(std::string name, std::string selector, Array arguments);

  void setUrlTransformer(UrlTransformerOffer offer);
  const CallbackRegistry& callbacks() const { return callbacks_; }

 private:
  /// Shared with the callbacks, which may outlive this object.
  struct Delegates {
    std::mutex mutex;
    std::shared_ptr<CommandDelegate> current;
  };

  const NSClock& clock_;
  DeviceObserver& observer_;
  const std::shared_ptr<Delegates> delegates_;
  const PluginFactory makePlugin_;
  const AnswerGate gate_;
  PluginObject plugin_;
  int pluginNumber_ = 0;
  CallbackRegistry callbacks_;
};

/// The container's log, as events.
class ObservedLog : public VELog {
 public:
  explicit ObservedLog(DeviceObserver& observer) : observer_(observer) {}
  void debug(std::string_view msg) override { observer_.onDebugLogged(msg); }
  void error(std::string_view tag, std::string_view msg, std::string_view filename, int line,
             std::string_view funcName) override {
    observer_.onErrorLogged(tag, msg, filename, line, funcName);
  }

 private:
  DeviceObserver& observer_;
};

}  // namespace vecamera::device::container
