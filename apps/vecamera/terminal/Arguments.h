#pragma once

#include <optional>
#include <string_view>

#include "VECamera/platform/CoreGraphics.h"
#include "device/script/script/Script.h"

/// The values of command-line options. Each reader gives nothing for a text that is not wholly such
/// a value.
namespace vecamera::app {

/// "640x480", both above 0.
std::optional<CGSize> parseSize(std::string_view text);
/// "X,Y,WIDTH,HEIGHT", width and height above 0.
std::optional<CGRect> parseCrop(std::string_view text);
/// "LATITUDE,LONGITUDE" or "LATITUDE,LONGITUDE,ALTITUDE", in degrees and metres.
std::optional<device::script::Fix> parseFix(std::string_view text);

}  // namespace vecamera::app
