#include <Nox3DDataConvert.h>
#include <PostureBodies.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "device/Pipelines.h"
#include "device/PostureRoute.h"
#include "tests/support/DeviceSupport.h"
#include "tests/support/Replacements.h"

namespace {

using namespace device_test;

/// Each point in which the merges of device and host differ, and those in which they agree: one image, 3 x 2 on a
/// canvas of 4 x 3, into cells of 1 x 1.
TEST(DevicePosture, AgainstTheHostsMerge)
{
    const float n = kNone;
    const struct
    {
        const char* point;
        Floats heights;
        double resolutionX, offsetX;
        int width, height;  // of the result
        Floats device, host;
        double hostsOffsetX;
    } rows[] = {
        {"base pixel: rounded; truncated", {n, 3, n, n, n, n}, 0.6, 0, 3, 2, {n, 3, 3, n, 3, 3}, {3, 3, n, 3, 3, n}, 0},
        {"every neighbour counts alike",
         {1, 2, n, n, n, n},
         1,
         0,
         3,
         2,
         {1, 1.5f, 2, 1, 1.5f, 2},
         {1, 1.5f, 2, 1, 1.5f, 2},
         0},
        {"no test of heights", {1, 9, n, n, n, n}, 1, 0, 3, 1, {1, 5, 9}, {1, 5, 9}, 0},
        {"height 0: skipped; a height", {n, n, 0, n, n, n}, 1, 0, 3, 2, {n, n, n, n, n, n}, {n, n, 0, n, n, 0}, 0},
        {"canvas cut to the result; the result", {1, n, 2, n, n, 3}, 1, 0, 2, 2, {1, 1, 1, 1}, {1, 1, 1, 1}, 0},
        {"anchor: the moved corner; less the offset", {4, n, n, n, n, n}, 1, -1, 3, 1, {n, 4, 4}, {4, 4, n}, -1},
    };
    for (const Runtime* runtime : runtimes())
        for (const auto& r : rows) {
            auto images = arrayOf({imageOf(3, r.heights, r.resolutionX, r.offsetX)});
            auto poses = posesOf({kIdentity});
            NoxRangeImage device, host;
            ASSERT_EQ(nox::device::DeviceRangeMerge(*runtime, images, poses, 1, 1, 4, 3, r.width, r.height, &device),
                      0);
            ASSERT_EQ(
                NOXEL::RangeImgPostureCorrect_CPU_TYPE0(images, poses, 1, 1, 1, 0, 4, 3, r.width, r.height, &host), 0);
            EXPECT_EQ(heightsOf(device), r.device) << r.point;
            EXPECT_EQ(heightsOf(host), r.host) << r.point;
            EXPECT_EQ(device.OffsetX(), 0) << r.point;
            EXPECT_EQ(host.OffsetX(), r.hostsOffsetX) << r.point;
        }
}

/// A level surface of that height; the values of reduced grids stay the same.
NoxRangeImage level(int width, int height, float z, int type = 0)
{
    NoxRangeImage image = imageOf(width, Floats(size(width, height), z));
    image.SetType(type);
    return image;
}

long correct(const std::vector<NoxRangeImage>& images, int factor, int method, int width, int height,
             NoxRangeImage* result, float resolution = 1)
{
    auto array = arrayOf(images);
    auto poses = posesOf(std::vector<Matrix>(images.size(), kIdentity));
    return NOXEL::Nox3DDataConvert().RangeImagePostureCorrect(array, poses, 0, resolution, resolution, factor, method,
                                                              width, height, result);
}

TEST(DevicePostureFacade, TakesTheRoutes)
{
    if (!asksForDevice()) GTEST_SKIP() << "the configuration has no device";
    const bool missing = !works(nox::device::builtInRuntime());
    const std::string start = "RangeImgPostureCorrect: start-RangeImgPostureCorrect_GPU",
                      end = "RangeImgPostureCorrect: end-RangeImgPostureCorrect_GPU";
    const NoxRangeImage small = level(40, 30, 5);
    NoxRangeImage perspective = level(40, 30, 5, 1);
    const struct
    {
        const char* route;
        std::vector<NoxRangeImage> images;
        int factor, method, width, height;
        bool onDevice;
        long code;
        float offsetX;  // the host's merge alone stores the shift of the anchor
    } rows[] = {
        {"any size", {small, small}, 1, 0, 40, 30, true, 0, 0},
        {"reduced images, full canvas", {small}, 2, 0, 20, 15, true, 0, 0},
        {"any type", {perspective}, 1, 0, 40, 30, true, 0, 0},
        {"reduced canvas below 1024", {level(1500, 1100, 5)}, 2, 2, 1500, 5000, false, 0, 0},
        {"reduced canvas of 1024", {level(2048, 2048, 5)}, 2, 2, 2049, 2050, true, 0, 0},
        {"reduced to nothing", {small, level(40, 2, 5)}, 3, 0, 40, 30, false, 11100001, 0},
    };
    for (const auto& r : rows) {
        const replaced::LogScope log;
        NoxRangeImage result;
        const bool fails = r.code != 0 || (missing && r.onDevice);
        ASSERT_EQ(correct(r.images, r.factor, r.method, r.width, r.height, &result), r.code  ? r.code
                                                                                     : fails ? 30602013
                                                                                             : 0)
            << r.route;
        EXPECT_EQ(log.records(), fails ? std::vector<std::string>{start} : (std::vector<std::string>{start, end}))
            << r.route;
        if (fails) continue;
        ASSERT_EQ(result.Matrix().size(), cv::Size(r.width, r.height)) << r.route;
        EXPECT_FLOAT_EQ(heightsOf(result)[size(r.width, 3) + 4], 5) << r.route;
    }
}

}  // namespace
