// Alerts, which UIKit takes off by itself before it runs the handler of a button.
#import <UIKit/UIKit.h>

#include <memory>

#import "tests/ios/platform/Presenting.h"
#import "tests/ios/platform/SoftwareValues.h"

@implementation UIAlertAction {
 @public
  NSString* title_;
  UIAlertActionStyle style_;
  void (^handler_)(UIAlertAction*);
}
+ (instancetype)actionWithTitle:(NSString*)title
                          style:(UIAlertActionStyle)style
                        handler:(void (^)(UIAlertAction*))handler {
  UIAlertAction* action = [[self alloc] init];
  action->title_ = [title copy];
  action->style_ = style;
  action->handler_ = [handler copy];
  return action;
}
- (NSString*)title {
  return title_;
}
- (UIAlertActionStyle)style {
  return style_;
}
- (id)copyWithZone:(NSZone*)zone {
  return self;
}
@end

@implementation UIAlertController {
  UIAlertControllerStyle preferredStyle_;
  NSMutableArray<UIAlertAction*>* actions_;
}
@dynamic title;
@synthesize message = message_;

+ (instancetype)alertControllerWithTitle:(NSString*)title
                                 message:(NSString*)message
                          preferredStyle:(UIAlertControllerStyle)style {
  UIAlertController* alert = [[self alloc] init];
  alert.title = title;
  alert.message = message;
  alert->preferredStyle_ = style;
  alert->actions_ = [NSMutableArray array];
  return alert;
}
- (void)addAction:(UIAlertAction*)action {
  if (action.style == UIAlertActionStyleCancel)
    for (UIAlertAction* other in actions_)
      if (other.style == UIAlertActionStyleCancel)
        [[NSException exceptionWithName:NSInternalInconsistencyException
                                 reason:@"an alert has one cancelling action at most"
                               userInfo:nil] raise];
  [actions_ addObject:action];
}
- (NSArray<UIAlertAction*>*)actions {
  return [actions_ copy];
}
- (UIAlertControllerStyle)preferredStyle {
  return preferredStyle_;
}

- (std::optional<vecamera::PresentedViewController>)makeRecord {
  using namespace vecamera;
  const auto record = std::make_shared<vecamera::UIAlertController>(
      ios::textForDevice(self.title), ios::textForDevice(self.message),
      static_cast<vecamera::UIAlertControllerStyle>(preferredStyle_));
  __weak ::UIAlertController* const weakSelf = self;
  for (::UIAlertAction* action in actions_)
    record->addAction({ios::textForDevice(action.title),
                       static_cast<vecamera::UIAlertActionStyle>(action.style),
                       [weakSelf, action](const std::shared_ptr<vecamera::UIAlertController>&) {
                         @autoreleasepool {
                           [weakSelf press:action];
                         }
                       }});
  return record;
}

- (void)press:(UIAlertAction*)action {
  [self.presentingViewController takeOffThen:[action] {
    if (action->handler_) action->handler_(action);
  }];
}
@end
