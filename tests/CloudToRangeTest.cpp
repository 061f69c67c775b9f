#include "tests/support/Samples.h"

#include <CloudToRangeBodies.h>
#include <MBox.h>

#include <oneapi/tbb/global_control.h>

#include <functional>
#include <random>

#include "cloud_to_range/GaussianWeights.h"

namespace {

using namespace samples;
using NOXEL3D::MMatrix3;
using NOXEL3D::MMatrix4;
using NOXEL3D::MVector3d;
using NOXEL3D::MVector3f;
using Range = tbb::blocked_range<std::size_t>;
using Points = std::vector<NoxVector3d>;
using Bytes = std::vector<unsigned char>;

const NoxMatrix4 kIdentity(1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1);

long bySize(NoxPointCloud cloud, NoxRangeImage* result, int width, int height, NoxMatrix4 pose = kIdentity)
{
    return NOXEL::Nox3DDataConvert().PointCloudToRangeImage(cloud, result, pose, width, height);
}
long byResolution(NoxPointCloud cloud, NoxRangeImage* result, double x, double y, NoxMatrix4 pose = kIdentity)
{
    return NOXEL::Nox3DDataConvert().PointCloudToRangeImage(cloud, result, pose, x, y);
}
long along(NoxPointCloud cloud, NoxRangeImage* result, double x, double y, NoxVector3d direction = {0, 0, 1})
{
    return NOXEL::Nox3DDataConvert().PointCloudToRangeImage(cloud, result, direction, x, y);
}

/// Checks a code, and that a refused call left nothing of the result changed but its type.
template <class Call>
void expectRefused(const char* rule, long code, const Call& call)
{
    NoxRangeImage result;
    result.SetSize(3, 2, NoxDataType16U);
    result.SetColorSize(3, 2, 3);
    result.SetInfo(2, 3, 4, 5, 6, 7);
    result.SetType(1);
    const NoxRangeImage before = result;
    EXPECT_EQ(call(&result), code) << rule;
    EXPECT_EQ(result.Type(), 0) << rule;
    EXPECT_TRUE(result.Data() == before.Data() && result.ColorData() == before.ColorData() && result.Width() == 3 &&
                result.OffsetY() == 7)
        << rule;
}

TEST(CloudToRange, RefusesInOrder)
{
    const Points one{{1, 2, 3}};
    const NoxMatrix4 zero;
    const struct
    {
        const char* rule;
        Points points;
        NoxMatrix4 pose;
        int width, height;
        long code;
    } sizes[] = {
        {"cloud before pose", {}, zero, 1, 1, 11100002},         {"pose before width", one, zero, 1, 1, 11200001},
        {"width before height", one, kIdentity, 1, 1, 11200002}, {"height", one, kIdentity, 2, 1, 11200003},
        {"negative width", one, kIdentity, -5, 2, 11200002},
    };
    for (const auto& r : sizes)
        expectRefused(r.rule, r.code, [&](NoxRangeImage* image) {
            return bySize(cloudOf(r.points), image, r.width, r.height, r.pose);
        });

    const struct
    {
        const char* rule;
        Points points;
        bool frame;
        double x, y;
        long code;
    } resolutions[] = {
        {"cloud before frame", {}, false, 0, 0, 11100002},   {"frame before X", one, false, 0, 0, 11200001},
        {"X before Y", one, true, 0, 0, 11200002},           {"Y", one, true, 1, -1, 11200003},
        {"NaN X has no grid", one, true, kNaN, 1, 30602024}, {"NaN Y has no grid", one, true, 1, kNaN, 30602024},
    };
    for (const auto& r : resolutions) {
        expectRefused(r.rule, r.code, [&](NoxRangeImage* image) {
            return byResolution(cloudOf(r.points), image, r.x, r.y, r.frame ? kIdentity : zero);
        });
        expectRefused(r.rule, r.code, [&](NoxRangeImage* image) {
            return along(cloudOf(r.points), image, r.x, r.y, r.frame ? NoxVector3d(0, 0, 1) : NoxVector3d());
        });
    }
}

TEST(CloudToRange, LaysTheGridOverTheBox)
{
    const NoxPointCloud cloud = cloudOf({{3, -4, 1}, {13, 16, 2}});  // 10 along x, 20 along y
    const NoxMatrix4 moved(1, 0, 0, 70, 0, 1, 0, -80, 0, 0, 1, 90, 0, 0, 0, 1);
    const NoxMatrix4 exchanged(0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1);
    const std::tuple<const char*, std::function<long(NoxRangeImage*)>, int, int, double, double, double, double, double>
        rows[] = {
            {"size", [&](auto* r) { return bySize(cloud, r, 41, 11); }, 41, 11, 0.5, 8, 1, -3, -1},
            {"size, offsets in float", [&](auto* r) { return bySize(cloud, r, 4, 4); }, 4, 4, double(20.0f / 3),
             double(4.0f / (20.0f / 3)), double(10.0f / 3), double(-3.0f / (10.0f / 3)), -1},
            {"resolution", [&](auto* r) { return byResolution(cloud, r, 3, 0.3); }, 7, 34, 3, 4.0 / 3, 0.3, -3 / 0.3,
             1},
            {"direction, as float", [&](auto* r) { return along(cloud, r, 3, 0.3); }, 7, 34, 3, 4.0 / 3, double(0.3f),
             -3 / double(0.3f), 1},
            {"no translation", [&](auto* r) { return bySize(cloud, r, 41, 11, moved); }, 41, 11, 0.5, 8, 1, -3, -1},
            {"columns along x", [&](auto* r) { return bySize(cloud, r, 41, 11, exchanged); }, 41, 11, 0.25, -12, 2, 2,
             -1},
            {"direction of length 2", [&](auto* r) { return along(cloud, r, 3, 5, NoxVector3d(0, 0, 2)); }, 7, 3, 3,
             4.0 / 3, 5, -0.6, 2},
        };
    for (const auto& [rule, call, width, height, resolutionX, offsetX, resolutionY, offsetY, offsetZ] : rows) {
        NoxRangeImage image;
        ASSERT_EQ(call(&image), 0) << rule;
        EXPECT_EQ(image.Matrix().size(), cv::Size(width, height)) << rule;
        EXPECT_EQ(image.DataType(), NoxDataType32F) << rule;
        EXPECT_EQ(image.ColorData(), nullptr) << rule;
        EXPECT_EQ(gridOf(image), std::vector<double>({resolutionX, offsetX, resolutionY, offsetY, 1.0, offsetZ}))
            << rule;
    }

    NoxRangeImage one;
    ASSERT_EQ(byResolution(cloudOf({{5, 6, 7}}), &one, 0.1, 0.2), 0);
    EXPECT_EQ(one.Width(), 1);
    EXPECT_EQ(heightsOf(one), Floats{7});
}

TEST(CloudToRange, TellsBoxesThatGiveNoGrid)
{
    const NoxVector3d a(0, 0, 0), b(2, 3, 4);
    const std::tuple<const char*, Points, long, long> rows[] = {
        {"a marker", {a, b, {1, 1, kLargest}}, 30602017, 30602024},
        {"nothing but NaN", {{kNaN, kNaN, kNaN}}, 30602017, 30602024},
        {"an infinity", {a, b, {1, -kInfinity, 1}}, 30602017, 30602024},
        {"an edge beyond float", {{-3e38f, 0, 0}, {3e38f, 3, 4}}, 30602017, 30602024},
        {"no extent along x", {a, {0, 3, 4}}, 30602017, 0},
        {"no extent along y", {a, {2, 0, 4}}, 30602017, 0},
        {"flat is no fault", {a, {2, 3, 0}}, 0, 0},
        {"a NaN among numbers is no fault", {a, {kNaN, 1, 1}, {1, kNaN, 1}, {1, 1, kNaN}, b}, 0, 0},
    };
    for (const auto& [rule, points, size, resolution] : rows) {
        NoxRangeImage image;
        EXPECT_EQ(bySize(cloudOf(points), &image, 5, 4), size) << rule;
        EXPECT_EQ(byResolution(cloudOf(points), &image, 0.5, 0.5), resolution) << rule;
        if (size == 0) {
            EXPECT_EQ(heightsOf(image)[0], 0.0f) << rule;
        }
    }
}

TEST(CloudToRange, AsksForMemoryFromAGridSizeOn)
{
    const NoxPointCloud cloud = cloudOf({{0, 0, 1}, {1e6f, 2e6f, 2}});
    const std::tuple<const char*, std::function<long(NoxRangeImage*)>, unsigned long long, int> rows[] = {
        {"too many columns are never asked for", [&](auto* r) { return byResolution(cloud, r, 1e-9, 1e5); }, 0, 0},
        {"too many rows", [&](auto* r) { return byResolution(cloud, r, 1e5, 1e-9); }, 0, 0},
        {"17300 x 17300 only before the heights", [&](auto* r) { return bySize(cloud, r, 17300, 17300); }, 0, 1},
        {"17400 x 17400 needs 24 bytes", [&](auto* r) { return bySize(cloud, r, 17400, 17400); }, 7266239999, 1},
        {"17400 x 17400 then needs 40", [&](auto* r) { return bySize(cloud, r, 17400, 17400); }, 12110399999, 2},
        {"a thin grid", [&](auto* r) { return bySize(cloud, r, 2, 2147483647); }, 1000000000, 1},
        {"the largest grid", [&](auto* r) { return bySize(cloud, r, 2147483647, 2147483647); }, 1ull << 50, 1},
    };
    for (const auto& [rule, call, available, queries] : rows) {
        const replaced::MemoryScope memory(available);
        expectRefused(rule, 30602012, call);
        EXPECT_EQ(memory.queries(), queries) << rule;
    }
}

/// The conversion told plainly: one point after the other, one cell after the other.
struct Plain
{
    Floats heights;
    Bytes colors;

    Plain(const Points& points, const Bytes& bytes, int channels, const MMatrix3& axes, const NoxRangeImage& grid)
    {
        const auto width = static_cast<std::size_t>(grid.Width()), height = static_cast<std::size_t>(grid.Height());
        const MMatrix4 toBox = worldToBox(points, axes);
        const auto rx = static_cast<float>(grid.ResolutionX()), ry = static_cast<float>(grid.ResolutionY());
        const float threshold = 2 * std::max(rx, ry);
        const auto stride = static_cast<std::size_t>(channels);
        const std::size_t values = channels == 1 ? 1 : channels >= 3 ? 3 : 0;
        Floats sum(width * height), weight(sum), reference(sum.size(), -1e6f), color(sum.size() * stride);
        for (std::size_t i = 0; i < points.size() && (bytes.empty() || values > 0); ++i) {
            const MVector3f u = toBox * MVector3f(points[i].X(), points[i].Y(), points[i].Z());
            const float x = u.x() / rx, y = u.y() / ry, z = points[i].Z();
            if (!(std::abs(z) < 1e8f) || !(std::abs(x) < 1e9f) || !(std::abs(y) < 1e9f)) continue;
            const int x0 = static_cast<int>(x), y0 = static_cast<int>(y);
            const bool inside = x0 >= 0 && x0 < grid.Width() && y0 >= 0 && y0 < grid.Height();
            const float dx = x - static_cast<float>(x0), dy = y - static_cast<float>(y0);
            const float ex = static_cast<float>(1.0 - double(dx)), ey = static_cast<float>(1.0 - double(dy));
            const auto update = [&](int column, int row, float r2) {
                if (column < 0 || column >= grid.Width() || row < 0 || row >= grid.Height()) return;
                const std::size_t c = static_cast<std::size_t>(row) * width + static_cast<std::size_t>(column);
                const float d = z - reference[c], w = static_cast<float>(std::exp(-2.0 * double(r2)));
                if (d > threshold) sum[c] = weight[c] = 0;
                if (d > threshold) std::fill_n(color.begin() + static_cast<long>(c * stride), stride, 0.0f);
                if (d >= -threshold) {
                    sum[c] += w * z;
                    weight[c] += w;
                    for (std::size_t k = 0; k < values && !bytes.empty(); ++k)
                        color[c * stride + k] += w * static_cast<float>(bytes[i * stride + k]);
                }
                reference[c] = std::max(reference[c], z);
            };
            if (inside) {
                update(x0, y0, dx * dx + dy * dy);
                update(x0 + 1, y0, ex * ex + dy * dy);
                update(x0, y0 + 1, ey * ey + dx * dx);
            }
            update(x0 + 1, y0 + 1, ex * ex + ey * ey);
        }
        for (std::size_t c = 0; c < sum.size(); ++c) {
            heights.push_back(weight[c] > 0 ? sum[c] / weight[c] : kNone);
            for (std::size_t k = 0; k < stride && !bytes.empty(); ++k) {
                const float mean = k < values && weight[c] > 0 ? color[c * stride + k] / weight[c] : 0;
                colors.push_back(static_cast<unsigned char>(std::min(mean, 255.0f)));
            }
        }
    }

    static MMatrix4 worldToBox(const Points& points, const MMatrix3& axes)
    {
        MVector3f low = MVector3f::Infinity, high = -low;
        for (const NoxVector3d& p : points) {
            const MVector3f q = axes.transposed() * MVector3f(p.X(), p.Y(), p.Z());
            for (int k = 0; k < 3; ++k) low[k] = std::min(low[k], q[k]), high[k] = std::max(high[k], q[k]);
        }
        NOXEL3D::MBox box;
        box.setSize(high - low);
        box.setPose(MMatrix4::Pose(axes * MVector3d::XUnit, axes * MVector3d::YUnit, axes * MVector3d::ZUnit,
                                   axes * ((low + high) * 0.5)));
        return MMatrix4::Pose(box.xDirection(), box.yDirection(), box.zDirection(), box.minCorner()).rigidInverse();
    }
};

/// `rows` x `columns` points of a rough surface, somewhere near their places in a scan.
Points scan(int rows, int columns, bool shuffled)
{
    std::mt19937 random(7);
    std::uniform_real_distribution<float> share(0, 1);
    Points points;
    for (int r = 0; r < rows; ++r)
        for (int c = 0; c < columns; ++c)
            points.emplace_back(static_cast<float>(r) * 0.5f + share(random),
                                static_cast<float>(c) * 0.25f + share(random),
                                share(random) < 0.05f ? 4 + 3 * share(random) : share(random));
    for (std::size_t i = 0; i < points.size(); i += 97) points[i] = {points[i].X(), kNaN, 1};
    if (shuffled) std::shuffle(points.begin(), points.end(), random);
    return points;
}

/// Spots 4 apart along x with the heights that meet there; in cells of 1 x 1 those up to 2 apart are averaged.
Points spots()
{
    const Floats heights[] = {{5, 6},                                          // averaged
                              {5, 8},          {8, 5},          {5, 9, 8, 6},  // the higher surface, in any order
                              {5, 7},          {5, 7.0000005f},                // just near enough, just too far
                              {1e8f, 5},       {-1e8f, 5},      {1e8f - 8, 5},
                              {kNaN, 5, kNaN},               // no heights but for the third
                              {-1000003},      {-1000002}};  // below the first reference, near it
    Points points{{0, 0, 1}, {60, 9, 1}};
    for (const Floats& spot : heights)
        for (const float z : spot) points.emplace_back(3.25f + 4.0f * static_cast<float>(&spot - heights), 4.5f, z);
    return points;
}

TEST(CloudToRange, EqualsOnePointAfterTheOtherOnAnyNumberOfThreads)
{
    const double c = std::cos(0.3), s = std::sin(0.3);
    const NoxMatrix4 tilted(c, s, 0, 1, -s, c, 0, 2, 0, 0, 1, 3, 0, 0, 0, 1);
    const MMatrix3 upright(0, 1, 0, 1, 0, 0, 0, 0, 1);
    const MMatrix3 tiltedAxes(-s, c, 0, c, s, 0, 0, 0, 1);
    const NoxVector3d oblique(0.3f, -0.2f, 0.9f);
    const MMatrix3 obliqueAxes(0, 1, 0, 1, 0, 0, oblique.X(), oblique.Y(), oblique.Z());
    Points lifted = scan(80, 120, true);  // far enough to leave such a grid on either side
    for (NoxVector3d& p : lifted) p = {p.X(), p.Y(), p.Z() + 5};
    const NoxVector3d opposite(-0.3f, 0.2f, 0.9f);
    const MMatrix3 oppositeAxes(0, 1, 0, 1, 0, 0, opposite.X(), opposite.Y(), opposite.Z());
    const std::tuple<const char*, Points, int, MMatrix3, std::function<long(NoxPointCloud, NoxRangeImage*)>> rows[] = {
        {"scan", scan(300, 500, false), 0, upright, [&](auto p, auto* r) { return byResolution(p, r, 0.25, 0.5); }},
        {"shuffled", scan(300, 500, true), 0, upright, [&](auto p, auto* r) { return byResolution(p, r, 0.25, 0.5); }},
        {"the top surface", spots(), 0, upright, [&](auto p, auto* r) { return byResolution(p, r, 1, 1); }},
        {"by size", scan(90, 70, true), 0, tiltedAxes, [&](auto p, auto* r) { return bySize(p, r, 233, 61, tilted); }},
        {"frame not orthonormal: positions beside the grid", lifted, 0, obliqueAxes,
         [&](auto p, auto* r) { return along(p, r, 0.3, 0.4, oblique); }},
        {"rows cut into pieces", scan(40, 900, true), 0, upright,
         [&](auto p, auto* r) { return bySize(p, r, 40001, 7); }},
        {"very high", scan(900, 5, true), 0, upright, [&](auto p, auto* r) { return bySize(p, r, 2, 70001); }},
        {"one channel", scan(200, 300, false), 1, upright,
         [&](auto p, auto* r) { return byResolution(p, r, 0.25, 0.5); }},
        {"two channels", scan(20, 30, false), 2, upright,
         [&](auto p, auto* r) { return byResolution(p, r, 0.25, 0.5); }},
        {"three channels", scan(200, 300, true), 3, upright, [&](auto p, auto* r) { return bySize(p, r, 80, 111); }},
        {"four channels", lifted, 4, oppositeAxes, [&](auto p, auto* r) { return along(p, r, 0.3, 0.4, opposite); }},
    };
    for (const auto& [rule, points, channels, axes, call] : rows) {
        Bytes bytes(points.size() * static_cast<std::size_t>(channels));
        for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<unsigned char>(i % 11 ? 37 * i : 255);
        const NoxPointCloud cloud = cloudOf(points, bytes, std::max(channels, 1));
        for (const int threads : {1, 2, 16}) {
            const tbb::global_control limit(tbb::global_control::max_allowed_parallelism,
                                            static_cast<std::size_t>(threads));
            NoxRangeImage image;
            ASSERT_EQ(call(cloud, &image), 0) << rule;
            const Plain plain(points, bytes, channels, axes, image);
            ASSERT_EQ(plain.heights.size(), image.Matrix().total()) << rule;
            EXPECT_EQ(std::memcmp(plain.heights.data(), image.Data(), 4 * plain.heights.size()), 0) << rule;
            ASSERT_EQ(plain.colors.size(), image.ColorMatrix().total() * static_cast<std::size_t>(channels)) << rule;
            EXPECT_TRUE(std::equal(plain.colors.begin(), plain.colors.end(), image.ColorData())) << rule;
        }
    }
}

TEST(CloudToRange, RefusesColoursThatAreNotOneAPoint)
{
    expectRefused("one short", 30602023, [](NoxRangeImage* image) {
        return bySize(cloudOf({{0, 0, 1}, {1, 2, 1}, {2, 1, 1}}, {1, 2, 3, 4, 5, 6}, 3), image, 5, 4);
    });
    expectRefused("one too many", 30602023, [](NoxRangeImage* image) {
        return byResolution(cloudOf({{0, 0, 1}, {1, 2, 1}}, {1, 2, 3}), image, 1, 2);
    });
}

TEST(CloudToRange, WeightsAreThoseOfTheLibrarysExponential)
{
    const nox::GaussianWeights weights;
    for (std::uint32_t bits = 0; bits <= 0x40000000u; bits += bits < 0x3A000000u ? 0x10001 : 0x101) {
        float r2[4] = {0, 2, 1, 0}, w[4];
        std::memcpy(r2 + bits % 4, &bits, 4);
        _mm_storeu_ps(w, weights(nox::Float4(_mm_loadu_ps(r2))).v);
        for (int k = 0; k < 4; ++k) ASSERT_EQ(w[k], static_cast<float>(std::exp(-2.0 * double(r2[k])))) << r2[k];
    }
}

TEST(CloudToRangeBodies, BoxAndPositions)
{
    const Floats cloud{1, 2, 3, 4, -5, kLargest, kNaN, 8, 9, -6, 7, -1};
    const MMatrix3 exchange(0, 1, 0, 1, 0, 0, 0, 0, 1);
    NOXEL::AABB_box box(cloud.data(), &exchange), rest(box, tbb::split());
    box(tbb::blocked_range<int>(0, 1));
    rest(tbb::blocked_range<int>(1, 4));
    box.join(rest);
    EXPECT_EQ(box.min, MVector3f(-5, -6, -1));
    EXPECT_EQ(box.max, MVector3f(7, 4, kLargest));

    const MMatrix4 toBox(0, 1, 0, -1, 1, 0, 0, 5, 0, 0, 1, 9, 0, 0, 0, 1);
    const Floats points{7, 3, 8, 1, 2, kLargest};
    NOXEL3D::MVector3fArray positions(2, MVector3f(-1, -2, -3));
    NOXEL::PointCloudToRangeImageRasterizationNew(points.data(), &positions, toBox, 4, 3)(Range(0, 2));
    EXPECT_EQ(positions[0], MVector3f(0.5f, 4, 8));
    EXPECT_EQ(positions[1], MVector3f(-1, -2, -3));
    float x[2], y[2], z[2];
    NOXEL::PointCloudToRangeImageRasterizationNewCUDA(points.data(), x, y, z, toBox, 4, 3)(Range(0, 2));
    EXPECT_EQ(MVector3f(x[1], y[1], z[1]), MVector3f(0.25f, 2, kLargest));

    Floats grid(12, 1.0f);
    NOXEL::PointCloudToRangeImageInitRangeImg(grid.data(), 4)(Range(1, 2));
    EXPECT_EQ(grid, (Floats{1, 1, 1, 1, kNone, kNone, kNone, kNone, 1, 1, 1, 1}));
}

TEST(CloudToRangeBodies, RegistrationSpreadsOverFourCells)
{
    const auto w = [](double r2) { return static_cast<float>(std::exp(-2.0 * r2)); };
    const std::tuple<const char*, MVector3f, Floats> rows[] = {
        {"on a cell", {1, 0, 5}, {0, 1, w(1), 0, w(1), w(2)}},
        {"last column", {2, 0.5f, 5}, {0, 0, w(0.25), 0, 0, w(0.25)}},
        {"last cell", {2.5f, 1.5f, 5}, {0, 0, 0, 0, 0, w(0.5)}},
        {"half a pixel left", {-0.5f, 0, 5}, {w(0.25), w(2.25), 0, w(1.25), w(3.25), 0}},
        {"left, by its fourth cell", {-1.5f, 0, 5}, {0, 0, 0, w(3.25), 0, 0}},
        {"above, by its fourth cell", {0, -1, 5}, {0, w(2), 0, 0, 0, 0}},
        {"too far left", {-2, 0, 5}, Floats(6)},
        {"right", {3, 0, 5}, Floats(6)},
        {"above the right edge", {2, -1, 5}, Floats(6)},
        {"below", {1, 2, 5}, Floats(6)},
        {"no number", {kNaN, 0, 5}, Floats(6)},
        {"beyond int", {0, 3e9f, 5}, Floats(6)},
        {"infinite", {-kInfinity, 0, 5}, Floats(6)},
    };
    for (const auto& [rule, position, weights] : rows) {
        MVector3f point = position;
        NOXEL::PCtoRIRegisterPointNew body(3, 2, &point, 2.0);
        body(Range(0, 1));
        EXPECT_EQ(Floats(body.weightsData, body.weightsData + 6), weights) << rule;
    }
}

TEST(CloudToRangeBodies, JoinAddsAndFillDivides)
{
    MVector3f points[] = {{1, 0, 5}, {1, 0, 11}};
    Bytes colors{10, 20, 30, 40, 31, 41, 51, 61};
    for (int channels : {1, 2, 3, 4}) {
        NOXEL::PCtoRIRegisterPointWithColorNew left(3, 2, points, 2.0f, colors.data(), channels);
        NOXEL::PCtoRIRegisterPointWithColorNew right(left, tbb::split());
        EXPECT_EQ(right.weights.size(), left.weights.size());
        left(Range(0, 1));
        right(Range(1, 2));
        left.join(right);
        if (channels == 2) left.weights.setTo(1.0);
        Floats heights(6, 7.0f);
        Bytes plane(static_cast<std::size_t>(6 * channels), 99);
        NOXEL::PointCloudToRangeImageReplaceValueWithColorNew(heights.data(), plane.data(), &left.weights,
                                                              &left.weightedSum, &left.weightedColor, channels, 2,
                                                              3)(Range(0, 2));
        const auto at = [&](int cell, int k) { return int{plane[static_cast<std::size_t>(cell * channels + k)]}; };
        if (channels == 2) {
            EXPECT_EQ(heights, Floats(6, 7.0f));
            EXPECT_EQ(plane, Bytes(12, 99));
            continue;
        }
        EXPECT_EQ(heights[0], 7.0f) << channels;  // without weight: the height stays, the colour is 0
        EXPECT_EQ(at(0, 0), 0) << channels;
        EXPECT_EQ(heights[1], 8.0f) << channels;  // no test of heights between two ranges
        const int second = channels == 1 ? 20 : channels == 3 ? 40 : 31;
        EXPECT_EQ(at(1, 0), (10 + second) / 2) << channels;
        if (channels == 4) {
            EXPECT_EQ(at(1, 3), 99);
        }
    }
}

TEST(CloudToRangeBodies, FillOfEveryWidth)
{
    for (int width = 1; width <= 40; ++width) {
        cv::Mat sum(2, width, CV_32F), weight(2, width, CV_32F);
        Floats heights(static_cast<std::size_t>(2 * width) + 1, 3.0f);
        Floats expected = heights;
        for (int i = 0; i < 2 * width; ++i) {
            const float s = static_cast<float>(i) - 7.5f;
            const float w = i % 5 == 2 ? kNaN : i % 5 == 4 ? 0.0f : static_cast<float>(i + 1) * 1e-9f;
            sum.ptr<float>(i / width)[i % width] = s;
            weight.ptr<float>(i / width)[i % width] = w;
            expected[static_cast<std::size_t>(i)] = w > 0 ? s / w : kNone;
        }
        NOXEL::PointCloudToRangeImageReplaceValueNew(heights.data(), &weight, &sum, 2, width)(Range(0, 2));
        EXPECT_EQ(heights, expected) << width;
    }
}

}  // namespace
