#include <Nox3DDataConvert.h>

#include <gtest/gtest.h>

#include <oneapi/tbb/parallel_for.h>
#include <oneapi/tbb/task_group.h>

#include <opencv2/core.hpp>

#include <dlfcn.h>
#include <xmmintrin.h>

#include <algorithm>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "tests/support/Replacements.h"

namespace {

using NOXEL::Nox3DDataConvert;

/// Twelve points whose coordinates and means are no round numbers.
NoxPointCloud someCloud()
{
    NoxVector3dArray points;
    for (int i = 1; i <= 12; ++i)
        points.Append(
            {static_cast<float>(i) * 0.31f, static_cast<float>(i % 5) / 3.0f + 0.7f, 1.0f / static_cast<float>(i)});
    NoxPointCloud cloud;
    cloud.SetPoints(points);
    return cloud;
}

struct Operation
{
    const char* name;
    std::function<long(NoxPointCloud&, NoxRangeImage*)> call;
    std::vector<std::string> records;
};

NoxMatrix4 pose(1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1);
NoxVector3d direction(0, 0.1f, 1);

// clang-format off
const std::vector<Operation> operations = {
    {"pose and size", [](auto& cloud, auto* result) {
         return Nox3DDataConvert().PointCloudToRangeImage(cloud, result, pose, 5, 4); }, {}},
    {"pose and resolutions", [](auto& cloud, auto* result) {
         return Nox3DDataConvert().PointCloudToRangeImage(cloud, result, pose, 0.3, 0.7); },
     {"PointCloudToRangeImage: start-pointCloudToRangeImage_CPU"}},
    {"direction and resolutions", [](auto& cloud, auto* result) {
         return Nox3DDataConvert().PointCloudToRangeImage(cloud, result, direction, 0.3, 0.7); }, {}},
    {"method 0", [](auto& cloud, auto* result) {
         return Nox3DDataConvert().PointCloudToRangeImage(cloud, result, 0, 4, 3, 0.3, 0.7, 0.1, 0.2); },
     {"PointCloudToRangeImage: start-pointCloudToRangeImage_OrdenMethod0"}},
    {"method 1", [](auto& cloud, auto* result) {
         return Nox3DDataConvert().PointCloudToRangeImage(cloud, result, 1, 4, 3, 1.0, 2.0, 0.1, 0.2); },
     {"PointCloudToRangeImage: start-pointCloudToRangeImage_OrdenMethod1"}},
};
// clang-format on

/// All that the operation and the way back give, as bytes.
std::vector<unsigned char> outcome(const Operation& operation, NoxPointCloud cloud = someCloud())
{
    NoxPointCloud back;
    NoxRangeImage result;
    EXPECT_EQ(0, operation.call(cloud, &result)) << operation.name;
    EXPECT_EQ(0, Nox3DDataConvert().RangeImageToPointCloud(result, &back)) << operation.name;
    const auto* points = reinterpret_cast<const unsigned char*>(back.PointData());
    std::vector<unsigned char> bytes(points, points + 12 * back.Length());
    const cv::Mat& m = result.Matrix();
    bytes.insert(bytes.end(), m.data, m.data + m.total() * m.elemSize());
    return bytes;
}

TEST(Frame, EveryCodeHasAText)
{
    const std::set<long> numbers = {0,        11000001, 11000002, 11000005, 11000013, 11100001, 11100002, 11100025,
                                    11100029, 11100030, 11200001, 11200002, 11200003, 11200004, 11200005, 11200006,
                                    11200007, 11200008, 11404001, 30602001, 30602002, 30602003, 30602004, 30602005,
                                    30602007, 30602008, 30602009, 30602010, 30602012, 30602013, 30602014, 30602015,
                                    30602016, 30602017, 30602019, 30602020, 30602021, 30602022, 30602023, 30602024};
    std::set<long> named;
    std::set<std::string> texts;
#define NOX_COLLECT(name, number, meaning) named.insert(number);
    NOX_RESULT_CODES(NOX_COLLECT)
#undef NOX_COLLECT
    EXPECT_EQ(numbers, named);
    for (long number : numbers) texts.insert(NOXEL::NoxResultText(number));
    EXPECT_EQ(0u, texts.count("unknown result code"));
    EXPECT_EQ(1u, texts.count("the source point cloud has no points"));
    for (long number : {1L, -1L, 30602006L, 30602011L})
        EXPECT_STREQ("unknown result code", NOXEL::NoxResultText(number));
}

TEST(Frame, OperationsWriteTheirRecordsOnly)
{
    for (const Operation& operation : operations) {
        SCOPED_TRACE(operation.name);
        const replaced::LogScope log;
        outcome(operation);
        EXPECT_EQ(operation.records, log.records());
        NoxPointCloud none;
        NoxRangeImage result;
        EXPECT_EQ(11100002, operation.call(none, &result));
        EXPECT_EQ(operation.records, log.records()) << "a refused call writes nothing";
    }
}

TEST(Frame, ThrowingLoggerEndsInTheCodeOfTheOperation)
{
    for (const Operation& operation : operations) {
        SCOPED_TRACE(operation.name);
        const replaced::LogScope log(true);
        NoxPointCloud cloud = someCloud();
        NoxRangeImage result;
        EXPECT_EQ(operation.records.empty() ? 0 : 30602010, operation.call(cloud, &result));
        EXPECT_EQ(operation.records.empty(), result.Width() > 0);
    }
}

TEST(Frame, ForeignFloatingPointModesReachNoResultAndAreRestored)
{
    const unsigned callers = _mm_getcsr();
    const unsigned modes[] = {0x1F80 | _MM_ROUND_UP, 0x1F80 | _MM_ROUND_TOWARD_ZERO,
                              0x1F80 | _MM_FLUSH_ZERO_ON | 0x40,       // and denormal inputs as 0
                              0x1F80 & ~unsigned{_MM_MASK_DIV_ZERO}};  // a division by 0 traps
    for (const Operation& operation : operations) {
        SCOPED_TRACE(operation.name);
        const NoxPointCloud cloud = someCloud();
        const auto expected = outcome(operation, cloud);
        for (unsigned mode : modes) {
            _mm_setcsr(mode);
            const auto bytes = outcome(operation, cloud);
            const unsigned after = _mm_getcsr();
            _mm_setcsr(callers);
            EXPECT_EQ(mode, after & ~unsigned{_MM_EXCEPT_MASK});
            EXPECT_TRUE(expected == bytes);
        }
    }
}

TEST(Frame, CallersTasksReachNoResult)
{
    for (const Operation& operation : operations) {
        SCOPED_TRACE(operation.name);
        const auto expected = outcome(operation);
        std::vector<unsigned char> cancelled;
        tbb::task_group_context group;
        tbb::parallel_for(
            0, 1,
            [&](int) {
                group.cancel_group_execution();
                cancelled = outcome(operation);
            },
            group);
        EXPECT_TRUE(expected == cancelled);
        std::vector<std::vector<unsigned char>> many(16);
        tbb::parallel_for(std::size_t{0}, many.size(), [&](std::size_t i) { many[i] = outcome(operation); });
        EXPECT_EQ(16, std::count(many.begin(), many.end(), expected));
    }
}

TEST(Frame, ShippedMemoryQueryKnowsThisMachine)
{
    void* shipped = dlsym(RTLD_NEXT, "_ZN5NOXEL26NoxAvailablePhysicalMemoryEv");  // behind this program's own
    ASSERT_NE(nullptr, shipped);
    const unsigned long long bytes = reinterpret_cast<unsigned long long (*)()>(shipped)();
    EXPECT_GT(bytes, 1ULL << 20);
    EXPECT_LT(bytes, 1ULL << 50);
}

}  // namespace
