#pragma once

#import <Foundation/Foundation.h>

namespace vecamera_ios {

/// Keeps a native object that has to end on the main thread: where this ends on another one, the
/// reference is handed to the main queue, which nothing waits for. `T` is the object's type with
/// its pointer, an `id` or a block; it may be nil.
template <class T>
class MainThreadReference {
 public:
  explicit MainThreadReference(T object) : object_(object) {}
  MainThreadReference(const MainThreadReference&) = delete;
  MainThreadReference& operator=(const MainThreadReference&) = delete;
  ~MainThreadReference() {
    if (!object_ || NSThread.isMainThread) return;
    // The block gets this very reference. With one of its own it could run before the member is
    // released, which would then be the last one.
    void* object = (__bridge_retained void*)object_;
    object_ = nil;
    dispatch_async(dispatch_get_main_queue(), ^{
      @autoreleasepool {
        const id released = (__bridge_transfer id)object;
        (void)released;
      }
    });
  }

  T get() const { return object_; }

 private:
  T object_;
};

}  // namespace vecamera_ios
