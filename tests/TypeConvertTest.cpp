#include <Nox3DDataConvert.h>

#include "tests/support/Replacements.h"

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <string>
#include <vector>

namespace {

using NOXEL::Nox3DDataConvert;

constexpr float none = -3.4028234663852886e38F;
constexpr double reference = 100.0;

/// Depth is (value - 1) * 2; optical centre at column 1.5, row 0.5; pixels of 0.5 by 0.25 for each unit of depth.
NoxRangeImage perspective(int width, int height, int dataType, const std::vector<double>& values)
{
    NoxRangeImage image;
    image.SetSize(width, height, dataType);
    image.SetType(1);
    image.SetInfo(2.0, 1.0, 0.2, 11, 0.3, 13);
    NoxVarArray parameters;
    parameters.SetSize(6);
    for (int i = 0; i < 6; ++i) parameters[i] = std::vector<double>{1.5, 0.5, 0.5, 0.25, 7.0, 8.0}[i];
    image.SetInfo(parameters);
    cv::Mat(height, width, CV_64F, const_cast<double*>(values.data())).convertTo(image.Matrix(), dataType);
    return image;
}

/// Depth 30, but 40 in row 1, column 3, 20 in row 2, column 1, and none in row 2, column 2.
NoxRangeImage scene(double marker = none, int dataType = 5)
{
    return perspective(4, 3, dataType, {16, 16, 16, 16, 16, 16, 16, 21, 16, 11, marker, 16});
}

std::vector<float> heights(const NoxRangeImage& image)
{
    const auto* first = reinterpret_cast<const float*>(image.Data());
    return {first, first + image.Width() * image.Height()};
}

std::vector<double> info(const NoxRangeImage& image)
{
    return {image.ResolutionZ(), image.OffsetZ(),     image.ResolutionX(),
            image.OffsetX(),     image.ResolutionY(), image.OffsetY()};
}

long convert(NoxRangeImage& source, NoxRangeImage* output, int method)
{
    return Nox3DDataConvert().RangeImageTypeConvert(source, output, reference, method);
}

// x is -22.5, -7.5, 7.5 and 22.5, y is -3.75, 3.75 and 11.25, but 30 and 5 at depth 40, -5 and 7.5 at depth 20.
TEST(TypeConvert, RelabelsWithTheMeanPixel)
{
    for (const bool inPlace : {false, true}) {
        NoxRangeImage source = scene(), output;
        NoxRangeImage* target = inPlace ? &source : &output;
        ASSERT_EQ(convert(source, target, 0), 0);
        EXPECT_EQ(target->Type(), 0);
        EXPECT_EQ(target->DataType(), 5);
        EXPECT_EQ(info(*target), std::vector<double>({1, 0, 15, 1.5, 7.5, 0.5}));
        EXPECT_EQ(heights(*target), std::vector<float>({none, none, none, none, none, 70, 70, 60, none, 80, none, 70}));
    }
}

// The grid has 1.8 times the pixels, 7 x 5 of 10 x 5, and begins at x -22.5, y -3.75:
//   row 0 and 1  -  70  70  70  70  60  60      the pixels 1 to 3 of row 1, in columns 1, 3 and 5
//   row 2        -  80  80   -  70  70   -      the two of row 2, in row 2, column 1 and in row 3, column 4
//   row 3        -   -   -   -  70  70   -
// Its columns 0, 2, 4, 6 and rows 0, 2, 4 remain.
TEST(TypeConvert, MovesPixelsToTheirPlaces)
{
    for (const bool inPlace : {false, true})
        for (const int dataType : {5, 2}) {
            NoxRangeImage source = scene(dataType == 5 ? none : 0, dataType), output;
            NoxRangeImage* target = inPlace ? &source : &output;
            ASSERT_EQ(convert(source, target, 1), 0);
            EXPECT_EQ(target->Type(), 0);
            EXPECT_EQ(target->Width(), 4);
            EXPECT_EQ(heights(*target),
                      std::vector<float>({none, 70, 70, 60, none, 80, 70, none, none, none, none, none}));
            EXPECT_EQ(info(*target), std::vector<double>({1, 0, 17.5, static_cast<float>(22.5 / 17.5), 25.0 / 3.0,
                                                          static_cast<float>(3.75 / (25.0 / 3.0))}));
        }
}

TEST(TypeConvert, DoubleDepthsAreTakenAsTheyAre)
{
    NoxRangeImage source = perspective(4, 3, 6, std::vector<double>(12, 30.0)), output;
    ASSERT_EQ(convert(source, &output, 0), 0);
    EXPECT_EQ(heights(output)[6], 70.0F);
}

TEST(TypeConvert, EveryWidth)
{
    for (int width = 2; width <= 40; ++width) {
        NoxRangeImage source = perspective(width, 2, 5, std::vector<double>(2 * width, 16.0)), output;
        reinterpret_cast<float*>(source.Data())[2 * width - 1] = none;
        ASSERT_EQ(convert(source, &output, 0), 0);
        std::vector<float> expected(2 * width, 70.0F);
        std::fill_n(expected.begin(), width + 1, none);  // row 0 and column 0 hold the minima
        expected.back() = none;
        EXPECT_EQ(heights(output), expected) << width;
    }
}

TEST(TypeConvert, LowestDepthZeroCountsAsATenth)
{
    NoxRangeImage source = perspective(4, 3, 6, {0.2, 0.2, 0.2, 0.2, 0.2, 0.2, 0.2, 0.2, 0.2, 0, 0.2, 0.2}), output;
    ASSERT_EQ(convert(source, &output, 1), 0);
    EXPECT_DOUBLE_EQ(output.ResolutionX(), 0.1 * 0.5 * 7 / 4);  // 1.8 times the pixels again
}

struct Refusal
{
    const char* rule;
    int type, width, method;
    long code;
    std::size_t records;
};

const Refusal refusals[] = {
    {"size before type", 2, 0, -1, 11100001, 0},
    {"type", 2, 4, -1, 11100029, 0},
    {"a negative type", -1, 4, -1, 11100029, 0},
    {"type 0 before the method", 0, 4, -1, 11100025, 0},
    {"a negative method, silently", 1, 4, -1, 11200002, 0},
    {"method 2, between records", 1, 4, 2, 11200002, 2},
    {"no valid pixel", 1, 4, 0, 11100001, 2},
};

TEST(TypeConvert, RefusesInOrderAndLeavesTheOutput)
{
    for (const Refusal& r : refusals) {
        SCOPED_TRACE(r.rule);
        NoxRangeImage source = perspective(r.width, 3, 2, std::vector<double>(3 * r.width)), output;
        source.SetType(r.type);
        const replaced::LogScope log;
        EXPECT_EQ(convert(source, &output, r.method), r.code);
        EXPECT_EQ(log.records().size(), r.records);
        EXPECT_EQ(output.Width(), 0);
        EXPECT_EQ(source.DataType(), 2);
    }
    NoxRangeImage source = scene();
    const replaced::LogScope log;
    ASSERT_EQ(convert(source, &source, 1), 0);
    EXPECT_EQ(log.records(), std::vector<std::string>({"RangeImageTypeConvert: start-RangeImageTypeConvert",
                                                       "RangeImageTypeConvert: end-RangeImageTypeConvert"}));
}

struct Grid
{
    const char* rule;
    double lowest, highest, scaleX;
    unsigned long long available;
    long code;
};

// Method 1 on 4 x 3 pixels of a double image; scale = 0.9 * highest / lowest.
const Grid grids[] = {
    {"64 MB with 60 MB free", 1, 1290, 0.5, 60ULL << 20, 30602016},
    {"three planes of 64 MB with 180 MB free", 1, 1290, 0.5, 180ULL << 20, 30602016},
    {"sides beyond an int", 1e-30, 1e30, 0.5, ~0ULL, 30602016},
    {"an infinite scale", 1e-320, 1e10, 0.5, ~0ULL, 30602016},
    {"too large for any memory", 1, 5e8, 0.5, 1ULL << 40, 30602016},
    {"a side of 0 is one cell", -1, 0, 0.5, ~0ULL, 0},
    {"negative depths", -20, -10, 0.5, ~0ULL, 0},
    {"pixels without a width", 10, 20, 0, ~0ULL, 0},
    {"pixels of no size that is a number", 10, 20, NAN, ~0ULL, 0},
    {"pixels of negative width", 10, 20, -0.5, ~0ULL, 0},
};

TEST(TypeConvert, GridsThatAreNone)
{
    for (const Grid& g : grids) {
        SCOPED_TRACE(g.rule);
        std::vector<double> depths(12, g.highest);
        depths[5] = g.lowest;
        NoxRangeImage source = perspective(4, 3, 6, depths), output;
        NoxVarArray parameters;
        parameters.SetSize(3);
        parameters[0] = 1.5, parameters[1] = 0.5, parameters[2] = g.scaleX;
        source.SetInfo(parameters);
        const replaced::MemoryScope memory(g.available);
        EXPECT_EQ(convert(source, &output, 1), g.code);
        EXPECT_EQ(output.Width(), g.code == 0 ? 4 : 0);
        if (g.code != 0 || g.scaleX != 0) continue;
        EXPECT_EQ(heights(output), std::vector<float>(12, none));
    }
}

TEST(TypeConvert, ExceptionsPassAndLeaveTheOutput)
{
    NoxRangeImage source = perspective(2500, 2400, 2, std::vector<double>(2500 * 2400, 16.0)), output;
    const replaced::MemoryScope memory(12ULL * 2500 * 2400 - 1);
    EXPECT_THROW(convert(source, &source, 0), std::bad_alloc);
    EXPECT_EQ(source.Type(), 1);
    const replaced::LogScope throwing(true);
    EXPECT_THROW(convert(source, &output, 0), std::runtime_error);
}

}  // namespace
