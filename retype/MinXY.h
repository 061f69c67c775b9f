#pragma once

#include <opencv2/core.hpp>

namespace nox {

/// The smallest X and the smallest Y, each by itself, of the pixels whose Z is below 1e8 in absolute value; largest
/// floats where there are none. The planes are CV_32F of at least width x height; a NaN in X or Y is passed over.
/// @return 0
long BOX_MinXY_SIMDNEW(cv::Mat& X, cv::Mat& Y, cv::Mat& Z, float* minX, float* minY, int width, int height);

}  // namespace nox
