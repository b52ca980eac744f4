#pragma once

#include "VECamera/platform/CoreLocation.h"
#include "VECamera/platform/Foundation.h"

namespace vecamera {

/// The GPS property dictionary of the manager's current fix. Every value is read from the manager
/// anew; without a fix the coordinates and the altitude count as 0, and the time stamp, which needs
/// one, ends the process through `NSProcess::fatalError`.
Dictionary gpsDictionary(const CLLocationManager& manager, NSDateFormatters& dateFormatters,
                         NSProcess& process);

}  // namespace vecamera
