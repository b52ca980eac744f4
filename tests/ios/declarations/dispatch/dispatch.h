// Dispatch queues, which are objects.
#pragma once

#import "../Foundation/Foundation.h"

NS_ASSUME_NONNULL_BEGIN

@protocol OS_dispatch_object <NSObject>
@end
@protocol OS_dispatch_queue <OS_dispatch_object>
@end
@protocol OS_dispatch_queue_attr <OS_dispatch_object>
@end

typedef NSObject<OS_dispatch_queue>* dispatch_queue_t;
typedef NSObject<OS_dispatch_queue>* dispatch_queue_global_t;
typedef NSObject<OS_dispatch_queue>* dispatch_queue_main_t;
typedef NSObject<OS_dispatch_queue_attr>* dispatch_queue_attr_t;
typedef void (^dispatch_block_t)(void);
typedef void (*dispatch_function_t)(void* _Nullable);
typedef uint64_t dispatch_time_t;
typedef intptr_t dispatch_once_t;

typedef NS_ENUM(unsigned int, qos_class_t) {
  QOS_CLASS_USER_INTERACTIVE = 0x21,
  QOS_CLASS_USER_INITIATED = 0x19,
  QOS_CLASS_DEFAULT = 0x15,
  QOS_CLASS_UTILITY = 0x11,
  QOS_CLASS_BACKGROUND = 0x09,
};

#define DISPATCH_TIME_NOW (0ull)
#define DISPATCH_TIME_FOREVER (~0ull)
#define NSEC_PER_SEC 1000000000ull
#define NSEC_PER_MSEC 1000000ull

// The main queue is this object; the function below is not exported.
struct dispatch_queue_s;
PLATFORM_EXTERN struct dispatch_queue_s _dispatch_main_q;
static inline dispatch_queue_main_t dispatch_get_main_queue(void) {
  return (__bridge dispatch_queue_main_t) & _dispatch_main_q;
}

struct dispatch_queue_attr_s;
PLATFORM_EXTERN struct dispatch_queue_attr_s _dispatch_queue_attr_concurrent;
#define DISPATCH_QUEUE_SERIAL ((dispatch_queue_attr_t)nil)
#define DISPATCH_QUEUE_CONCURRENT \
  ((__bridge dispatch_queue_attr_t) & _dispatch_queue_attr_concurrent)

PLATFORM_EXTERN dispatch_queue_global_t dispatch_get_global_queue(intptr_t identifier,
                                                                  uintptr_t flags);
PLATFORM_EXTERN dispatch_queue_t dispatch_queue_create(const char* _Nullable label,
                                                       dispatch_queue_attr_t _Nullable attributes)
    __attribute__((ns_returns_retained));
PLATFORM_EXTERN dispatch_queue_attr_t dispatch_queue_attr_make_with_qos_class(
    dispatch_queue_attr_t _Nullable attributes, qos_class_t qosClass, int relativePriority);
PLATFORM_EXTERN void dispatch_queue_set_specific(dispatch_queue_t queue, const void* key,
                                                 void* _Nullable context,
                                                 dispatch_function_t _Nullable destructor);
PLATFORM_EXTERN void* _Nullable dispatch_get_specific(const void* key);
PLATFORM_EXTERN void dispatch_async(dispatch_queue_t queue, dispatch_block_t block);
PLATFORM_EXTERN void dispatch_sync(dispatch_queue_t queue, NS_NOESCAPE dispatch_block_t block);
PLATFORM_EXTERN dispatch_time_t dispatch_time(dispatch_time_t when, int64_t nanoseconds);
PLATFORM_EXTERN void dispatch_after(dispatch_time_t when, dispatch_queue_t queue,
                                    dispatch_block_t block);
PLATFORM_EXTERN void dispatch_once(dispatch_once_t* predicate, NS_NOESCAPE dispatch_block_t block);

NS_ASSUME_NONNULL_END
