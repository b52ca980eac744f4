#include "bench/Works.h"

#ifdef VECAMERA_BENCH_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace vecamera::bench {

#ifdef VECAMERA_BENCH_OPENCV

std::unique_ptr<Worker> openCv() {
  const auto travel = [](const Work& work, const Data& source) {
    const auto bytes = source.bytes();
    const cv::Mat wrapped(1, static_cast<int>(bytes.size()), CV_8U,
                          const_cast<std::uint8_t*>(bytes.data()));
    int flags = cv::IMREAD_COLOR;
    if (work.denominator == 2) flags = cv::IMREAD_REDUCED_COLOR_2;
    if (work.denominator == 4) flags = cv::IMREAD_REDUCED_COLOR_4;
    if (work.denominator == 8) flags = cv::IMREAD_REDUCED_COLOR_8;
    if (work.quality == 0) flags |= cv::IMREAD_IGNORE_ORIENTATION;
    cv::Mat image = cv::imdecode(wrapped, flags);
    if (work.side > 0) {
      const double factor = static_cast<double>(work.side) / std::max(image.cols, image.rows);
      cv::Mat scaled;
      cv::resize(image, scaled, {cvRound(image.cols * factor), cvRound(image.rows * factor)}, 0, 0,
                 cv::INTER_AREA);
      image = scaled;
    }
    Bytes encoded;
    if (work.quality > 0)
      cv::imencode(".jpg", image, encoded, {cv::IMWRITE_JPEG_QUALITY, work.quality});
    else
      cv::imencode(".png", image, encoded);
    return encoded;
  };
  return std::make_unique<LocalWorker>("OpenCV", cv::getVersionString(), travel);
}

#else

std::unique_ptr<Worker> openCv() {
  return nullptr;
}

#endif

}  // namespace vecamera::bench
