#pragma once

#include <memory>
#include <string>

#include "VECamera/options/PictureOptions.h"
#include "VECamera/platform/Foundation.h"
#include "VECamera/platform/UIKit.h"

namespace vecamera {

/// The picker of one `takePicture` command. It configures itself from the command's options and
/// carries them to the picker delegate. Every initializer starts from the same field values.
class CameraPicker : public UIImagePickerController {
 public:
  using UIImagePickerController::UIImagePickerController;

  /// Configures the picker; before it is presented.
  void setup(std::shared_ptr<PictureOptions> options, UIImagePickerControllerClass& imagePickers,
             NSProcess& process);
  void viewWillAppear(bool animated) override;

  /// The options of the command; null before `setup`.
  const std::shared_ptr<PictureOptions>& pictureOptions() const { return pictureOptions_; }

  // Part of the picker's record; the plug-in does not use them.
  const std::string& postUrl() const { return postUrl_; }
  bool cropToSize() const { return cropToSize_; }
  const std::shared_ptr<UIView>& webView() const { return webView_; }

 private:
  std::string postUrl_;
  bool cropToSize_ = false;
  std::shared_ptr<UIView> webView_;
  std::shared_ptr<PictureOptions> pictureOptions_;
};

}  // namespace vecamera
