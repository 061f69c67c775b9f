#include <CloudToRangeBodies.h>
#include <Nox3DDataConvert.h>

#include <gtest/gtest.h>
#include <oneapi/tbb/global_control.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <functional>
#include <limits>
#include <set>
#include <string>
#include <vector>

#include "device/Pipelines.h"
#include "device/Session.h"
#include "tests/support/DeviceSupport.h"
#include "tests/support/Replacements.h"

namespace {

using nox::device::Buffer;
using nox::device::Runtime;
using nox::device::Session;
using nox::device::Shape;
namespace kernel = nox::device::kernel;
using namespace device_test;
using Bytes = std::vector<unsigned char>;

constexpr float kFar = 3.4028234663852886e38f;
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

Floats back(Session& session, const Buffer<float>& buffer, std::size_t count)
{
    Floats values(count);
    session.download(values.data(), buffer, count);
    EXPECT_EQ(session.code(), 0);
    return values;
}

/// Heights of a grid from positions, on the device.
Floats spread(const Runtime& runtime, const std::vector<NOXEL3D::MVector3f>& points, int width, int height)
{
    Floats x, y, z;
    for (const auto& p : points) x.push_back(p.x()), y.push_back(p.y()), z.push_back(p.z());
    NoxRangeImage image;
    image.SetSize(width, height, NoxDataType32F);
    EXPECT_EQ(nox::device::DevicePclToRange(runtime, x.data(), y.data(), z.data(), &image, nullptr, 0,
                                            static_cast<int>(points.size()), width, height),
              0);
    return heightsOf(image);
}

TEST(Device, NearestPixelTakesHalvesAwayFromZero)
{
    const struct
    {
        float position;
        int pixel;
    } rows[] = {{2.5f, 3},
                {-2.5f, -3},
                {0.49f, 0},
                {-0.49f, 0},
                {0.49999997f, 0},
                {10.4f, 10},
                {10.6f, 11},
                {-1.6f, -2},
                {-0.5f, -1},
                {8388609.0f, 8388609},
                {2147483520.0f, 2147483520},
                {kNaN, INT_MIN},
                {2147483648.0f, INT_MIN},
                {-kFar, INT_MIN}};
    for (const auto& r : rows) EXPECT_EQ(nox::device::nearestPixel(r.position), r.pixel) << r.position;
    EXPECT_FALSE(nox::device::isMeasurement(1e8f));
    EXPECT_TRUE(nox::device::isMeasurement(-99999992.0f));
    EXPECT_FALSE(nox::device::isMeasurement(kNaN));
}

TEST(Device, LaunchShapes)
{
    const Shape pixels = Shape::pixels(33, 96), line = Shape::line(1025);
    EXPECT_EQ((std::vector<std::int64_t>{pixels.blockWidth, pixels.blockHeight, pixels.gridWidth, pixels.gridHeight}),
              (std::vector<std::int64_t>{32, 32, 2, 3}));
    EXPECT_EQ((std::vector<std::int64_t>{line.blockWidth, line.blockHeight, line.gridWidth, line.gridHeight}),
              (std::vector<std::int64_t>{1024, 1, 2, 1}));
}

TEST(Device, PosesLeaveMarkedCellsOut)
{
    for (const Runtime* runtime : runtimes()) {
        Session s(*runtime);
        const Floats x{3, 4, 5}, z{2, kFar, 1e8f};
        const auto run = [&](const auto& correct, auto... place) {
            const auto X = s.uploaded(x.data(), 3), Y = s.uploaded(x.data(), 3), Z = s.uploaded(z.data(), 3);
            s.run(correct, Shape::pixels(3, 1), X.get(), Y.get(), Z.get(), 0.0f, 1.0f, 0.0f, 10.0f, 1.0f, 0.0f, 0.0f,
                  0.0f, 0.0f, 0.0f, 1.0f, 0.0f, kFar, place..., 3, 1, 3, 0);
            return back(s, X, 3);
        };
        EXPECT_EQ(run(kernel::PclCorrect0), (Floats{13, kFar, kFar}));
        EXPECT_EQ(run(kernel::NPclCorrect, 0, 0), (Floats{13, 4, 15}));
    }
}

TEST(Device, SmallestCoordinatesOfEveryBlock)
{
    const int stride = 1500;
    for (const Runtime* runtime : runtimes())
        for (const int width : {3, 700, 1024, 1500})
            for (const bool replacesZero : {false, true}) {
                const int height = 5;
                Floats x(size(stride, height), -1e30f), y(x);
                const auto blocks = (size(width, height) + 1023) / 1024;
                Floats wantX(blocks, kFar), wantY(blocks, kFar);
                for (std::size_t i = 0; i < size(width, height); ++i) {
                    const auto w = static_cast<std::size_t>(width);
                    const std::size_t cell = i / w * stride + i % w;
                    x[cell] = static_cast<float>((i * 7919) % 1021);  // 0 in most blocks
                    y[cell] = static_cast<float>((i * 31) % 509) - 400;
                    wantX[i / 1024] = std::min(wantX[i / 1024], x[cell]);
                    wantY[i / 1024] = std::min(wantY[i / 1024], y[cell]);
                }
                if (replacesZero) std::replace(wantX.begin(), wantX.end(), 0.0f, kFar);
                Session s(*runtime);
                const auto X = s.uploaded(x.data(), x.size()), Y = s.uploaded(y.data(), y.size());
                const auto minX = s.allocate<float>(blocks), minY = s.allocate<float>(blocks);
                s.run(replacesZero ? kernel::NMinBoxXY_N0 : kernel::NMinBoxXY, Shape::line(width * height), X.get(),
                      Y.get(), minX.get(), minY.get(), kFar, width, height, stride, 0);
                EXPECT_EQ(back(s, minX, blocks), wantX) << width;
                EXPECT_EQ(back(s, minY, blocks), wantY) << width;
            }
}

TEST(Device, PointsCountFullyInFourPixels)
{
    const float n = kNone;
    const struct
    {
        const char* rule;
        std::vector<NOXEL3D::MVector3f> points;
        Floats heights;  // of a grid 4 wide and 3 high
    } rows[] = {
        {"on a pixel", {{1, 0, 2}}, {n, 2, 2, n, n, 2, 2, n, n, n, n, n}},
        {"nearest, then higher", {{0.6f, 0.4f, 2}}, {n, 2, 2, n, n, 2, 2, n, n, n, n, n}},
        {"left of the grid by one", {{-1, 1, 2}}, {n, n, n, n, 2, n, n, n, 2, n, n, n}},
        {"last pixel", {{3, 2, 2}}, {n, n, n, n, n, n, n, n, n, n, n, 2}},
        {"too far left", {{-1.6f, 0, 2}}, Floats(12, n)},
        {"mean without a test of heights", {{3, 2, 1}, {3, 2, 3}}, {n, n, n, n, n, n, n, n, n, n, n, 2}},
        {"height 0", {{1, 1, 0}, {1, 1, -0.0f}}, Floats(12, n)},
        {"denormal height", {{1, 1, 1e-40f}}, Floats(12, n)},
        {"no measurement", {{1, 1, 1e8f}, {1, 1, kNone}, {1, 1, kNaN}}, Floats(12, n)},
        {"below the bound", {{3, 2, 99999992.0f}}, {n, n, n, n, n, n, n, n, n, n, n, 99999992.0f}},
        {"no position", {{kNaN, 1, 5}, {1, 3e9f, 5}, {-INFINITY, 1, 5}}, Floats(12, n)},
    };
    for (const Runtime* runtime : runtimes())
        for (const auto& r : rows) EXPECT_EQ(spread(*runtime, r.points, 4, 3), r.heights) << r.rule;
}

TEST(Device, ColoursAreTruncatedMeansOfThreeChannelsAtMost)
{
    const Floats x{0, 0, 2}, y{0, 0, 0}, z{1, 3, 0};  // two points reach the pixels 0 and 1, the third has height 0
    const Bytes colors{10, 20, 30, 40, 13, 25, 30, 60, 9, 9, 9, 9};
    for (const Runtime* runtime : runtimes())
        for (const int channels : {1, 2, 3, 4}) {
            Bytes bytes;
            for (std::size_t point = 0; point < 3; ++point)
                bytes.insert(bytes.end(), colors.begin() + static_cast<long>(4 * point),
                             colors.begin() + static_cast<long>(4 * point) + channels);
            NoxRangeImage image;
            image.SetSize(3, 1, NoxDataType32F);
            image.SetColorSize(3, 1, channels);
            ASSERT_EQ(nox::device::DevicePclToRange(*runtime, x.data(), y.data(), z.data(), &image, bytes.data(),
                                                    channels, 3, 3, 1),
                      0);
            EXPECT_EQ(heightsOf(image), (Floats{2, 2, kNone}));
            Bytes want;
            for (int pixel = 0; pixel < 3; ++pixel)
                for (int k = 0; k < channels; ++k)
                    want.push_back(pixel == 2 || k == 3 ? 0 : k == 0 ? 11 : k == 1 ? 22 : 30);
            EXPECT_EQ(Bytes(image.ColorData(), image.ColorData() + want.size()), want) << channels;
        }
}

/// A merge reckoned pixel by pixel, in the order of the canvas.
Floats merged(const std::vector<NoxRangeImage>& images, const std::vector<Matrix>& poses, float rx, float ry,
              cv::Size canvas, cv::Size result)
{
    std::vector<std::vector<NOXEL3D::MVector3f>> rows(static_cast<std::size_t>(canvas.height));
    float low[4] = {kFar, kFar, kFar, kFar};  // x and y of the first image before and behind the pose
    for (std::size_t k = 0; k < images.size(); ++k) {
        const Floats heights = heightsOf(images[k]);
        const auto f = [](double v) { return static_cast<float>(v); };
        for (std::size_t i = 0; i < heights.size(); ++i) {
            const int row = static_cast<int>(i) / images[k].Width(), column = static_cast<int>(i) % images[k].Width();
            if (!(std::abs(heights[i]) < 1e8f)) continue;
            const float x = (f(row) - f(images[k].OffsetY())) * f(images[k].ResolutionY());
            const float y = (f(column) - f(images[k].OffsetX())) * f(images[k].ResolutionX());
            const auto line = [&](const double* m) {
                return std::fma(heights[i], f(m[2]), std::fma(x, f(m[0]), y * f(m[1]))) + f(m[3]);
            };
            const double* m = poses[k].data();
            const NOXEL3D::MVector3f p(line(m), line(m + 4), line(m + 8));
            rows[static_cast<std::size_t>(row)].push_back(p);
            const float seen[4] = {x, y, p.x(), p.y()};
            for (int n = 0; n < 4 && k == 0; ++n) low[n] = std::min(low[n], seen[n]);
        }
    }

    Floats sum(size(canvas.width, canvas.height)), count(sum), heights;
    for (const auto& points : rows)
        for (const auto& p : points) {
            if (!(std::abs(p.z()) < 1e8f) || p.z() == 0) continue;
            const float row = std::round((p.x() - (low[2] - low[0])) / ry);
            const float column = std::round((p.y() - (low[3] - low[1])) / rx);
            if (!(std::abs(row) < 1e6f && std::abs(column) < 1e6f)) continue;
            for (int r = static_cast<int>(row); r <= static_cast<int>(row) + 1; ++r)
                for (int c = static_cast<int>(column); c <= static_cast<int>(column) + 1; ++c)
                    if (0 <= r && r < canvas.height && 0 <= c && c < canvas.width) {
                        sum[size(canvas.width, r) + static_cast<std::size_t>(c)] += p.z();
                        count[size(canvas.width, r) + static_cast<std::size_t>(c)] += 1;
                    }
        }
    for (int r = 0; r < result.height; ++r)
        for (int c = 0; c < result.width; ++c) {
            const std::size_t i = size(canvas.width, r) + static_cast<std::size_t>(c);
            const bool reached = r < canvas.height && c < canvas.width && count[i] > 0;
            heights.push_back(reached ? sum[i] / count[i] : kNone);
        }
    return heights;
}

/// A rough surface with holes.
NoxRangeImage rough(int width, int height, double rx, double ox, double ry, double oy)
{
    Floats z(size(width, height));
    for (std::size_t i = 0; i < z.size(); ++i)
        z[i] = i % 13 == 5 ? kNone : i % 41 == 0 ? 0.0f : 3 + 0.25f * static_cast<float>((i * 7) % 23);
    return imageOf(width, z, rx, ox, ry, oy);
}

const Matrix kTilted{0.8, -0.6, 0.05, 7, 0.6, 0.8, -0.1, -3, 0.02, 0.1, 0.99, 1, 0, 0, 0, 1};
const Matrix kTurned{0, -1, 0, 2, 1, 0, 0, 5, 0, 0, 1, -2, 0, 0, 0, 1};
const Matrix kUpright{0, 0, 1, 0, 0.7, -0.7, 0, 0, 1, -1, 0, 5, 0, 0, 0, 1};  // an empty cell's marker would cancel
const Matrix kCancelling{1, -1, 0, 3, 0.5, -0.5, 0, 4, 0.25, -0.25, 0, 7, 0, 0, 0, 1};  // in all three rows

TEST(DeviceMerge, EqualsPixelByPixelOnAnyNumberOfThreads)
{
    const NoxRangeImage wide = rough(61, 37, 0.25, 3.5, 0.5, -2.25), small = rough(20, 45, 0.5, 1, 0.25, 7);
    const NoxRangeImage atZero = rough(1024, 3, 0.5, 0, 0.25, 0);
    const struct
    {
        const char* rule;
        std::vector<NoxRangeImage> images;
        std::vector<Matrix> poses;
        cv::Size canvas, result;
    } rows[] = {
        {"one", {wide}, {kTilted}, {61, 37}, {50, 30}},
        {"two of different heights", {wide, small}, {kTilted, kTurned}, {90, 60}, {90, 60}},
        {"three", {small, wide, small}, {kIdentity, kTilted, kTurned}, {101, 45}, {70, 41}},
        {"the smallest corner is exactly 0", {atZero}, {kIdentity}, {1024, 3}, {1000, 3}},
        {"empty cells under any rotation", {wide, small}, {kUpright, kCancelling}, {90, 60}, {80, 60}},
        {"nothing but empty cells", {imageOf(7, Floats(21, kNone)), small}, {kTilted, kTurned}, {90, 60}, {80, 60}},
        {"result larger than the canvas", {wide}, {kIdentity}, {61, 37}, {70, 40}},
        {"a pose that is no number", {wide}, {Matrix(16, double{kNaN})}, {61, 37}, {50, 30}},
    };
    for (const Runtime* runtime : runtimes())
        for (const auto& r : rows)
            for (const int threads : {1, 2, 16}) {
                const tbb::global_control limit(tbb::global_control::max_allowed_parallelism,
                                                static_cast<std::size_t>(threads));
                NoxRangeImage out;
                ASSERT_EQ(nox::device::DeviceRangeMerge(*runtime, arrayOf(r.images), posesOf(r.poses), 0.4f, 0.3f,
                                                        r.canvas.width, r.canvas.height, r.result.width,
                                                        r.result.height, &out),
                          0)
                    << r.rule;
                ASSERT_EQ(out.Matrix().size(), r.result);
                EXPECT_EQ((Matrix{out.ResolutionZ(), out.OffsetZ(), out.ResolutionX(), out.OffsetX(), out.ResolutionY(),
                                  out.OffsetY()}),
                          (Matrix{1, 0, double{0.4f}, 0, double{0.3f}, 0}));
                const Floats want = merged(r.images, r.poses, 0.4f, 0.3f, r.canvas, r.result);
                const Floats got = heightsOf(out);
                if (runtime == runtimes()[0]) {
                    EXPECT_EQ(got, want) << r.rule;
                } else {  // a position on the border of a pixel may fall to the other side
                    std::size_t other = 0;
                    for (std::size_t i = 0; i < got.size(); ++i) other += !(std::abs(got[i] - want[i]) < 1e-4f);
                    EXPECT_LE(other, got.size() / 50) << r.rule;
                }
            }
}

TEST(DeviceMerge, RefusesImagesThatDoNotFit)
{
    const NoxRangeImage a = imageOf(5, Floats(15, 1.0f)), b = imageOf(4, Floats(16, 1.0f));
    const struct
    {
        const char* rule;
        std::vector<NoxRangeImage> images;
        int columns, rows;
        long code;
    } rows[] = {
        {"fit", {a, b}, 9, 4, 0},
        {"together too wide", {a, b}, 8, 4, 11200003},
        {"one too high", {a, b}, 9, 3, 11200003},
        {"first too wide", {a}, 4, 3, 11200003},
        {"no image", {}, 9, 4, 11100001},
        {"an empty image", {a, NoxRangeImage()}, 9, 4, 11100001},
    };
    for (const auto& r : rows) {
        NoxRangeImage out = imageOf(2, {7, 8});
        const std::vector<Matrix> poses(r.images.size(), kIdentity);
        EXPECT_EQ(nox::device::DeviceRangeMerge(nox::device::hostRuntime(), arrayOf(r.images), posesOf(poses), 1, 1,
                                                r.columns, r.rows, 3, 2, &out),
                  r.code)
            << r.rule;
        if (r.code) {
            EXPECT_EQ(heightsOf(out), (Floats{7, 8})) << r.rule;
        }
    }
}

/// The host's realisation with one operation that fails, and a list of the buffers that stand.
class FailingRuntime final : public Runtime
{
public:
    enum Kind { kAllocate, kClear, kUpload, kLaunch, kSynchronise, kDownload, kKinds };

    FailingRuntime(Kind kind, int call) : kind_(kind), call_(call) {}
    bool failed() const { return failed_; }
    bool leaks() const { return !live_.empty(); }

    int allocate(void** buffer, std::size_t bytes) const noexcept override
    {
        const int error = passed(kAllocate) ? host_.allocate(buffer, bytes) : 1;
        if (!error) live_.insert(*buffer);
        return error;
    }
    void release(void* buffer) const noexcept override
    {
        live_.erase(buffer);
        host_.release(buffer);
    }
    int clear(void* buffer, std::size_t bytes) const noexcept override
    {
        return passed(kClear) ? host_.clear(buffer, bytes) : 1;
    }
    int upload(void* buffer, const void* from, std::size_t bytes) const noexcept override
    {
        return passed(kUpload) ? host_.upload(buffer, from, bytes) : 1;
    }
    int download(void* to, const void* buffer, std::size_t bytes) const noexcept override
    {
        return passed(kDownload) ? host_.download(to, buffer, bytes) : 1;
    }
    int launch(nox::device::KernelId kernel, const Shape& shape, void** arguments) const noexcept override
    {
        return passed(kLaunch) ? host_.launch(kernel, shape, arguments) : 1;
    }
    int synchronise() const noexcept override { return passed(kSynchronise) ? host_.synchronise() : 1; }
    const char* errorText(int) const noexcept override { return "planted"; }

private:
    bool passed(Kind kind) const
    {
        if (kind != kind_ || ++calls_ != call_) return true;
        failed_ = true;
        return false;
    }

    const Runtime& host_ = nox::device::hostRuntime();
    Kind kind_;
    int call_;
    mutable int calls_ = 0;
    mutable bool failed_ = false;
    mutable std::set<void*> live_;
};

TEST(Device, EveryStepMayFail)
{
    const auto images = arrayOf({rough(9, 7, 1, 0, 1, 0), rough(5, 6, 1, 0, 1, 0), rough(4, 4, 1, 0, 1, 0)});
    const auto poses = posesOf({kTilted, kTurned, kIdentity});
    const Floats at{0, 1, 2};
    const Bytes colors(9, 50);
    enum Pipeline { kMerge, kPoints, kColors };
    const auto run = [&](int pipeline, const Runtime& runtime, NoxRangeImage* out) {
        if (pipeline == kMerge) return nox::device::DeviceRangeMerge(runtime, images, poses, 1, 1, 18, 7, 8, 6, out);
        NoxRangeImage image;
        image.SetSize(4, 3, NoxDataType32F);
        image.SetColorSize(4, 3, 3);
        return nox::device::DevicePclToRange(runtime, at.data(), at.data(), at.data(), &image,
                                             pipeline == kColors ? colors.data() : nullptr, 3, 3, 4, 3);
    };
    for (const int pipeline : {kMerge, kPoints, kColors})
        for (int kind = 0; kind < FailingRuntime::kKinds; ++kind)
            for (int call = 1;; ++call) {
                const FailingRuntime runtime(static_cast<FailingRuntime::Kind>(kind), call);
                NoxRangeImage out = imageOf(2, {7, 8});
                testing::internal::CaptureStderr();
                const long code = run(pipeline, runtime, &out);
                const std::string told = testing::internal::GetCapturedStderr();
                EXPECT_FALSE(runtime.leaks()) << pipeline << kind << ' ' << call;
                if (!runtime.failed()) {
                    EXPECT_EQ(code, 0);
                    EXPECT_GT(call, 1) << "no such step";
                    break;
                }
                EXPECT_EQ(code, kind <= FailingRuntime::kUpload ? 30602013 : 30602014) << pipeline << kind << call;
                EXPECT_EQ(heightsOf(out), (Floats{7, 8})) << pipeline << kind << ' ' << call;
                const bool planes = pipeline == kMerge && kind == FailingRuntime::kAllocate && call <= 3;
                if (planes) {
                    EXPECT_EQ(told, "cuda_MallocXYZ:planted\n");
                }
            }
}

TEST(Device, MemoryThatNoMachineHasIsRefused)
{
    const auto images = arrayOf({rough(9, 7, 1, 0, 1, 0)});
    NoxRangeImage out;
    for (const Runtime* runtime : {&nox::device::hostRuntime(), &nox::device::builtInRuntime()})
        EXPECT_EQ(
            nox::device::DeviceRangeMerge(*runtime, images, posesOf({kIdentity}), 1, 1, INT_MAX, INT_MAX, 8, 6, &out),
            30602013);
    const replaced::MemoryScope memory(0);
    EXPECT_EQ(nox::device::DeviceRangeMerge(nox::device::hostRuntime(), images, posesOf({kIdentity}), 1, 1, 40000,
                                            40000, 8, 6, &out),
              30602013);
}

TEST(Device, BuildForADeviceThatIsNotThere)
{
    if (works(nox::device::builtInRuntime())) GTEST_SKIP() << "it is there";
    NoxRangeImage out = imageOf(2, {7, 8});
    EXPECT_EQ(nox::device::DeviceRangeMerge(nox::device::builtInRuntime(), arrayOf({rough(9, 7, 1, 0, 1, 0)}),
                                            posesOf({kIdentity}), 1, 1, 9, 7, 8, 6, &out),
              30602013);
    EXPECT_EQ(heightsOf(out), (Floats{7, 8}));
}

/// Each point in which the results of device and host differ, and those in which they agree.
TEST(Device, AgainstTheHostsRegistration)
{
    const float n = kNone;
    const float w = std::exp(-2.0f);
    const struct
    {
        const char* point;
        std::vector<NOXEL3D::MVector3f> points;
        Floats device, host;  // of a grid 2 wide and 2 high, threshold 2
    } rows[] = {
        {"base pixel: rounded; truncated", {{0.6f, 0, 2}}, {n, 2, n, 2}, {2, 2, 2, 2}},
        {"weights: 1; of the distance",
         {{0, 0, 2}, {1, 0, 3}},
         {2, 2.5f, 2, 2.5f},
         {2, (3 + w * 2) / (1 + w), 2, (3 + w * 2) / (1 + w)}},
        {"heights: no test; the top surface", {{1, 1, 2}, {1, 1, 8}}, {n, n, n, 5}, {n, n, n, 8}},
        {"height 0: skipped; a height", {{1, 1, 0}}, {n, n, n, n}, {n, n, n, 0}},
        {"a point on a pixel: the same", {{0, 0, 2}}, {2, 2, 2, 2}, {2, 2, 2, 2}},
    };
    for (const Runtime* runtime : runtimes())
        for (auto r : rows) {
            NOXEL::PCtoRIRegisterPointNew body(2, 2, r.points.data(), 2.0);
            body(tbb::blocked_range<std::size_t>(0, r.points.size()));
            Floats host(4);
            NOXEL::PointCloudToRangeImageReplaceValueNew(host.data(), &body.weights, &body.weightedSum, 2,
                                                         2)(tbb::blocked_range<std::size_t>(0, 2));
            const Floats device = spread(*runtime, r.points, 2, 2);
            for (std::size_t i = 0; i < 4; ++i) {
                EXPECT_FLOAT_EQ(device[i], r.device[i]) << r.point;
                EXPECT_FLOAT_EQ(host[i], r.host[i]) << r.point;
            }
        }
}

/// 1024 x `columns` points on the pixels of a grid of 1 x 2, the height being 1 + the row.
NoxPointCloud planeCloud(int columns)
{
    NoxVector3dArray points;
    points.SetSize(1024 * columns);
    for (int i = 0; i < 1024 * columns; ++i)
        points[i] = {static_cast<float>(i / columns), static_cast<float>(2 * (i % columns)),
                     static_cast<float>(1 + i / columns)};
    NoxPointCloud cloud;
    cloud.SetPoints(std::move(points));
    return cloud;
}

TEST(DeviceFacade, CloudsOfMoreThan1048576PointsGoToTheDevice)
{
    NoxMatrix4 pose(1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1);
    NoxVector3d upwards(0, 0, 1);
    NOXEL::Nox3DDataConvert convert;
    // In row 9 the heights 9 and 10 meet: on the device alike, on the host by their distance.
    const float w = std::exp(-2.0f), onHost = (10 + 9 * w) / (1 + w), onDevice = 9.5f;
    for (const int columns : {1024, 1025}) {
        NoxPointCloud cloud = planeCloud(columns);
        const bool device = asksForDevice() && columns == 1025;
        const bool missing = device && !works(nox::device::builtInRuntime());
        for (const int form : {1, 2, 3}) {
            const replaced::LogScope log;
            NoxRangeImage image = imageOf(2, {7, 8});
            const long code = form == 1   ? convert.PointCloudToRangeImage(cloud, &image, pose, columns, 1024)
                              : form == 2 ? convert.PointCloudToRangeImage(cloud, &image, pose, 2.0, 1.0)
                                          : convert.PointCloudToRangeImage(cloud, &image, upwards, 2.0, 1.0);
            ASSERT_EQ(code, missing ? 30602013 : 0);
            const auto place = missing ? 0 : size(columns, 9) + 5;
            EXPECT_NEAR(heightsOf(image)[place], missing ? 7 : device ? onDevice : onHost, 1e-4f) << form << columns;
            const std::string start = "PointCloudToRangeImage: start-pointCloudToRangeImage_";
            EXPECT_EQ(log.records(), form == 2 ? std::vector<std::string>{start + (device ? "CUDA" : "CPU")}
                                               : std::vector<std::string>());
        }
        NoxColorArray colors;
        colors.SetSize(1024 * columns - 1, 1, 3);
        cloud.SetColors(colors);
        NoxRangeImage image = imageOf(2, {7, 8});
        EXPECT_EQ(convert.PointCloudToRangeImage(cloud, &image, pose, 2.0, 1.0), 30602023);
        EXPECT_EQ(heightsOf(image), (Floats{7, 8}));
    }
}

}  // namespace
