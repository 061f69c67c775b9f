#include <PostureBodies.h>

#include "tests/support/DeviceSupport.h"

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
        double rx, ox;
        cv::Size result;
        Floats heights, device, host;
    } rows[] = {
        {"base pixel: rounded; truncated", 0.6, 0, {3, 2}, {n, 3, n, n, n, n}, {n, 3, 3, n, 3, 3}, {3, 3, n, 3, 3, n}},
        {"neighbours count alike, at any height", 1, 0, {3, 1}, {1, 9, n, n, n, n}, {1, 5, 9}, {1, 5, 9}},
        {"height 0: skipped; a height", 1, 0, {3, 2}, {n, n, 0, n, n, n}, Floats(6, n), {n, n, 0, n, n, 0}},
        {"canvas cut to the result; the result", 1, 0, {2, 2}, {1, n, 2, n, n, 3}, {1, 1, 1, 1}, {1, 1, 1, 1}},
        {"anchor: the moved corner; less the offset", 1, -1, {3, 1}, {4, n, n, n, n, n}, {n, 4, 4}, {4, 4, n}},
    };
    for (const Runtime* runtime : runtimes())
        for (const auto& r : rows) {
            auto images = arrayOf<NoxRangeImageArray>({imageOf(3, r.heights, r.rx, r.ox)});
            auto poses = posesOf({Pose::eye()});
            NoxRangeImage device, host;
            ASSERT_EQ(merge(*runtime, {images[0]}, {Pose::eye()}, {4, 3}, r.result, &device), 0);
            ASSERT_EQ(NOXEL::RangeImgPostureCorrect_CPU_TYPE0(images, poses, 1, 1, 1, 0, 4, 3, r.result.width,
                                                              r.result.height, &host),
                      0);
            EXPECT_EQ(heightsOf(device), r.device) << r.point;
            EXPECT_EQ(heightsOf(host), r.host) << r.point;
            EXPECT_EQ(device.OffsetX(), 0) << r.point;
            EXPECT_EQ(host.OffsetX(), r.ox) << r.point;
        }
}

TEST(DevicePostureFacade, TakesTheRoutes)
{
    if (!asksForDevice()) GTEST_SKIP() << "the configuration has no device";
    const bool missing = !works(nox::device::builtInRuntime());
    const auto step = [](int width, int height) {  // six rows of 5, then 0, which only the device passes over
        Floats heights(static_cast<std::size_t>(width * height));
        std::fill_n(heights.begin(), std::min(6, height) * width, 5.0F);
        return imageOf(width, heights);
    };
    NoxRangeImage small = step(40, 30), perspective = small;
    perspective.SetType(1);
    const struct
    {
        const char* route;
        std::vector<NoxRangeImage> images;
        int factor, method;
        cv::Size result;
        bool onDevice;
        long refused = 0;
    } rows[] = {
        {"any size", {small, small}, 1, 0, {40, 30}, true},
        {"reduced images, full canvas", {small}, 2, 0, {20, 15}, true},
        {"any type", {perspective}, 1, 0, {40, 30}, true},
        {"reduced canvas below 1024", {step(1500, 1100)}, 2, 2, {1500, 5000}, false},
        {"reduced canvas of 1024", {step(2048, 2048)}, 2, 2, {2049, 2050}, true},
        {"reduced to nothing", {small, step(40, 2)}, 3, 0, {40, 30}, false, 11100001},
        {"the first smaller than the factor", {step(40, 2), small}, 3, 1, {40, 30}, false, 30602021},
    };
    for (const auto& r : rows) {
        const replaced::LogScope log;
        auto images = arrayOf<NoxRangeImageArray>(r.images);
        auto poses = posesOf(std::vector<Pose>(r.images.size(), Pose::eye()));
        NoxRangeImage result;
        const long code = missing && r.onDevice ? 30602013 : r.refused;
        ASSERT_EQ(NOXEL::Nox3DDataConvert().RangeImagePostureCorrect(images, poses, 0, 1, 1, r.factor, r.method,
                                                                     r.result.width, r.result.height, &result),
                  code)
            << r.route;
        std::vector<std::string> records{"RangeImgPostureCorrect: start-RangeImgPostureCorrect_GPU"};
        if (!code) records.push_back("RangeImgPostureCorrect: end-RangeImgPostureCorrect_GPU");
        EXPECT_EQ(log.records(), records) << r.route;
        if (code) continue;
        ASSERT_EQ(result.Matrix().size(), r.result) << r.route;
        EXPECT_FLOAT_EQ(result.Matrix().at<float>(3, 4), 5) << r.route;
        EXPECT_EQ(result.Matrix().at<float>(10, 4), r.onDevice ? std::numeric_limits<float>::lowest() : 0) << r.route;
    }
}

}  // namespace
