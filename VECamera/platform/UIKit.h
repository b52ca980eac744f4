#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "VECamera/platform/Container.h"
#include "VECamera/platform/CoreGraphics.h"
#include "VECamera/platform/Value.h"

namespace vecamera {

/// How a stored bitmap is to be rotated to be seen upright, with the platform's raw values.
enum class UIImageOrientation {
  up = 0,
  down = 1,
  left = 2,
  right = 3,
  upMirrored = 4,
  downMirrored = 5,
  leftMirrored = 6,
  rightMirrored = 7,
};

/// A picture: a bitmap, an orientation and a scale. Immutable and shared; any thread may use it.
class UIImage : public Object {
 public:
  /// The displayed size in points: the orientation is accounted for, the scale divided out.
  virtual CGSize size() const = 0;
  virtual UIImageOrientation imageOrientation() const = 0;
  /// Pixels per point.
  virtual double scale() const = 0;
  /// The stored bitmap, or null where the picture has none (or it cannot be decoded).
  virtual std::shared_ptr<const CGImage> cgImage() const = 0;
};

/// An off-screen bitmap context, non-opaque, one pixel per point, closed when destroyed. Made, used
/// and closed on one thread; the one that was made last is closed first.
class UIGraphicsImageContext {
 public:
  virtual ~UIGraphicsImageContext() = default;
  /// The drawing context, or null where the platform could not make one. Owned by this object.
  virtual CGContext* currentContext() = 0;
  /// Draws the picture, as its orientation shows it, into the rectangle (`drawInRect:`).
  virtual void drawInRect(const std::shared_ptr<UIImage>& image, const CGRect& rect) = 0;
  /// What has been drawn so far, as a picture of scale 1 with orientation up; null where the
  /// platform cannot make one.
  virtual std::shared_ptr<UIImage> imageFromCurrentImageContext() = 0;
};

class UIGraphics {
 public:
  virtual ~UIGraphics() = default;
  /// `UIGraphicsBeginImageContext`. Never null; a size that cannot be had, or that is beyond a
  /// limit of the host's, gives a context that has no current context and yields no picture. Any
  /// executor.
  virtual std::unique_ptr<UIGraphicsImageContext> beginImageContext(CGSize size) = 0;
};

/// Pictures from bytes and bytes from pictures. Any executor. Nothing is thrown: what cannot be
/// decoded or encoded gives null or nothing.
class UIImages {
 public:
  virtual ~UIImages() = default;
  virtual std::shared_ptr<UIImage> imageWithData(const Data& data) = 0;
  /// Quality from 0.0 (smallest) to 1.0 (best); values outside are clamped. The orientation is
  /// written as metadata.
  virtual std::optional<Data> UIImageJPEGRepresentation(const std::shared_ptr<UIImage>& image,
                                                        double compressionQuality) = 0;
  /// The stored bitmap as PNG, which carries no orientation.
  virtual std::optional<Data> UIImagePNGRepresentation(const std::shared_ptr<UIImage>& image) = 0;
};

class UIViewController;
class UIAlertController;
class UIImagePickerController;

/// All that the module presents. Never null.
using PresentedViewController =
    std::variant<std::shared_ptr<UIAlertController>, std::shared_ptr<UIImagePickerController>>;
/// The same as the common base.
std::shared_ptr<UIViewController> viewControllerOf(const PresentedViewController& presented);

/// The host's side of one presented controller. Called on the main thread.
class UIViewControllerPeer {
 public:
  virtual ~UIViewControllerPeer() = default;
  /// The controller that presents, or null. It is null from the moment at which a dismissal starts,
  /// whoever started it.
  virtual std::shared_ptr<UIViewController> presenter() = 0;
  /// The platform is to read the status bar's appearance again at its next layout.
  virtual void onStatusBarAppearanceChanged() = 0;
};

/// What presents and is presented. Used on the main thread once it is presented.
class UIViewController : public Object {
 public:
  using Completion = std::function<void()>;

  /// Presents an alert or a picker on this controller: gives it a peer, calls its `viewWillAppear`,
  /// keeps it until it is dismissed, and runs the completion once, on the main thread and never
  /// before this call returns, when it is on screen. An empty completion is allowed. A controller
  /// is kept alive while it presents, also where nobody else holds it.
  ///
  /// A platform may refuse, for example where this controller presents something already, or where
  /// the picker cannot be configured: then the presented controller has no presenter, and no
  /// completion runs. The base class presents nothing: the container's own controllers override it.
  virtual void presentViewController(PresentedViewController presented, bool animated,
                                     Completion completion);
  /// Takes what this controller presents off the screen and runs the completion once, on the main
  /// thread, afterwards and never before this call returns. Where it presents nothing, nothing is
  /// dismissed and no completion runs. The base class, which never presents, hands the call to its
  /// presenter, where it has one.
  virtual void dismissViewControllerAnimated(bool animated, Completion completion);
  /// The platform calls it before the controller appears, with its peer set.
  virtual void viewWillAppear(bool animated);
  /// Asks the peer, where there is one.
  void setNeedsStatusBarAppearanceUpdate();

  /// The controller that presents this one, as the peer says; null without a peer.
  std::shared_ptr<UIViewController> presentingViewController() const {
    return peer_ ? peer_->presenter() : nullptr;
  }
  /// For the host, on the main thread. A peer that keeps the presenter alive must drop it when the
  /// dismissal starts, at the latest when the host ends, as the two hold each other.
  void setPeer(std::shared_ptr<UIViewControllerPeer> peer) { peer_ = std::move(peer); }

 private:
  std::shared_ptr<UIViewControllerPeer> peer_;
};

enum class UIAlertActionStyle { defaultStyle = 0, cancel = 1, destructive = 2 };
enum class UIAlertControllerStyle { actionSheet = 0, alert = 1 };

/// One button of an alert. The platform runs the handler on the main thread when the user presses
/// it, and hands it the alert, held strongly for the length of the call (a handler that captured
/// its alert would keep it alive for ever). The handler dismisses the alert. Where the platform
/// has taken the alert off by itself, its presenter is null before the handler runs, so that the
/// dismissal does nothing.
struct UIAlertAction {
  using Handler = std::function<void(const std::shared_ptr<UIAlertController>& alert)>;
  std::string title;
  UIAlertActionStyle style = UIAlertActionStyle::defaultStyle;
  Handler handler;
};

/// An alert. Built on any one executor, shown on the main thread.
class UIAlertController : public UIViewController {
 public:
  UIAlertController(std::string title, std::string message, UIAlertControllerStyle preferredStyle)
      : title_(std::move(title)), message_(std::move(message)), preferredStyle_(preferredStyle) {}

  void addAction(UIAlertAction action) { actions_.push_back(std::move(action)); }
  const std::string& title() const { return title_; }
  const std::string& message() const { return message_; }
  UIAlertControllerStyle preferredStyle() const { return preferredStyle_; }
  const std::vector<UIAlertAction>& actions() const { return actions_; }

 private:
  std::string title_;
  std::string message_;
  UIAlertControllerStyle preferredStyle_;
  std::vector<UIAlertAction> actions_;
};

/// Raw values of the platform's `UIImagePickerControllerSourceType`. Options carry the raw value,
/// which may be any integer.
struct UIImagePickerControllerSourceType {
  static constexpr std::int64_t photoLibrary = 0;
  static constexpr std::int64_t camera = 1;
  static constexpr std::int64_t savedPhotosAlbum = 2;
};

/// Raw values of the platform's `UIImagePickerControllerCameraDevice`.
struct UIImagePickerControllerCameraDevice {
  static constexpr std::int64_t rear = 0;
  static constexpr std::int64_t front = 1;
};

enum class UIImagePickerControllerCameraCaptureMode { photo = 0, video = 1 };
enum class UIModalPresentationStyle { fullScreen = 0, pageSheet = 1, formSheet = 2 };

// Keys of a picker's info dictionary (values of `UIImagePickerController.InfoKey`).
inline constexpr std::string_view UIImagePickerControllerMediaType =
    "UIImagePickerControllerMediaType";
inline constexpr std::string_view UIImagePickerControllerOriginalImage =
    "UIImagePickerControllerOriginalImage";
inline constexpr std::string_view UIImagePickerControllerEditedImage =
    "UIImagePickerControllerEditedImage";
inline constexpr std::string_view UIImagePickerControllerCropRect =
    "UIImagePickerControllerCropRect";
inline constexpr std::string_view UIImagePickerControllerMediaURL =
    "UIImagePickerControllerMediaURL";
inline constexpr std::string_view UIImagePickerControllerReferenceURL =
    "UIImagePickerControllerReferenceURL";
inline constexpr std::string_view UIImagePickerControllerMediaMetadata =
    "UIImagePickerControllerMediaMetadata";
inline constexpr std::string_view UIImagePickerControllerPHAsset = "UIImagePickerControllerPHAsset";

// The platform's uniform type identifiers.
inline constexpr std::string_view kUTTypeImage = "public.image";
inline constexpr std::string_view kUTTypeVideo = "public.video";
inline constexpr std::string_view kUTTypeMovie = "public.movie";

/// Notified of how a picker ended. Called on the main thread; the picker stays on screen until the
/// delegate dismisses it.
class UIImagePickerControllerDelegate {
 public:
  virtual ~UIImagePickerControllerDelegate() = default;
  virtual void imagePickerControllerDidFinishPickingMediaWithInfo(
      std::shared_ptr<UIImagePickerController> picker, Dictionary info) = 0;
  virtual void imagePickerControllerDidCancel(std::shared_ptr<UIImagePickerController> picker) = 0;
};

/// Has no member that the plug-in implements; a picker is a navigation controller and wants its
/// delegate to be both.
class UINavigationControllerDelegate {
 public:
  virtual ~UINavigationControllerDelegate() = default;
};

/// The platform's picker, as a record that the platform reads when the picker is presented. Set up
/// on any one executor before it is presented, and on the main thread from then on.
///
/// A host that has the platform's own picker configures it in this order: the source; the media
/// types; where the source is the camera, and only there, the capture mode and the camera; the
/// rest. A picker that cannot be configured is not presented.
class UIImagePickerController : public UIViewController {
 public:
  /// What the platform's other initializers were given, for the platform to make its own object of:
  /// class names (`initWithNavigationBarClass:toolbarClass:`), a root controller
  /// (`initWithRootViewController:`), a nib (`initWithNibName:bundle:`) or an archive
  /// (`initWithCoder:`).
  struct Origin {
    std::string navigationBarClass;
    std::string toolbarClass;
    std::shared_ptr<UIViewController> rootViewController;
    std::optional<std::string> nibName;
    std::optional<std::string> bundlePath;
    std::optional<Dictionary> coder;
  };

  UIImagePickerController() = default;
  explicit UIImagePickerController(Origin origin) : origin_(std::move(origin)) {}
  const Origin& origin() const { return origin_; }

  std::int64_t sourceType() const { return sourceType_; }
  void setSourceType(std::int64_t sourceType) { sourceType_ = sourceType; }
  bool allowsEditing() const { return allowsEditing_; }
  void setAllowsEditing(bool allowsEditing) { allowsEditing_ = allowsEditing; }
  const std::vector<std::string>& mediaTypes() const { return mediaTypes_; }
  void setMediaTypes(std::vector<std::string> mediaTypes) { mediaTypes_ = std::move(mediaTypes); }
  std::int64_t cameraDevice() const { return cameraDevice_; }
  void setCameraDevice(std::int64_t cameraDevice) { cameraDevice_ = cameraDevice; }
  UIImagePickerControllerCameraCaptureMode cameraCaptureMode() const { return cameraCaptureMode_; }
  void setCameraCaptureMode(UIImagePickerControllerCameraCaptureMode mode) {
    cameraCaptureMode_ = mode;
  }
  UIModalPresentationStyle modalPresentationStyle() const { return modalPresentationStyle_; }
  void setModalPresentationStyle(UIModalPresentationStyle style) {
    modalPresentationStyle_ = style;
  }
  /// The delegate, or null once it is gone; held weakly.
  std::shared_ptr<UIImagePickerControllerDelegate> delegate() const { return delegate_.lock(); }
  void setDelegate(std::weak_ptr<UIImagePickerControllerDelegate> delegate) {
    delegate_ = std::move(delegate);
  }

 private:
  std::int64_t sourceType_ = UIImagePickerControllerSourceType::photoLibrary;
  bool allowsEditing_ = false;
  std::vector<std::string> mediaTypes_{std::string(kUTTypeImage)};
  std::int64_t cameraDevice_ = UIImagePickerControllerCameraDevice::rear;
  UIImagePickerControllerCameraCaptureMode cameraCaptureMode_ =
      UIImagePickerControllerCameraCaptureMode::photo;
  UIModalPresentationStyle modalPresentationStyle_ = UIModalPresentationStyle::pageSheet;
  std::weak_ptr<UIImagePickerControllerDelegate> delegate_;
  Origin origin_;
};

/// The operations of the picker's class itself.
class UIImagePickerControllerClass {
 public:
  virtual ~UIImagePickerControllerClass() = default;
  /// Called on the main thread.
  virtual bool isSourceTypeAvailable(std::int64_t sourceType) = 0;
  /// The media types (uniform type identifiers) that the source offers, or nothing. Called on any
  /// executor, so it must not wait for the main thread: where only that thread may ask the
  /// platform, the host answers from what it asked there before.
  virtual std::optional<std::vector<std::string>> availableMediaTypesForSourceType(
      std::int64_t sourceType) = 0;
};

/// The shared application. Called on the main thread.
class UIApplication {
 public:
  virtual ~UIApplication() = default;
  /// The URL built from `UIApplicationOpenSettingsURLString`, or nothing.
  virtual std::optional<URL> openSettingsURL() = 0;
  /// Opens the URL, without options and without a completion.
  virtual void openURL(const URL& url) = 0;
};

}  // namespace vecamera
