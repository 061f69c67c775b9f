#include <CloudToRangeBodies.h>

#include <oneapi/tbb/global_control.h>

#include "tests/support/DeviceSupport.h"

namespace {

using nox::device::Shape;
namespace kernel = nox::device::kernel;
using namespace device_test;
using Bytes = std::vector<unsigned char>;
using Points = std::vector<NOXEL3D::MVector3f>;

Floats back(nox::device::Session& session, const nox::device::Buffer<float>& buffer, std::size_t count)
{
    Floats values(count);
    session.download(values.data(), buffer, count);
    EXPECT_EQ(session.code(), 0);
    return values;
}

/// Heights and colours of an image from points.
long spread(const Runtime& runtime, const Points& points, const Bytes& colors, NoxRangeImage* image)
{
    Floats x, y, z;
    for (const auto& p : points) x.push_back(p.x()), y.push_back(p.y()), z.push_back(p.z());
    const int n = static_cast<int>(points.size()), channels = static_cast<int>(colors.size()) / n;
    if (channels) image->SetColorSize(image->Width(), image->Height(), channels);
    return nox::device::DevicePclToRange(runtime, x.data(), y.data(), z.data(), image,
                                         channels ? colors.data() : nullptr, channels, n, image->Width(),
                                         image->Height());
}

TEST(Device, NearestPixelTakesHalvesAwayFromZero)
{
    const Floats positions{2.5f,  -2.5f, 0.49f, -0.49f,     0.49999997f,   10.4f,     10.6f,
                           -1.6f, -0.5f, kNaN,  8388609.0f, 2147483520.0f, -kLargest, 2147483648.0f};
    std::vector<int> pixels;
    for (const float position : positions) pixels.push_back(nox::device::nearestPixel(position));
    EXPECT_EQ(pixels,
              (std::vector<int>{3, -3, 0, 0, 0, 10, 11, -2, -1, INT_MIN, 8388609, 2147483520, INT_MIN, INT_MIN}));
}

TEST(Device, PosesLeaveMarkedCellsOut)
{
    for (const Runtime* runtime : runtimes()) {
        nox::device::Session s(*runtime);
        const Floats x{3, 4, 5}, z{2, kLargest, 1e8f};
        const auto run = [&](const auto& correct, auto... place) {
            const auto X = s.uploaded(x.data(), 3), Y = s.uploaded(x.data(), 3), Z = s.uploaded(z.data(), 3);
            s.run(correct, Shape::pixels(3, 1), X.get(), Y.get(), Z.get(), 0.0f, 1.0f, 0.0f, 10.0f, 1.0f, 0.0f, 0.0f,
                  0.0f, 0.0f, 0.0f, 1.0f, 0.0f, kLargest, place..., 3, 1, 3, 0);
            return back(s, X, 3);
        };
        EXPECT_EQ(run(kernel::PclCorrect0), (Floats{13, kLargest, kLargest}));
        EXPECT_EQ(run(kernel::NPclCorrect, 0, 0), (Floats{13, 4, 15}));
    }
}

TEST(Device, SmallestCoordinatesOfEveryBlock)
{
    const std::size_t stride = 1500, height = 5;
    for (const Runtime* runtime : runtimes())
        for (const std::size_t width : {3u, 700u, 1024u, 1500u})
            for (const bool replacesZero : {false, true}) {
                const std::size_t pixels = width * height, blocks = (pixels + 1023) / 1024;
                Floats x(stride * height, -1e30f), want(blocks, kLargest);
                for (std::size_t i = 0; i < pixels; ++i) {
                    const auto value = static_cast<float>(i * 7919 % 1021);  // 0 in most blocks
                    x[i / width * stride + i % width] = value;
                    want[i / 1024] = std::min(want[i / 1024], value);
                }
                if (replacesZero) std::replace(want.begin(), want.end(), 0.0f, kLargest);
                nox::device::Session s(*runtime);
                const auto X = s.uploaded(x.data(), x.size());
                const auto minX = s.allocate<float>(blocks), minY = s.allocate<float>(blocks);
                s.run(replacesZero ? kernel::NMinBoxXY_N0 : kernel::NMinBoxXY, Shape::line(static_cast<int>(pixels)),
                      X.get(), X.get(), minX.get(), minY.get(), kLargest, static_cast<int>(width), 5, 1500, 0);
                EXPECT_EQ(back(s, minX, blocks), want) << width;
                EXPECT_EQ(back(s, minY, blocks), want) << width;
            }
}

/// Each rule of the points, and what the host's registration makes of them where the two are comparable.
TEST(Device, PointsCountFullyInFourPixels)
{
    const float n = kNone, w = std::exp(-2.0f), mean = (3 + 2 * w) / (1 + w);
    const Points mixed{{0, -1, 1}, {0, -1, 3}, {2, -1, 0}};  // two reach the pixels 0 and 1, the third has height 0
    const struct
    {
        const char* rule;
        Points points;
        Floats device, host = {};  // of a grid 3 wide and 2 high, threshold 2
        Bytes colors = {}, firstRow = {};
    } rows[] = {
        {"base pixel: rounded; truncated", {{0.6f, 0.4f, 2}}, {n, 2, 2, n, 2, 2}, {2, 2, n, 2, 2, n}},
        {"weights: 1; of the distance", {{0, 0, 2}, {1, 0, 3}}, {2, 2.5f, 3, 2, 2.5f, 3}, {2, mean, 3, 2, mean, 3}},
        {"heights: no test; the top surface", {{2, 1, 2}, {2, 1, 8}}, {n, n, n, n, n, 5}, {n, n, n, n, n, 8}},
        {"height 0: skipped; a height", {{2, 1, 0}, {2, 1, -0.0f}}, Floats(6, n), {n, n, n, n, n, 0}},
        {"a point on a pixel: the same", {{1, 0, 2}}, {n, 2, 2, n, 2, 2}, {n, 2, 2, n, 2, 2}},
        {"left of the grid by one", {{-1, 0, 2}}, {2, n, n, 2, n, n}},
        {"above the grid by one", {{1, -1, 2}}, {n, 2, 2, n, n, n}},
        {"too far left", {{-1.6f, 0, 2}}, Floats(6, n)},
        {"denormal height", {{1, 1, 1e-40f}}, Floats(6, n)},
        {"no measurement", {{1, 1, 1e8f}, {1, 1, kNone}, {1, 1, kNaN}}, Floats(6, n)},
        {"below the bound", {{2, 1, -99999992.0f}}, {n, n, n, n, n, -99999992.0f}},
        {"no position", {{kNaN, 1, 5}, {1, 3e9f, 5}, {-INFINITY, 1, 5}}, Floats(6, n)},
        {"colours: truncated means", mixed, {2, 2, n, n, n, n}, {}, {10, 13, 9}, {11, 11, 0}},
        {"2 channels", mixed, {2, 2, n, n, n, n}, {}, {10, 20, 13, 25, 9, 9}, {11, 22, 11, 22, 0, 0}},
        {"3", mixed, {2, 2, n, n, n, n}, {}, {1, 20, 30, 2, 25, 30, 9, 9, 9}, {1, 22, 30, 1, 22, 30, 0, 0, 0}},
        {"3 channels of 4",
         mixed,
         {2, 2, n, n, n, n},
         {},
         {1, 20, 30, 40, 2, 25, 30, 60, 9, 9, 9, 9},
         {1, 22, 30, 0, 1, 22, 30, 0, 0, 0, 0, 0}},
    };
    for (const Runtime* runtime : runtimes())
        for (auto r : rows) {
            NoxRangeImage image = imageOf(3, Floats(6));
            EXPECT_EQ(spread(*runtime, r.points, r.colors, &image), 0);
            EXPECT_EQ(heightsOf(image), r.device) << r.rule;
            EXPECT_EQ(Bytes(image.ColorData(), image.ColorData() + r.firstRow.size()), r.firstRow) << r.rule;
            NOXEL::PCtoRIRegisterPointNew body(3, 2, r.points.data(), 2.0);
            body(tbb::blocked_range<std::size_t>(0, r.points.size()));
            Floats host(6);
            NOXEL::PointCloudToRangeImageReplaceValueNew(host.data(), &body.weights, &body.weightedSum, 2,
                                                         3)(tbb::blocked_range<std::size_t>(0, 2));
            for (std::size_t i = 0; i < r.host.size(); ++i) EXPECT_FLOAT_EQ(host[i], r.host[i]) << r.rule;
        }
}

/// A merge reckoned pixel by pixel, in the order of the canvas.
Floats merged(const std::vector<NoxRangeImage>& images, const std::vector<Pose>& poses, float rx, float ry,
              cv::Size canvas, cv::Size result)
{
    std::vector<std::vector<cv::Point3f>> rows(static_cast<std::size_t>(canvas.height));
    float low[4] = {kLargest, kLargest, kLargest, kLargest};  // x and y of the first image before and behind the pose
    for (std::size_t k = 0; k < images.size(); ++k) {
        const NoxRangeImage& image = images[k];
        const cv::Matx44f m = poses[k];
        for (int i = 0; i < image.Width() * image.Height(); ++i) {
            const int row = i / image.Width(), column = i % image.Width();
            const float z = image.Matrix().at<float>(row, column);
            if (!(std::abs(z) < 1e8f)) continue;
            const auto f = [](double value) { return static_cast<float>(value); };
            const float x = (f(row) - f(image.OffsetY())) * f(image.ResolutionY());
            const float y = (f(column) - f(image.OffsetX())) * f(image.ResolutionX());
            const auto line = [&](int r) { return std::fma(z, m(r, 2), std::fma(x, m(r, 0), y * m(r, 1))) + m(r, 3); };
            rows[static_cast<std::size_t>(row)].emplace_back(line(0), line(1), line(2));
            const float seen[4] = {x, y, line(0), line(1)};
            for (int n = 0; n < 4 && k == 0; ++n) low[n] = std::min(low[n], seen[n]);
        }
    }

    cv::Mat_<float> sum(canvas, 0.0f), count(canvas, 0.0f), heights(result, kNone);
    for (const auto& points : rows)
        for (const auto& p : points) {
            if (!(std::abs(p.z) < 1e8f) || p.z == 0) continue;
            const cv::Point2f base(std::round((p.y - (low[3] - low[1])) / rx),
                                   std::round((p.x - (low[2] - low[0])) / ry));
            for (const float r : {0.0f, 1.0f})
                for (const float c : {0.0f, 1.0f}) {
                    const cv::Point2f cell = base + cv::Point2f(c, r);
                    if (cv::Rect2f(cv::Point2f(), canvas).contains(cell)) sum(cell) += p.z, count(cell) += 1;
                }
        }
    for (int r = 0; r < std::min(canvas.height, result.height); ++r)
        for (int c = 0; c < std::min(canvas.width, result.width); ++c)
            if (count(r, c) > 0) heights(r, c) = sum(r, c) / count(r, c);
    return Floats(heights.begin(), heights.end());
}

/// A rough surface with holes.
NoxRangeImage rough(int width, int height, double rx = 1, double ox = 0, double ry = 1, double oy = 0)
{
    Floats z(static_cast<std::size_t>(width * height));
    for (std::size_t i = 0; i < z.size(); ++i)
        z[i] = i % 13 == 5 ? kNone : i % 41 == 0 ? 0.0f : 3 + 0.25f * static_cast<float>((i * 7) % 23);
    return imageOf(width, z, rx, ox, ry, oy);
}

const Pose kTilted(0.8, -0.6, 0.05, 7, 0.6, 0.8, -0.1, -3, 0.02, 0.1, 0.99, 1, 0, 0, 0, 1);
const Pose kTurned(0, -1, 0, 2, 1, 0, 0, 5, 0, 0, 1, -2, 0, 0, 0, 1);
const Pose kUpright(0, 0, 1, 0, 0.7, -0.7, 0, 0, 1, -1, 0, 5, 0, 0, 0, 1);  // an empty cell's marker would cancel
const Pose kCancelling(1, -1, 0, 3, 0.5, -0.5, 0, 4, 0.25, -0.25, 0, 7, 0, 0, 0, 1);  // in all three rows

TEST(DeviceMerge, EqualsPixelByPixelOnAnyNumberOfThreads)
{
    const NoxRangeImage wide = rough(61, 37, 0.25, 3.5, 0.5, -2.25), small = rough(20, 45, 0.5, 1, 0.25, 7);
    const struct
    {
        const char* rule;
        std::vector<NoxRangeImage> images;
        std::vector<Pose> poses;
        cv::Size canvas, result;
    } rows[] = {
        {"one", {wide}, {kTilted}, {61, 37}, {50, 30}},
        {"two of different heights", {wide, small}, {kTilted, kTurned}, {90, 60}, {90, 60}},
        {"three", {small, wide, small}, {Pose::eye(), kTilted, kTurned}, {101, 45}, {70, 41}},
        {"the smallest corner is exactly 0", {rough(1024, 3, 0.5, 0, 0.25)}, {Pose::eye()}, {1024, 3}, {1000, 3}},
        {"empty cells under any rotation", {wide, small}, {kUpright, kCancelling}, {90, 60}, {80, 60}},
        {"nothing but empty cells", {imageOf(7, Floats(21, kNone)), small}, {kTilted, kTurned}, {90, 60}, {80, 60}},
        {"result larger than the canvas", {wide}, {Pose::eye()}, {61, 37}, {70, 40}},
        {"a pose that is no number", {wide}, {Pose::all(kNaN)}, {61, 37}, {50, 30}},
    };
    for (const Runtime* runtime : runtimes())
        for (const auto& r : rows)
            for (const std::size_t threads : {1u, 2u, 16u}) {
                const tbb::global_control limit(tbb::global_control::max_allowed_parallelism, threads);
                NoxRangeImage out;
                ASSERT_EQ(merge(*runtime, r.images, r.poses, r.canvas, r.result, &out, 0.4f, 0.3f), 0) << r.rule;
                ASSERT_EQ(out.Matrix().size(), r.result);
                EXPECT_EQ((std::vector<double>{out.ResolutionZ(), out.OffsetZ(), out.ResolutionX(), out.OffsetX(),
                                               out.ResolutionY(), out.OffsetY()}),
                          (std::vector<double>{1, 0, double{0.4f}, 0, double{0.3f}, 0}));
                const Floats want = merged(r.images, r.poses, 0.4f, 0.3f, r.canvas, r.result), got = heightsOf(out);
                const bool host = runtime == runtimes()[0];
                std::size_t other = 0;  // on another device a position on a pixel's border may fall to the other side
                for (std::size_t i = 0; i < got.size(); ++i)
                    other += !(host ? got[i] == want[i] : std::abs(got[i] - want[i]) < 1e-4f);
                EXPECT_LE(other, host ? 0 : got.size() / 50) << r.rule << ", threads " << threads;
            }
}

TEST(DeviceMerge, Refuses)
{
    const NoxRangeImage a = imageOf(5, Floats(15, 1.0f)), b = imageOf(4, Floats(16, 1.0f));
    const struct
    {
        const char* rule;
        std::vector<NoxRangeImage> images;
        cv::Size canvas;
        long code;
    } rows[] = {
        {"fit", {a, b}, {9, 4}, 0},
        {"together too wide", {a, b}, {8, 4}, 11200003},
        {"one too high", {a, b}, {9, 3}, 11200003},
        {"first too wide", {a}, {4, 3}, 11200003},
        {"no image", {}, {9, 4}, 11100001},
        {"an empty image", {a, NoxRangeImage()}, {9, 4}, 11100001},
        {"a canvas that no memory holds", {a}, {INT_MAX, INT_MAX}, 30602013},
    };
    const Runtime &host = nox::device::hostRuntime(), &own = nox::device::builtInRuntime();
    NoxRangeImage out;
    const auto mergeOn = [&](const Runtime& runtime, const std::vector<NoxRangeImage>& images, cv::Size canvas) {
        out = imageOf(2, {7, 8});
        return merge(runtime, images, std::vector<Pose>(images.size(), Pose::eye()), canvas, {2, 1}, &out);
    };
    for (const Runtime* runtime : {&host, &own})
        for (const auto& r : rows) {
            const long code = r.code || works(*runtime) ? r.code : 30602013;
            EXPECT_EQ(mergeOn(*runtime, r.images, r.canvas), code) << r.rule;
            EXPECT_EQ(heightsOf(out), code ? (Floats{7, 8}) : (Floats{1, 1})) << r.rule;
        }
    const replaced::MemoryScope memory(0);
    EXPECT_EQ(mergeOn(host, {a}, {40000, 40000}), 30602013);
}

/// The host's realisation as a device with memory of its own, with one step that fails, and a count of the buffers that
/// stand.
struct FailingRuntime final : Runtime
{
    enum Step { kAllocate, kClear, kUpload, kLaunch, kSynchronise, kDownload, kSteps };

    const Runtime& host = nox::device::hostRuntime();
    int step;
    mutable int callsLeft;
    mutable int buffers = 0;

    FailingRuntime(int failing, int call) : step(failing), callsLeft(call) {}
    bool fails(Step asked) const { return asked == step && --callsLeft == 0; }

    int allocate(void** buffer, std::size_t bytes) const noexcept override
    {
        if (fails(kAllocate) || host.allocate(buffer, bytes)) return 1;
        return ++buffers, 0;
    }
    void release(void* buffer) const noexcept override { --buffers, host.release(buffer); }
    int clear(void* to, std::size_t n) const noexcept override { return fails(kClear) || host.clear(to, n); }
    int upload(void* to, const void* from, std::size_t n) const noexcept override
    {
        return fails(kUpload) || host.upload(to, from, n);
    }
    int download(void* to, const void* from, std::size_t n) const noexcept override
    {
        return fails(kDownload) || host.download(to, from, n);
    }
    int launch(const nox::device::Launch* launches, int count, const Shape& shape) const noexcept override
    {
        return fails(kLaunch) || host.launch(launches, count, shape);
    }
    int synchronise() const noexcept override { return fails(kSynchronise) || host.synchronise(); }
    const char* errorText(int) const noexcept override { return "planted"; }
};

TEST(Device, EveryStepMayFail)
{
    enum Pipeline { kMerge, kPoints, kColors };
    const auto run = [](int pipeline, const Runtime& runtime, NoxRangeImage* out) {
        if (pipeline == kMerge)
            return merge(runtime, {rough(9, 7), rough(5, 6), rough(4, 4)}, {kTilted, kTurned, Pose::eye()}, {18, 7},
                         {8, 6}, out);
        NoxRangeImage image = imageOf(4, Floats(12));
        const Bytes colors(pipeline == kColors ? 9 : 0, 50);
        const long code = spread(runtime, {{0, 0, 0}, {1, 1, 1}, {2, 2, 2}}, colors, &image);
        if (code == 0) *out = image;
        return code;
    };
    for (const int pipeline : {kMerge, kPoints, kColors}) {
        NoxRangeImage uncopied;
        ASSERT_EQ(run(pipeline, nox::device::hostRuntime(), &uncopied), 0);
        for (int step = 0; step < FailingRuntime::kSteps; ++step)
            for (int call = 1, failed = true; failed; ++call) {
                SCOPED_TRACE(testing::Message() << "pipeline " << pipeline << ", step " << step << ", call " << call);
                const FailingRuntime runtime(step, call);
                NoxRangeImage out = imageOf(2, {7, 8});
                testing::internal::CaptureStderr();
                const long code = run(pipeline, runtime, &out);
                const std::string told = testing::internal::GetCapturedStderr();
                failed = runtime.callsLeft <= 0;
                EXPECT_EQ(runtime.buffers, 0);
                EXPECT_EQ(code, !failed ? 0 : step <= FailingRuntime::kUpload ? 30602013 : 30602014);
                EXPECT_TRUE(failed || call > 1) << "no such step";
                EXPECT_EQ(heightsOf(out), failed ? (Floats{7, 8}) : heightsOf(uncopied));
                const bool plane = pipeline == kMerge && step == FailingRuntime::kAllocate && call <= 3;
                EXPECT_TRUE(!plane || told == "cuda_MallocXYZ:planted\n") << told;
            }
    }
}

TEST(DeviceFacade, CloudsOfMoreThan1048576PointsGoToTheDevice)
{
    NoxMatrix4 pose(1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1);
    NoxVector3d upwards(0, 0, 1);
    NOXEL::Nox3DDataConvert convert;
    for (const int columns : {1024, 1025}) {
        NoxVector3dArray points;  // on the pixels of a grid of 1 x 2, the height being 1 + the row
        points.SetSize(1024 * columns);
        for (int i = 0; i < 1024 * columns; ++i) {
            const int row = i / columns, column = i % columns;
            points[i] = {static_cast<float>(row), static_cast<float>(2 * column), static_cast<float>(1 + row)};
        }
        NoxPointCloud cloud;
        cloud.SetPoints(std::move(points));
        const bool device = asksForDevice() && columns == 1025;
        const bool missing = device && !works(nox::device::builtInRuntime());
        // In row 9 the heights 9 and 10 meet: on the device alike, on the host by their distance.
        const float w = std::exp(-2.0f), height = missing ? 7 : device ? 9.5f : (10 + 9 * w) / (1 + w);
        for (const int form : {1, 2, 3}) {
            const replaced::LogScope log;
            NoxRangeImage image = imageOf(2, {7, 8});
            const long code = form == 1   ? convert.PointCloudToRangeImage(cloud, &image, pose, columns, 1024)
                              : form == 2 ? convert.PointCloudToRangeImage(cloud, &image, pose, 2.0, 1.0)
                                          : convert.PointCloudToRangeImage(cloud, &image, upwards, 2.0, 1.0);
            ASSERT_EQ(code, missing ? 30602013 : 0);
            EXPECT_NEAR(missing ? heightsOf(image)[0] : image.Matrix().at<float>(9, 5), height, 1e-4f) << form;
            std::vector<std::string> records(form == 2, "PointCloudToRangeImage: start-pointCloudToRangeImage_");
            if (form == 2) records[0] += device ? "CUDA" : "CPU";
            EXPECT_EQ(log.records(), records);
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
