#include "LivingObjects.h"

#import <Foundation/Foundation.h>

extern "C" {
BOOL GSDebugAllocationActive(BOOL active);
int GSDebugAllocationCount(Class type);
Class* GSDebugAllocationClassList();
}

namespace vecamera::ios {

void countLivingObjects() {
  GSDebugAllocationActive(YES);
}

std::size_t livingObjects(const std::string& className) {
  @autoreleasepool {
    Class type = NSClassFromString(@(className.c_str()));
    return type ? static_cast<std::size_t>(GSDebugAllocationCount(type)) : 0;
  }
}

std::map<std::string, std::size_t> livingObjectsByClass(const std::string& prefix) {
  std::map<std::string, std::size_t> counts;
  Class* classes = GSDebugAllocationClassList();
  for (Class* type = classes; *type; ++type) {
    const std::string name = class_getName(*type);
    const int count = GSDebugAllocationCount(*type);
    if (count > 0 && name.starts_with(prefix)) counts[name] = static_cast<std::size_t>(count);
  }
  free(classes);
  return counts;
}

}  // namespace vecamera::ios
