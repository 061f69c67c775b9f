// The services beside the containers: resampling, rotations and height statistics.

#include <Nox3DAxisTransform.h>
#include <Nox3DSampling.h>
#include <Nox3DSurfaceMeasurement.h>

#include "data/ElementType.h"
#include "tests/support/Replacements.h"

#include <gtest/gtest.h>
#include <oneapi/tbb/parallel_for.h>
#include <oneapi/tbb/task_group.h>
#include <opencv2/core.hpp>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr int many = std::numeric_limits<int>::max();

template <class T>
T invalid()
{
    return nox::Element<T>::invalid;
}

template <class Check>
void forEveryType(const Check& check)
{
    for (int type = 0; type < 7; ++type) {
        SCOPED_TRACE(testing::Message() << "type " << type);
        nox::dispatch(type, nox::Elements{}, check);
    }
}

/// An image whose pixels are `value(row, column)`.
template <class T, class Value>
NoxRangeImage imageOf(int width, int height, const Value& value)
{
    NoxRangeImage image;
    image.SetSize(width, height,
                  cv::DataType<T>::depth == CV_8U && std::is_same_v<T, char> ? 1 : cv::DataType<T>::depth);
    for (int r = 0; r < height; ++r)
        for (int c = 0; c < width; ++c) image.Matrix().ptr<T>(r)[c] = static_cast<T>(value(r, c));
    return image;
}

template <class T>
std::vector<T> pixels(const NoxRangeImage& image)
{
    const auto* data = reinterpret_cast<const T*>(image.Data());
    return {data, data + image.Matrix().total()};
}

NoxRangeImage resampled(const NoxRangeImage& image, int method, int width, int height)
{
    NoxRangeImage result;
    EXPECT_EQ(NOXEL::Nox3DSampling().Resample(image, &result, method, width, height), 0);
    EXPECT_EQ(result.Width(), width);
    EXPECT_EQ(result.Height(), height);
    EXPECT_EQ(result.DataType(), image.DataType());
    return result;
}

constexpr struct
{
    int width, height;
} grids[] = {{31, 47}, {70, 93}, {13, 20}, {10, 110}, {64, 7}, {1, 1}, {29, 46}};

TEST(Sampling, aTiltedPlaneStaysThatPlaneOnEveryGrid)
{
    const auto plane = [](double x, double y) { return 1000.0 + 0.7 * x - 1.3 * y; };
    const double stepX = 0.25, offsetX = 12.5, stepY = 0.5, offsetY = -3.0;
    const auto original =
        imageOf<float>(31, 47, [&](int r, int c) { return plane((r - offsetY) * stepY, (c - offsetX) * stepX); });
    const double range = 0.7 * 46 * stepY + 1.3 * 30 * stepX;

    for (int method = 0; method < 5; ++method) {
        for (const auto& grid : grids) {
            NoxRangeImage image = original;
            image.SetInfo(1.0, 0.0, stepX, offsetX, stepY, offsetY);
            image = resampled(image, method, grid.width, grid.height);
            double worst = 0.0;
            for (int r = 0; r < grid.height; ++r) {
                for (int c = 0; c < grid.width; ++c) {
                    const double x = (r - image.OffsetY()) * image.ResolutionY();
                    const double y = (c - image.OffsetX()) * image.ResolutionX();
                    worst = std::max(worst, std::abs(image.Matrix().at<float>(r, c) - plane(x, y)));
                }
            }
            const double halfPixel = 0.5 * (0.7 * stepY + 1.3 * stepX);
            EXPECT_LE(worst, method == 0 ? halfPixel + 1e-4 : 1e-5 * range)
                << "method " << method << ", " << grid.width << " x " << grid.height;
        }
    }
}

TEST(Sampling, theGridCoversTheSameAreaInBothModels)
{
    NoxRangeImage image = imageOf<short>(12, 10, [](int r, int c) { return 1 + r + c; });
    image.SetInfo(0.5, 7.0, 0.25, 3.0, 2.0, -4.0);
    NoxVarArray parameters;
    parameters.SetSize(6);
    for (int i = 0; i < 6; ++i) parameters[i] = NoxVar(1.5 + i);
    image.SetInfo(parameters);
    for (int type = 0; type < 2; ++type) {
        image.SetType(type);
        const NoxRangeImage result = resampled(image, 1, 30, 4);
        EXPECT_EQ(result.Type(), type);
        EXPECT_EQ(result.ResolutionZ(), 0.5);
        EXPECT_EQ(result.OffsetZ(), 7.0);
        EXPECT_DOUBLE_EQ(result.ResolutionX(), 0.1);
        EXPECT_DOUBLE_EQ(result.OffsetX(), 3.5 * 2.5 - 0.5);
        EXPECT_DOUBLE_EQ(result.ResolutionY(), 5.0);
        EXPECT_DOUBLE_EQ(result.OffsetY(), -3.5 * 0.4 - 0.5);
        const double expected[] = {2.0 * 2.5 - 0.5, 3.0 * 0.4 - 0.5, 3.5 / 2.5, 4.5 / 0.4, 5.5, 6.5};
        for (int i = 0; i < 6; ++i)
            EXPECT_DOUBLE_EQ(result.GetParaValue(i).D(), type == 1 ? expected[i] : 1.5 + i) << "parameter " << i;
    }
}

TEST(Sampling, rowsByHand)
{
    const float hole = invalid<float>();
    const struct
    {
        const char* rule;
        int method;
        std::vector<float> row, expected;
    } rows[] = {
        {"nearest: of two the later", 0, {1, 2, 3, 4}, {2, 4}},
        {"nearest: the middle of three", 0, {1, 2, 3, 4, 5, 6}, {2, 5}},
        {"nearest: NaN and holes as they are", 0, {hole, 2}, {hole, hole, 2, 2}},
        {"linear goes on at the ends", 1, {10, 20}, {7.5, 12.5, 17.5, 22.5}},
        {"linear takes two pixels of four", 1, {9, 1, 3, 9}, {2}},
        {"linear: one pixel has the whole weight", 1, {5}, {5, 5, 5}},
        {"half of the weight is enough", 1, {hole, 4, 6, hole}, {4, 6}},
        {"a quarter is not", 1, {hole, 4}, {hole, hole, 4, 4}},
        {"cubic weights at a quarter",
         2,
         {0, 0, 0, 64, 0, 0, 0},
         {0, 0, 0, -2.25, -6.75, 16.75, 56.25, 56.25, 16.75, -6.75, -2.25, 0, 0, 0}},
        {"area: the mean", 3, {1, 2, 6, 10, 20, 60}, {3, 30}},
        {"area: the mean of what is there", 3, {1, hole, 7, hole, hole, 60}, {4, hole}},
        {"area: infinities and NaN count as holes", 3, {1, 5, float(infinity), 3, 5, float(nan)}, {3, 4}},
        {"area grows linearly, at the ends along the slope of 15", 3, {10, 20, 40}, {6.25, 12.5, 17.5, 25, 35, 43.75}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.rule);
        const int from = static_cast<int>(row.row.size()), to = static_cast<int>(row.expected.size());
        const auto across = imageOf<float>(from, 1, [&](int, int c) { return row.row[static_cast<std::size_t>(c)]; });
        const auto down = imageOf<float>(1, from, [&](int r, int) { return row.row[static_cast<std::size_t>(r)]; });
        EXPECT_EQ(pixels<float>(resampled(across, row.method, to, 1)), row.expected);
        EXPECT_EQ(pixels<float>(resampled(down, row.method, 1, to)), row.expected);
    }
}

TEST(Sampling, lanczosKeepsAWaveThatLinearFlattens)
{
    const auto wave = [](double x) { return std::sin(x * 1.2); };
    const auto image = imageOf<double>(60, 1, [&](int, int c) { return wave(c); });
    double worst[5] = {};
    for (const int method : {1, 4}) {
        const auto result = resampled(image, method, 120, 1);
        for (int c = 10; c < 110; ++c)
            worst[method] =
                std::max(worst[method], std::abs(result.Matrix().at<double>(0, c) - wave((c + 0.5) / 2 - 0.5)));
    }
    EXPECT_GT(worst[1], 0.1);
    EXPECT_LT(worst[4], 0.03);
}

TEST(Sampling, holesStayHolesAndDoNotBleed)
{
    forEveryType([](auto tag) {
        using T = typename decltype(tag)::type;
        const auto inHole = [](double r, double c) { return r > 11.0 && r < 23.0 && c > 5.0 && c < 19.0; };
        auto image = imageOf<T>(37, 29, [&](int r, int c) { return inHole(r, c) ? invalid<T>() : T(100); });
        if constexpr (std::is_floating_point_v<T>) {
            image.Matrix().template ptr<T>(15)[10] = static_cast<T>(nan);
            image.Matrix().template ptr<T>(16)[11] = static_cast<T>(-infinity);
        }
        image.SetColorSize(37, 29, 3);
        for (int i = 0; i < 37 * 29; ++i) {
            const int row = i / 37;
            const bool dark = inHole(row, i % 37);
            for (int k = 0; k < 3; ++k)
                image.ColorData()[3 * i + k] = static_cast<unsigned char>(dark ? 255 : 50 * (k + 1));
        }
        for (int method = 0; method < 5; ++method) {
            for (const auto& grid : grids) {
                const auto result = resampled(image, method, grid.width, grid.height);
                const double scaleR = 29.0 / grid.height, scaleC = 37.0 / grid.width;
                for (int r = 0; r < grid.height; ++r) {
                    for (int c = 0; c < grid.width; ++c) {
                        const double height = static_cast<double>(result.Matrix().template ptr<T>(r)[c]);
                        const double row = (r + 0.5) * scaleR - 0.5, column = (c + 0.5) * scaleC - 0.5;
                        const double reach = std::max({1.0, 0.5 * scaleR, 0.5 * scaleC});
                        const bool valid = std::abs(height - 100.0) < 1e-9;
                        EXPECT_TRUE(method == 0 || valid || height == static_cast<double>(invalid<T>()));
                        if (grid.width == 1) continue;
                        const auto deep = [&](double by) {
                            return row > 11 + by && row < 23 - by && column > 5 + by && column < 19 - by;
                        };
                        EXPECT_FALSE(valid && deep(reach)) << "method " << method << " at " << r << ", " << c;
                        EXPECT_TRUE(valid || deep(-reach)) << "method " << method << " at " << r << ", " << c;
                        const unsigned char* color = result.ColorData() + 3 * (r * grid.width + c);
                        for (int k = 0; k < 3; ++k) EXPECT_EQ(color[k], valid ? 50 * (k + 1) : method == 0 ? 255 : 0);
                    }
                }
            }
        }
    });
}

TEST(Sampling, integersAreRoundedAndSaturatedButNeverBecomeInvalid)
{
    forEveryType([](auto tag) {
        using T = typename decltype(tag)::type;
        if constexpr (std::is_integral_v<T>) {
            const double low = static_cast<double>(invalid<T>()) + 1.0, high = std::numeric_limits<T>::max();
            const auto edge = imageOf<T>(16, 3, [&](int, int c) { return c / 4 % 2 == 0 ? low : high; });
            for (const int method : {1, 2, 4}) {  // cubic and Lanczos swing beyond both levels
                std::vector<T> row = pixels<T>(resampled(edge, method, 48, 3));
                EXPECT_EQ(std::count(row.begin(), row.end(), invalid<T>()), 0) << "method " << method;
                EXPECT_EQ(static_cast<double>(*std::max_element(row.begin(), row.end())), high);
            }
            const auto steps = imageOf<T>(8, 1, [](int, int c) { return c < 4 ? 10 + c / 3 : 20 + c % 4; });
            EXPECT_EQ(pixels<T>(resampled(steps, 3, 2, 1)), (std::vector<T>{10, 22})) << "10.25 and 21.5";
        }
    });
}

TEST(Sampling, onlyTheTargetChanges)
{
    const auto source = imageOf<float>(9, 5, [](int r, int c) { return r * 10 + c; });
    NoxRangeImage image = source.DeepCopy();
    const NoxRangeImage sharer = image;
    NoxRangeImage target = imageOf<float>(4, 4, [](int, int) { return 3; });
    const NoxRangeImage targetSharer = target;
    for (int method = 0; method < 5; ++method) {
        image = sharer;
        EXPECT_EQ(NOXEL::Nox3DSampling().Resample(image, &target, method, 4, 4), 0);
        EXPECT_EQ(NOXEL::Nox3DSampling().Resample(image, &image, method, 4, 4), 0);
        EXPECT_EQ(pixels<float>(image), pixels<float>(target));
        EXPECT_EQ(image.ResolutionX(), 9.0 / 4.0);
        EXPECT_EQ(pixels<float>(sharer), pixels<float>(source));
        EXPECT_EQ(pixels<float>(targetSharer), std::vector<float>(16, 3.0f));
    }
    NoxRangeImage odd = source;
    odd.SetColorSize(3, 3, 4);
    EXPECT_EQ(resampled(odd, 2, 4, 4).ColorData(), nullptr) << "a colour plane of another size";
}

TEST(Sampling, refusals)
{
    const auto image = imageOf<float>(5, 4, [](int r, int c) { return r + c; });
    const unsigned long long gigabyte = 1ull << 30;
    const struct
    {
        const char* rule;
        bool empty;
        int method, width, height;
        long code;
    } rows[] = {
        {"empty before method", true, 7, 0, 0, 11100001},
        {"method before width", false, 5, 0, 0, 11200001},
        {"negative method", false, -1, 3, 3, 11200001},
        {"width before height", false, 1, 0, -1, 11200002},
        {"height", false, 1, 3, 0, 11200003},
        {"more than the memory", false, 0, 40000, 40000, 30602016},
        {"more than an int counts", false, 1, many, many, 30602016},
        {"one endless row", false, 4, many, 1, 30602016},
        {"more working memory than there is", false, 4, 1, 60000000, 30602016},
    };
    for (const auto& row : rows) {
        const replaced::MemoryScope memory(gigabyte);
        NoxRangeImage target = imageOf<float>(2, 1, [](int, int c) { return c; });
        const NoxRangeImage before = target;
        EXPECT_EQ(NOXEL::Nox3DSampling().Resample(row.empty ? NoxRangeImage() : image, &target, row.method, row.width,
                                                  row.height),
                  row.code)
            << row.rule;
        EXPECT_EQ(target.Data(), before.Data()) << row.rule;
    }
}

TEST(Sampling, threadsAndACancelledGroupOfTheCallerChangeNothing)
{
    std::mt19937 random(1);
    const auto image = imageOf<float>(
        301, 407, [&](int, int) { return random() % 5 == 0 ? double(invalid<float>()) : 1e-3 * double(random()); });
    for (int method = 0; method < 5; ++method) {
        const auto expected = pixels<float>(resampled(image, method, 333, 211));
        const int threads = cv::getNumThreads();
        cv::setNumThreads(1);
        EXPECT_EQ(pixels<float>(resampled(image, method, 333, 211)), expected);
        cv::setNumThreads(threads);
        tbb::task_group_context context;
        tbb::parallel_for(
            0, 1,
            [&](int) {
                context.cancel_group_execution();
                EXPECT_EQ(pixels<float>(resampled(image, method, 333, 211)), expected);
            },
            context);
    }
}

double tilt(const NoxMatrix4& m, const NoxVector3d& n)
{
    double turned[3];
    for (int r = 0; r < 3; ++r) turned[r] = m.Value(r, 0) * n.X() + m.Value(r, 1) * n.Y() + m.Value(r, 2) * n.Z();
    return std::atan2(std::hypot(turned[0], turned[1]), turned[2]);
}

TEST(AxisTransform, withoutTheTurnAboutZEveryNormalIsStillLevelled)
{
    std::mt19937 random(1);
    std::normal_distribution<float> normal;
    std::vector<NoxVector3d> directions{{0, 0, 1},      {0, 0, -1},     {1, 0, 0},
                                        {-1, 0, 0},     {0, -2, 0},     {1e-7f, 0, -1},
                                        {-1, 1e-7f, 0}, {1e-30f, 0, 0}, {3e38f, 3e38f, -3e38f}};
    while (directions.size() < 10000) directions.emplace_back(normal(random), normal(random), normal(random));

    const NOXEL::Nox3DAxisTransform transform;
    double worst = 0.0;
    for (const NoxVector3d& n : directions) {
        NoxMatrix4 m;
        NoxVector3d angles, scale, translation;
        ASSERT_EQ(transform.VectorToDirectionZ(n, &m), 0);
        worst = std::max(worst, tilt(m, n));
        ASSERT_EQ(transform.GetRotateAnglesFromTransformMatrix4(m, 0, &angles, &scale, &translation), 0);
        EXPECT_NEAR(scale.X() * scale.Y() * scale.Z(), 1.0, 1e-6);
        EXPECT_EQ(translation, NoxVector3d());
        ASSERT_EQ(transform.GenTransformMatrix({angles.X(), angles.Y(), 0}, 0, translation, &m), 0);
        worst = std::max(worst, tilt(m, n));
    }
    EXPECT_LT(worst, 1e-6);
    NoxMatrix4 level;
    EXPECT_EQ(transform.VectorToDirectionZ({0, 0, 5}, &level), 0);
    EXPECT_EQ(level, NoxMatrix4(1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1));
}

TEST(AxisTransform, anglesTurnRightHandedAboutXThenYThenZAndComeBack)
{
    const struct
    {
        NoxVector3d angles;
        double rotation[9];
    } rows[] = {
        {{90, 0, 0}, {1, 0, 0, 0, 0, -1, 0, 1, 0}},   {{0, 90, 0}, {0, 0, 1, 0, 1, 0, -1, 0, 0}},
        {{0, 0, 90}, {0, -1, 0, 1, 0, 0, 0, 0, 1}},   {{90, 0, 90}, {0, 0, 1, 1, 0, 0, 0, 1, 0}},
        {{0, 90, 90}, {0, -1, 0, 0, 0, 1, -1, 0, 0}}, {{180, 0, -90}, {0, -1, 0, -1, 0, 0, 0, 0, -1}},
    };
    const NOXEL::Nox3DAxisTransform transform;
    for (const auto& row : rows) {
        NoxMatrix4 m;
        ASSERT_EQ(transform.GenTransformMatrix(row.angles, 0, {4, 5, 6}, &m), 0);
        for (int i = 0; i < 9; ++i) EXPECT_NEAR(m.Value(i / 3, i % 3), row.rotation[i], 1e-15) << i;
        for (int i = 0; i < 4; ++i) EXPECT_EQ(m.Value(3, i), i == 3 ? 1.0 : 0.0);
    }

    const NoxVector3d turns[] = {{10, 20, 30}, {-170, 80, -5}, {100, -89, 179}, {0, 90, 40}, {0, -90, -120}};
    for (const NoxVector3d& turn : turns) {
        NoxMatrix4 m;
        NoxVector3d angles, scale, translation;
        ASSERT_EQ(transform.GenTransformMatrix(turn, 0, {4, 5, 6}, &m), 0);
        const double factors[] = {2, 3, -0.5};
        for (int i = 0; i < 9; ++i) m.Replace(i / 3, i % 3, m.Value(i / 3, i % 3) * factors[i % 3]);
        ASSERT_EQ(transform.GetRotateAnglesFromTransformMatrix4(m, 0, &angles, &scale, &translation), 0);
        EXPECT_NEAR(angles.X(), turn.X(), 1e-4);
        EXPECT_NEAR(angles.Y(), turn.Y(), 1e-4);
        EXPECT_NEAR(angles.Z(), turn.Z(), 1e-4);
        EXPECT_EQ(scale, NoxVector3d(2, 3, -0.5f));
        EXPECT_EQ(translation, NoxVector3d(4, 5, 6));
    }
}

TEST(AxisTransform, refusals)
{
    const NOXEL::Nox3DAxisTransform transform;
    const auto n = static_cast<float>(nan), inf = static_cast<float>(infinity);
    NoxMatrix4 m;
    EXPECT_EQ(transform.VectorToDirectionZ({0, 0, 0}, &m), 11200001);
    EXPECT_EQ(transform.VectorToDirectionZ({0, n, 1}, &m), 11200001);
    EXPECT_EQ(transform.VectorToDirectionZ({inf, 0, 1}, &m), 11200001);
    EXPECT_EQ(transform.GenTransformMatrix({n, 0, 0}, 1, {n, 0, 0}, &m), 11200001);
    EXPECT_EQ(transform.GenTransformMatrix({0, 0, 0}, 1, {n, 0, 0}, &m), 11200002);
    EXPECT_EQ(transform.GenTransformMatrix({0, 0, 0}, 0, {inf, 0, 0}, &m), 11200003);
    EXPECT_EQ(m, NoxMatrix4());
    NoxVector3d angles(7, 7, 7);
    EXPECT_EQ(transform.GetRotateAnglesFromTransformMatrix4(m, 1, &angles, nullptr, nullptr), 11200001);
    m = NoxMatrix4(1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, nan, 0, 0, 0, 1);
    EXPECT_EQ(transform.GetRotateAnglesFromTransformMatrix4(m, 0, &angles, nullptr, nullptr), 11200001);
    m.Replace(2, 3, 0.0);
    EXPECT_EQ(transform.GetRotateAnglesFromTransformMatrix4(m, 1, &angles, nullptr, nullptr), 11200002);
    EXPECT_EQ(angles, NoxVector3d(7, 7, 7));
    EXPECT_EQ(transform.GetRotateAnglesFromTransformMatrix4(m, 0, nullptr, nullptr, nullptr), 0);
}

struct Heights
{
    long code = 0;
    double low = -1, high = -1, mean = -1;
    int count = -1;
};

Heights measure(const NoxRangeImage& image, const NoxROI& region = {}, const Nox3DPlane& plane = {})
{
    Heights h;
    h.code = NOXEL::Nox3DSurfaceMeasurement().HeightIntensity(image, region, plane, 1, 0, 0.0, 0.0, 1, 1, &h.low,
                                                              &h.high, &h.count, &h.mean, nullptr, nullptr, nullptr,
                                                              nullptr, nullptr, nullptr);
    return h;
}

TEST(SurfaceMeasurement, smallestLargestAndMeanDepthOfValidPixels)
{
    forEveryType([](auto tag) {
        using T = typename decltype(tag)::type;
        const T values[] = {5, invalid<T>(), 7, 12, 100, invalid<T>()};
        auto image = imageOf<T>(3, 2, [&](int r, int c) { return values[3 * r + c]; });
        image.SetInfo(0.5, 3.0, 9.0, 9.0, 9.0, 9.0);
        for (int type = 0; type < 2; ++type) {
            image.SetType(type);
            const bool scaled = std::is_integral_v<T> || (std::is_same_v<T, float> && type == 1);
            const Heights h = measure(image);
            EXPECT_EQ(h.code, 0);
            EXPECT_EQ(h.low, scaled ? 1.0 : 5.0);
            EXPECT_EQ(h.high, scaled ? 48.5 : 100.0);
            EXPECT_EQ(h.mean, scaled ? 14.0 : 31.0);
            EXPECT_EQ(h.count, 4);
        }
        EXPECT_EQ(NOXEL::Nox3DSurfaceMeasurement().HeightIntensity(image, {}, {}, 1, 0, 0.0, 0.0, 1, 1, nullptr,
                                                                   nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                                                   nullptr, nullptr, nullptr),
                  0);
    });
}

TEST(SurfaceMeasurement, everyWidthWithPixelsThatTakeNoPart)
{
    const double odd[] = {invalid<float>(), nan, infinity, -infinity};
    for (int width = 1; width <= 40; ++width) {
        const auto image = imageOf<float>(width, 3, [&](int r, int c) {
            return (r + c) % 3 == 1 ? odd[(r + c) / 3 % 4] : (c == 0 ? -50.0 : 0.5 * c + r);
        });
        double low = infinity, high = -infinity, sum = 0.0;
        int count = 0;
        for (const float z : pixels<float>(image)) {
            if (!(std::abs(z) < 1e6)) continue;
            low = std::min<double>(low, z);
            high = std::max<double>(high, z);
            sum += z;
            ++count;
        }
        const Heights h = measure(image);
        EXPECT_EQ(h.low, low) << width;
        EXPECT_EQ(h.high, high) << width;
        EXPECT_EQ(h.count, count) << width;
        EXPECT_DOUBLE_EQ(h.mean, sum / count) << width;
    }
}

TEST(SurfaceMeasurement, regionAndPlane)
{
    NoxRangeImage image = imageOf<float>(1200, 40, [](int r, int c) { return 10.0 + r - 0.25 * c; });
    image.SetInfo(1.0, 0.0, 0.5, 2.0, 2.0, 1.0);  // z = 10.5 + x / 2 - y / 2
    const Heights whole = measure(image);
    EXPECT_EQ(whole.count, 48000);
    EXPECT_EQ(whole.mean, 10.0 + 19.5 - 0.25 * 599.5);
    NoxROI region;
    region.GenRect1({1100, 30}, {5000, 31});
    const Heights part = measure(image, region);
    EXPECT_EQ(part.low, 10.0 + 30 - 0.25 * 1199);
    EXPECT_EQ(part.high, 10.0 + 31 - 0.25 * 1100);
    EXPECT_EQ(part.count, 200);

    const Heights above = measure(image, region, Nox3DPlane({1, 1, 4.5f}, {-1, 1, 2}));
    for (const double v : {above.low, above.high, above.mean}) EXPECT_NEAR(v, 6.0 * 2.0 / std::sqrt(6.0), 1e-3);

    const auto wall = [&](double depth) {
        NoxRangeImage ray =
            imageOf<double>(7, 5, [&](int r, int c) { return r == 3 && c == 6 ? depth : double(invalid<double>()); });
        NoxVarArray p;
        p.SetSize(4);
        const double numbers[] = {2.0, 1.0, 0.5, 0.25};
        for (int i = 0; i < 4; ++i) p[i] = NoxVar(numbers[i]);
        ray.SetInfo(p);
        ray.SetType(1);
        return ray;  // its point is (2 depth, depth / 2, depth)
    };
    EXPECT_EQ(measure(wall(3.0), {}, Nox3DPlane({1, 0, 0}, {2, 0, 0})).mean, 5.0);
    EXPECT_EQ(measure(wall(3.0), {}, Nox3DPlane({0, 1, 0}, {0, -4, 0})).mean, -0.5);
}

TEST(SurfaceMeasurement, nothingToMeasure)
{
    NoxROI outside;
    outside.GenPoint({50, 50});
    const auto holes = imageOf<short>(4, 3, [](int, int) { return -32768; });
    const auto image = imageOf<short>(4, 3, [](int, int) { return 5; });
    for (const Heights& h : {measure(holes), measure(image, outside), measure(NoxRangeImage())}) {
        EXPECT_EQ(h.code, 11100001);
        EXPECT_EQ(h.low, -1.0);
        EXPECT_EQ(h.count, -1);
    }
}

}  // namespace
