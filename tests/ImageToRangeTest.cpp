#include "tests/support/Samples.h"

#include <ImageToRangeBodies.h>

#include "frame/Streaming.h"

#include <cstdlib>
#include <numeric>

namespace {

using namespace samples;
using NOXEL::Nox3DDataConvert;

template <class S>
NoxImage imageOf(int width, int height)
{
    NoxImage image;
    image.SetSize(width, height, cv::DataType<S>::depth);
    S* grays = reinterpret_cast<S*>(image.ImageData());
    for (int i = 0; i < width * height; ++i) grays[i] = static_cast<S>(i * 7);  // meets every gray in 65,536 pixels
    return image;
}

long linear(NoxImage& image, NoxRangeImage* range, int dataType, double scale = 1.0, double offset = 0.0)
{
    return Nox3DDataConvert().ImageToRangeImage(image, range, dataType, scale, offset, 0.2, 11, 0.3, 13, 0.4, 17);
}

long automatic(NoxImage& image, NoxRangeImage* range, int dataType)
{
    return Nox3DDataConvert().ImageToRangeImageAuto(image, range, dataType, 0.2, 11, 0.3, 13, 0.4, 17);
}

template <class S, class D>
D linearRule(S gray, double scale, double offset)
{
    if (gray == 0) return nox::Element<D>::invalid;
    const double x = gray * scale + offset;
    if (std::is_floating_point_v<D>) return static_cast<D>(x);
    if (sizeof(S) == 2 && std::is_same_v<D, char>)
        return std::abs(x) < 9e18 ? static_cast<D>(static_cast<long long>(x)) : D(0);
    if (!(std::abs(x) < 2147483647.5)) return nox::Element<D>::invalid;
    using Saturating = std::conditional_t<std::is_same_v<D, char>, signed char, D>;
    return static_cast<D>(cv::saturate_cast<Saturating>(x));
}

template <class S, class D>
D automaticRule(S gray)
{
    const int code = cv::DataType<D>::depth;
    if (sizeof(S) == 1) {
        if (code == 0) return static_cast<D>(gray);
        if (code == 2) return static_cast<D>(gray ? std::min(65535.0F, float(gray) * 258.00787F + 1.0F) : 0);
        if (code < 5) return static_cast<D>(gray ? (gray - 1.0) * (65534.0 / 254.0) - 32767.0 : 0);
        return gray ? static_cast<D>((gray - 128.0) * 0.01) : nox::Element<D>::invalid;
    }
    if (code == 0) return static_cast<D>(gray ? std::min(255.0F, float(gray) * 0.0038758507F + 1.0F) : 0);
    if (code == 2) return static_cast<D>(gray);
    if (code < 5) return static_cast<D>(gray - 32768);
    return gray ? static_cast<D>((gray - 32768.0) * 0.001) : nox::Element<D>::invalid;
}

/// Compares all heights with the rule's; a NaN equals a NaN.
template <class S, class D, class Rule>
void expectRule(const NoxImage& image, const NoxRangeImage& range, const Rule& rule)
{
    ASSERT_EQ(range.DataType(), int{cv::DataType<D>::depth});
    ASSERT_EQ(range.Width(), image.Width());
    ASSERT_EQ(range.Height(), image.Height());
    const S* grays = reinterpret_cast<const S*>(image.ImageData());
    const D* heights = reinterpret_cast<const D*>(range.Data());
    for (int i = 0; i < image.Width() * image.Height(); ++i) {
        const D expected = rule(grays[i]);
        if (heights[i] != expected && !(std::isnan(double(heights[i])) && std::isnan(double(expected))))
            FAIL() << "gray " << grays[i] << ": " << double(heights[i]) << ", not " << double(expected);
    }
}

/// Calls f(gray tag, height tag) for all pairs.
template <class F>
void forPairs(const F& f)
{
    for (int dataType = 0; dataType <= 6; ++dataType)
        nox::dispatch(dataType, nox::Elements{}, [&](auto height) {
            SCOPED_TRACE(dataType);
            f(static_cast<unsigned char>(0), typename decltype(height)::type());
            f(static_cast<unsigned short>(0), typename decltype(height)::type());
        });
}

void expectLinear(int width, int height, double scale, double offset)
{
    forPairs([&](auto s, auto d) {
        using S = decltype(s);
        using D = decltype(d);
        NoxImage image = imageOf<S>(width, height);
        NoxRangeImage range;
        ASSERT_EQ(linear(image, &range, cv::DataType<D>::depth, scale, offset), 0);
        expectRule<S, D>(image, range, [&](S g) { return linearRule<S, D>(g, scale, offset); });
    });
}

struct Map
{
    const char* rule;
    double scale, offset;
};

const Map maps[] = {
    {"a general map, negative heights", 0.37, -33.3},
    {"halves go to even", 0.5, 0.0},
    {"halves that are none in float", 0.5, -1e-7},
    {"low bits of a 16-bit gray", 1.0, 0.0},
    {"saturates everything", 1e6, -2e6},
    {"beyond 32 bits", 3e9, 5.0},
    {"beyond 64 bits", 1e300, 0.0},
    {"a NaN passes the test", NAN, 1.0},
    {"an infinite offset", 1.0, -INFINITY},
};

TEST(ImageToRange, LinearRuleForEveryGrayAndWidthOfAllPairs)
{
    for (const Map& map : maps) {
        SCOPED_TRACE(map.rule);
        expectLinear(37, 1772, map.scale, map.offset);
    }
    for (int width = 1; width <= 40; ++width) expectLinear(width, 3, 0.7, 3.0);
}

TEST(ImageToRange, FixedRuleForEveryGrayOfAllPairs)
{
    forPairs([&](auto s, auto d) {
        using S = decltype(s);
        using D = decltype(d);
        if (std::is_same_v<D, char>) return;
        NoxImage image = imageOf<S>(37, 1772);
        NoxRangeImage range;
        ASSERT_EQ(automatic(image, &range, cv::DataType<D>::depth), 0);
        expectRule<S, D>(image, range, automaticRule<S, D>);
    });
}

struct Refusal
{
    const char* rule;
    int channels, width, dataType;
    double scale, resolutionX, resolutionY, resolutionZ;
    long code, automaticCode;
};

const Refusal refusals[] = {
    {"channels before size", 3, 0, 7, 0, 0, 0, 0, 11000005, 11000005},
    {"size before type", 1, 0, 7, 0, 0, 0, 0, 11000001, 11000001},
    {"type before scale", 1, 5, 7, 0, 0, 0, 0, 11200001, 11200001},
    {"a negative type", 1, 5, -1, 0, 0, 0, 0, 11200001, 11200001},
    {"scale first, where there is one", 1, 5, 5, 0, 0, 0, 0, 11200002, 11200002},
    {"resolution X before Y", 1, 5, 5, 1, 0, 0, 0, 11200004, 11200002},
    {"resolution Y before Z", 1, 5, 5, 1, 1, -1, 0, 11200006, 11200004},
    {"resolution Z", 1, 5, 5, 1, 1, 1, 0, 11200008, 11200006},
    {"a NaN passes", 1, 5, 5, NAN, NAN, NAN, NAN, 0, 0},
    {"nothing to refuse", 1, 5, 5, 1, 0.2, 0.3, 0.4, 0, 0},
    {"signed bytes have no fixed rule", 1, 5, 1, 1, 1, 1, 1, 0, 11200001},
};

TEST(ImageToRange, RefusesInOrderAndLeavesTheRest)
{
    for (const Refusal& r : refusals)
        for (const bool fixed : {false, true}) {
            SCOPED_TRACE(r.rule);
            NoxImage image;
            image.SetSize(r.width, 4, 0, r.channels);
            image.Matrix().setTo(0);
            NoxRangeImage range;
            range.SetSize(3, 2, 5);
            range.SetType(1);
            const unsigned char* pixels = range.Data();
            const long code =
                fixed ? Nox3DDataConvert().ImageToRangeImageAuto(image, &range, r.dataType, r.resolutionX, 2,
                                                                 r.resolutionY, 3, r.resolutionZ, 4)
                      : Nox3DDataConvert().ImageToRangeImage(image, &range, r.dataType, r.scale, 1, r.resolutionX, 2,
                                                             r.resolutionY, 3, r.resolutionZ, 4);
            EXPECT_EQ(code, fixed ? r.automaticCode : r.code);
            EXPECT_EQ(range.Type(), 0);
            EXPECT_EQ(range.Data() == pixels, code != 0);
            const std::vector<double> grid{r.resolutionX, 2, r.resolutionY, 3, r.resolutionZ, 4};
            EXPECT_TRUE(code != 0 ? range.OffsetZ() == 0 : sameBits(grid, gridOf(range).data()));
        }
}

TEST(ImageToRange, OtherDepthsKeepThePixels)
{
    NoxRangeImage range;
    range.SetSize(3, 2, 5);
    const unsigned char* pixels = range.Data();
    NoxImage image;
    for (const int depth : {1, 3, 4, 5, 6}) {
        image.SetSize(5, 4, depth);
        EXPECT_EQ(linear(image, &range, 5), 30602005);
        EXPECT_EQ(automatic(image, &range, 5), 30602007);
    }
    EXPECT_EQ(range.Data(), pixels);
}

TEST(ImageToRange, SharersKeepTheirPixelsAndColoursStayWhereTheyFit)
{
    NoxImage image = imageOf<unsigned short>(5, 4);
    NoxRangeImage range;
    range.SetSize(5, 4, 2);
    range.SetColorSize(5, 4, 3);
    const NoxRangeImage sharer = range;
    ASSERT_EQ(linear(image, &range, 2), 0);
    EXPECT_NE(range.Data(), sharer.Data());
    EXPECT_EQ(range.ColorData(), sharer.ColorData());
    NoxImage wider = imageOf<unsigned short>(6, 4);
    ASSERT_EQ(linear(wider, &range, 2), 0);
    EXPECT_EQ(range.ColorData(), nullptr);
    EXPECT_NE(sharer.ColorData(), nullptr);
}

/// Runs with both settings: see the test's environment.
TEST(ImageToRange, EfficiencyWritesInPlaceUnlessTheImageLiesThere)
{
    const char* setting = std::getenv("NOX_TEST_EFFICIENCY");
    const bool efficient = setting && std::atoi(setting) == 1;
    NoxImage image = imageOf<unsigned short>(37, 21);
    NoxRangeImage range;
    range.SetSize(37, 21, 4);
    const NoxRangeImage sharer = range;
    ASSERT_EQ(automatic(image, &range, 4), 0);
    EXPECT_EQ(range.Data() == sharer.Data(), efficient);
    EXPECT_EQ(&range.Matrix() == &sharer.Matrix(), efficient);
    expectRule<unsigned short, int>(image, range, automaticRule<unsigned short, int>);

    range.SetMatrix(image.Matrix());
    ASSERT_EQ(automatic(image, &range, 2), 0);
    EXPECT_NE(range.Data(), image.ImageData());
    ASSERT_EQ(automatic(image, &range, 5), 0);
    expectRule<unsigned short, float>(image, range, automaticRule<unsigned short, float>);
}

TEST(ImageToRangeBodies, WriteTheirRowsOfMatricesWithGaps)
{
    cv::Mat grays(4, 9, CV_8U, cv::Scalar(10)), heights(4, 9, CV_32F, cv::Scalar(7));
    cv::Mat source = grays.colRange(2, 7), destination = heights.colRange(1, 5);
    NOXEL::ImageToRangeImageConverterTBB<unsigned char, float>{2.0, 1.0, &source, &destination}({1, 3});
    for (int row = 0; row < 4; ++row)
        for (int column = 0; column < 9; ++column)
            EXPECT_EQ(heights.at<float>(row, column), row % 3 && column > 0 && column < 5 ? 21.0F : 7.0F);
}

TEST(ImageToRangeBodies, LowBitsOfWhatDoesNotFitASigned16BitHeight)
{
    cv::Mat grays(1, 8, CV_8U, cv::Scalar(9)), heights(1, 8, CV_16S);
    NOXEL::ImageToRangeImageConverterAutoTBB8Uto16S<short>{1e4, 1.0, &grays, &heights}({0, 1});
    for (int column = 0; column < 8; ++column) EXPECT_EQ(heights.at<short>(0, column), 80000 - 32767 - 65536);
}

TEST(ImageToRangeBodies, FlatBodyCountsFromOneInBytes)
{
    for (const int depth : {0, 2}) {
        NoxImage image;
        image.SetSize(3, 1, depth);
        const unsigned char grays[6] = {0, 9, 200}, wide[6] = {0, 0, 9, 0, 200, 0};
        std::copy_n(depth == 0 ? grays : wide, depth == 0 ? 3 : 6, image.ImageData());
        NoxRangeImage range, output;
        NOXEL::ImageToRangeImageConverterTBBNew body;
        body.Set(2.0, 4.0, 3, &image, &range);
        body({0, 99});
        body.Get(&output);
        const short* heights = reinterpret_cast<const short*>(output.Data());
        EXPECT_EQ(heights[0], -32768);
        EXPECT_EQ(heights[1], depth == 0 ? 8 : 11);  // (9 - 4 - 1) * 2 and (9 - 4) * 2 + 1
        body.Set(2.0, 4.0, depth, &image, &range);
        body({2, 3});
        EXPECT_EQ(range.Data()[depth == 0 ? 2 : 4], 200);
    }
}

TEST(Streaming, FillsEveryRowOfEveryPlaceAndNothingElse)
{
    for (const std::size_t n : {0U, 1U, 7U, 31U, 32U, 33U, 95U, 4127U, 9001U})
        for (std::size_t first = 0; first < 33; ++first) {
            alignas(32) static short row[9100];
            std::fill(std::begin(row), std::end(row), short{-1});
            nox::fillRow(row + first, n, true, [](short* piece, std::size_t from, std::size_t count) {
                std::iota(piece, piece + count, static_cast<short>(from));
            });
            for (std::size_t i = 0; i < std::size(row); ++i)
                ASSERT_EQ(row[i], i < first || i >= first + n ? -1 : static_cast<short>(i - first))
                    << n << " " << first;
        }
}

}  // namespace
