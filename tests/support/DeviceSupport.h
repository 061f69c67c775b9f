#pragma once

#include <NoxMatrixArray.h>
#include <NoxRangeImage.h>
#include <NoxRangeImageArray.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "device/Pipelines.h"
#include "device/Session.h"

/// What the tests of the device share.
namespace device_test {

using nox::device::Runtime;
using Floats = std::vector<float>;
using Pose = cv::Matx44d;

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

inline NoxMatrixArray posesOf(const std::vector<Pose>& poses)
{
    NoxMatrixArray array;
    for (const Pose& pose : poses) array.Append(NoxMatrix(cv::Mat(pose)));
    return array;
}

inline long merge(const Runtime& runtime, const std::vector<NoxRangeImage>& images, const std::vector<Pose>& poses,
                  cv::Size canvas, cv::Size result, NoxRangeImage* out, float rx = 1, float ry = 1)
{
    return nox::device::DeviceRangeMerge(runtime, arrayOf(images), posesOf(poses), rx, ry, canvas.width, canvas.height,
                                         result.width, result.height, out);
}

}  // namespace device_test
