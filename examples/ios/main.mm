// A small hybrid app in one file: a page in a WKWebView, and the container between the page and the
// camera plug-in. README.md says how to make an app of it.
#import <UIKit/UIKit.h>
#import <WebKit/WebKit.h>

#include <algorithm>
#include <atomic>
#include <cmath>

#import "VECameraPlugin.h"

NS_ASSUME_NONNULL_BEGIN

// The scheme under which the page, its files and the files in the temporary directory are served.
// WebKit shows no files to a page that was not loaded from a file itself.
static NSString* const appScheme = @"velmora-app";
static NSString* const appHost = @"app";
static NSString* const temporaryFolder = @"/tmp/";

#pragma mark - The container's log

@interface VELog : NSObject
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

/// The bytes that a request is answered with, and the status.
struct Part {
  long long first = 0;
  long long length = 0;
  NSInteger status = 200;
};

/// What is read and handed to WebKit at a time.
static const long long pieceLength = 1 << 20;

@implementation Addresses {
  dispatch_queue_t _files;
  /// Those that WebKit has not stopped. On the main thread.
  NSMutableSet<id<WKURLSchemeTask>>* _tasks;
}

- (instancetype)init {
  self = [super init];
  if (self) {
    _files = dispatch_queue_create("files", DISPATCH_QUEUE_SERIAL);
    _tasks = [NSMutableSet set];
  }
  return self;
}

/// Gets a file URL in any case: a library address comes as file:///assets-library:... and stays as
/// it is, as does whatever else is not in the temporary directory.
- (nullable NSURL* _Nullable (^)(NSURL*))urlTransformer {
  return ^NSURL* _Nullable(NSURL* url) {
    NSString* path = (url.path ?: @"").stringByStandardizingPath;
    if (![path.stringByDeletingLastPathComponent
            isEqualToString:NSTemporaryDirectory().stringByStandardizingPath])
      return nil;
    NSURLComponents* components = [[NSURLComponents alloc] init];
    components.scheme = appScheme;
    components.host = appHost;
    components.path = [temporaryFolder stringByAppendingString:path.lastPathComponent];
    return components.URL;
  };
}

/// The file behind an address: in the temporary directory or among the app's own pages. Nil for any
/// other.
static NSString* _Nullable fileOf(NSURL* url) {
  NSString* path = url.path ?: @"";
  if (![url.host isEqualToString:appHost] || [path containsString:@".."]) return nil;
  if ([path hasPrefix:temporaryFolder])
    return [NSTemporaryDirectory() stringByAppendingPathComponent:path.lastPathComponent];
  NSString* pages = [NSBundle.mainBundle.bundlePath stringByAppendingPathComponent:@"www"];
  return [pages stringByAppendingPathComponent:path];
}

static NSString* typeOf(NSURL* url) {
  NSDictionary<NSString*, NSString*>* types = @{
    @"html" : @"text/html",
    @"js" : @"text/javascript",
    @"css" : @"text/css",
    @"jpg" : @"image/jpeg",
    @"png" : @"image/png",
    @"mp4" : @"video/mp4",
  };
  return types[(url.path ?: @"").pathExtension.lowercaseString] ?: @"application/octet-stream";
}

/// What a header such as "bytes=0-1", "bytes=500-" or "bytes=-500" asks for. All of the file where
/// there is none, or where it asks for several parts.
static Part partOf(long long length, NSString* _Nullable header) {
  if (![header hasPrefix:@"bytes="]) return {0, length, 200};
  NSArray<NSString*>* ends = [[header substringFromIndex:6] componentsSeparatedByString:@"-"];
  if (ends.count != 2) return {0, length, 200};
  long long first = ends[0].longLongValue;
  long long end = length;
  if (ends[0].length == 0)
    first = length - std::min(ends[1].longLongValue, length);
  else if (ends[1].length > 0)
    end = std::min(ends[1].longLongValue, length - 1) + 1;
  if (first >= end) return {0, 0, 416};
  return {first, end - first, 206};
}

static NSURLResponse* responseTo(NSURL* url, Part part, long long length) {
  NSMutableDictionary<NSString*, NSString*>* headers = [@{
    @"Content-Type" : typeOf(url),
    @"Content-Length" : [NSString stringWithFormat:@"%lld", part.length],
    @"Accept-Ranges" : @"bytes",
  } mutableCopy];
  if (part.status == 206)
    headers[@"Content-Range"] = [NSString
        stringWithFormat:@"bytes %lld-%lld/%lld", part.first, part.first + part.length - 1, length];
  if (part.status == 416)
    headers[@"Content-Range"] = [NSString stringWithFormat:@"bytes */%lld", length];
  return [[NSHTTPURLResponse alloc] initWithURL:url
                                     statusCode:part.status
                                    HTTPVersion:@"HTTP/1.1"
                                   headerFields:headers];
}

- (void)webView:(WKWebView*)webView startURLSchemeTask:(id<WKURLSchemeTask>)task {
  [_tasks addObject:task];
  NSURL* url = task.request.URL;
  NSString* range = [task.request valueForHTTPHeaderField:@"Range"];
  dispatch_async(_files, ^{
    NSString* path = fileOf(url);
    NSFileHandle* file = path ? [NSFileHandle fileHandleForReadingAtPath:path] : nil;
    unsigned long long length = 0;
    const BOOL isRead = [file seekToEndReturningOffset:&length error:nil];
    const Part part = partOf(static_cast<long long>(length), range);
    if (!isRead || ![file seekToOffset:static_cast<unsigned long long>(part.first) error:nil]) {
      [self end:task successfully:NO];
      return;
    }
    NSURLResponse* response = responseTo(url, part, static_cast<long long>(length));
    [self while:task
           runs:^{
             [task didReceiveResponse:response];
             [self send:part.length of:file to:task];
           }];
  });
}

/// Reads on one queue and hands over on the main thread, a piece at a time: a movie may be larger
/// than the memory.
- (void)send:(long long)length of:(NSFileHandle*)file to:(id<WKURLSchemeTask>)task {
  if (length == 0) {
    [self end:task successfully:YES];
    return;
  }
  dispatch_async(_files, ^{
    @autoreleasepool {
      const auto most = static_cast<NSUInteger>(std::min(length, pieceLength));
      NSData* data = [file readDataUpToLength:most error:nil];
      if (data.length == 0) {
        [self end:task successfully:NO];
        return;
      }
      [self while:task
             runs:^{
               [task didReceiveData:data];
               [self send:length - static_cast<long long>(data.length) of:file to:task];
             }];
    }
  });
}

- (void)end:(id<WKURLSchemeTask>)task successfully:(BOOL)isSuccess {
  [self while:task
         runs:^{
           [self->_tasks removeObject:task];
           if (isSuccess)
             [task didFinish];
           else
             [task didFailWithError:[NSError errorWithDomain:NSCocoaErrorDomain
                                                        code:NSFileReadNoSuchFileError
                                                    userInfo:nil]];
         }];
}

/// A call of a task that WebKit has stopped raises.
- (void)while:(id<WKURLSchemeTask>)task runs:(dispatch_block_t)call {
  dispatch_async(dispatch_get_main_queue(), ^{
    if ([self->_tasks containsObject:task]) call();
  });
}

- (void)webView:(WKWebView*)webView stopURLSchemeTask:(id<WKURLSchemeTask>)task {
  [_tasks removeObject:task];
}

@end

#pragma mark - One page command

/// What a page may be sent: JSON has no bytes and no URLs, which become objects with one key, and
/// no numbers that are infinite or none.
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
  const bool isNumber = [value isKindOfClass:NSNumber.class] && std::isfinite([value doubleValue]);
  return isNumber || [value isKindOfClass:NSString.class] ? value : NSNull.null;
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

@interface PageViewController
    : UIViewController <WKScriptMessageHandlerWithReply, WKNavigationDelegate>
/// Takes the plug-in and the page apart, which hold each other until then.
- (void)close;
@end

@implementation PageViewController {
  Addresses* _addresses;
  WKWebView* _pageView;
  VECameraPlugin* _camera;
}

- (void)viewDidLoad {
  [super viewDidLoad];
  _addresses = [[Addresses alloc] init];
  WKWebViewConfiguration* configuration = [[WKWebViewConfiguration alloc] init];
  [configuration setURLSchemeHandler:_addresses forURLScheme:appScheme];
  // Without it a movie fills the screen of an iPhone as soon as it plays.
  configuration.allowsInlineMediaPlayback = YES;
  [configuration.userContentController addScriptMessageHandlerWithReply:self
                                                           contentWorld:WKContentWorld.pageWorld
                                                                   name:@"velmora"];
  _pageView = [[WKWebView alloc] initWithFrame:self.view.bounds configuration:configuration];
  _pageView.autoresizingMask = UIViewAutoresizingFlexibleWidth | UIViewAutoresizingFlexibleHeight;
  // For Safari's Web Inspector, on a computer.
  if (@available(iOS 16.4, *)) _pageView.inspectable = YES;
  _pageView.navigationDelegate = self;
  [self.view addSubview:_pageView];

  _camera = [[VECameraPlugin alloc] init];
  [_camera setVWebView:_pageView];
  _camera.viewController = self;
  [self loadPage];
}

- (void)loadPage {
  NSURL* start =
      [NSURL URLWithString:[NSString stringWithFormat:@"%@://%@/index.html", appScheme, appHost]];
  [_pageView loadRequest:[NSURLRequest requestWithURL:start]];
}

/// The system ends the page's process when memory is short, and leaves a white screen.
- (void)webViewWebContentProcessDidTerminate:(WKWebView*)webView {
  [self loadPage];
}

/// Nothing but the app's own pages: the page has the camera.
- (void)webView:(WKWebView*)webView
    decidePolicyForNavigationAction:(WKNavigationAction*)action
                    decisionHandler:(void (^)(WKNavigationActionPolicy))decisionHandler {
  const BOOL isOwn = [action.request.URL.scheme isEqualToString:appScheme];
  decisionHandler(isOwn ? WKNavigationActionPolicyAllow : WKNavigationActionPolicyCancel);
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
  VECameraPlugin* camera = _camera;
  if ([body[@"command"] isEqual:@"takePicture"])
    [camera takePicture:call];
  else if ([body[@"command"] isEqual:@"cleanup"])  // removes files on its caller's thread
    dispatch_async(dispatch_get_global_queue(QOS_CLASS_USER_INITIATED, 0), ^{
      [camera cleanup:call];
    });
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
