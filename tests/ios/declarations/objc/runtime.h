// The language's runtime: its types, and the few functions of it that a host calls.
#pragma once

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include "../Availability.h"

#ifndef YES
#define YES __objc_yes
#define NO __objc_no
#endif
#ifndef nil
#ifdef __cplusplus
#define nil nullptr
#define Nil nullptr
#else
#define nil ((void*)0)
#define Nil ((void*)0)
#endif
#endif

typedef bool BOOL;
typedef long NSInteger;
typedef unsigned long NSUInteger;
@class Protocol;

NS_ASSUME_NONNULL_BEGIN

typedef NS_ENUM(uintptr_t, objc_AssociationPolicy) {
  OBJC_ASSOCIATION_ASSIGN = 0,
  OBJC_ASSOCIATION_RETAIN_NONATOMIC = 1,
  OBJC_ASSOCIATION_COPY_NONATOMIC = 3,
  OBJC_ASSOCIATION_RETAIN = 01401,
  OBJC_ASSOCIATION_COPY = 01403,
};

PLATFORM_EXTERN void objc_setAssociatedObject(id object, const void* key, id _Nullable value,
                                              objc_AssociationPolicy policy);
PLATFORM_EXTERN id _Nullable objc_getAssociatedObject(id object, const void* key);
PLATFORM_EXTERN const char* class_getName(Class _Nullable type);
PLATFORM_EXTERN BOOL sel_isEqual(SEL a, SEL b);

NS_ASSUME_NONNULL_END
