#pragma once

#include <functional>
#include <memory>

#include "VECamera/core/VECameraPlugin.h"

namespace vecamera::device::container {

/// A plug-in object, as a container holds it.
struct PluginObject {
  std::shared_ptr<SelectorTarget> target;
  std::shared_ptr<VelmoraPluginProtocol> protocol;
  std::function<VECameraPlugin::Inspection()> inspect;

  explicit operator bool() const { return target != nullptr; }
};

/// Makes the plug-in objects of a container.
using PluginFactory = std::function<PluginObject(const Platform& platform)>;

/// The module's own object.
PluginObject makePlugin(const Platform& platform);

}  // namespace vecamera::device::container
