#include "tests/support/Samples.h"

#include <RangeToCloudBodies.h>

#include <cstdint>
#include <random>

namespace {

using namespace NOXEL;
using namespace samples;

using Bytes = std::vector<unsigned char>;

const std::vector<double> kParameters{2.25, 1.5, 0.125, 0.375, 0.5, 3.0};

/// Resolution Z 0.5, offset Z 3; along the columns 2 and -1.25, along the rows 0.7 and 4.5.
NoxRangeImage emptyGrid(int width, int height, int dataType, int type)
{
    NoxRangeImage image;
    image.SetSize(width, height, dataType);
    image.SetType(type);
    image.SetInfo(0.5, 3.0, 2.0, -1.25, 0.7, 4.5);
    setParameters(image, kParameters);
    return image;
}

/// Every fourth pixel or so is invalid; some integers are next to that, some floating-point ones NaN or infinite.
template <class T>
NoxRangeImage grid(int width, int height, int type)
{
    const int dataType = cv::DataType<T>::depth;
    NoxRangeImage image = emptyGrid(width, height, dataType, type);
    std::mt19937 random(static_cast<unsigned>(width * 7 + dataType));
    for (long i = 0; i < static_cast<long>(width) * height; ++i) {
        const auto draw = random();
        T value = static_cast<T>(draw >> 20);
        if (draw % 4 == 0) value = nox::Element<T>::invalid;
        if (nox::isScaled<T> && draw % 16 == 1) value = static_cast<T>(nox::Element<T>::invalid + 1);
        if (!nox::isScaled<T> && draw % 16 == 1) value = static_cast<T>(kNaN);
        if (!nox::isScaled<T> && draw % 16 == 2) value = static_cast<T>(draw % 32 == 2 ? kInfinity : -kInfinity);
        pixels<T>(image)[i] = value;
    }
    return image;
}

void paint(NoxRangeImage& image, int channels)
{
    image.SetColorSize(image.Width(), image.Height(), channels);
    for (int i = 0; i < image.Width() * image.Height() * channels; ++i)
        image.ColorData()[i] = static_cast<unsigned char>(i * 5 + 1);
}

struct Cloud
{
    Floats points;
    Bytes colors;
};

/// The rule, pixel by pixel.
template <class T>
Cloud plainly(const NoxRangeImage& image)
{
    Cloud cloud;
    const bool scaled = image.DataType() <= 4;
    const int channels = image.ColorData() ? image.ColorMatrix().channels() : 0;
    if (channels == 2) return cloud;
    const double* p = kParameters.data();
    for (int row = 0; row < image.Height(); ++row) {
        for (int column = 0; column < image.Width(); ++column) {
            const int pixel = row * image.Width() + column;
            const T value = pixels<T>(image)[pixel];
            if (value == nox::Element<T>::invalid || (image.Type() == 0 && value != value)) continue;
            float x, y, z;
            if (image.Type() == 0) {
                x = (static_cast<float>(row) - 4.5f) * 0.7f;
                y = (static_cast<float>(column) + 1.25f) * 2.0f;
                z = scaled ? (static_cast<float>(value) - 3.0f) * 0.5f : static_cast<float>(value);
            } else {
                z = static_cast<float>(scaled ? (static_cast<double>(value) - p[5]) * p[4]
                                              : static_cast<double>(value));
                x = static_cast<float>((column - p[0]) * static_cast<double>(z) * p[2]);
                y = static_cast<float>((row - p[1]) * static_cast<double>(z) * p[3]);
            }
            cloud.points.insert(cloud.points.end(), {x, y, z});
            if (channels == 0) continue;
            const unsigned char* c = image.ColorData() + pixel * channels;
            const bool gray = channels == 1;
            cloud.colors.insert(cloud.colors.end(), {c[0], gray ? c[0] : c[1], gray ? c[0] : c[2], 255});
        }
    }
    return cloud;
}

long convert(NoxRangeImage& image, NoxPointCloud& cloud)
{
    return NOXEL::Nox3DDataConvert().RangeImageToPointCloud(image, &cloud);
}

void expectConverted(NoxRangeImage& image, const Cloud& expected)
{
    NoxPointCloud cloud;
    ASSERT_EQ(convert(image, cloud), 0);
    ASSERT_EQ(cloud.Length() * 3, static_cast<int>(expected.points.size()));
    EXPECT_TRUE(sameBits(expected.points, cloud.PointData()));
    const NoxColorArray colors = cloud.DeepCopyColors();
    ASSERT_EQ(colors.Length() * 4, static_cast<int>(expected.colors.size()));
    EXPECT_TRUE(sameBits(expected.colors, colors.Data()));
}

TEST(RangeToCloud, RefusesInOrderAndLeavesTheCloud)
{
    const std::tuple<const char*, int, int, int, int, long> rows[] = {
        {"parameters before size", 1, 0, 0, 0, 11100029},
        {"parameter 1", 1, 1, 3, 0, 11100029},
        {"parameter 2", 1, 2, 3, 0, 11100029},
        {"parameter 3", 1, 3, 3, 0, 11100029},
        {"height resolution is free", 1, 4, 3, 0, 0},
        {"parameters belong to type 1", 0, 0, 3, 0, 0},
        {"size before type", 2, 9, 0, 0, 11100001},
        {"type", 2, 9, 3, 0, 11100029},
        {"colour plane smaller than the grid, before type", 2, 9, 3, 2, 30602009},
        {"colour plane larger than the grid", 0, 9, 3, 4, 0},
    };
    for (const auto& [rule, type, zeroParameter, width, colorWidth, code] : rows) {
        SCOPED_TRACE(rule);
        NoxRangeImage image = emptyGrid(width, 2, NoxDataType16S, type);
        std::fill_n(pixels<short>(image), width * 2, short{1});
        std::vector<double> parameters(10, 1.0);
        parameters[static_cast<std::size_t>(zeroParameter)] = 0.0;
        setParameters(image, parameters);
        if (colorWidth > 0) image.SetColorSize(colorWidth, 2, 3);
        NoxPointCloud cloud;
        NoxVector3dArray before;
        before.Append({1, 2, 3});
        cloud.SetPoints(before);
        EXPECT_EQ(convert(image, cloud), code);
        EXPECT_EQ(cloud.Length(), code == 0 ? 6 : 1);
    }
}

TEST(RangeToCloud, AsksForMemoryAboveThreeHundredMillionPixels)
{
    constexpr unsigned long long unlimited = ~0ULL;
    const std::tuple<const char*, int, int, unsigned long long, int, long> rows[] = {
        {"at the limit", 300000000, 1, 0, 0, 11100029},
        {"a byte too little", 300000001, 1, 24ULL * 300000001 - 1, 1, 30602012},
        {"just enough", 300000001, 1, 24ULL * 300000001, 1, 11100029},
        {"more points than an array holds", 65536, 32768, unlimited, 1, 30602009},
    };
    for (const auto& [rule, width, height, available, queries, code] : rows) {
        SCOPED_TRACE(rule);
        NoxRangeImage image = emptyGrid(width, height, NoxDataType8U, 2);  // the type ends it before any pixel
        NoxPointCloud cloud;
        const replaced::MemoryScope memory(available);
        EXPECT_EQ(convert(image, cloud), code);
        EXPECT_EQ(memory.queries(), queries);
    }
}

TEST(RangeToCloud, EveryWidthAndElementTypeFollowsTheRuleWithAnyColours)
{
    forEachElement([](auto tag) {
        using T = typename decltype(tag)::type;
        for (int type : {0, 1}) {
            for (int width = 1; width <= 40; ++width) {
                SCOPED_TRACE(testing::Message() << "type " << type << ", width " << width);
                NoxRangeImage image = grid<T>(width, 5, type);
                expectConverted(image, plainly<T>(image));
                paint(image, 1 + width % 4);
                expectConverted(image, plainly<T>(image));
            }
        }
    });
}

TEST(RangeToCloud, ManyTasksGiveTheOrderOfThePixels)
{
    // a last task of few points, many tasks, beyond the caches
    for (const cv::Size size : {cv::Size(40, 1641), cv::Size(700, 711), cv::Size(2300, 2311)}) {
        forEachElement([&size](auto tag) {
            using T = typename decltype(tag)::type;
            if (size.width > 700 && !std::is_same_v<T, float>) return;
            NoxRangeImage image = grid<T>(size.width, size.height, 0);
            expectConverted(image, plainly<T>(image));
        });
    }
    NoxRangeImage coloured = grid<double>(701, 300, 1);
    paint(coloured, 3);
    expectConverted(coloured, plainly<double>(coloured));
}

TEST(RangeToCloud, ReplacesColoursOnlyWhereTheImageHasSome)
{
    NoxRangeImage image = emptyGrid(3, 2, NoxDataType8S, 0);
    std::fill_n(pixels<char>(image), 6, static_cast<char>(-128));
    NoxPointCloud cloud;
    NoxColorArray colors;
    colors.SetSize(2, 1, 4);
    cloud.SetColors(colors);
    ASSERT_EQ(convert(image, cloud), 0);
    EXPECT_EQ(cloud.Length(), 0);
    EXPECT_EQ(cloud.DeepCopyColors().Length(), 2);
    paint(image, 3);
    ASSERT_EQ(convert(image, cloud), 0);
    EXPECT_EQ(cloud.PointData(), nullptr);
    EXPECT_FALSE(cloud.IsValidColor());
}

/// Runs a body over all rows by one call and compares with the rule.
template <class Body>
void expectBody(const Body& body, const NoxRangeImage& image, const int& count, const float* points,
                const Bytes& colors, const Cloud& expected)
{
    body(tbb::blocked_range<std::size_t>(0, static_cast<std::size_t>(image.Height())));
    ASSERT_EQ(count * 3, static_cast<int>(expected.points.size()));
    EXPECT_TRUE(sameBits(expected.points, points));
    EXPECT_TRUE(sameBits(expected.colors, colors.data()));
}

TEST(RangeToCloudBodies, AppendWhatTheOperationGives)
{
    forEachElement([](auto tag) {
        using T = typename decltype(tag)::type;
        const int w = 21, channels = 3;
        const float resolutionZ = nox::isScaled<T> ? 0.5f : 8.0f;  // without effect on floating-point heights
        const double p4 = nox::isScaled<T> ? 0.5 : 1.0, p5 = nox::isScaled<T> ? 3.0 : 0.0;
        for (int type : {0, 1}) {
            NoxRangeImage image = grid<T>(w, 6, type);
            const T* source = pixels<T>(image);
            const Cloud points = plainly<T>(image);
            paint(image, channels);
            const Cloud coloured = plainly<T>(image);
            Floats triples(w * 6 * 3);
            NoxVector3dArray array;
            array.SetSize(w * 6);
            Bytes colors(w * 6 * 4);
            int n = 0, m = 0;
            if (type == 1) {
                const double* p = kParameters.data();
                expectBody(RangeImageToPointCloud_TBB_TYPE1<T, float>(source, triples.data(), w, &n, p[0], p[1], p[2],
                                                                      p[3], p4, p5),
                           image, n, triples.data(), colors, points);
                expectBody(RangeImageToPointCloud_TBB_TYPE1WithColor<T, float>(
                               source, triples.data(), w, &m, image.ColorData(), colors.data(), channels, p[0], p[1],
                               p[2], p[3], p4, p5),
                           image, m, triples.data(), colors, coloured);
            } else {
                const auto invalid = nox::Element<T>::invalid;
                const auto code = static_cast<NoxDataType>(image.DataType());
                expectBody(RangeImageToPointCloudByTBB<T>(w, 2.0f, 0.7f, -1.25f, 4.5f, resolutionZ, 3.0f, invalid, &n,
                                                          &image.Matrix(), code, &array),
                           image, n, array.Data(), colors, points);
                expectBody(RangeImageToPointCloudByTBBWithColor<T>(w, 2.0f, 0.7f, -1.25f, 4.5f, resolutionZ, 3.0f,
                                                                   invalid, &m, &image.Matrix(), code, &array,
                                                                   image.ColorData(), colors.data(), channels),
                           image, m, array.Data(), colors, coloured);
            }
        }
    });
}

TEST(RangeToCloudBodies, EightBitFormsAgreeAtEveryWidth)
{
    for (int w = 1; w <= 40; ++w) {
        SCOPED_TRACE(w);
        NoxRangeImage image = grid<unsigned char>(w, 5, 0);
        const Cloud points = plainly<unsigned char>(image);
        paint(image, 1);
        const Cloud coloured = plainly<unsigned char>(image);
        Floats triples(static_cast<std::size_t>(w) * 15);
        Bytes colors(static_cast<std::size_t>(w) * 20);
        int plain = 0, blocks = 0, colour = 0;
        expectBody(RangeImageToPointCloud_TBB_8U(image.Data(), triples.data(), w, 2.0f, 0.7f, -1.25f, 4.5f, 0.5f, 3.0f,
                                                 &plain),
                   image, plain, triples.data(), colors, points);
        std::fill(triples.begin(), triples.end(), kNaN);
        expectBody(RangeImageToPointCloud_TBBSSE_8U(image.Data(), triples.data(), w, 2.0f, 0.7f, -1.25f, 4.5f, 0.5f,
                                                    3.0f, &blocks),
                   image, blocks, triples.data(), colors, points);
        expectBody(
            RangeImageToPointCloud_TBB_8UWithColor(image.Data(), image.ColorData(), colors.data(), 1, triples.data(), w,
                                                   2.0f, 0.7f, -1.25f, 4.5f, 0.5f, 3.0f, &colour),
            image, colour, triples.data(), colors, coloured);
    }
}

TEST(RangeToCloudBodies, ABlockLosesPointsWhoseXIsItsMarker)
{
    for (const float step : {1.0f, kLargest})  // x = (0 + 1) * step
        for (int width : {16, 18}) {
            const Bytes source(18, 1);
            Floats triples(54);
            int count = 0;
            const RangeImageToPointCloud_TBBSSE_8U body{source.data(), triples.data(), width, 1, step, 0, -1, 1, 0,
                                                        &count};
            body(tbb::blocked_range<std::size_t>(0, 1));
            EXPECT_EQ(count, step == 1 || width == 16 ? width : 2);  // blocks end before the last 16 columns
        }
}

TEST(RangeToCloudBodies, TakeStepAndInvalidValueFromTheirFieldsAndGoOnFromTheCount)
{
    Floats heights = {0, 1, 9, 5e-7f, 2e-6f, 9};  // rows of two, three floats apart
    cv::Mat mat(2, 2, CV_32F, heights.data(), 3 * sizeof(float));
    NoxVector3dArray array;
    array.SetSize(3);
    array.Replace(0, {7, 8, 9});
    int count = 1;
    const RangeImageToPointCloudByTBB<float> body{2, 1, 1, 0, 0, 1, 0, 0.0f, &count, &mat, NoxDataType32F, &array};
    body(tbb::blocked_range<std::size_t>(0, 2));
    ASSERT_EQ(count, 3);
    EXPECT_TRUE(sameBits(Floats{7, 8, 9, 0, 1, 1, 1, 1, 2e-6f}, array.Data()));
}

TEST(RangeToCloudBodies, PlanesKeepWhatTheyHoldAtInvalidPixels)
{
    const double heights[] = {-1.7976931348623157e308, 7, 9, 5, -1.7976931348623157e308, 1};
    cv::Mat planes[3];
    for (cv::Mat& plane : planes) plane = cv::Mat(2, 3, CV_32F, cv::Scalar(-1));
    const RangeImageToPointCloudTBB1<double> body{3,    2.0f,       0.5f,      4.0f,      1.5f,      -0.5f,
                                                  1.0f, -kInfinity, planes[0], planes[1], planes[2], heights};
    body(tbb::blocked_range<std::size_t>(0, 2));
    const Floats x = {-1, -24, 32, -48, -1, 0}, y = {-1, 6, 8, 12, -1, 0}, z = {-1, 24, 32, 16, -1, 0};
    EXPECT_TRUE(sameBits(x, planes[0].data));
    EXPECT_TRUE(sameBits(y, planes[1].data));
    EXPECT_TRUE(sameBits(z, planes[2].data));
}

}  // namespace
