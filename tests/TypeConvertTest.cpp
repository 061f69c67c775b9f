#include "tests/support/Samples.h"

#include <cfloat>

namespace {

using namespace samples;

/// Depth is (value - 1) * 2, that of doubles the value; optical centre at column 1.5, row 0.5; pixels of `scaleX` by
/// 0.25 for each unit of depth.
NoxRangeImage perspective(int width, int height, int dataType, std::vector<double> values, double scaleX = 0.5)
{
    NoxRangeImage image;
    image.SetSize(width, height, dataType);
    image.SetType(1);
    image.SetInfo(2.0, 1.0, 0.2, 11, 0.3, 13);
    setParameters(image, {1.5, 0.5, scaleX, 0.25, 7.0, 8.0});
    cv::Mat(height, width, CV_64F, values.data()).convertTo(image.Matrix(), dataType);
    return image;
}

/// The reference is at depth 100.
long convert(NoxRangeImage& source, NoxRangeImage* output, int method)
{
    return NOXEL::Nox3DDataConvert().RangeImageTypeConvert(source, output, 100.0, method);
}

// Depth 30, but 40 in row 1, column 3, 20 in row 2, column 1, and none in row 2, column 2.
// x is -22.5, -7.5, 7.5 and 22.5, y is -3.75, 3.75 and 11.25, but 30 and 5 at depth 40, -5 and 7.5 at depth 20.
// Method 0 leaves the pixels, less row 0 and column 0, where the minima lie.
// The grid of method 1 has 1.8 times the pixels, 7 x 5 of 10 x 5, and begins at x -22.5, y -3.75:
//   row 0 and 1  -  70  70  70  70  60  60      the pixels 1 to 3 of row 1, in columns 1, 3 and 5
//   row 2        -  80  80   -  70  70   -      the two of row 2, in row 2, column 1 and in row 3, column 4
//   row 3        -   -   -   -  70  70   -
// Its columns 0, 2, 4, 6 and rows 0, 2, 4 remain.
TEST(TypeConvert, BothMethods)
{
    const double x = 17.5, y = 25.0 / 3.0;
    const std::vector<float> pixels[] = {{kNone, kNone, kNone, kNone, kNone, 70, 70, 60, kNone, 80, kNone, 70},
                                         {kNone, 70, 70, 60, kNone, 80, 70, kNone, kNone, kNone, kNone, kNone}};
    const std::vector<double> info[] = {{15, 1.5, 7.5, 0.5, 1, 0},
                                        {x, static_cast<float>(22.5 / x), y, static_cast<float>(3.75 / y), 1, 0}};
    const std::vector<std::string> records = {"RangeImageTypeConvert: start-RangeImageTypeConvert",
                                              "RangeImageTypeConvert: end-RangeImageTypeConvert"};
    for (const int dataType : {2, 5, 6})
        for (const int method : {0, 1})
            for (const bool inPlace : {false, true}) {
                SCOPED_TRACE(testing::Message() << dataType << ", method " << method << ", " << inPlace);
                const auto number = [&](double depth) { return dataType == 6 ? depth : depth / 2 + 1; };
                std::vector<double> values(12, number(30));
                values[7] = number(40), values[9] = number(20);
                values[10] = dataType == 2 ? 0 : dataType == 5 ? kNone : -DBL_MAX;
                NoxRangeImage source = perspective(4, 3, dataType, values), output;
                NoxRangeImage& target = inPlace ? source : output;
                const replaced::LogScope log;
                ASSERT_EQ(convert(source, &target, method), 0);
                EXPECT_EQ(log.records(), records);
                EXPECT_EQ(target.Type(), 0);
                EXPECT_EQ(target.DataType(), 5);
                EXPECT_EQ(target.Width(), 4);
                EXPECT_EQ(heightsOf(target), pixels[method]);
                EXPECT_EQ(gridOf(target), info[method]);
            }
}

TEST(TypeConvert, EveryWidth)
{
    for (int width = 2; width <= 40; ++width)
        for (const double scaleX : {0.5, -0.5}) {  // the lowest x in the first column, in the last
            std::vector<double> values(2 * static_cast<std::size_t>(width), 16.0);
            std::vector<float> expected(values.size(), 70.0F);
            std::fill_n(expected.begin(), scaleX > 0 ? width + 1 : width, kNone);
            values.back() = expected.back() = kNone;
            NoxRangeImage source = perspective(width, 2, 5, values, scaleX), output;
            ASSERT_EQ(convert(source, &output, 0), 0);
            EXPECT_EQ(heightsOf(output), expected) << width;
        }
}

const std::tuple<const char*, int, int, int, long, std::size_t> refusals[] = {
    {"size before type", 2, 0, -1, 11100001, 0},
    {"type", 2, 4, -1, 11100029, 0},
    {"a negative type", -1, 4, -1, 11100029, 0},
    {"type 0 before the method", 0, 4, -1, 11100025, 0},
    {"a negative method, silent", 1, 4, -1, 11200002, 0},
    {"method 2, between records", 1, 4, 2, 11200002, 2},
    {"no valid pixel", 1, 4, 0, 11100001, 2},
};

TEST(TypeConvert, RefusesInOrderAndLeavesTheOutput)
{
    for (const auto& [rule, type, width, method, code, records] : refusals) {
        SCOPED_TRACE(rule);
        NoxRangeImage source = perspective(width, 3, 2, std::vector<double>(3 * static_cast<std::size_t>(width))),
                      output;
        source.SetType(type);
        const replaced::LogScope log;
        EXPECT_EQ(convert(source, &output, method), code);
        EXPECT_EQ(log.records().size(), records);
        EXPECT_EQ(output.Width(), 0);
        EXPECT_EQ(source.DataType(), 2);
    }
}

// Method 1 on 4 x 3 pixels of a double image; scale = 0.9 * highest / lowest.
const std::tuple<const char*, double, double, double, unsigned long long, long, double> grids[] = {
    {"64 MB with 60 MB free", 1, 1290, 0.5, 60ULL << 20, 30602016, 0},
    {"three planes of 64 MB with 180 MB free", 1, 1290, 0.5, 180ULL << 20, 30602016, 0},
    {"35 cells with less than a MB free", 1, 2, 0.5, (1ULL << 20) - 1, 30602016, 0},
    {"35 cells with a MB free", 1, 2, 0.5, 1ULL << 20, 0, 0.5 * 7 / 4},
    {"just enough for three planes of 2760 x 2070", 1, 766.67, 0.5, 68558400, 0, 0.5 * 2760 / 4},
    {"sides beyond an int", 1e-30, 1e30, 0.5, ~0ULL, 30602016, 0},
    {"an infinite scale", 1e-320, 1e10, 0.5, ~0ULL, 30602016, 0},
    {"too large for any memory", 1, 5e8, 0.5, 1ULL << 40, 30602016, 0},
    {"lowest depth 0 counts as a tenth", 0, 0.2, 0.5, ~0ULL, 0, 0.1 * 0.5 * 7 / 4},
    {"a side of 0 is one cell", -1, 0, 0.5, ~0ULL, 0, 0.5 * 1 / 4},
    {"negative depths", -20, -10, 0.5, ~0ULL, 0, 20 * 0.5 * 1 / 4},
    {"pixels without a width", 10, 20, 0, ~0ULL, 0, 0},
    {"pixels of no size that is a number", 10, 20, NAN, ~0ULL, 0, NAN},
    {"pixels of negative width", 10, 20, -0.5, ~0ULL, 0, 10 * -0.5 * 7 / 4},
};

TEST(TypeConvert, GridsThatAreNone)
{
    for (const auto& [rule, lowest, highest, scaleX, available, code, resolutionX] : grids) {
        SCOPED_TRACE(rule);
        std::vector<double> depths(12, highest);
        depths[5] = lowest;
        NoxRangeImage source = perspective(4, 3, 6, depths, scaleX), output;
        const replaced::MemoryScope memory(available);
        EXPECT_EQ(convert(source, &output, 1), code);
        EXPECT_EQ(output.Width(), code == 0 ? 4 : 0);
        if (code != 0) continue;
        EXPECT_TRUE(std::abs(output.ResolutionX() - resolutionX) < 1e-12 || std::isnan(resolutionX));
        EXPECT_TRUE(scaleX != 0 || heightsOf(output) == std::vector<float>(12, kNone));
    }
}

TEST(TypeConvert, TooLittleMemoryForTheGridIsToldBeforeThePointsTakeAny)
{
    NoxRangeImage source = perspective(2400, 2400, 2, std::vector<double>(2400 * 2400, 16.0)), output;
    const replaced::MemoryScope memory(15ULL << 20);  // the grid of 2160 x 2160 is asked for as 17.8 MB
    EXPECT_EQ(convert(source, &output, 1), 30602016);
    EXPECT_THROW(convert(source, &output, 0), std::bad_alloc);
}

}  // namespace
