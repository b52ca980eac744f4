// Handlers of the platform's exceptions in Objective-C++. GNUstep throws them as GCC's, which are
// foreign to C++: its personality runs clean-ups and knows handlers for everything, and asks each
// other handler's type whether it takes a "foreign exception". Clang's types for @catch are asked
// here, and know the object from the call of the personality. Compiled without ARC.
#import <Foundation/Foundation.h>

#include <cxxabi.h>
#include <unwind.h>

#include <cstdint>
#include <typeinfo>

extern "C" {
_Unwind_Reason_Code __gxx_personality_v0(int, _Unwind_Action, std::uint64_t, _Unwind_Exception*,
                                         _Unwind_Context*);
void* __real___cxa_begin_catch(void* exception) noexcept;
Class objc_lookUpClass(const char* name);
}

namespace {

struct PlatformException {
  _Unwind_Exception header;
  id object;
};
constexpr std::uint64_t platformExceptions = 0x474e5543'4f424a43;  // "GNUCOBJC"

thread_local id current = nil;

}  // namespace

// What clang names in the tables of handlers: this class for `@catch (SomeClass*)`, with the
// class's name.
namespace gnustep::libobjc {
class __objc_class_type_info : public std::type_info {
 public:
  explicit __objc_class_type_info(const char* name) : std::type_info(name) {}
  ~__objc_class_type_info() override;
  bool __do_catch(const std::type_info* thrown, void** object, unsigned) const override {
    if (*thrown != typeid(abi::__foreign_exception) || !current || !takes(current)) return false;
    *object = current;
    return true;
  }

 protected:
  virtual bool takes(id object) const { return [object isKindOfClass:objc_lookUpClass(name())]; }
};
__objc_class_type_info::~__objc_class_type_info() = default;

class IdTypeInfo final : public __objc_class_type_info {
  using __objc_class_type_info::__objc_class_type_info;
  bool takes(id) const override { return true; }
};
}  // namespace gnustep::libobjc

// The type of `@catch (id)`.
gnustep::libobjc::IdTypeInfo idTypeInfo asm("__objc_id_type_info")("id");

extern "C" {

_Unwind_Reason_Code __gnustep_objcxx_personality_v0(int version, _Unwind_Action actions,
                                                    std::uint64_t type,
                                                    _Unwind_Exception* exception,
                                                    _Unwind_Context* context) {
  current =
      type == platformExceptions ? reinterpret_cast<PlatformException*>(exception)->object : nil;
  return __gxx_personality_v0(version, actions, type, exception, context);
}

// Gives the handler the object, where C++ has nothing to give.
void* __wrap___cxa_begin_catch(void* exception) noexcept {
  void* object = __real___cxa_begin_catch(exception);
  auto* thrown = static_cast<PlatformException*>(exception);
  return thrown->header.exception_class == platformExceptions ? thrown->object : object;
}
}
