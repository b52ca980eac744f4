#pragma once

#include <cstddef>
#include <functional>
#include <utility>

#include "VECamera/platform/ImageIO.h"
#include "device/imaging/base/ThreadBudget.h"

namespace vecamera::device::imaging {

/// Image sources for the formats of Codecs.h; destinations for one "public.jpeg" or "public.png".
/// Stateless but for `onFinalized`, so any thread may use it.
class SoftwareImageIO final : public ImageIO {
 public:
  /// Notified of each destination that was finalized: its type, the properties given with the
  /// picture, and the size of the finished buffer. Called on the thread that finalizes.
  using OnFinalized =
      std::function<void(std::string_view type, const Dictionary& properties, std::size_t bytes)>;

  /// `threads` are those that the device has for its pictures.
  explicit SoftwareImageIO(OnFinalized onFinalized = {}, ThreadBudget threads = {})
      : onFinalized_(std::move(onFinalized)), threads_(std::move(threads)) {}

  /// Null for empty bytes only; a source of unknown bytes has no type.
  std::unique_ptr<CGImageSource> CGImageSourceCreateWithData(const Data& data) override;
  /// Null for every count but 1. A JPEG is written at the quality that the property
  /// `kCGImageDestinationLossyCompressionQuality` gives from 0.0 to 1.0, else at 0.9; alpha is
  /// composed over white.
  std::unique_ptr<CGImageDestination> CGImageDestinationCreateWithData(const Data& data,
                                                                       std::string_view type,
                                                                       std::size_t count) override;
  std::optional<Dictionary> CIImageProperties(const Data& data) override;

 private:
  OnFinalized onFinalized_;
  ThreadBudget threads_;
};

}  // namespace vecamera::device::imaging
