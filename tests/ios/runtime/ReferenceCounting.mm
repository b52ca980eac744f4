// What ARC code calls and Debian's libobjc does not have: reference counts, weak references,
// setters of properties, associated objects; and classes for blocks. For tests: one lock for all,
// which is slow. Compiled without ARC.
#import <Foundation/Foundation.h>

#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

// Message lookup of libobjc, and of the interface that clang's code was compiled for.
using Method = id (*)(id, SEL, ...);
struct Super {
  id receiver;
  Class superclass;
};
struct Slot {
  Class owner;
  Class cachedFor;
  const char* types;
  int version;
  Method method;
};

extern "C" {
Method objc_msg_lookup(id receiver, SEL selector);
Method objc_msg_lookup_super(Super* super, SEL selector);
SEL sel_registerName(const char* name);
Class objc_getClass(const char* name);
void* class_getInstanceMethod(Class type, SEL selector);
Method method_getImplementation(void* method);
Method method_setImplementation(void* method, Method implementation);
void* _Block_copy(const void* block);
void _Block_release(const void* block);
BOOL NSDecrementExtraRefCountWasZero(id object);

id objc_retain(id object);
void objc_release(id object);
}

namespace {

struct Association {
  const void* key;
  id value;
};

// Guards the tables, and the moment in which an object's last reference goes: a weak reference is
// either read before that, and keeps the object, or is nil.
std::recursive_mutex& lock() {
  static auto* mutex = new std::recursive_mutex;
  return *mutex;
}
using Guard = std::lock_guard<std::recursive_mutex>;

std::unordered_map<id, std::vector<id*>>& weakReferences() {
  static auto* table = new std::unordered_map<id, std::vector<id*>>;
  return *table;
}
std::unordered_map<id, std::vector<Association>>& associations() {
  static auto* table = new std::unordered_map<id, std::vector<Association>>;
  return *table;
}

id send(id receiver, SEL selector) {
  return objc_msg_lookup(receiver, selector)(receiver, selector);
}

void forget(id* reference) {
  const auto found = weakReferences().find(*reference);
  if (found == weakReferences().end()) return;
  std::erase(found->second, reference);
  if (found->second.empty()) weakReferences().erase(found);
}

void clearWeakReferences(id object) {
  const auto found = weakReferences().find(object);
  if (found == weakReferences().end()) return;
  for (id* reference : found->second) *reference = nil;
  weakReferences().erase(found);
}

id* fieldOf(id object, std::ptrdiff_t offset) {
  return reinterpret_cast<id*>(reinterpret_cast<char*>(object) + offset);
}

// NSObject's own `release` and `dealloc`, with what weak references and associated objects need.
Method originalDealloc;

id releaseObject(id self, SEL, ...) {
  {
    const Guard guard(lock());
    if (!NSDecrementExtraRefCountWasZero(self)) return nil;
    clearWeakReferences(self);
  }
  static const SEL dealloc = sel_registerName("dealloc");
  send(self, dealloc);
  return nil;
}

id deallocObject(id self, SEL selector, ...) {
  std::vector<Association> dropped;
  {
    const Guard guard(lock());
    clearWeakReferences(self);
    if (auto node = associations().extract(self)) dropped = std::move(node.mapped());
  }
  for (const Association& association : dropped) objc_release(association.value);
  return originalDealloc(self, selector);
}

}  // namespace

// Blocks are libBlocksRuntime's, whose classes are empty memory. Here they are objects like any
// other, which collections, the autorelease pool and GNUstep may keep.
@interface Block : NSObject
@end
@implementation Block
+ (void)load {
  Class object = objc_getClass("NSObject");
  method_setImplementation(class_getInstanceMethod(object, sel_registerName("release")),
                           releaseObject);
  void* dealloc = class_getInstanceMethod(object, sel_registerName("dealloc"));
  originalDealloc = method_getImplementation(dealloc);
  method_setImplementation(dealloc, deallocObject);
}
- (id)retain {
  return static_cast<id>(_Block_copy(self));
}
- (void)release {
  _Block_release(self);
}
- (id)copyWithZone:(NSZone*)zone {
  return static_cast<id>(_Block_copy(self));
}
@end
@interface StackBlock : Block
@end
@implementation StackBlock
@end
@interface MallocBlock : Block
@end
@implementation MallocBlock
@end
@interface GlobalBlock : Block
@end
@implementation GlobalBlock
@end
asm(R"(
  .globl _NSConcreteStackBlock, _NSConcreteMallocBlock, _NSConcreteGlobalBlock
  .set _NSConcreteStackBlock, _OBJC_CLASS_StackBlock
  .set _NSConcreteMallocBlock, _OBJC_CLASS_MallocBlock
  .set _NSConcreteGlobalBlock, _OBJC_CLASS_GlobalBlock
)");

extern "C" {

Slot* objc_msg_lookup_sender(id* receiver, SEL selector, id) {
  thread_local Slot slot;
  slot.method = objc_msg_lookup(*receiver, selector);
  return &slot;
}
Slot* objc_slot_lookup_super(Super* super, SEL selector) {
  thread_local Slot slot;
  slot.method = objc_msg_lookup_super(super, selector);
  return &slot;
}

id objc_retain(id object) {
  static const SEL retain = sel_registerName("retain");
  return object ? send(object, retain) : nil;
}
void objc_release(id object) {
  static const SEL release = sel_registerName("release");
  if (object) send(object, release);
}
id objc_autorelease(id object) {
  static const SEL autorelease = sel_registerName("autorelease");
  return object ? send(object, autorelease) : nil;
}
id objc_retainBlock(id block) {
  return static_cast<id>(_Block_copy(block));
}
id objc_retainAutorelease(id object) {
  return objc_autorelease(objc_retain(object));
}
id objc_autoreleaseReturnValue(id object) {
  return objc_autorelease(object);
}
id objc_retainAutoreleaseReturnValue(id object) {
  return objc_retainAutorelease(object);
}
id objc_retainAutoreleasedReturnValue(id object) {
  return objc_retain(object);
}
id objc_unsafeClaimAutoreleasedReturnValue(id object) {
  return object;
}
void objc_storeStrong(id* field, id value) {
  objc_retain(value);
  objc_release(std::exchange(*field, value));
}

void* objc_autoreleasePoolPush() {
  static const SEL make = sel_registerName("new");
  return send(objc_getClass("NSAutoreleasePool"), make);
}
void objc_autoreleasePoolPop(void* pool) {
  static const SEL release = sel_registerName("release");
  send(static_cast<id>(pool), release);
}

id objc_storeWeak(id* reference, id value) {
  const Guard guard(lock());
  if (*reference) forget(reference);
  *reference = value;
  if (value) weakReferences()[value].push_back(reference);
  return value;
}
id objc_initWeak(id* reference, id value) {
  *reference = nil;
  return objc_storeWeak(reference, value);
}
void objc_destroyWeak(id* reference) {
  objc_storeWeak(reference, nil);
}
id objc_loadWeakRetained(id* reference) {
  const Guard guard(lock());
  return objc_retain(*reference);
}
id objc_loadWeak(id* reference) {
  return objc_autorelease(objc_loadWeakRetained(reference));
}
void objc_copyWeak(id* to, id* from) {
  const Guard guard(lock());
  objc_initWeak(to, *from);
}
void objc_moveWeak(id* to, id* from) {
  const Guard guard(lock());
  objc_copyWeak(to, from);
  objc_destroyWeak(from);
}

// Of properties that are strong or copied. libobjc has the getters.
void objc_setProperty_nonatomic(id self, SEL, id value, std::ptrdiff_t offset) {
  objc_storeStrong(fieldOf(self, offset), value);
}
void objc_setProperty_atomic(id self, SEL, id value, std::ptrdiff_t offset) {
  objc_retain(value);
  std::unique_lock guard(lock());
  id previous = std::exchange(*fieldOf(self, offset), value);
  guard.unlock();
  objc_release(previous);
}
static id copyOf(id value) {
  static const SEL copy = sel_registerName("copy");
  return value ? send(value, copy) : nil;
}
void objc_setProperty_nonatomic_copy(id self, SEL, id value, std::ptrdiff_t offset) {
  id copied = copyOf(value);
  objc_release(std::exchange(*fieldOf(self, offset), copied));
}
void objc_setProperty_atomic_copy(id self, SEL selector, id value, std::ptrdiff_t offset) {
  id copied = copyOf(value);
  objc_setProperty_atomic(self, selector, copied, offset);
  objc_release(copied);
}

void objc_setAssociatedObject(id object, const void* key, id value, objc_AssociationPolicy policy) {
  const bool copies = policy == OBJC_ASSOCIATION_COPY || policy == OBJC_ASSOCIATION_COPY_NONATOMIC;
  if (policy == OBJC_ASSOCIATION_ASSIGN) {
    NSLog(@"Associated objects that are not retained have no counterpart here.");
    __builtin_trap();
  }
  id kept = copies ? copyOf(value) : objc_retain(value);
  id previous = nil;
  {
    const Guard guard(lock());
    std::vector<Association>& all = associations()[object];
    for (Association& association : all)
      if (association.key == key) std::swap(previous, association.value);
    std::erase_if(all, [&](const Association& a) { return a.key == key; });
    if (kept) all.push_back({key, kept});
  }
  objc_release(previous);
}
id objc_getAssociatedObject(id object, const void* key) {
  const Guard guard(lock());
  const auto found = associations().find(object);
  if (found == associations().end()) return nil;
  for (const Association& association : found->second)
    if (association.key == key) return objc_retainAutorelease(association.value);
  return nil;
}
}
