#include "VECamera/location/GpsDictionary.h"

#include <cmath>

#include "VECamera/platform/ImageIO.h"

namespace vecamera {
namespace {

Date timestampOf(const CLLocationManager& manager, NSProcess& process) {
  const auto fix = manager.location();
  if (!fix) process.fatalError("A location update came without a location.");
  return fix->timestamp;
}

}  // namespace

Dictionary gpsDictionary(const CLLocationManager& manager, NSDateFormatters& dateFormatters,
                         NSProcess& process) {
  const CLLocation nowhere;
  const auto coordinate = [&] { return manager.location().value_or(nowhere).coordinate; };
  const double latitude = coordinate().latitude;
  const double longitude = coordinate().longitude;
  const double altitude = manager.location().value_or(nowhere).altitude;

  // Settled: references are text, and the numbers keep their sign beside them.
  Dictionary gps;
  gps[std::string(kCGImagePropertyGPSLatitudeRef)] = latitude < 0 ? "S" : "N";
  gps[std::string(kCGImagePropertyGPSLatitude)] = latitude;
  gps[std::string(kCGImagePropertyGPSLongitudeRef)] = longitude < 0 ? "W" : "E";
  gps[std::string(kCGImagePropertyGPSLongitude)] = longitude;
  if (!std::isnan(altitude)) {
    gps[std::string(kCGImagePropertyGPSAltitudeRef)] = altitude < 0 ? "1" : "0";
    gps[std::string(kCGImagePropertyGPSAltitude)] = altitude;
  }

  const auto formatter = dateFormatters.makeDateFormatter();
  formatter->setDateFormat("HH:mm:ss.SSSSSS");
  formatter->setTimeZone(dateFormatters.timeZoneWithAbbreviation("UTC"));
  gps[std::string(kCGImagePropertyGPSTimeStamp)] =
      formatter->stringFromDate(timestampOf(manager, process));
  formatter->setDateFormat("yyyy:MM:dd");
  gps[std::string(kCGImagePropertyGPSDateStamp)] =
      formatter->stringFromDate(timestampOf(manager, process));
  return gps;
}

}  // namespace vecamera
