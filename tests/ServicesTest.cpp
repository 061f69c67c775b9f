// The services beside the containers: resampling, rotations and height statistics.

#include "tests/support/Samples.h"

#include <Nox3DAxisTransform.h>
#include <Nox3DSampling.h>
#include <Nox3DSurfaceMeasurement.h>

#include <random>

namespace {

using namespace samples;

template <class T>
constexpr T invalid = nox::Element<T>::invalid;

NoxRangeImage resampled(const NoxRangeImage& image, int method, int width, int height)
{
    SCOPED_TRACE(testing::Message() << "method " << method << ", " << width << " x " << height);
    NoxRangeImage result;
    EXPECT_EQ(NOXEL::Nox3DSampling().Resample(image, &result, method, width, height), 0);
    EXPECT_EQ(result.Matrix().size(), cv::Size(width, height));
    EXPECT_EQ(result.DataType(), image.DataType());
    return result;
}

constexpr int grids[][2] = {{31, 47}, {70, 93}, {13, 20}, {10, 110}, {64, 7}, {1, 1}, {29, 46}};

TEST(Sampling, aTiltedPlaneAndTheNumbersOfRaysFollowEveryGrid)
{
    const auto depth = [](const NoxRangeImage& image, int r, int c) {
        const double x = (r - image.OffsetY()) * image.ResolutionY();
        const double y = (c - image.OffsetX()) * image.ResolutionX();
        return 1000.0 + 0.7 * x - 1.3 * y;
    };
    auto original =
        imageOf<float>(31, 47, [](int r, int c) { return 1000 + 0.7 * (r + 3) * 0.5 - 1.3 * (c - 12.5) * 0.25; });
    original.SetInfo(0.5, 7.0, 0.25, 12.5, 0.5, -3.0);
    setParameters(original, {1.5, 2.5, 5.0, 4.5, 5.5});
    const double range = 0.7 * 46 * 0.5 + 1.3 * 30 * 0.25, halfPixel = 0.5 * (0.7 * 0.5 + 1.3 * 0.25);
    for (int method = 0; method < 5; ++method) {
        for (const auto& [width, height] : grids) {
            const NoxRangeImage image = resampled(original, method, width, height);
            double worst = 0.0;
            for (int r = 0; r < height; ++r)
                for (int c = 0; c < width; ++c)
                    worst = std::max(worst, std::abs(image.Matrix().at<float>(r, c) - depth(image, r, c)));
            EXPECT_LE(worst, method == 0 ? halfPixel + 1e-4 : 1e-5 * range) << method << ", " << width;
        }
    }
    const double numbers[][5] = {{1.5, 2.5, 5.0, 4.5, 5.5}, {3.5, 11.5, 2.5, 1.125, 5.5}};
    for (int type = 0; type < 2; ++type) {
        original.SetType(type);
        const NoxRangeImage image = resampled(original, 1, 62, 188);
        EXPECT_EQ(image.Type(), type);
        EXPECT_EQ(image.ResolutionZ(), 0.5);
        EXPECT_EQ(image.OffsetZ(), 7.0);
        for (int i = 0; i < 5; ++i) EXPECT_EQ(image.GetParaValue(i).D(), numbers[type][i]) << type << ", " << i;
    }
}

TEST(Sampling, rowsByHand)
{
    constexpr float hole = invalid<float>;
    const std::tuple<const char*, int, Floats, Floats> rows[] = {
        {"nearest: of two the later", 0, {1, 2, 3, 4}, {2, 4}},
        {"nearest: the middle of three", 0, {1, 2, 3, 4, 5, 6}, {2, 5}},
        {"nearest: holes as they are", 0, {hole, 2}, {hole, hole, 2, 2}},
        {"linear goes on at the ends", 1, {10, 20}, {7.5, 12.5, 17.5, 22.5}},
        {"linear takes two pixels of four", 1, {9, 1, 3, 9}, {2}},
        {"half of the weight is enough", 1, {hole, 4, 6, hole}, {4, 6}},
        {"a quarter is not", 1, {hole, 4}, {hole, hole, 4, 4}},
        {"area: the mean of what is there", 3, {1, hole, 7, hole, hole, 60}, {4, hole}},
        {"area: infinities and NaN count as holes", 3, {1, 5, kInfinity, 3, 5, kNaN}, {3, 4}},
        {"area grows linearly, at the ends along the slope of 15", 3, {10, 20, 40}, {6.25, 12.5, 17.5, 25, 35, 43.75}},
    };
    for (const auto& [rule, method, row, expected] : rows) {
        const auto from = static_cast<int>(row.size()), to = static_cast<int>(expected.size());
        NoxRangeImage across = imageOf<float>(from, 1, [](int, int) { return 0; }), down = across;
        std::copy(row.begin(), row.end(), across.Matrix().ptr<float>());
        down.SetMatrix(across.Matrix().t());
        EXPECT_EQ(pixelsOf<float>(resampled(across, method, to, 1)), expected) << rule;
        EXPECT_EQ(pixelsOf<float>(resampled(down, method, 1, to)), expected) << rule;
    }
}

TEST(Sampling, holesStayHolesAndDoNotBleed)
{
    const auto inHole = [](double r, double c, double by = 0) {
        return r > 11 + by && r < 23 - by && c > 5 + by && c < 19 - by;
    };
    forEachElement([&](auto tag) {
        using T = typename decltype(tag)::type;
        const double odd[] = {invalid<T>, kNaN, -kInfinity};
        auto image = imageOf<T>(37, 29, [&](int r, int c) {
            return inHole(r, c) ? odd[std::is_floating_point_v<T> ? (r + c) % 3 : 0] : 100.0;
        });
        image.SetColorSize(37, 29, 3);
        for (int i = 0; i < 37 * 29 * 3; ++i)
            image.ColorData()[i] = static_cast<unsigned char>(inHole(i / 111, i / 3 % 37) ? 255 : 50 * (i % 3 + 1));
        for (int method = 0; method < 5; ++method) {
            for (const auto& [width, height] : grids) {
                const auto result = resampled(image, method, width, height);
                const double down = 29.0 / height, across = 37.0 / width, reach = std::max({1.0, down / 2, across / 2});
                for (int i = 0; i < width * height; ++i) {
                    const double row = (i / width + 0.5) * down - 0.5, column = (i % width + 0.5) * across - 0.5;
                    const T pixel = reinterpret_cast<const T*>(result.Data())[i];
                    const bool valid = std::abs(static_cast<double>(pixel) - 100.0) < 1e-9;
                    EXPECT_TRUE(method == 0 || valid || pixel == invalid<T>);
                    if (width == 1) continue;
                    EXPECT_FALSE(valid && inHole(row, column, reach)) << method << " at " << row << ", " << column;
                    EXPECT_TRUE(valid || inHole(row, column, -reach)) << method << " at " << row << ", " << column;
                    for (int k = 0; k < 3; ++k)
                        EXPECT_EQ(result.ColorData()[3 * i + k], valid ? 50 * (k + 1) : method == 0 ? 255 : 0);
                }
            }
        }
    });
}

TEST(Sampling, integersAreRoundedAndSaturatedButNeverBecomeInvalid)
{
    forEachElement([](auto tag) {
        using T = typename decltype(tag)::type;
        if (!std::is_integral_v<T>) return;
        const double low = static_cast<double>(invalid<T>) + 1.0, high = std::numeric_limits<T>::max();
        const auto edge = imageOf<T>(16, 3, [&](int, int c) { return c / 4 % 2 == 0 ? low : high; });
        for (const int method : {1, 2, 4}) {  // cubic and Lanczos swing beyond both levels
            const std::vector<T> row = pixelsOf<T>(resampled(edge, method, 48, 3));
            EXPECT_EQ(std::count(row.begin(), row.end(), invalid<T>), 0) << "method " << method;
            EXPECT_EQ(static_cast<double>(*std::max_element(row.begin(), row.end())), high);
        }
        const auto steps = imageOf<T>(8, 1, [](int, int c) { return c < 4 ? 10 + c / 3 : 20 + c % 4; });
        EXPECT_EQ(pixelsOf<T>(resampled(steps, 3, 2, 1)), (std::vector<T>{10, 22})) << "10.25 and 21.5";
    });
}

TEST(Sampling, onlyTheTargetChanges)
{
    const auto image = imageOf<float>(30, 40, [](int r, int c) { return r * c % 7; }), before = image.DeepCopy();
    NoxRangeImage target = imageOf<float>(33, 21, [](int, int) { return 3; }), itself = image;
    const NoxRangeImage sharer = target;
    for (NoxRangeImage* result : {&target, &itself})
        EXPECT_EQ(NOXEL::Nox3DSampling().Resample(itself, result, 1, 33, 21), 0);
    EXPECT_EQ(heightsOf(itself), heightsOf(target));
    EXPECT_EQ(gridOf(itself), gridOf(target));
    EXPECT_EQ(heightsOf(image), heightsOf(before));
    EXPECT_EQ(heightsOf(sharer), Floats(33 * 21, 3.0f));
}

TEST(Sampling, refusals)
{
    constexpr int many = std::numeric_limits<int>::max();
    const replaced::MemoryScope memory(1ull << 30);
    auto image = imageOf<float>(5, 4, [](int r, int c) { return r + c; });
    const auto code = [&](const NoxRangeImage& source, int method, int width, int height) {
        NoxRangeImage target = image;
        const long result = NOXEL::Nox3DSampling().Resample(source, &target, method, width, height);
        EXPECT_EQ(target.Data(), image.Data());
        return result;
    };
    EXPECT_EQ(code(NoxRangeImage(), 7, 0, 0), 11100001);
    for (const int method : {5, -1}) EXPECT_EQ(code(image, method, 0, 0), 11200001);
    EXPECT_EQ(code(image, 1, 0, -1), 11200002);
    EXPECT_EQ(code(image, 1, 3, 0), 11200003);
    EXPECT_EQ(code(image, 0, 40000, 40000), 30602016) << "more than the memory";
    for (const int height : {many, 1}) EXPECT_EQ(code(image, 1, many, height), 30602016);
    EXPECT_EQ(code(image, 4, 1, 60000000), 30602016) << "more working memory than there is";
    image.SetColorSize(3, 3, 4);
    EXPECT_EQ(resampled(image, 2, 4, 4).ColorData(), nullptr) << "a colour plane of another size";
}

/// The vector turned by the upper left 3 x 3.
cv::Vec4d turned(const NoxMatrix4& m, const NoxVector3d& v)
{
    return cv::Matx44d(m.Data()) * cv::Vec4d(v.X(), v.Y(), v.Z(), 0);
}

TEST(AxisTransform, withoutTheTurnAboutZEveryNormalIsStillLevelled)
{
    std::mt19937 random(1);
    std::normal_distribution<float> normal;
    std::vector<NoxVector3d> directions{
        {0, 0, 1}, {0, 0, -1}, {-1, 0, 0}, {0, -2, 0}, {1e-7f, 0, -1}, {1e-30f, 0, 0}, {3e38f, 3e38f, -3e38f}};
    while (directions.size() < 10000) directions.emplace_back(normal(random), normal(random), normal(random));

    const NOXEL::Nox3DAxisTransform transform;
    NoxMatrix4 m;
    NoxVector3d angles, scale, translation;
    double worst = 0.0;
    for (const NoxVector3d& n : directions) {
        const auto level = [&] {
            const cv::Vec4d z = turned(m, n);
            worst = std::max(worst, std::atan2(std::hypot(z[0], z[1]), z[2]));
        };
        ASSERT_EQ(transform.VectorToDirectionZ(n, &m), 0);
        level();
        ASSERT_EQ(transform.GetRotateAnglesFromTransformMatrix4(m, 0, &angles, &scale, &translation), 0);
        EXPECT_NEAR(scale.X() * scale.Y() * scale.Z(), 1.0, 1e-6);
        ASSERT_EQ(transform.GenTransformMatrix({angles.X(), angles.Y(), 0}, 0, translation, &m), 0);
        level();
    }
    EXPECT_LT(worst, 1e-6);
    EXPECT_EQ(transform.VectorToDirectionZ({0, 0, 5}, &m), 0);
    EXPECT_EQ(m, NoxMatrix4(1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1));
}

TEST(AxisTransform, anglesTurnRightHandedAboutXThenYThenZAndComeBack)
{
    const auto turn = [](double& u, double& v, double degrees) {
        const double s = std::sin(degrees * M_PI / 180), c = std::cos(degrees * M_PI / 180), w = c * u - s * v;
        v = s * u + c * v;
        u = w;
    };
    const NOXEL::Nox3DAxisTransform transform;
    std::vector<NoxVector3d> turns{{0, 90, 40}, {0, -90, -120}};
    for (int k = 0; k < 18 * 18 * 18; ++k)
        turns.push_back(NoxVector3d(static_cast<float>(k % 18 * 20 - 170), static_cast<float>(k / 18 % 18 * 10 - 85),
                                    static_cast<float>(k / 324 * 20 - 170)));
    for (const NoxVector3d& angles : turns) {
        NoxMatrix4 m;
        NoxVector3d found, scale, translation;
        ASSERT_EQ(transform.GenTransformMatrix(angles, 0, {4, 5, 6}, &m), 0);
        double x = 1, y = 2, z = 5;
        turn(y, z, angles.X());
        turn(z, x, angles.Y());
        turn(x, y, angles.Z());
        EXPECT_LT(cv::norm(turned(m, {1, 2, 5}) - cv::Vec4d(x, y, z, 0)), 1e-14);
        EXPECT_EQ(m.Value(3, 3), 1.0);

        for (const float depth : {-0.5f, 0.5f}) {
            const double factors[] = {2, 3, depth};
            NoxMatrix4 scaled = m;
            for (int i = 0; i < 9; ++i) scaled.Replace(i / 3, i % 3, m.Value(i / 3, i % 3) * factors[i % 3]);
            ASSERT_EQ(transform.GetRotateAnglesFromTransformMatrix4(scaled, 0, &found, &scale, &translation), 0);
            for (const double off : {found.X() - angles.X(), found.Y() - angles.Y(), found.Z() - angles.Z()})
                EXPECT_NEAR(off, 0.0, 1e-4);
            EXPECT_EQ(scale, NoxVector3d(2, 3, depth));
            EXPECT_EQ(translation, NoxVector3d(4, 5, 6));
        }
    }
}

TEST(AxisTransform, refusals)
{
    const NOXEL::Nox3DAxisTransform transform;
    NoxMatrix4 m;
    for (const NoxVector3d& v : {NoxVector3d(0, 0, 0), NoxVector3d(0, kNaN, 1), NoxVector3d(kInfinity, 0, 1)})
        EXPECT_EQ(transform.VectorToDirectionZ(v, &m), 11200001);
    EXPECT_EQ(transform.GenTransformMatrix({kNaN, 0, 0}, 1, {kNaN, 0, 0}, &m), 11200001);
    EXPECT_EQ(transform.GenTransformMatrix({0, 0, 0}, 1, {kNaN, 0, 0}, &m), 11200002);
    EXPECT_EQ(transform.GenTransformMatrix({0, 0, 0}, 0, {kInfinity, 0, 0}, &m), 11200003);
    EXPECT_EQ(m, NoxMatrix4());
    NoxVector3d angles(7, 7, 7);
    const auto anglesOf = [&](int order) {
        return transform.GetRotateAnglesFromTransformMatrix4(m, order, &angles, nullptr, nullptr);
    };
    EXPECT_EQ(anglesOf(1), 11200001);
    m = NoxMatrix4(1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, kNaN, 0, 0, 0, 1);
    EXPECT_EQ(anglesOf(0), 11200001);
    m.Replace(2, 3, 0.0);
    EXPECT_EQ(anglesOf(1), 11200002);
    EXPECT_EQ(angles, NoxVector3d(7, 7, 7));
    EXPECT_EQ(anglesOf(0), 0);
    m.Replace(1, 1, 0.0);  // one axis without a length
    EXPECT_EQ(anglesOf(0), 11200001);
}

/// The code, and the lowest, highest, number and mean of the heights: -1 where untouched.
std::vector<double> measure(const NoxRangeImage& image, const NoxROI& region = {}, const Nox3DPlane& plane = {})
{
    double lowest = -1, highest = -1, average = -1;
    int number = -1;
    const auto call = [&](double* low, double* high, int* count, double* mean) {
        return NOXEL::Nox3DSurfaceMeasurement().HeightIntensity(image, region, plane, 1, 0, 0.0, 0.0, 1, 1, low, high,
                                                                count, mean, nullptr, nullptr, nullptr, nullptr,
                                                                nullptr, nullptr);
    };
    const auto code = static_cast<double>(call(&lowest, &highest, &number, &average));
    EXPECT_EQ(call(nullptr, nullptr, nullptr, nullptr), code);
    return {code, lowest, highest, static_cast<double>(number), average};
}

TEST(SurfaceMeasurement, depthsOfEveryTypeAndWidthWithPixelsThatTakeNoPart)
{
    forEachElement([](auto tag) {
        using T = typename decltype(tag)::type;
        const double odd[] = {invalid<T>, kNaN, kInfinity, -kInfinity};
        for (int i = 0; i < 80; ++i) {
            const int width = 1 + i / 2, type = i % 2;
            const bool scaled = std::is_integral_v<T> || (std::is_same_v<T, float> && type == 1);
            double low = kInfinity, high = -kInfinity, sum = 0.0, count = 0.0;
            auto image = imageOf<T>(width, 3, [&](int r, int c) {
                if ((r + c) % 3 == 1) return odd[std::is_floating_point_v<T> ? (r + c) / 3 % 4 : 0];
                const double pixel = 2 + (c * 7 + r * 5) % 23, z = scaled ? (pixel - 3.0) * 0.5 : pixel;
                low = std::min(low, z), high = std::max(high, z), sum += z, ++count;
                return pixel;
            });
            image.SetInfo(0.5, 3.0, 9.0, 9.0, 9.0, 9.0);
            image.SetType(type);
            EXPECT_EQ(measure(image), (std::vector<double>{0, low, high, count, sum / count})) << width;
        }
    });
}

TEST(SurfaceMeasurement, regionPlaneAndNothingToMeasure)
{
    NoxRangeImage image = imageOf<float>(1200, 40, [](int r, int c) { return 10.0 + r - 0.25 * c; });
    image.SetInfo(1.0, 0.0, 0.5, 2.0, 2.0, 1.0);  // z = 10.5 + x / 2 - y / 2
    NoxROI region;
    EXPECT_EQ(measure(image), (std::vector<double>{0, 10 - 0.25 * 1199, 49, 48000, 29.5 - 0.25 * 599.5}));
    region.GenRect1({1100, 30}, {5000, 31});
    EXPECT_EQ(measure(image, region),
              (std::vector<double>{0, 40 - 0.25 * 1199, 41 - 0.25 * 1100, 200, 40.5 - 0.25 * 1149.5}));
    const auto above = measure(image, region, Nox3DPlane({1, 1, 4.5f}, {-1, 1, 2}));
    for (const int i : {1, 2, 4}) EXPECT_NEAR(above.data()[i], 6.0 * 2.0 / std::sqrt(6.0), 1e-3);

    auto ray = imageOf<double>(7, 5, [](int r, int c) { return r == 3 && c == 6 ? 3.0 : invalid<double>; });
    setParameters(ray, {2.0, 1.0, 0.5, 0.25});
    ray.SetType(1);  // its point is (6, 1.5, 3)
    EXPECT_EQ(measure(ray, {}, Nox3DPlane({1, 0, 0}, {2, 0, 0})).back(), 5.0);
    EXPECT_EQ(measure(ray, {}, Nox3DPlane({0, 1, 0}, {0, -4, 0})).back(), -0.5);

    region.GenPoint({5000, 50});
    const auto holes = imageOf<short>(4, 3, [](int, int) { return -32768; });
    for (const auto& nothing : {measure(holes), measure(image, region), measure(NoxRangeImage())})
        EXPECT_EQ(nothing, (std::vector<double>{11100001, -1, -1, -1, -1}));
}

}  // namespace
