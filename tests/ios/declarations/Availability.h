// Since when the phone has a declaration, and how long. Where nothing is said, it has it from iOS
// 15 on or earlier, and without end.
#pragma once

#define AVAILABLE_ios(version) ios, introduced = version
#define DEPRECATED_ios(first, last) ios, introduced = first, deprecated = last
#define API_AVAILABLE(platform) __attribute__((availability(AVAILABLE_##platform)))
#define API_DEPRECATED(text, platform) \
  __attribute__((availability(DEPRECATED_##platform, message = text)))
#define NS_EXTENSION_UNAVAILABLE_IOS(text) \
  __attribute__((availability(ios_app_extension, unavailable, message = text)))
#define NS_UNAVAILABLE __attribute__((unavailable))

#ifdef __cplusplus
#define PLATFORM_EXTERN extern "C"
#else
#define PLATFORM_EXTERN extern
#endif

#define NS_ASSUME_NONNULL_BEGIN _Pragma("clang assume_nonnull begin")
#define NS_ASSUME_NONNULL_END _Pragma("clang assume_nonnull end")
#define NS_DESIGNATED_INITIALIZER __attribute__((objc_designated_initializer))
#define NS_RETURNS_INNER_POINTER __attribute__((objc_returns_inner_pointer))
#define NS_REQUIRES_SUPER __attribute__((objc_requires_super))
#define NS_NOESCAPE __attribute__((noescape))
#define CF_RETURNS_RETAINED __attribute__((cf_returns_retained))
#define CF_RETURNS_NOT_RETAINED __attribute__((cf_returns_not_retained))

// In C++ an enumeration of flags has no name of its own, so that `a | b` is of the flags' type.
#define NS_ENUM(type, name) \
  enum name : type name;    \
  enum name : type
#ifdef __cplusplus
#define NS_OPTIONS(type, name) \
  type name;                   \
  enum : type
#else
#define NS_OPTIONS(type, name) \
  enum name : type name;       \
  enum name : type
#endif
