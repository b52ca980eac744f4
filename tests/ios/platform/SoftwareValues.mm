#import "tests/ios/platform/SoftwareValues.h"

#import "tests/ios/platform/SoftwareImages.h"
#import "tests/ios/platform/SoftwareViewControllers.h"

namespace vecamera::ios {
namespace {

Value numberForDevice(NSNumber* number) {
  if (CFGetTypeID((__bridge CFTypeRef)number) == CFBooleanGetTypeID())
    return Value(number.boolValue);
  switch (*number.objCType) {
    case 'f':
    case 'd': return Value(number.doubleValue);
    case 'Q':
    case 'L': return Value(number.unsignedLongLongValue);
    default: return Value(number.longLongValue);
  }
}

}  // namespace

NSString* textFromDevice(std::string_view text) {
  return [[NSString alloc] initWithBytes:text.data()
                                  length:text.size()
                                encoding:NSUTF8StringEncoding];
}

std::string textForDevice(NSString* text) {
  NSData* bytes = [text dataUsingEncoding:NSUTF8StringEncoding];
  return bytes ? std::string(static_cast<const char*>(bytes.bytes), bytes.length) : std::string();
}

NSURL* urlFromDevice(const URL& url) {
  return [NSURL URLWithString:textFromDevice(url.absoluteString())];
}

URL urlForDevice(NSURL* url) {
  return URL(textForDevice(url.absoluteString));
}

NSData* dataFromDevice(const Data& data) {
  auto* bytes = const_cast<std::uint8_t*>(data.bytes().data());
  const Data kept = data;  // a block would refer to the parameter
  return [[NSData alloc] initWithBytesNoCopy:bytes
                                      length:data.size()
                                 deallocator:^(void*, NSUInteger) {
                                   (void)kept;
                                 }];
}

Data dataForDevice(NSData* data) {
  const auto* bytes = static_cast<const std::uint8_t*>(data.bytes);
  return Data(std::span<const std::uint8_t>(bytes, data.length),
              std::shared_ptr<const void>(bytes, [data](const void*) { (void)data; }));
}

NSDictionary* dictionaryFromDevice(const Dictionary& dictionary) {
  NSMutableDictionary* made = [NSMutableDictionary dictionary];
  for (const auto& [key, value] : dictionary) made[textFromDevice(key)] = objectFromDevice(value);
  return [made copy];
}

Dictionary dictionaryForDevice(NSDictionary* dictionary) {
  Dictionary made;
  for (id key in dictionary.allKeys)
    if ([key isKindOfClass:NSString.class])
      made.insert_or_assign(textForDevice(key), valueForDevice([dictionary objectForKey:key]));
  return made;
}

id objectFromDevice(const Value& value) {
  if (const bool* flag = value.boolean()) return [NSNumber numberWithBool:*flag];
  if (const auto* number = value.integer()) return [NSNumber numberWithLongLong:*number];
  if (const double* number = value.real()) return [NSNumber numberWithDouble:*number];
  if (const auto* text = value.text()) return textFromDevice(*text);
  if (const Data* data = value.data()) return dataFromDevice(*data);
  if (const URL* url = value.url()) return urlFromDevice(*url);
  if (const auto* dictionary = value.dictionary()) return dictionaryFromDevice(*dictionary);
  if (const auto* array = value.array()) {
    NSMutableArray* made = [NSMutableArray array];
    for (const Value& each : *array) [made addObject:objectFromDevice(each)];
    return [made copy];
  }
  if (auto image = value.object<UIImage>()) return imageFromDevice(std::move(image));
  if (auto asset = value.object<PHAsset>()) return assetFromDevice(std::move(asset));
  if (auto controller = value.object<UIViewController>())
    return viewControllerFromDevice(std::move(controller));
  return [NSNull null];
}

Value valueForDevice(id object) {
  if (!object || object == [NSNull null]) return {};
  if ([object isKindOfClass:NSNumber.class]) return numberForDevice(object);
  if ([object isKindOfClass:NSString.class]) return Value(textForDevice(object));
  if ([object isKindOfClass:NSData.class]) return Value(dataForDevice(object));
  if ([object isKindOfClass:NSURL.class]) return Value(urlForDevice(object));
  if ([object isKindOfClass:NSDictionary.class]) return Value(dictionaryForDevice(object));
  if ([object isKindOfClass:NSArray.class]) {
    Array made;
    for (id each in (NSArray*)object) made.push_back(valueForDevice(each));
    return Value(std::move(made));
  }
  if ([object respondsToSelector:@selector(softwareObject)])
    return Value([(id<SoftwareObject>)object softwareObject]);
  return {};
}

::NSError* errorFromDevice(const NSError& error) {
  NSMutableDictionary* details = [dictionaryFromDevice(error.userInfo) mutableCopy];
  details[::NSLocalizedDescriptionKey] = textFromDevice(error.localizedDescription());
  return [::NSError errorWithDomain:textFromDevice(error.domain)
                               code:static_cast<NSInteger>(error.code)
                           userInfo:details];
}

NSError errorForDevice(::NSError* error) {
  NSError made{textForDevice(error.domain), error.code, dictionaryForDevice(error.userInfo)};
  made.userInfo.insert_or_assign(std::string(vecamera::NSLocalizedDescriptionKey),
                                 textForDevice(error.localizedDescription));
  return made;
}

}  // namespace vecamera::ios
