#include "device/container/SoftwareContainer.h"

#include <algorithm>

namespace vecamera::device::container {
namespace {

class Delegate : public CommandDelegate {
 public:
  explicit Delegate(URLTransformer transformer) : transformer_(std::move(transformer)) {}
  URLTransformer urlTransformer() const override { return transformer_; }

 private:
  const URLTransformer transformer_;
};

}  // namespace

PluginObject makePlugin(const Platform& platform) {
  const auto plugin = VECameraPlugin::create(platform);
  return {plugin, plugin, [plugin = plugin.get()] { return plugin->inspect(); }};
}

SoftwareContainer::SoftwareContainer(const NSClock& clock, DeviceObserver& observer,
                                     PluginFactory makePlugin, AnswerGate gate)
    : clock_(clock),
      observer_(observer),
      delegates_(std::make_shared<Delegates>()),
      makePlugin_(std::move(makePlugin)),
      gate_(std::move(gate)) {
  setUrlTransformer({});
}

void SoftwareContainer::create(const Platform& platform,
                               std::shared_ptr<UIViewController> viewController) {
  plugin_ = makePlugin_(platform);
  ++pluginNumber_;
  plugin_.protocol->setVWebView(std::make_shared<VelmoraWebView>());
  plugin_.protocol->setViewController(std::move(viewController));
}

void SoftwareContainer::killCallbacks() {
  for (const auto& callback : callbacks_.open()) callback->kill();
}

Result<Value, ContainerError> SoftwareContainer::perform(std::string_view selector,
                                                         std::span<const Value> arguments) {
  const std::string quoted = "\"" + std::string(selector) + "\"";
  const auto failure = [](std::string message) {
    return Failure(ContainerError{std::move(message)});
  };
  if (!plugin_) return failure("there is no plug-in object to send " + quoted + " to");
  const auto* operation = plugin_.target->operationForSelector(selector);
  if (!operation) return failure("the plug-in does not answer to the selector " + quoted);
  const auto wanted = static_cast<std::size_t>(std::count(selector.begin(), selector.end(), ':'));
  if (arguments.size() != wanted)
    return failure("the selector " + quoted + " takes " + std::to_string(wanted) +
                   " arguments, not " + std::to_string(arguments.size()));
  // The object may be released while it works.
  const auto keep = plugin_.target;
  return (*operation)(arguments);
}

std::shared_ptr<Callback> SoftwareContainer::makeCallback(std::string name, std::string selector,
                                                          Array arguments) {
  auto callback = std::make_shared<Callback>(
      std::move(name), std::move(selector), std::move(arguments), pluginNumber_,
      [delegates = delegates_] {
        const std::lock_guard lock(delegates->mutex);
        return delegates->current;
      },
      clock_, observer_, gate_);
  callbacks_.add(callback);
  return callback;
}

void SoftwareContainer::setUrlTransformer(UrlTransformerOffer offer) {
  const std::lock_guard lock(delegates_->mutex);
  delegates_->current =
      offer.hasDelegate ? std::make_shared<Delegate>(std::move(offer.transformer)) : nullptr;
}

}  // namespace vecamera::device::container
