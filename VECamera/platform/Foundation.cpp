#include "VECamera/platform/Foundation.h"

namespace vecamera {

std::string NSError::localizedDescription() const {
  if (const Value* description = find(userInfo, NSLocalizedDescriptionKey)) {
    if (description->text()) return *description->text();
  }
  return "The operation couldn’t be completed. (" + domain + " error " + std::to_string(code) +
         ".)";
}

}  // namespace vecamera
