// Heights to grays: measured stretch, fixed band with a plane, fixed rules, tiles.

#include "tests/support/Samples.h"

#include <NoxConfig.h>
#include <RangeToImageBodies.h>

#include <cstdint>

namespace {

using namespace samples;

template <class T>
NoxRangeImage image(int width, int height, const std::vector<T>& heights)
{
    NoxRangeImage range;
    range.SetSize(width, height, cv::DataType<T>::depth);
    range.SetInfo(0.01, 1000.0, 0.2, 5.0, 0.3, 7.0);
    std::copy(heights.begin(), heights.end(), reinterpret_cast<T*>(range.Data()));
    return range;
}

std::vector<int> grays(const NoxImage& image)
{
    std::vector<int> all;
    for (int i = 0; i < image.Width() * image.Height(); ++i)
        all.push_back(image.BitDepth() == 0 ? image.ImageData()[i]
                                            : reinterpret_cast<unsigned short*>(image.ImageData())[i]);
    return all;
}

NoxROI rectangle(double x0, double y0, double x1, double y1)
{
    NoxROI roi;
    roi.GenRect1(NoxPoint(x0, y0), NoxPoint(x1, y1));
    return roi;
}

/// The conversions with the outputs that a case looks at.
struct Call
{
    NoxROI roi;
    NoxImage result;
    int background = 9;
    double scale = -7, offset = -7, grid[6] = {};

    long stretch(NoxRangeImage range, int imageType)
    {
        return NOXEL::Nox3DDataConvert().RangeImageToImage(range, roi, &result, imageType, background, &scale, &offset,
                                                           grid, grid + 1, grid + 2, grid + 3, grid + 4, grid + 5);
    }
    long limits(NoxRangeImage range, int imageType, double low, double high, int lowGray, int highGray,
                Nox3DPlane plane = {})
    {
        return NOXEL::Nox3DDataConvert().RangeImageToImage(range, roi, &result, imageType, background, plane, low, high,
                                                           lowGray, highGray, &scale, &offset, grid, grid + 1, grid + 2,
                                                           grid + 3, grid + 4, grid + 5);
    }
    long fixed(NoxRangeImage range, int imageType)
    {
        return NOXEL::Nox3DDataConvert().RangeImageToImageAuto(range, &result, imageType, grid, grid + 1, grid + 2,
                                                               grid + 3, grid + 4, grid + 5);
    }
    long tiles(NoxRangeImage range, int imageType, int width, int height, double above, double below)
    {
        return NOXEL::Nox3DDataConvert().RangeImageToImageByChunk(range, &result, imageType, width, height, above,
                                                                  below);
    }
};

template <class T>
class RangeToImageOf : public testing::Test
{
};
using ElementTypes = testing::Types<unsigned char, char, unsigned short, short, int, float, double>;
TYPED_TEST_SUITE(RangeToImageOf, ElementTypes, );  // with no namer of its own

// ---- refusals ----

TEST(RangeToImage, RefusalsComeInOrder)
{
    const NoxRangeImage full = image<float>(3, 2, {1, 2, 3, 4, 5, 6}), empty;
    const NoxROI whole, line = [] {
        NoxROI roi;
        roi.GenLine(NoxPoint(0, 0), NoxPoint(1, 1));
        return roi;
    }();
    NoxImage out;
    struct Row
    {
        const char* rule;
        const NoxRangeImage& range;
        int imageType;
        const NoxROI& roi;
        NoxImage* image;
        int background;
        double low, high;
        int lowGray, highGray;
        long stretch, limits;
    };
    const Row rows[] = {
        {"size before type", empty, 1, line, nullptr, -1, 1, 0, 1, 0, 11100001, 11100001},
        {"type before region", full, 1, line, nullptr, -1, 1, 0, 1, 0, 11200001, 11200001},
        {"region before image", full, 2, line, nullptr, -1, 1, 0, 1, 0, 11000002, 11000002},
        {"image before numbers", full, 2, whole, nullptr, -1, 1, 0, 1, 0, 11200001, 11200001},
        {"band before grays; a background below 0", full, 2, whole, &out, -1, 1, 1, 1, 0, 11200002, 11200004},
        {"a thin band; a background of 16 bits", full, 2, whole, &out, 300, 1, 1 + 1e-9, 1, 2, 11200002, 11200004},
        {"a NaN limit", full, 0, whole, &out, 255, kNaN, 1, 1, 2, 0, 11200004},
        {"a gray band that is empty", full, 0, whole, &out, 0, 0, 1, 5, 5, 0, 11200006},
        {"a gray band that overflows", full, 0, whole, &out, 0, 0, 1, -1, 2147483647, 0, 11200006},
        {"a gray band beyond the depth", full, 0, whole, &out, 0, 0, 1, 300, 400, 0, 11200006},
        {"the same where 16 bits hold it", full, 2, whole, &out, 0, 0, 1, 300, 400, 0, 0},
        {"no bounds for the background with limits", full, 2, whole, &out, -5, 0, 1, 250, 300, 11200002, 0},
    };
    for (const Row& row : rows) {
        NoxRangeImage range = row.range;
        NoxROI roi = row.roi;
        Nox3DPlane plane;
        NOXEL::Nox3DDataConvert convert;
        EXPECT_EQ(convert.RangeImageToImage(range, roi, row.image, row.imageType, row.background, nullptr, nullptr,
                                            nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
                  row.stretch)
            << row.rule;
        EXPECT_EQ(convert.RangeImageToImage(range, roi, row.image, row.imageType, row.background, plane, row.low,
                                            row.high, row.lowGray, row.highGray, nullptr, nullptr, nullptr, nullptr,
                                            nullptr, nullptr, nullptr, nullptr),
                  row.limits)
            << row.rule;
    }
}

TEST(RangeToImage, HeightsOfNoElementTypeGiveNoImage)
{
    NoxRangeImage halves = image<float>(3, 2, {1, 2, 3, 4, 5, 6});
    halves.SetMatrix(cv::Mat::zeros(2, 3, CV_16F));
    Call call;
    EXPECT_EQ(call.stretch(halves, 0), 30602003);
    EXPECT_EQ(call.limits(halves, 0, 0, 10, 1, 255), 30602004);
    EXPECT_EQ(call.fixed(halves, 0), 30602003);
    EXPECT_EQ(call.tiles(halves, 0, 2, 2, 5, 5), 30602003);
    EXPECT_EQ(call.result.ImageData(), nullptr);
}

TEST(RangeToImage, RefusalsOfFixedRulesAndTilesComeInOrder)
{
    NoxRangeImage full = image<float>(3, 2, {1, 2, 3, 4, 5, 6}), empty;
    NoxImage out;
    NOXEL::Nox3DDataConvert convert;
    const auto fixed = [&](NoxRangeImage& range, NoxImage* to, int type) {
        return convert.RangeImageToImageAuto(range, to, type, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    };
    EXPECT_EQ(fixed(empty, nullptr, 1), 11100001);
    EXPECT_EQ(fixed(full, &out, 3), 11200001);
    EXPECT_EQ(fixed(full, nullptr, 0), 11200001);
    EXPECT_EQ(convert.RangeImageToImageByChunk(empty, nullptr, 1, 0, 0, 1, 1), 11100001);
    EXPECT_EQ(convert.RangeImageToImageByChunk(full, nullptr, 2, 0, 0, 1, 1), 11200001);
    EXPECT_EQ(convert.RangeImageToImageByChunk(full, &out, 2, 0, 0, 1, 1), 11200002);
    EXPECT_EQ(convert.RangeImageToImageByChunk(full, &out, 2, 1, -1, -1, 1), 11200003);
    EXPECT_EQ(convert.RangeImageToImageByChunk(full, &out, 2, 1, 1, NAN, -1), 11200004);
    EXPECT_EQ(convert.RangeImageToImageByChunk(full, &out, 2, 1, 1, 2, -3), 11200005);
}

TEST(RangeToImage, HandsOutTheGrid)
{
    Call stretch, fixed;
    ASSERT_EQ(stretch.stretch(image<float>(2, 1, {1, 2}), 0), 0);
    ASSERT_EQ(fixed.fixed(image<float>(2, 1, {1, 2}), 0), 0);
    for (const Call& call : {stretch, fixed})
        EXPECT_EQ(std::vector<double>(call.grid, call.grid + 6),
                  (std::vector<double>{0.2, 5.0, 0.3, 7.0, 0.01, 1000.0}));
}

// ---- measured stretch ----

/// The rule for one pixel, step by step.
template <class T>
int stretched(T height, double low, double high, int top)
{
    if (nox::Element<T>::isMarker(height) || height != height) return 0;
    const float distance = static_cast<float>(static_cast<double>(height) - low);
    return static_cast<int>(static_cast<double>(distance) / (high - low) * (top - 1) + 1.0);
}

/// Heights of all sizes, with what is no height between them.
template <class T>
T sample(int i)
{
    const auto random = static_cast<std::uint32_t>(i + 1) * 2654435761u;
    if (random % 11 == 3) return nox::Element<T>::invalid;
    if constexpr (std::is_integral_v<T>)
        return static_cast<T>(random >> (32 - 8 * sizeof(T)));
    else
        return random % 13 == 5 ? std::numeric_limits<T>::quiet_NaN() : static_cast<T>(random / 1e7 - 100.0);
}

TYPED_TEST(RangeToImageOf, StretchesEveryWidthByTheRule)
{
    using T = TypeParam;
    for (int imageType : {0, 2})
        for (int width = 1; width <= 40; ++width) {
            std::vector<T> heights;
            for (int i = 0; i < 3 * width; ++i) heights.push_back(sample<T>(i));
            heights[0] = T(3);
            heights[1] = T(90);
            Call call;
            ASSERT_EQ(call.stretch(image(width, 3, heights), imageType), 0);

            double low = 1e15, high = -1e15;
            for (T height : heights)
                if (!nox::Element<T>::isMarker(height) && height == height) {
                    low = std::min(low, static_cast<double>(height));
                    high = std::max(high, static_cast<double>(height));
                }
            const int top = imageType == 0 ? 255 : 65535;
            std::vector<int> expected;
            for (T height : heights) expected.push_back(stretched(height, low, high, top));
            EXPECT_EQ(grays(call.result), expected) << "width " << width << " type " << imageType;
            EXPECT_EQ(call.scale, (high - low) / (top - 1.0));
            EXPECT_NEAR(call.offset, low, 1e-6 * (1 + std::abs(low)));
        }
}

/// 300 x 251 pixels: enough for tables. Floats close below, at and above the heights where the gray steps.
TYPED_TEST(RangeToImageOf, StretchesLargeImagesByTheRule)
{
    using T = TypeParam;
    std::vector<T> heights;
    const double low = std::is_signed_v<T> ? -100.0 : 1.0;
    const double high = std::is_integral_v<T> ? std::numeric_limits<T>::max() : 1027.3125;
    for (int i = 0; i < 300 * 251; ++i) {
        if constexpr (std::is_integral_v<T>) {
            heights.push_back(static_cast<T>(i * 7));
            if (static_cast<double>(heights.back()) < low) heights.back() = nox::Element<T>::invalid;
        } else {
            const T step = static_cast<T>(low + (high - low) * (i % 254) / 254.0);
            heights.push_back(i % 3 == 0 ? step : std::nextafter(step, static_cast<T>(i % 3 == 1 ? low : high)));
        }
    }
    heights[0] = static_cast<T>(low);
    heights[1] = static_cast<T>(high);
    for (int imageType : {0, 2}) {
        Call call;
        ASSERT_EQ(call.stretch(image(300, 251, heights), imageType), 0);
        std::vector<int> expected;
        for (T height : heights)
            expected.push_back(stretched(height, low, static_cast<double>(heights[1]), imageType == 0 ? 255 : 65535));
        EXPECT_EQ(grays(call.result), expected);
    }
}

TEST(RangeToImage, OneHeightStretchesOverTheFullScaleOrStaysItself)
{
    Call bytes, words, reals, high;
    ASSERT_EQ(bytes.stretch(image<unsigned char>(2, 1, {7, 7}), 0), 0);
    EXPECT_EQ(grays(bytes.result), (std::vector<int>{7, 7}));
    EXPECT_EQ(bytes.scale, 1.0);
    ASSERT_EQ(words.stretch(image<unsigned char>(2, 1, {7, 7}), 2), 0);
    EXPECT_EQ(grays(words.result), (std::vector<int>{1549, 1549}));
    ASSERT_EQ(reals.stretch(image<float>(3, 1, {2.5f, 2.5f, kNaN}), 2), 0);
    EXPECT_EQ(grays(reals.result), (std::vector<int>{2, 2, 2}));  // the invalid ones as well
    EXPECT_EQ(reals.scale, 0.0);
    EXPECT_TRUE(std::isnan(reals.offset));
    ASSERT_EQ(high.stretch(image<int>(2, 1, {70000, 70000}), 2), 0);
    EXPECT_EQ(grays(high.result), (std::vector<int>{65535, 65535}));
}

TEST(RangeToImage, HeightsBeyondFloatDifferencesKeepTheirGray)
{
    Call call, infinite;
    std::vector<float> heights(9, 1.5e38f);  // infinitely far in float
    heights[0] = -3e38f;
    heights[8] = 3e38f;
    ASSERT_EQ(call.stretch(image(9, 1, heights), 0), 0);
    EXPECT_EQ(grays(call.result), (std::vector<int>{1, 191, 191, 191, 191, 191, 191, 191, 255}));
    ASSERT_EQ(infinite.stretch(image<float>(3, 1, {1.0f, kInfinity, 2.0f}), 0), 0);
    EXPECT_EQ(grays(infinite.result), (std::vector<int>{1, 0, 1}));
}

TEST(RangeToImage, RegionsMeasureAndMapAsTheTypeAsks)
{
    const std::vector<float> heights{1, 2, 3, 11, 5, 6, 7, 8};
    Call real, byte, small, nothing;
    real.roi = byte.roi = small.roi = rectangle(1, 0, 2, 1);
    ASSERT_EQ(real.stretch(image(4, 2, heights), 0), 0);  // the scale comes from all pixels
    EXPECT_EQ(grays(real.result), (std::vector<int>{9, 26, 51, 9, 9, 128, 153, 9}));
    ASSERT_EQ(byte.stretch(image<unsigned char>(4, 2, {1, 2, 0, 11, 5, 6, 7, 8}), 0), 0);  // from 2, 6 and 7
    EXPECT_EQ(grays(byte.result), (std::vector<int>{9, 1, 0, 9, 9, 204, 255, 9}));
    ASSERT_EQ(small.stretch(image<char>(4, 2, {1, -128, -128, 11, 5, -128, -128, 8}), 0), 0);
    EXPECT_EQ(grays(small.result), std::vector<int>(8, 0));  // nothing found: not even the background stays
    nothing.roi = rectangle(-9, -9, -3, -3);
    ASSERT_EQ(nothing.stretch(image<unsigned char>(4, 2, {1, 2, 0, 11, 5, 6, 7, 8}), 2), 0);
    EXPECT_EQ(grays(nothing.result), std::vector<int>(8, 9));
}

// ---- fixed band ----

TYPED_TEST(RangeToImageOf, LimitsMapEveryWidthByTheRule)
{
    using T = TypeParam;
    for (int imageType : {0, 2})
        for (int width = 1; width <= 40; width += width < 20 ? 1 : 7) {
            std::vector<T> heights;
            for (int i = 0; i < 2 * width; ++i) heights.push_back(sample<T>(i));
            NoxRangeImage range = image(width, 2, heights);
            const double low = std::is_integral_v<T> ? -9.7 : 11.25, high = std::is_integral_v<T> ? -9.0 : 61.5;
            Call call;
            ASSERT_EQ(call.limits(range, imageType, low, high, 20, 220), 0);

            const double first = std::is_integral_v<T> ? 1000.0 + low / 0.01 : low;  // 30 and 100 steps
            const double last = std::is_integral_v<T> ? 1000.0 + high / 0.01 : high;
            std::vector<int> expected;
            for (T height : heights) {
                const auto h = static_cast<double>(height);
                if (nox::Element<T>::isMarker(height) || height != height)
                    expected.push_back(0);
                else
                    expected.push_back(h < first  ? 20
                                       : h > last ? 220
                                                  : static_cast<int>((h - first) / (last - first) * 200.0 + 20.0));
            }
            EXPECT_EQ(grays(call.result), expected) << "width " << width << " type " << imageType;
            EXPECT_EQ(call.scale, (last - first) / 200.0);
            EXPECT_EQ(call.offset, first);
        }
}

TEST(RangeToImage, LimitsKeepBackgroundAndDropWhatIsNoHeight)
{
    Call call;
    ASSERT_EQ(call.limits(image<double>(9, 1, {2e15, -kInfinity, kNaN, -2e15, kInfinity, 2e15, 2e15, 2e15, 2e15}), 2, 0,
                          10, 1, 255),
              0);
    EXPECT_EQ(grays(call.result), std::vector<int>(9, 0));
    call.roi = rectangle(0, 0, 2, 0);
    call.background = -5;
    ASSERT_EQ(call.limits(image<double>(3, 2, {0, 10, 10.01, 1, 2, 3}), 2, 0, 10, 7, 255), 0);
    EXPECT_EQ(grays(call.result), (std::vector<int>{7, 255, 255, 0, 0, 0}));
    call.background = 70000;
    ASSERT_EQ(call.limits(image<double>(3, 2, {0, 10, 10.01, 1, 2, 3}), 2, 0, 10, 7, 255), 0);
    EXPECT_EQ(grays(call.result), (std::vector<int>{7, 255, 255, 65535, 65535, 65535}));
}

/// x = row x 0.3 + 7 for 8 bit and (row - 7) x 0.3 for 16 bit; y likewise from the column.
TEST(RangeToImage, LimitsFollowAPlane)
{
    const Nox3DPlane plane(NoxVector3d(0.9f, -0.2f, 3.0f), NoxVector3d(0.36f, 0.48f, 0.8f));
    std::vector<float> heights(6 * 3);
    for (std::size_t i = 0; i < heights.size(); ++i) heights[i] = 1000.0f + static_cast<float>(i) * 40.0f;
    for (int imageType : {0, 2}) {
        Call call;
        ASSERT_EQ(call.limits(image(6, 3, heights), imageType, 300, 1700, 10, 250, plane), 0);
        std::vector<int> expected;
        for (int row = 0; row < 3; ++row)
            for (int column = 0; column < 6; ++column) {
                const auto a = static_cast<float>(imageType == 0 ? row * 0.3 + 7.0 : (row - 7.0) * 0.3);
                const auto b = static_cast<float>(imageType == 0 ? column * 0.2 + 5.0 : (column - 5.0) * 0.2);
                const float q = ((a - 0.9f) * 0.36f + (b - -0.2f) * 0.48f) / 0.8f;
                const double world = (heights[static_cast<std::size_t>(row * 6 + column)] - 1000.0) * 0.01;
                const auto h = static_cast<float>(
                    (world - static_cast<double>(3.0f - q)) * static_cast<double>(0.8f) / 0.01 + 1000.0);
                const double g = (static_cast<double>(h) - 300) / 1400 * 240 + 10;
                expected.push_back(static_cast<int>(h < 300 ? 10 : h > 1700 ? 250 : g));
            }
        EXPECT_EQ(grays(call.result), expected);
    }
}

TEST(RangeToImage, APlaneUprightInTheImageGivesNoHeight)
{
    for (float z : {0.0f, 1e-44f}) {  // the corrected height is a NaN and infinite
        Call call;
        ASSERT_EQ(call.limits(image<float>(2, 1, {1, 2}), 0, 0, 10, 1, 255, {{0, 0, 0}, {0, 1, z}}), 0);
        EXPECT_EQ(grays(call.result), std::vector<int>(2, 0));
    }
}

// ---- fixed rules ----

/// The fixed rules restated for one height.
template <class T>
int fixedGray(T height, bool wide)
{
    constexpr bool real = std::is_floating_point_v<T>;
    if (nox::Element<T>::isMarker(height) || height != height) return 0;
    const float span = wide ? 65534.0f : 254.0f;
    const auto spread = [&](long number, float divisor) {
        const float t = span * (static_cast<float>(number) / divisor) + 1.0f;
        return std::min(static_cast<int>(std::nearbyint(t)), wide ? 65535 : 255);
    };
    const auto linear = [&](float a, float b) { return static_cast<int>(static_cast<float>(height) * a - b); };
    if constexpr (real) {
        if (wide)
            return static_cast<int>(std::min(65535.0, std::max(0.0, static_cast<double>(height) / 0.001 + 32768)));
        const auto x = static_cast<float>(static_cast<double>(static_cast<float>(height)) / 0.01 + 127.0);
        return static_cast<int>(std::min(255.0f, std::max(0.0f, x)));
    } else if constexpr (sizeof(T) == 4) {
        const long steps = wide ? 32768 : 127;
        const long q = static_cast<long>(height) * steps / 2147483647;
        return spread(q + (wide ? 32767 : 127), wide ? 65534.0f : 255.0f);
    } else if constexpr (sizeof(T) == 2) {
        if (std::is_signed_v<T>) return wide ? height + 32768 : spread(height + 32767, 65534.0f);
        return wide ? static_cast<int>(height) : linear(0.0038758507f, -0.99612415f);
    } else {
        if (std::is_signed_v<T>) return wide ? spread(height + 127, 254.0f) : height + 128;
        return wide ? linear(258.00787f, 257.00787f) : static_cast<int>(height);
    }
}

TYPED_TEST(RangeToImageOf, FixedRulesHoldForEveryValue)
{
    using T = TypeParam;
    std::vector<T> heights;
    for (int i = -32768; i < 32768; ++i) {
        if constexpr (sizeof(T) <= 2)
            heights.push_back(static_cast<T>(i));
        else if constexpr (std::is_integral_v<T>)
            heights.push_back(static_cast<T>(std::int64_t{i} * 65536 + (i & 1) * (2147483647 / 32768 - 1)));
        else
            heights.push_back(std::nextafter(static_cast<T>(i / 1000.0), i % 2 == 0 ? T(kInfinity) : T(-kInfinity)));
    }
    if constexpr (std::is_integral_v<T> && sizeof(T) == 4)
        for (long steps : {127, 32768})  // both sides of every step, and the ends
            for (long q = -steps; q <= steps; ++q)
                for (long near = -1; near <= 1; ++near)
                    heights.push_back(
                        static_cast<T>(std::clamp(q * 2147483647 / steps + near, -2147483647L, 2147483647L)));
    if constexpr (std::is_floating_point_v<T>)
        for (int i = -200; i < 200; ++i)
            for (T far : {T(0), T(kInfinity), T(-kInfinity)})
                heights.push_back(std::nextafter(static_cast<T>(i * 0.01), far));
    for (float odd : {kInfinity, -kInfinity, kNaN, 3e38f, kNone, 40.0f, -40.0f})
        if constexpr (std::is_floating_point_v<T>) heights.insert(heights.begin(), static_cast<T>(odd));

    for (int imageType : {0, 2}) {
        Call call;
        ASSERT_EQ(call.fixed(image(static_cast<int>(heights.size()), 1, heights), imageType), 0);
        const std::vector<int> found = grays(call.result);
        for (std::size_t i = 0; i < heights.size(); ++i)
            ASSERT_EQ(found[i], fixedGray(heights[i], imageType == 2)) << +heights[i] << " type " << imageType;
    }
}

TYPED_TEST(RangeToImageOf, FixedRulesHoldForEveryWidth)
{
    using T = TypeParam;
    for (int imageType : {0, 2})
        for (int width = 1; width <= 40; ++width) {
            std::vector<T> heights;
            std::vector<int> expected;
            for (int i = 0; i < 2 * width; ++i) {
                heights.push_back(sample<T>(i));
                expected.push_back(fixedGray(heights.back(), imageType == 2));
            }
            Call call;
            ASSERT_EQ(call.fixed(image(width, 2, heights), imageType), 0);
            EXPECT_EQ(grays(call.result), expected) << "width " << width;
        }
}

// ---- tiles ----

TEST(RangeToImage, TilesCoverAllButASingleColumnOrRow)
{
    for (int side : {9, 10}) {
        Call call;
        ASSERT_EQ(call.tiles(image(side, side, std::vector<short>(static_cast<std::size_t>(side * side), 50)), 0, 4, 4,
                             20, 10),
                  0);
        for (int i = 0; i < side * side; ++i)  // the mean in a band of 30: 10 / 30 x 254 + 1
            EXPECT_EQ(grays(call.result)[static_cast<std::size_t>(i)],
                      side == 9 && (i % 9 == 8 || i / 9 == 8) ? 0 : 85);
    }
}

TEST(RangeToImage, TileBandsKeepInsideTheirType)
{
    struct Row
    {
        const char* rule;
        unsigned char first, second;
        double above, below;
        std::vector<int> grays;
    };
    const Row rows[] = {
        {"the band about the mean", 100, 110, 5, 5, {1, 255}},
        {"what lies beyond the band", 100, 120, 5, 5, {1, 255}},
        {"the upper limit at the end of the type", 245, 255, 20, 10, {85, 255}},  // 240 to 255
        {"the lower limit at the end of the type", 2, 4, 7, 10, {51, 102}},       // 0 to 10
        {"a band of one height", 100, 110, -5, 5, {1, 255}},
        {"a tile without a pixel", 0, 0, 5, 5, {0, 0}},
    };
    for (const Row& row : rows) {
        Call call;
        ASSERT_EQ(call.tiles(image<unsigned char>(2, 1, {row.first, row.second}), 0, 2, 1, row.above, row.below), 0);
        EXPECT_EQ(grays(call.result), row.grays) << row.rule;
    }
}

TYPED_TEST(RangeToImageOf, TilesMapByTheRule)
{
    using T = TypeParam;
    Call call;
    const std::vector<T> heights{T(20), T(40), nox::Element<T>::invalid, T(30), T(70), T(60)};
    ASSERT_EQ(call.tiles(image(3, 2, heights), 2, 3, 2, 36.0, 14.0), 0);  // mean 44: from 30 to 80
    EXPECT_EQ(grays(call.result), (std::vector<int>{1, 13107, 0, 1, 52428, 39321}));
}

TEST(RangeToImage, ALargeTileIsMappedToItsLastRow)
{
    Call call;
    ASSERT_EQ(call.tiles(image(220, 300, std::vector<unsigned char>(66000, 50)), 0, 220, 300, 5, 5), 0);
    EXPECT_EQ(grays(call.result), std::vector<int>(66000, 128));  // the middle of the band from 45 to 55
}

TEST(RangeToImage, ANaNLeavesItsTileAlone)
{
    Call call;
    ASSERT_EQ(call.tiles(image<float>(3, 1, {10, kNaN, 30}), 0, 3, 1, 20, 20), 0);
    EXPECT_EQ(grays(call.result), (std::vector<int>{64, 0, 191}));
}

// ---- outputs ----

/// With efficiency 1 a fitting image is written in place; else, and never into the source itself, it gets new pixels.
TEST(RangeToImage, EfficiencyWritesInPlace)
{
    int efficiency = 0;
    NOXEL::NoxGetStaticEfficiency(&efficiency);
    Call call;
    call.result.SetSize(2, 2, NoxImageType8U);
    NoxImage sharer = call.result;
    const unsigned char* before = call.result.ImageData();
    ASSERT_EQ(call.stretch(image<short>(2, 2, {1, 2, 3, 128}), 0), 0);
    EXPECT_EQ(call.result.ImageData() == before, efficiency == 1);
    EXPECT_EQ(grays(call.result), (std::vector<int>{1, 3, 5, 255}));
    EXPECT_EQ(sharer.ImageData(), before);
    ASSERT_EQ(call.fixed(image<char>(2, 2, {-128, -127, 0, 127}), 0), 0);
    EXPECT_EQ(call.result.ImageData() == before, efficiency == 1);
    EXPECT_EQ(grays(call.result), (std::vector<int>{0, 1, 128, 255}));

    NoxRangeImage source = image<unsigned char>(2, 2, {10, 20, 0, 40});
    call.result.SetMatrix(source.Matrix());
    ASSERT_EQ(call.limits(source, 0, -9.9, -9.6, 1, 31), 0);
    EXPECT_EQ(source.Data()[1], 20);
    EXPECT_EQ(grays(call.result), (std::vector<int>{1, 11, 0, 31}));

    call.result.SetSize(2, 2, NoxImageType8U, 3);  // of the right size and depth, but in colour
    ASSERT_EQ(call.tiles(source, 0, 2, 2, 5, 5), 0);
    EXPECT_EQ(call.result.Channels(), 1);
}

// ---- bodies that no operation starts ----

/// The heights are the second row.
template <class Body, class S, class D>
std::vector<int> linear(std::vector<S> heights, float a, float b)
{
    const auto width = static_cast<int>(heights.size());
    heights.insert(heights.begin(), heights.size(), S(1));
    std::vector<D> out(heights.size(), D(77));
    NoxRun run{};
    run.row = 1;
    run.first = 1;
    run.last = width - 2;
    const Body body(heights.data(), out.data(), width, a, b, &run);
    body(tbb::blocked_range<int>(0, 1));
    return {out.begin() + width, out.end()};
}

/// A run from 1 to 18 holds one block of 16; the last two of its pixels are the tail.
TEST(RangeToImageBodies, BlocksRoundAndTailsTruncate)
{
    std::vector<unsigned char> bytes(20, 3);
    bytes[2] = bytes[18] = 0;
    std::vector<int> sse(20, 77), fma(20, 77);
    for (std::size_t i = 1; i < 19; ++i) sse[i] = fma[i] = i < 17 ? 4 : 3;  // 3 x 1.5 - 0.75 = 3.75
    sse[18] = fma[18] = 0;
    fma[2] = 0;
    sse[2] = 0;  // 0.75 below 0
    EXPECT_EQ((linear<NOXEL::parallelRECT2Mat1_8Uto8U_TBBSSE, unsigned char, unsigned char>(bytes, 1.5f, 0.75f)), sse);
    EXPECT_EQ((linear<NOXEL::parallelRECT2Mat1_8Uto8U_TBBFMA, unsigned char, unsigned char>(bytes, 1.5f, 0.75f)), fma);
    EXPECT_EQ((linear<NOXEL::parallelRECT2Mat1_8Uto8U_TBBSSE, unsigned char, unsigned char>(bytes, 1.5f, -9.0f)[2]), 9);
    EXPECT_EQ((linear<NOXEL::parallelRECT2Mat1_8Uto8U_TBBFMA, unsigned char, unsigned char>(bytes, 1.5f, -9.0f)[2]), 0);
    const std::vector<unsigned char> zeros(20, 0);
    EXPECT_EQ((linear<NOXEL::parallelRECT2Mat1_8Uto8U_TBBSSE, unsigned char, unsigned char>(zeros, 1.5f, -9.0f)[2]), 0);

    std::vector<unsigned short> words(20, 3000);
    words[2] = 0;
    const auto to8 = linear<NOXEL::parallelRECT_16Uto8U_TBBSSE, unsigned short, unsigned char>(words, 0.1f, 0.0f);
    EXPECT_EQ(to8[1], 255);         // clamped in a block
    EXPECT_EQ(to8[17], 300 - 256);  // low bits in the tail
    EXPECT_EQ(to8[2], 0);
    const auto to16 =
        linear<NOXEL::parallelRECT_16Uto16U_TBBSSE, unsigned short, unsigned short>(words, 30.00025f, 0.0f);
    EXPECT_EQ(to16[8], 65535);
    EXPECT_EQ(to16[17], 90000 - 65536);  // two blocks of 8 end before column 17
}

/// Every 16-bit value as a height of T through a body made by make(heights, grays).
template <class T, class U, class Make, class Rule>
void expectOfBody(const Make& make, const Rule& rule)
{
    cv::Mat heights(1, 65536, cv::DataType<T>::depth), grays(1, 65536, cv::DataType<U>::depth);
    for (int i = 0; i < 65536; ++i)
        heights.at<T>(i) = static_cast<T>(sizeof(T) == 4 ? T(i - 32768) * T(65536) : static_cast<T>(i));
    make(&heights, &grays)({0, 1});
    for (int i = 0; i < 65536; ++i) ASSERT_EQ(grays.at<U>(i), static_cast<U>(rule(heights.at<T>(i)))) << i;
}

TEST(RangeToImageBodies, TheFixedRulesTakeOtherNumbers)
{
    const auto linear = [](int height) {
        return height == 0 ? 0 : static_cast<int>(static_cast<float>(height) * 300.5f - 7.0f);
    };
    expectOfBody<unsigned char, unsigned short>(
        [](auto* from, auto* to) {
            return NOXEL::ImageConvertTBB8Uor16U<unsigned char, unsigned short>(300.5f, 7.0f, from, to);
        },
        linear);
    expectOfBody<unsigned short, unsigned char>(
        [](auto* from, auto* to) {
            return NOXEL::ImageConvertTBB8Uor16U<unsigned short, unsigned char>(300.5f, 7.0f, from, to);
        },
        linear);

    const auto body = [](int imageType, int elementType) {
        return [=](auto* from, auto* to) {
            return NOXEL::ImageConverterTBBNew(0.02, 100.0, 10, 200, imageType, elementType, from, to);
        };
    };
    const auto spread = [](long number, float divisor) {
        return static_cast<int>(std::nearbyint(190.0f * (static_cast<float>(number) / divisor) + 10.0f));
    };
    expectOfBody<char, unsigned short>(body(2, 1), [&](char h) { return h == -128 ? 0 : spread(h + 127, 254.0f); });
    expectOfBody<short, unsigned char>(body(0, 3),
                                       [&](short h) { return h == -32768 ? 0 : spread(h + 32767, 65534.0f); });
    expectOfBody<int, unsigned char>(
        body(0, 4), [&](int h) { return h == INT32_MIN ? 0 : spread(h * 127L / 2147483647 + 127, 255.0f); });
    expectOfBody<float, unsigned short>(
        body(2, 5), [](float h) { return std::clamp(static_cast<double>(h) / 0.02 + 100.0, 0.0, 65535.0); });
}

/// With e = 2^-23 the product 3 x (1 + e) lies between two floats and rounds up to 3 + 4e, so that less 1.5 + 4e it is
/// a half; with one rounding it stays below.
TEST(RangeToImageBodies, TheFusedBlockRoundsOnce)
{
    const float e = 1.0f / (1 << 23), a = 1.0f + e, b = 1.5f + 4 * e;
    const std::vector<unsigned char> bytes(20, 3);
    EXPECT_EQ((linear<NOXEL::parallelRECT2Mat1_8Uto8U_TBBSSE, unsigned char, unsigned char>(bytes, a, b)[1]), 2);
    EXPECT_EQ((linear<NOXEL::parallelRECT2Mat1_8Uto8U_TBBFMA, unsigned char, unsigned char>(bytes, a, b)[1]), 1);
}

TEST(RangeToImageBodies, ThePixelBodiesMapByFlatIndex)
{
    NoxRangeImage heights = image<float>(4, 1, {0, 5, 12, nox::Element<float>::invalid}), linear;
    NoxImage grayImage;
    grayImage.SetSize(1, 1, NoxImageType16U);  // Set gives it size and depth
    NOXEL::ImageConverterTBB converter;
    converter.Set(0, 10, 0, 10, 50, 250, NoxImageType8U, &heights, &grayImage);
    converter(tbb::blocked_range<int>(0, 4));
    EXPECT_EQ(grays(grayImage), (std::vector<int>{50, 150, 250, 0}));
    grayImage.SetSize(1, 1, NoxImageType8U);  // of one side alone as well
    converter.Set(5, 5, 0, 10, 50, 250, NoxImageType8U, &heights, &grayImage);
    converter(tbb::blocked_range<int>(0, 4));
    EXPECT_EQ(grays(grayImage), (std::vector<int>{50, 150, 150, 0}));

    NOXEL::ImageLinearTBB line;
    line.Set(0, 8, 100, 70000, NoxImageType16U, &heights, &linear);
    line(tbb::blocked_range<int>(0, 4));
    const auto* values = reinterpret_cast<const double*>(linear.Data());
    constexpr double invalid = nox::Element<double>::invalid;
    EXPECT_EQ(std::vector<double>(values, values + 4), (std::vector<double>{100, 43787, invalid, invalid}));
}

}  // namespace
