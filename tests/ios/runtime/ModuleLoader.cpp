// Loads what clang compiled for a newer Objective-C runtime into GCC's, which is Debian's.
//
// Clang has ARC for the runtimes of GNUstep only, from version 1.9 of their binary interface on
// (-fobjc-runtime=gnustep-1.9). GCC's libobjc reads an older one, version 8. The differences:
//  - A class has the size of its own fields alone, as a negative number, and its fields' offsets
//    count from the end of the superclass. Both become absolute when the class is loaded. The
//    variables that the code reads offsets from lie beyond the fields that libobjc knows.
//  - Protocols and the module have other version numbers.
// Link with -Wl,--wrap=__objc_exec_class: the constructors of the modules then come through here.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace {

struct Ivar {
  const char* name;
  const char* type;
  int offset;
};
struct IvarList {
  int count;
  Ivar ivars[1];
};
struct ProtocolList;
struct Protocol {
  std::uintptr_t version;
  const char* name;
  ProtocolList* adopted;
};
struct ProtocolList {
  ProtocolList* next;
  std::size_t count;
  Protocol* protocols[1];
};
struct Class {
  Class* metaclass;
  const char* superclassName;  // a name until libobjc has loaded the class
  const char* name;
  long version;
  unsigned long info;
  long instanceSize;
  IvarList* ivars;
  void* methods;
  void* dispatchTable;
  Class* firstSubclass;
  Class* nextSibling;
  ProtocolList* protocols;
  void* garbageCollectorType;
  // From here on, libobjc does not know of them.
  long abiVersion;
  int** ivarOffsets;
};
struct Category {
  const char* name;
  const char* className;
  void* instanceMethods;
  void* classMethods;
  ProtocolList* protocols;
};
struct SymbolTable {
  unsigned long selectorCount;
  void* selectors;
  unsigned short classCount;
  unsigned short categoryCount;
  void* definitions[1];  // the classes, then the categories
};
struct Module {
  unsigned long version;
  unsigned long size;
  const char* name;
  SymbolTable* symbols;
};

constexpr unsigned long gccVersion = 8;
constexpr std::uintptr_t gccProtocolVersion = 2;
constexpr std::uintptr_t clangProtocolVersion = 3;

}  // namespace

extern "C" {
Class* objc_lookUpClass(const char* name);
void __real___objc_exec_class(Module* module);
}

namespace {

// Modules that wait for a superclass in a module whose constructor did not run yet.
std::vector<Module*>& waitingModules() {
  static auto* modules = new std::vector<Module*>;
  return *modules;
}

Class* classAt(const Module& module, int index) {
  return static_cast<Class*>(module.symbols->definitions[index]);
}

bool layOut(Class& type);

Class* laidOutClass(const char* name) {
  if (Class* loaded = objc_lookUpClass(name)) return loaded;
  for (const Module* module : waitingModules())
    for (int i = 0; i < module->symbols->classCount; ++i)
      if (std::strcmp(classAt(*module, i)->name, name) == 0)
        return layOut(*classAt(*module, i)) ? classAt(*module, i) : nullptr;
  return nullptr;
}

// Makes size and offsets absolute; false where the superclass is not there yet.
bool layOut(Class& type) {
  if (type.instanceSize > 0) return true;
  long inherited = 0;
  if (type.superclassName) {
    const Class* superclass = laidOutClass(type.superclassName);
    if (!superclass) return false;
    inherited = superclass->instanceSize;
  }
  type.instanceSize = inherited - type.instanceSize;
  for (int i = 0; type.ivars && i < type.ivars->count; ++i) {
    type.ivars->ivars[i].offset += static_cast<int>(inherited);
    if (type.ivarOffsets && type.ivarOffsets[i]) *type.ivarOffsets[i] = type.ivars->ivars[i].offset;
  }
  return true;
}

void setProtocolVersions(ProtocolList* list) {
  for (; list; list = list->next) {
    for (std::size_t i = 0; i < list->count; ++i) {
      Protocol* protocol = list->protocols[i];
      if (!protocol || protocol->version != clangProtocolVersion) continue;
      protocol->version = gccProtocolVersion;
      setProtocolVersions(protocol->adopted);
    }
  }
}

bool load(Module& module) {
  SymbolTable& symbols = *module.symbols;
  for (int i = 0; i < symbols.classCount; ++i)
    if (!layOut(*classAt(module, i))) return false;
  for (int i = 0; i < symbols.classCount; ++i) setProtocolVersions(classAt(module, i)->protocols);
  for (int i = 0; i < symbols.categoryCount; ++i)
    setProtocolVersions(
        static_cast<Category*>(symbols.definitions[symbols.classCount + i])->protocols);
  module.version = gccVersion;
  module.size = sizeof(Module);
  __real___objc_exec_class(&module);
  return true;
}

}  // namespace

extern "C" void __wrap___objc_exec_class(Module* module) {
  if (module->version == gccVersion) {
    __real___objc_exec_class(module);
    return;
  }
  std::vector<Module*>& waiting = waitingModules();
  waiting.push_back(module);
  for (bool again = true; again;) {
    again = false;
    for (std::size_t i = 0; i < waiting.size() && !again; ++i) {
      if (!load(*waiting[i])) continue;
      waiting.erase(waiting.begin() + static_cast<std::ptrdiff_t>(i));
      again = true;
    }
  }
}
