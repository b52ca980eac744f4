#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "VECamera/platform/Value.h"

namespace vecamera {

/// The container's result statuses that the plug-in uses. Their numeric codes on the wire belong
/// to the container.
enum class CommandStatus {
  INVALID_PARAM,
  NO_PERMISSION,
  FAIL_TAKE_PICTURE,
  UNABLE_FILE_WRITE,
  UNABLE_FILE_REMOVE,
  OBJECT_REFERENCE_FAILED,
};

/// The case's own name, for example "NO_PERMISSION".
std::string_view nameOf(CommandStatus status);

/// The arguments of one page command.
class VelmoraCommand {
 public:
  virtual ~VelmoraCommand() = default;
  /// The value at the 0-based position of the page's argument list; nothing where the list is
  /// shorter or the slot is empty. Called on the main queue.
  virtual std::optional<Value> argument(std::size_t position) const = 0;
};

/// The host's rewriting of URLs for its web view; may give nothing.
using URLTransformer = std::function<std::optional<URL>(const URL&)>;

/// What the container offers beside a command.
class CommandDelegate {
 public:
  virtual ~CommandDelegate() = default;
  /// The URL-transforming function, or an empty one where the host has none. Called on whichever
  /// executor builds a result; the function is called on the same one.
  virtual URLTransformer urlTransformer() const = 0;
};

/// One page command in flight. The container owns it and shares it with the plug-in, which keeps
/// the latest. Answers come from the main queue or from a completion thread of the platform, so
/// implementations take them on any thread.
///
/// The page gets at most one answer, and the container sees to that: it takes the first and drops
/// any other. Several paths of the plug-in can answer the same command, for example an alert that
/// is pressed after a newer answer, or two pickers that are both cancelled.
class CallBackManager : public Object {
 public:
  virtual const VelmoraCommand& command() const = 0;
  virtual void success(bool keepCallback) = 0;
  /// The dictionary is empty or has a "callbackURI": a text, a `URL`, or `Data` whose bytes are a
  /// Base64 text.
  virtual void success(Dictionary data, bool keepCallback) = 0;
  virtual void error(CommandStatus status, std::string message, bool keepCallback) = 0;
  /// The dictionary is empty or has an "errorMsg", which is a text.
  virtual void error(CommandStatus status, Dictionary data, bool keepCallback) = 0;
  /// The command delegate, or null where the container gives none.
  virtual std::shared_ptr<CommandDelegate> commandDelegate() const = 0;
};

/// The container's log. Called on any executor.
class VELog {
 public:
  virtual ~VELog() = default;
  virtual void debug(std::string_view msg) = 0;
  virtual void error(std::string_view tag, std::string_view msg, std::string_view filename,
                     int line, std::string_view funcName) = 0;
};

class UIView : public Object {};

/// The container's web view. The plug-in keeps a reference and never calls into it.
class VelmoraWebView : public UIView {};

/// An object whose operations are reached by selector text, so that a dispatcher needs no
/// knowledge of its class. A selector takes one argument for each ':' in its text.
class SelectorTarget : public Object {
 public:
  /// Runs with exactly as many arguments as the selector has colons. An argument of the wrong
  /// type counts as absent. Gives a null value where the operation returns nothing.
  using Operation = std::function<Value(std::span<const Value> arguments)>;
  /// The operation behind the selector, or null where the object does not answer to it. The
  /// pointer lives as long as the object.
  virtual const Operation* operationForSelector(std::string_view selector) const = 0;
};

class UIViewController;

/// What every plug-in object adopts. All members are called on the main thread.
class VelmoraPluginProtocol {
 public:
  virtual ~VelmoraPluginProtocol() = default;
  virtual std::shared_ptr<UIViewController> viewController() const = 0;
  virtual void setViewController(std::shared_ptr<UIViewController> viewController) = 0;
  virtual std::shared_ptr<VelmoraWebView> webView() const = 0;
  virtual void setVWebView(std::shared_ptr<VelmoraWebView> webView) = 0;
  virtual void dispose() = 0;

  // Optional members; the defaults are those of a plug-in that does not implement them.
  virtual void pluginInitialize() {}
  virtual void handleOpenURL(const URL&) {}
  virtual void handleOpenURLWithApplicationSourceAndAnnotation(const Dictionary&) {}
  virtual void onReset() {}
  virtual void onMemoryWarning() {}
  virtual void onAppTerminate() {}
};

}  // namespace vecamera
