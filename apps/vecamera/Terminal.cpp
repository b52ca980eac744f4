#include "apps/vecamera/Terminal.h"

#include <iostream>

namespace vecamera::app {

void complain(std::string_view why) {
  std::cerr << "vecamera: " << why << std::endl;
}

ExitStatus refuse(std::string_view why) {
  complain(why);
  return ExitStatus::usage;
}

ExitStatus fail(std::string_view why) {
  complain(why);
  return ExitStatus::failure;
}

}  // namespace vecamera::app
