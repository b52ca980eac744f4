// A made-up container in Swift, as its compiler shows it to Objective-C: it imports nothing in C++,
// and names are mangled.
#define SWIFT_NAMED(name) __attribute__((objc_runtime_name(name)))

NS_ASSUME_NONNULL_BEGIN

typedef NS_ENUM(NSInteger, CommandStatus) {
  CommandStatusINVALID_PARAM = 0,
  CommandStatusNO_PERMISSION = 1,
  CommandStatusFAIL_TAKE_PICTURE = 2,
  CommandStatusUNABLE_FILE_WRITE = 3,
  CommandStatusUNABLE_FILE_REMOVE = 4,
  CommandStatusOBJECT_REFERENCE_FAILED = 5,
};

SWIFT_NAMED("_TtC13VelmoraMobile14VelmoraCommand")
@interface VelmoraCommand : NSObject
- (id _Nullable)argumentAt:(NSInteger)position __attribute__((warn_unused_result));
@end

SWIFT_NAMED("_TtP13VelmoraMobile15CommandDelegate_")
@protocol CommandDelegate
@property(nonatomic, readonly, copy) NSURL* _Nullable (^_Nullable urlTransformer)(NSURL*);
@end

SWIFT_NAMED("_TtC13VelmoraMobile15CallBackManager")
@interface CallBackManager : NSObject
@property(nonatomic, readonly, strong) VelmoraCommand* command;
@property(nonatomic, readonly, weak) id<CommandDelegate> _Nullable commandDelegate;
- (void)successWithKeepCallback:(BOOL)keepCallback;
- (void)successWithData:(NSDictionary<NSString*, id>*)data keepCallback:(BOOL)keepCallback;
- (void)errorWithStatus:(CommandStatus)status
                message:(NSString*)message
           keepCallback:(BOOL)keepCallback;
- (void)errorWithStatus:(CommandStatus)status
                   data:(NSDictionary<NSString*, id>*)data
           keepCallback:(BOOL)keepCallback;
@end

SWIFT_NAMED("_TtC13VelmoraMobile5VELog")
@interface VELog : NSObject
+ (void)debugWithMsg:(NSString*)msg;
+ (void)errorWithTag:(NSString*)tag
                 msg:(NSString*)msg
            filename:(NSString*)filename
                line:(NSInteger)line
            funcName:(NSString*)funcName;
@end

SWIFT_NAMED("_TtC13VelmoraMobile14VelmoraWebView")
@interface VelmoraWebView : UIView
@end

SWIFT_NAMED("_TtP13VelmoraMobile21VelmoraPluginProtocol_")
@protocol VelmoraPluginProtocol
@property(nonatomic, strong) UIViewController* _Nullable viewController;
@property(nonatomic, readonly, strong) VelmoraWebView* _Nullable webView;
- (void)setVWebView:(VelmoraWebView* _Nullable)webView;
- (void)dispose;
@end

NS_ASSUME_NONNULL_END
