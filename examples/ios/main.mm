// A small hybrid app in one file: a page in a WKWebView, and the container between the page and the
// camera plug-in. README.md says how to make an app of it.
#import <UIKit/UIKit.h>
#import <WebKit/WebKit.h>

#include <algorithm>
#include <atomic>
#include <cstdio>

#import "VECameraPlugin.h"

NS_ASSUME_NONNULL_BEGIN

// The scheme under which the page, its files and the files in the temporary directory are served.
// WebKit shows no files to a page that was not loaded from a file itself.
static NSString* const appScheme = @"velmora-app";
static NSString* const temporaryFolder = @"/tmp/";

#pragma mark - The container's log

@interface VELog : NSObject <VELog>
@end

@implementation VELog
+ (void)debugWithMsg:(NSString*)msg {
  NSLog(@"%@", msg);
}

+ (void)errorWithTag:(NSString*)tag
                 msg:(NSString*)msg
            filename:(NSString*)filename
                line:(NSInteger)line
            funcName:(NSString*)funcName {
  NSLog(@"%@: %@ (%@:%ld)", funcName, msg, filename.lastPathComponent, static_cast<long>(line));
}
@end

#pragma mark - Addresses

/// Turns the addresses of temporary files into some that the page can show, and serves those.
@interface Addresses : NSObject <CommandDelegate, WKURLSchemeHandler>
@end

@implementation Addresses

/// A photo comes as a bare path, a movie as a file URL; library addresses stay as they are.
- (nullable NSURL* _Nullable (^)(NSURL*))urlTransformer {
  return ^NSURL* _Nullable(NSURL* url) {
    if ((url.scheme && !url.fileURL) || !url.lastPathComponent) return url;
    NSURLComponents* components = [[NSURLComponents alloc] init];
    components.scheme = appScheme;
    components.host = @"app";
    components.path = [temporaryFolder stringByAppendingString:(NSString*)url.lastPathComponent];
    return components.URL;
  };
}

/// The file behind an address: in the temporary directory or among the app's own pages, and nowhere
/// else.
static NSString* fileOf(NSURL* url) {
  NSString* path = (url.path ?: @"").stringByStandardizingPath;
  if ([path hasPrefix:temporaryFolder])
    return [NSTemporaryDirectory() stringByAppendingPathComponent:path.lastPathComponent];
  NSString* pages = [NSBundle.mainBundle.bundlePath stringByAppendingPathComponent:@"www"];
  return [pages stringByAppendingPathComponent:path];
}

static NSString* typeOf(NSString* file) {
  NSDictionary<NSString*, NSString*>* types = @{
    @"html" : @"text/html",
    @"js" : @"text/javascript",
    @"css" : @"text/css",
    @"jpg" : @"image/jpeg",
    @"png" : @"image/png",
    @"mp4" : @"video/mp4",
  };
  return types[file.pathExtension.lowercaseString] ?: @"application/octet-stream";
}

/// The part of the file that a header such as "bytes=0-1" asks for; all of it where there is none.
static NSRange partOf(unsigned long length, NSString* _Nullable header) {
  unsigned long first = 0;
  unsigned long last = length;
  if (header) std::sscanf(header.UTF8String, "bytes=%lu-%lu", &first, &last);
  first = std::min(first, length);
  const auto end = last < length ? last + 1 : length;
  return NSMakeRange(first, std::max(end, first) - first);
}

- (void)webView:(WKWebView*)webView startURLSchemeTask:(id<WKURLSchemeTask>)task {
  NSURL* url = task.request.URL;
  NSString* file = fileOf(url);
  NSError* error = nil;
  // A movie is not read as a whole, but as its parts are asked for.
  NSData* data = [NSData dataWithContentsOfURL:[NSURL fileURLWithPath:file]
                                       options:NSDataReadingMappedIfSafe
                                         error:&error];
  if (!data) {
    [task didFailWithError:error];
    return;
  }
  NSString* header = [task.request valueForHTTPHeaderField:@"Range"];
  const NSRange part = partOf(data.length, header);
  NSMutableDictionary<NSString*, NSString*>* headers = [@{
    @"Content-Type" : typeOf(file),
    @"Content-Length" : [NSString stringWithFormat:@"%lu", part.length],
    @"Accept-Ranges" : @"bytes",
  } mutableCopy];
  const bool isPart = header && part.length > 0;
  if (isPart)
    headers[@"Content-Range"] =
        [NSString stringWithFormat:@"bytes %lu-%lu/%lu", part.location,
                                   part.location + part.length - 1, data.length];
  NSURLResponse* response = [[NSHTTPURLResponse alloc] initWithURL:url
                                                        statusCode:isPart ? 206 : 200
                                                       HTTPVersion:@"HTTP/1.1"
                                                      headerFields:headers];
  [task didReceiveResponse:response];
  [task didReceiveData:[data subdataWithRange:part]];
  [task didFinish];
}

- (void)webView:(WKWebView*)webView stopURLSchemeTask:(id<WKURLSchemeTask>)task {
}

@end

#pragma mark - One page command

/// What a page may be sent: JSON has no bytes and no URLs, which become objects with one key.
static id sendable(id value) {
  if ([value isKindOfClass:NSData.class])
    return @{@"bytes" : [value base64EncodedStringWithOptions:0]};
  if ([value isKindOfClass:NSURL.class]) return @{@"url" : [value absoluteString] ?: @""};
  if ([value isKindOfClass:NSArray.class]) {
    NSMutableArray* array = [NSMutableArray array];
    for (id each in value) [array addObject:sendable(each)];
    return array;
  }
  if ([value isKindOfClass:NSDictionary.class]) {
    NSMutableDictionary* dictionary = [NSMutableDictionary dictionary];
    for (id key in value)
      if ([key isKindOfClass:NSString.class]) dictionary[key] = sendable(value[key]);
    return dictionary;
  }
  const bool plain = [value isKindOfClass:NSString.class] || [value isKindOfClass:NSNumber.class];
  return plain ? value : NSNull.null;
}

/// The codes are the container's, and so are the names that a page gets for them.
static NSString* nameOf(CommandStatus status) {
  switch (status) {
    case INVALID_PARAM: return @"INVALID_PARAM";
    case NO_PERMISSION: return @"NO_PERMISSION";
    case FAIL_TAKE_PICTURE: return @"FAIL_TAKE_PICTURE";
    case UNABLE_FILE_WRITE: return @"UNABLE_FILE_WRITE";
    case UNABLE_FILE_REMOVE: return @"UNABLE_FILE_REMOVE";
    case OBJECT_REFERENCE_FAILED: return @"OBJECT_REFERENCE_FAILED";
  }
  return @"UNKNOWN";
}

typedef void (^Reply)(id _Nullable answer, NSString* _Nullable error);

/// A command with its arguments and the way back to the page.
@interface PageCall : NSObject <CallBackManager, VelmoraCommand>
- (instancetype)initWithArguments:(NSArray*)arguments
                        addresses:(Addresses*)addresses
                            reply:(Reply)reply;
@end

@implementation PageCall {
  NSArray* _arguments;
  Addresses* _addresses;
  Reply _reply;
  std::atomic_flag _isAnswered;
}

- (instancetype)initWithArguments:(NSArray*)arguments
                        addresses:(Addresses*)addresses
                            reply:(Reply)reply {
  self = [super init];
  if (self) {
    _arguments = [arguments copy];
    _addresses = addresses;
    _reply = [reply copy];
  }
  return self;
}

- (nullable id)argumentAt:(NSInteger)position {
  const bool isGiven = position >= 0 && static_cast<NSUInteger>(position) < _arguments.count;
  return isGiven ? _arguments[static_cast<NSUInteger>(position)] : nil;
}

- (id<VelmoraCommand>)command {
  return self;
}

- (nullable id<CommandDelegate>)commandDelegate {
  return _addresses;
}

/// The first answer goes to the page, any other is dropped: the plug-in can have several, and
/// WebKit raises where a call is answered twice. Answers come on any thread.
- (void)answer:(NSDictionary<NSString*, id>*)answer {
  if (_isAnswered.test_and_set()) return;
  NSDictionary* message = sendable(answer);
  Reply reply = _reply;
  dispatch_async(dispatch_get_main_queue(), ^{
    reply(message, nil);
  });
}

- (void)successWithKeepCallback:(BOOL)keepCallback {
  [self answer:@{@"result" : @"success"}];
}

- (void)successWithData:(NSDictionary<NSString*, id>*)data keepCallback:(BOOL)keepCallback {
  [self answer:@{@"result" : @"success", @"data" : data}];
}

- (void)errorWithStatus:(CommandStatus)status
                message:(NSString*)message
           keepCallback:(BOOL)keepCallback {
  [self answer:@{@"result" : @"error", @"status" : nameOf(status), @"message" : message}];
}

- (void)errorWithStatus:(CommandStatus)status
                   data:(NSDictionary<NSString*, id>*)data
           keepCallback:(BOOL)keepCallback {
  [self answer:@{@"result" : @"error", @"status" : nameOf(status), @"data" : data}];
}

@end

#pragma mark - The page

@interface PageWebView : WKWebView <VelmoraWebView>
@end

@implementation PageWebView
@end

@interface PageViewController : UIViewController <WKScriptMessageHandlerWithReply>
/// Takes the plug-in and the page apart, which hold each other until then.
- (void)close;
@end

@implementation PageViewController {
  Addresses* _addresses;
  PageWebView* _pageView;
  VECameraPlugin* _camera;
}

- (void)viewDidLoad {
  [super viewDidLoad];
  _addresses = [[Addresses alloc] init];
  WKWebViewConfiguration* configuration = [[WKWebViewConfiguration alloc] init];
  [configuration setURLSchemeHandler:_addresses forURLScheme:appScheme];
  [configuration.userContentController addScriptMessageHandlerWithReply:self
                                                           contentWorld:WKContentWorld.pageWorld
                                                                   name:@"velmora"];
  _pageView = [[PageWebView alloc] initWithFrame:self.view.bounds configuration:configuration];
  _pageView.autoresizingMask = UIViewAutoresizingFlexibleWidth | UIViewAutoresizingFlexibleHeight;
  // For Safari's Web Inspector, on a computer.
  if (@available(iOS 16.4, *)) _pageView.inspectable = YES;
  [self.view addSubview:_pageView];

  _camera = [[VECameraPlugin alloc] init];
  [_camera setVWebView:_pageView];
  _camera.viewController = self;

  NSURL* start = [NSURL URLWithString:[appScheme stringByAppendingString:@"://app/index.html"]];
  [_pageView loadRequest:[NSURLRequest requestWithURL:start]];
}

/// A message of the page: {command, arguments}.
- (void)userContentController:(WKUserContentController*)userContentController
      didReceiveScriptMessage:(WKScriptMessage*)message
                 replyHandler:(Reply)replyHandler {
  // A page from elsewhere that the app's page shows or leads to gets no camera.
  if (!message.frameInfo.mainFrame ||
      ![message.frameInfo.securityOrigin.protocol isEqualToString:appScheme]) {
    replyHandler(nil, @"this page may not use the camera");
    return;
  }
  NSDictionary* body = [message.body isKindOfClass:NSDictionary.class] ? message.body : @{};
  NSArray* arguments = [body[@"arguments"] isKindOfClass:NSArray.class] ? body[@"arguments"] : @[];
  PageCall* call = [[PageCall alloc] initWithArguments:arguments
                                             addresses:_addresses
                                                 reply:replyHandler];
  if ([body[@"command"] isEqual:@"takePicture"])
    [_camera takePicture:call];
  else if ([body[@"command"] isEqual:@"cleanup"])
    [_camera cleanup:call];
  else
    replyHandler(nil, @"there is no such command");
}

- (void)close {
  [_camera dispose];
  [_pageView.configuration.userContentController removeScriptMessageHandlerForName:@"velmora"];
}

@end

#pragma mark - The app

@interface SceneDelegate : UIResponder <UIWindowSceneDelegate>
@property(nullable, nonatomic, strong) UIWindow* window;
@end

@implementation SceneDelegate

- (void)scene:(UIScene*)scene
    willConnectToSession:(UISceneSession*)session
                 options:(UISceneConnectionOptions*)options {
  if (![scene isKindOfClass:UIWindowScene.class]) return;
  self.window = [[UIWindow alloc] initWithWindowScene:static_cast<UIWindowScene*>(scene)];
  self.window.rootViewController = [[PageViewController alloc] initWithNibName:nil bundle:nil];
  [self.window makeKeyAndVisible];
}

- (void)sceneDidDisconnect:(UIScene*)scene {
  [static_cast<PageViewController*>(self.window.rootViewController) close];
  self.window = nil;
}

@end

@interface AppDelegate : UIResponder <UIApplicationDelegate>
@end

@implementation AppDelegate
@end

NS_ASSUME_NONNULL_END

int main(int argc, char* argv[]) {
  @autoreleasepool {
    return UIApplicationMain(argc, argv, nil, NSStringFromClass(AppDelegate.class));
  }
}
