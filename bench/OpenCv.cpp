#include "bench/Contender.h"

#ifdef VECAMERA_BENCH_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace vecamera::bench {

#ifdef VECAMERA_BENCH_OPENCV

std::unique_ptr<Contender> openCv() {
  const auto convert = [](const Workload& workload, const Data& source) {
    const auto bytes = source.bytes();
    const cv::Mat wrapped(1, static_cast<int>(bytes.size()), CV_8U,
                          const_cast<std::uint8_t*>(bytes.data()));
    int flags = cv::IMREAD_COLOR;
    if (workload.denominator == 2) flags = cv::IMREAD_REDUCED_COLOR_2;
    if (workload.denominator == 4) flags = cv::IMREAD_REDUCED_COLOR_4;
    if (workload.denominator == 8) flags = cv::IMREAD_REDUCED_COLOR_8;
    if (workload.quality == 0) flags |= cv::IMREAD_IGNORE_ORIENTATION;
    cv::Mat image = cv::imdecode(wrapped, flags);
    if (workload.side > 0) {
      const double factor = static_cast<double>(workload.side) / std::max(image.cols, image.rows);
      cv::Mat scaled;
      cv::resize(image, scaled, {cvRound(image.cols * factor), cvRound(image.rows * factor)}, 0, 0,
                 cv::INTER_AREA);
      image = scaled;
    }
    EncodedBytes encoded;
    if (workload.quality > 0)
      cv::imencode(".jpg", image, encoded, {cv::IMWRITE_JPEG_QUALITY, workload.quality});
    else
      cv::imencode(".png", image, encoded);
    return encoded;
  };
  return std::make_unique<LocalContender>("OpenCV", cv::getVersionString(), convert);
}

#else

std::unique_ptr<Contender> openCv() {
  return nullptr;
}

#endif

}  // namespace vecamera::bench
