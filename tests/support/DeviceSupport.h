#pragma once

#include <cstdlib>

#include "device/Pipelines.h"
#include "device/Session.h"
#include "tests/support/Samples.h"

/// What the tests of the device share.
namespace device_test {

using namespace samples;
using nox::device::Runtime;
using Pose = cv::Matx44d;

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

inline NoxRangeImage imageOf(int width, const Floats& heights, double rx = 1, double ox = 0, double ry = 1,
                             double oy = 0)
{
    NoxRangeImage image;
    image.SetSize(width, static_cast<int>(heights.size()) / width, NoxDataType32F);
    image.SetInfo(1, 0, rx, ox, ry, oy);
    std::copy(heights.begin(), heights.end(), reinterpret_cast<float*>(image.Data()));
    return image;
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
    return nox::device::DeviceRangeMerge(runtime, arrayOf<NoxRangeImageArray>(images), posesOf(poses), rx, ry,
                                         canvas.width, canvas.height, result.width, result.height, out);
}

}  // namespace device_test
