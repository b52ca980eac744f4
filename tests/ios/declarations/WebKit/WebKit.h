// WebKit: the web view of the example app, its message handlers and its own URL scheme.
#pragma once

#import "../UIKit/UIKit.h"

NS_ASSUME_NONNULL_BEGIN

@class WKFrameInfo, WKNavigation, WKUserContentController, WKWebView, WKWebViewConfiguration;

@interface WKContentWorld : NSObject
@property(class, nonatomic, readonly) WKContentWorld* pageWorld;
@end

@interface WKSecurityOrigin : NSObject
@property(nonatomic, readonly, copy) NSString* protocol;
@property(nonatomic, readonly, copy) NSString* host;
@end

@interface WKFrameInfo : NSObject <NSCopying>
@property(nonatomic, readonly, getter=isMainFrame) BOOL mainFrame;
@property(nonatomic, readonly, copy) NSURLRequest* request;
@property(nonatomic, readonly) WKSecurityOrigin* securityOrigin;
@end

@interface WKScriptMessage : NSObject
@property(nonatomic, readonly, copy) id body;
@property(nonatomic, readonly, copy) NSString* name;
@property(nonatomic, readonly, copy) WKFrameInfo* frameInfo;
@property(nonatomic, readonly, weak, nullable) WKWebView* webView;
@end

@protocol WKScriptMessageHandlerWithReply <NSObject>
- (void)userContentController:(WKUserContentController*)userContentController
      didReceiveScriptMessage:(WKScriptMessage*)message
                 replyHandler:
                     (void (^)(id _Nullable reply, NSString* _Nullable errorMessage))replyHandler;
@end

@interface WKUserContentController : NSObject <NSSecureCoding>
- (void)addScriptMessageHandlerWithReply:(id<WKScriptMessageHandlerWithReply>)handler
                            contentWorld:(WKContentWorld*)contentWorld
                                    name:(NSString*)name;
- (void)removeScriptMessageHandlerForName:(NSString*)name;
@end

@protocol WKURLSchemeTask <NSObject>
@property(nonatomic, readonly, copy) NSURLRequest* request;
- (void)didReceiveResponse:(NSURLResponse*)response;
- (void)didReceiveData:(NSData*)data;
- (void)didFinish;
- (void)didFailWithError:(NSError*)error;
@end

@protocol WKURLSchemeHandler <NSObject>
- (void)webView:(WKWebView*)webView startURLSchemeTask:(id<WKURLSchemeTask>)task;
- (void)webView:(WKWebView*)webView stopURLSchemeTask:(id<WKURLSchemeTask>)task;
@end

@interface WKWebViewConfiguration : NSObject <NSSecureCoding, NSCopying>
@property(nonatomic, strong) WKUserContentController* userContentController;
@property(nonatomic) BOOL allowsInlineMediaPlayback;
- (void)setURLSchemeHandler:(nullable id<WKURLSchemeHandler>)handler forURLScheme:(NSString*)scheme;
@end

@interface WKNavigationAction : NSObject
@property(nonatomic, readonly, copy) NSURLRequest* request;
@end

typedef NS_ENUM(NSInteger, WKNavigationActionPolicy) {
  WKNavigationActionPolicyCancel,
  WKNavigationActionPolicyAllow,
};

@protocol WKNavigationDelegate <NSObject>
@optional
- (void)webView:(WKWebView*)webView
    decidePolicyForNavigationAction:(WKNavigationAction*)action
                    decisionHandler:(void (^)(WKNavigationActionPolicy policy))decisionHandler;
- (void)webView:(WKWebView*)webView didFinishNavigation:(WKNavigation*)navigation;
- (void)webView:(WKWebView*)webView didStartProvisionalNavigation:(WKNavigation*)navigation;
- (void)webViewWebContentProcessDidTerminate:(WKWebView*)webView;
@end

@interface WKWebView : UIView
- (instancetype)initWithFrame:(CGRect)frame
                configuration:(WKWebViewConfiguration*)configuration NS_DESIGNATED_INITIALIZER;
- (nullable instancetype)initWithCoder:(NSCoder*)coder NS_DESIGNATED_INITIALIZER;
@property(nonatomic, readonly, copy) WKWebViewConfiguration* configuration;
@property(nonatomic, weak, nullable) id<WKNavigationDelegate> navigationDelegate;
@property(nonatomic, readonly, copy, nullable) NSURL* URL;
@property(nonatomic, getter=isInspectable) BOOL inspectable API_AVAILABLE(ios(16.4));
- (nullable WKNavigation*)loadRequest:(NSURLRequest*)request;
@end

NS_ASSUME_NONNULL_END
