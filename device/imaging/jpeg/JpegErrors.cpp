#include "device/imaging/jpeg/JpegErrors.h"

#include <jerror.h>

namespace vecamera::device::imaging {
namespace {

JpegErrors& errorsOf(j_common_ptr info) {
  return *reinterpret_cast<JpegErrors*>(info->err);
}

[[noreturn]] void errorExit(j_common_ptr info) {
  std::longjmp(errorsOf(info).jump, 1);
}

void emitMessage(j_common_ptr info, int level) {
  if (level < 0 && info->err->msg_code == JWRN_HIT_MARKER) errorsOf(info).dataEndedEarly = true;
}

void outputMessage(j_common_ptr) {}

}  // namespace

void JpegErrors::install(jpeg_error_mgr*& slot) {
  slot = jpeg_std_error(&manager);
  manager.error_exit = errorExit;
  manager.emit_message = emitMessage;
  manager.output_message = outputMessage;
}

Failure<ImageError> JpegErrors::failure(ImageError other) const {
  // The library would go on in files on disk, which it was built without.
  const bool lackedMemory =
      manager.msg_code == JERR_OUT_OF_MEMORY || manager.msg_code == JERR_NO_BACKING_STORE;
  return {lackedMemory ? ImageError::outOfMemory : other};
}

}  // namespace vecamera::device::imaging
