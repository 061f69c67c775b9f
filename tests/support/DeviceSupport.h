#pragma once

#include <NoxMatrixArray.h>
#include <NoxRangeImage.h>
#include <NoxRangeImageArray.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "device/Session.h"

/// What the tests of the device share.
namespace device_test {

using nox::device::Runtime;
using Floats = std::vector<float>;

constexpr float kNone = -3.4028234663852886e38f;

inline bool works(const Runtime& runtime)
{
    nox::device::Session session(runtime);
    session.zeros<float>(1);
    return session.code() == 0;
}

/// The host's realisation, and that of the build where it is another and has its device.
inline std::vector<const Runtime*> runtimes()
{
    std::vector<const Runtime*> all{&nox::device::hostRuntime()};
    const Runtime* own = &nox::device::builtInRuntime();
    if (own != all[0] && works(*own)) all.push_back(own);
    return all;
}

inline std::size_t size(int width, int height)
{
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
}

/// Whether the configuration sends jobs to the device.
inline bool asksForDevice()
{
    const char* gpu = std::getenv("NOX_TEST_GPU");
    return gpu && std::atoi(gpu) != 0;
}

inline Floats heightsOf(const NoxRangeImage& image)
{
    const auto* data = reinterpret_cast<const float*>(image.Data());
    return Floats(data, data + image.Matrix().total());
}

inline NoxRangeImage imageOf(int width, const Floats& heights, double rx = 1, double ox = 0, double ry = 1,
                             double oy = 0)
{
    NoxRangeImage image;
    image.SetSize(width, static_cast<int>(heights.size()) / width, NoxDataType32F);
    image.SetInfo(1, 0, rx, ox, ry, oy);
    std::copy(heights.begin(), heights.end(), reinterpret_cast<float*>(image.Data()));
    return image;
}

inline NoxRangeImageArray arrayOf(const std::vector<NoxRangeImage>& images)
{
    NoxRangeImageArray array;
    for (const NoxRangeImage& image : images) array.Append(image);
    return array;
}

using Matrix = std::vector<double>;
inline const Matrix kIdentity{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

inline NoxMatrixArray posesOf(const std::vector<Matrix>& matrices)
{
    NoxMatrixArray array;
    for (const Matrix& m : matrices)
        array.Append(NoxMatrix(cv::Mat(4, 4, CV_64F, const_cast<double*>(m.data())).clone()));
    return array;
}

}  // namespace device_test
