// A made-up container of classes.
#import <UIKit/UIKit.h>
#import <WebKit/WebKit.h>

NS_ASSUME_NONNULL_BEGIN

typedef NS_ENUM(NSInteger, CommandStatus) {
  OK = 1,
  INVALID_PARAM = 2,
  NO_PERMISSION = 7,
  FAIL_TAKE_PICTURE = 20,
  UNABLE_FILE_WRITE = 21,
  UNABLE_FILE_REMOVE = 22,
  OBJECT_REFERENCE_FAILED = 30,
};

@interface VelmoraWebView : WKWebView
@end

@interface VelmoraCommand : NSObject
- (nullable id)argumentAt:(NSInteger)position;
@end

@interface CommandDelegate : NSObject
@property(nullable, nonatomic, copy) NSURL* _Nullable (^urlTransformer)(NSURL* url);
@end

@interface CallBackManager : NSObject
@property(nonatomic, readonly) VelmoraCommand* command;
@property(nullable, nonatomic, readonly) CommandDelegate* commandDelegate;
- (void)successWithKeepCallback:(BOOL)keepCallback;
- (void)successWithData:(NSDictionary<NSString*, id>*)data keepCallback:(BOOL)keepCallback;
- (void)errorWithStatus:(CommandStatus)status
                message:(NSString*)message
           keepCallback:(BOOL)keepCallback;
- (void)errorWithStatus:(CommandStatus)status
                   data:(NSDictionary<NSString*, id>*)data
           keepCallback:(BOOL)keepCallback;
@end

@interface VELog : NSObject
+ (void)debugWithMsg:(NSString*)msg;
+ (void)errorWithTag:(NSString*)tag
                 msg:(NSString*)msg
            filename:(NSString*)filename
                line:(NSInteger)line
            funcName:(NSString*)funcName;
@end

@protocol VelmoraPluginProtocol <NSObject>
@property(nullable, nonatomic, weak) UIViewController* viewController;
@property(nullable, nonatomic, readonly) VelmoraWebView* webView;
- (void)setVWebView:(nullable VelmoraWebView*)webView;
- (void)dispose;
@end

NS_ASSUME_NONNULL_END
