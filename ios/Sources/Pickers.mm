#include "ios/Sources/Pickers.h"

#include <unistd.h>

#include <string>
#include <utility>

#include "ios/Sources/Value.h"
#include "ios/Sources/ViewControllers.h"

namespace vecamera_ios {
namespace {

/// A file that ends with its last reference, on whichever thread that goes.
class KeptFile {
 public:
  explicit KeptFile(std::string path) : path_(std::move(path)) {}
  KeptFile(const KeptFile&) = delete;
  KeptFile& operator=(const KeptFile&) = delete;
  ~KeptFile() { unlink(path_.c_str()); }

 private:
  const std::string path_;
};

/// A folder of our own outside of the temporary directory, which `cleanup:` empties. An earlier
/// process may have left movies in it. Nil where it cannot be made.
NSURL* moviesFolder() {
  static NSURL* const folder = [] {
    NSFileManager* const files = NSFileManager.defaultManager;
    NSURL* const caches = [files URLForDirectory:NSCachesDirectory
                                        inDomain:NSUserDomainMask
                               appropriateForURL:nil
                                          create:YES
                                           error:nil];
    NSURL* const made = [caches URLByAppendingPathComponent:@"VECamera.pickedMovies"];
    if (!made.path) return static_cast<NSURL*>(nil);
    [files removeItemAtPath:made.path error:nil];
    const BOOL isMade = [files createDirectoryAtPath:made.path
                         withIntermediateDirectories:YES
                                          attributes:nil
                                               error:nil];
    return isMade ? made : nil;
  }();
  return folder;
}

/// The movie's URL for the module: of a copy, which costs no space on the phone's file system, or
/// the given one where it cannot be copied.
vecamera::URL keptMovie(NSURL* movie) {
  NSString* const name =
      [NSString stringWithFormat:@"%@.%@", NSUUID.UUID.UUIDString, movie.pathExtension];
  NSURL* const copy = [moviesFolder() URLByAppendingPathComponent:name];
  NSError* error = nil;
  if (copy && [NSFileManager.defaultManager copyItemAtURL:movie toURL:copy error:&error])
    return toURL(copy, std::make_shared<const KeptFile>(copy.path.fileSystemRepresentation));
  NSLog(@"VECamera: the picked movie cannot be kept: %@", error.localizedDescription);
  return toURL(movie);
}

Class classNamed(const std::string& name) {
  return name.empty() ? Nil : NSClassFromString(toNSString(name));
}

CameraPicker* newPicker(const vecamera::UIImagePickerController::Origin& origin) {
  if (origin.coder)
    [[NSException exceptionWithName:NSInvalidArgumentException
                             reason:@"UIKit cannot read an archive that is a dictionary"
                           userInfo:nil] raise];
  CameraPicker* const picker = [CameraPicker alloc];
  if (UIViewController* const root = nativeViewController(origin.rootViewController.get()))
    return [picker initWithRootViewController:root];
  if (!origin.navigationBarClass.empty() || !origin.toolbarClass.empty())
    return [picker initWithNavigationBarClass:classNamed(origin.navigationBarClass)
                                 toolbarClass:classNamed(origin.toolbarClass)];
  if (origin.nibName || origin.bundlePath)
    return [picker
        initWithNibName:origin.nibName ? toNSString(*origin.nibName) : nil
                 bundle:origin.bundlePath ? [NSBundle bundleWithPath:toNSString(*origin.bundlePath)]
                                          : nil];
  return [picker init];
}

/// Which of the record's types the source offers; UIKit raises where that is none. Libraries offer
/// movies by the name of `public.movie` alone, while the module asks for `public.video`.
NSArray<NSString*>* mediaTypesOf(const vecamera::UIImagePickerController& record,
                                 UIImagePickerControllerSourceType source) {
  NSArray<NSString*>* const offered =
      [UIImagePickerController availableMediaTypesForSourceType:source];
  NSMutableArray<NSString*>* const types = [NSMutableArray array];
  bool wantsMovies = false;
  for (const auto& type : record.mediaTypes()) {
    wantsMovies = wantsMovies || type == vecamera::kUTTypeVideo;
    if ([offered containsObject:toNSString(type)]) [types addObject:toNSString(type)];
  }
  NSString* const movie = toNSString(vecamera::kUTTypeMovie);
  if (types.count == 0 && wantsMovies && [offered containsObject:movie]) [types addObject:movie];
  return types;
}

/// In the order that UIKit wants: each setter may raise where what it needs is not set yet, and
/// those of the camera do without the camera as source. False where the source has nothing of what
/// is asked for.
bool configure(UIImagePickerController* picker, const vecamera::UIImagePickerController& record) {
  picker.sourceType = static_cast<UIImagePickerControllerSourceType>(record.sourceType());
  NSArray<NSString*>* const types = mediaTypesOf(record, picker.sourceType);
  if (types.count == 0) return false;
  picker.mediaTypes = types;
  if (picker.sourceType == UIImagePickerControllerSourceTypeCamera) {
    const auto mode =
        static_cast<UIImagePickerControllerCameraCaptureMode>(record.cameraCaptureMode());
    const auto device = static_cast<UIImagePickerControllerCameraDevice>(record.cameraDevice());
    if (picker.cameraCaptureMode != mode) picker.cameraCaptureMode = mode;
    if (picker.cameraDevice != device) picker.cameraDevice = device;
  }
  picker.allowsEditing = record.allowsEditing();
  picker.modalPresentationStyle =
      static_cast<UIModalPresentationStyle>(record.modalPresentationStyle());
  // The delegate is not called for a sheet that is swiped away, and its command would stay open.
  picker.modalInPresentation = YES;
  return true;
}

}  // namespace

CameraPicker* makePicker(const std::shared_ptr<vecamera::UIImagePickerController>& record) {
  @try {
    CameraPicker* const picker = newPicker(record->origin());
    if (!configure(picker, *record)) {
      NSLog(@"VECamera: the picker's source offers none of its media types.");
      return nil;
    }
    [picker adoptRecord:record];
    return picker;
  } @catch (NSException* exception) {
    NSLog(@"VECamera: the picker cannot be configured: %@", exception.reason);
    return nil;
  }
}

std::shared_ptr<vecamera::UIImagePickerController> pickerOf(UIImagePickerController* native) {
  if (!native) return nullptr;
  std::shared_ptr<vecamera::UIImagePickerController> record;
  if ([native isKindOfClass:[CameraPicker class]]) {
    record = static_cast<CameraPicker*>(native).record;
  } else {
    record = std::make_shared<vecamera::UIImagePickerController>();
    record->setPeer(std::make_shared<PresentedPeer>(native));
  }
  record->setSourceType(native.sourceType);
  return record;
}

vecamera::Dictionary pickerInfoOf(NSDictionary* info) {
  vecamera::Dictionary values = toDictionary(info);
  NSURL* const movie = info[UIImagePickerControllerMediaURL];
  if ([movie isKindOfClass:[NSURL class]] && movie.fileURL)
    values.insert_or_assign(std::string(vecamera::UIImagePickerControllerMediaURL),
                            keptMovie(movie));
  return values;
}

}  // namespace vecamera_ios
