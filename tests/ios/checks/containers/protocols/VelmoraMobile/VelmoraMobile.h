// A made-up container of protocols.
#import <UIKit/UIKit.h>

typedef NS_ENUM(NSInteger, CommandStatus) {
  OK = 1,
  INVALID_PARAM = 2,
  NO_PERMISSION = 7,
  FAIL_TAKE_PICTURE = 20,
  UNABLE_FILE_WRITE = 21,
  UNABLE_FILE_REMOVE = 22,
  OBJECT_REFERENCE_FAILED = 30,
};

@protocol VelmoraWebView <NSObject>
- (void)load:(NSURL*)url;
@end

@protocol VelmoraCommand <NSObject>
- (id)argumentAt:(NSInteger)position;
@end

@protocol CommandDelegate <NSObject>
@property(nonatomic, copy) NSURL* (^urlTransformer)(NSURL* url);
@end

@protocol CallBackManager <NSObject>
@property(nonatomic, readonly) id<VelmoraCommand> command;
@property(nonatomic, weak, readonly) id<CommandDelegate> commandDelegate;
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
@property(nonatomic, strong) UIViewController* viewController;
@property(nonatomic, readonly) UIView<VelmoraWebView>* webView;
- (void)setVWebView:(UIView<VelmoraWebView>*)webView;
- (void)dispose;
@end
