#include "tests/support/Samples.h"

#include <OrderedCloudBodies.h>

namespace {

using namespace samples;
using Bytes = std::vector<unsigned char>;
using Points = std::vector<NoxVector3d>;
using Records = std::vector<std::string>;

Bytes colorsOf(const NoxRangeImage& image)
{
    const cv::Mat& m = image.ColorMatrix();
    return Bytes(m.data, m.data + m.total() * m.elemSize());
}

/// Method 1 on a grid 4 wide and 3 high with cells of 1 (y, columns) by 2 (x, rows).
struct Grid4x3
{
    NoxRangeImage image;
    long code = -1;

    explicit Grid4x3(NoxPointCloud cloud)
    {
        code = NOXEL::Nox3DDataConvert().PointCloudToRangeImage(cloud, &image, 1, 4, 3, 1.0, 2.0, 1.25, 1.5);
    }
};

/// x of row r, y of column c in that grid.
NoxVector3d at(float row, float column, float z) { return {(row - 1.5f) * 2.0f + 0.2f, column - 1.25f + 0.1f, z}; }

TEST(OrderedCloud, RefusesInOrder)
{
    // clang-format off
    const std::tuple<const char*, int, int, int, int, double, double, long> rows[] = {
        // rule                     points method width height first second  code
        {"cloud before method",          0,  2,  0,  0,  0.0,  0.0, 11100002},
        {"method before width",          1,  2,  0,  0,  0.0,  0.0, 11200001},
        {"method -1",                    1, -1,  1,  1,  1.0,  1.0, 11200001},
        {"width before height",          1,  0,  0, -1,  0.0,  0.0, 11200002},
        {"height before resolutions",    1,  1,  1,  0,  0.0,  0.0, 11200003},
        {"first resolution",             1,  1,  1,  1,  0.0, -1.0, 11200004},
        {"second resolution",            1,  0,  1,  1, 1e-9,  0.0, 11200005},
        {"a grid of one cell",           1,  0,  1,  1,  1.0,  1.0, 0},
        {"beyond memory, method 0",      1,  0, INT_MAX, INT_MAX, 1.0, 1.0, 30602010},
        {"beyond memory, method 1",      1,  1, INT_MAX, INT_MAX, 1.0, 1.0, 30602010},
    };
    // clang-format on
    for (const auto& [rule, points, method, width, height, first, second, code] : rows) {
        SCOPED_TRACE(rule);
        const replaced::MemoryScope memory(1ULL << 40);
        const replaced::LogScope log;
        NoxPointCloud cloud = cloudOf(Points(static_cast<std::size_t>(points), {1, 2, 3}));
        NoxRangeImage image;
        image.SetType(1);
        EXPECT_EQ(code, NOXEL::Nox3DDataConvert().PointCloudToRangeImage(cloud, &image, method, width, height, first,
                                                                         second, 0, 0));
        EXPECT_EQ(1, image.Type());
        EXPECT_EQ(code == 0 ? 1 : 0, image.Width());
        EXPECT_EQ(code == 0 || code == 30602010, !log.records().empty());
    }
}

TEST(OrderedCloud, Method1AsksForSixPlanesAndTheColours)
{
    for (const bool isShort : {false, true}) {
        const replaced::MemoryScope memory(2000ULL * 900 * (6 * 4 + 3 * 5) - isShort);
        NoxPointCloud cloud = cloudOf({{1, 2, 3}}, {7, 8, 9}, 3);
        NoxRangeImage image;
        EXPECT_EQ(NOXEL::Nox3DDataConvert().PointCloudToRangeImage(cloud, &image, 1, 2000, 900, 1, 1, 0, 0),
                  isShort ? 30602010 : 0);
    }
}

TEST(OrderedCloud, Method0CopiesHeightsByIndexWhateverTheyAre)
{
    Points points;
    for (int i = 0; i < 20; ++i) points.push_back({0, kNaN, static_cast<float>(i) - 3});
    points[4] = {0, 0, kNone};
    for (int count : {1, 10, 12, 20}) {
        const Points some(points.begin(), points.begin() + count);
        NoxPointCloud cloud = cloudOf(some, {1});  // one colour for all: method 0 reads none
        NoxRangeImage image;
        image.SetSize(4, 3, 0);
        image.SetColorSize(4, 3, 3);
        const NoxRangeImage sharer = image;
        const replaced::LogScope log;
        ASSERT_EQ(0, NOXEL::Nox3DDataConvert().PointCloudToRangeImage(cloud, &image, 0, 4, 3, 0.5, 0.25, 7, 9));
        Floats expected(12, kNone);
        for (std::size_t i = 0; i < 12 && i < some.size(); ++i) expected[i] = some[i].Z();
        EXPECT_EQ(expected, heightsOf(image));
        EXPECT_EQ(5, image.DataType());
        EXPECT_EQ(nullptr, image.ColorData());
        EXPECT_NE(nullptr, sharer.ColorData());
        EXPECT_EQ(std::vector<double>({0.25, 7, 0.5, 9, 1, 0}), gridOf(image));
        EXPECT_EQ(Records{"PointCloudToRangeImage: start-pointCloudToRangeImage_OrdenMethod0"}, log.records());
    }
}

TEST(OrderedCloud, Method1BinsIntoFourCellsAndKeepsTheTop)
{
    const float _ = kNone;
    // The threshold is 3 x max(1, 2) = 6.
    // clang-format off
    const std::tuple<const char*, Points, Floats> rows[] = {
        {"row and the row above, column and the next", {at(2, 1, 5)}, {_, _, _, _, _, 5, 5, _, _, 5, 5, _}},
        {"the last column has no next", {at(1, 3, 5)}, {_, _, _, 5, _, _, _, 5, _, _, _, _}},
        {"row 0 and column 0 are no base", {at(0, 2, 5), at(2, 0, 5)}, Floats(12, _)},
        {"beyond the grid", {at(3, 1, 5), at(1, 4, 5), at(-1, 1, 5)}, Floats(12, _)},
        {"x or y of 0 is no point", {{0, 1, 5}, {2, 0, 5}, {2, -0.0f, 5}}, Floats(12, _)},
        {"NaN, infinite and huge positions", {{kNaN, 1, 5}, {2, kInfinity, 5}, {3e38f, 1, 5}}, Floats(12, _)},
        {"means within the threshold", {at(1, 2, 5), at(1, 2, 11)}, {_, _, 8, 8, _, _, 8, 8, _, _, _, _}},
        {"higher replaces", {at(1, 2, 5), at(1, 2, 12)}, {_, _, 12, 12, _, _, 12, 12, _, _, _, _}},
        {"lower is dropped", {at(1, 2, 12), at(1, 2, 5)}, {_, _, 12, 12, _, _, 12, 12, _, _, _, _}},
        {"below 0 the last stays", {at(1, 1, -5), at(1, 1, -7)}, {_, -7, -7, _, _, -7, -7, _, _, _, _, _}},
        {"the own cell decides for its neighbours, each is replaced for itself",
         {at(2, 2, 30), at(1, 1, 13), at(1, 1, 15)}, {_, 14, 14, _, _, 14, 22.5f, 30, _, _, 30, 30}},
        {"a NaN height gives way", {at(1, 1, kNaN), at(1, 1, 4)}, {_, 4, 4, _, _, 4, 4, _, _, _, _, _}},
    };
    // clang-format on
    for (const auto& [rule, points, expected] : rows) {
        SCOPED_TRACE(rule);
        const replaced::LogScope log;
        const Grid4x3 grid(cloudOf(points));
        ASSERT_EQ(0, grid.code);
        EXPECT_EQ(Records{"PointCloudToRangeImage: start-pointCloudToRangeImage_OrdenMethod1"}, log.records());
        EXPECT_EQ(expected, heightsOf(grid.image));
        EXPECT_EQ(nullptr, grid.image.ColorData());
        EXPECT_EQ(std::vector<double>({1, 1.25, 2, 1.5, 1, 0}), gridOf(grid.image));
    }
    EXPECT_EQ(Floats(12, kNone), heightsOf(Grid4x3(cloudOf(Points(13, {0, 0, 1}))).image));
}

TEST(OrderedCloud, Method1FillsEveryWidthAndIgnoresSurplusPoints)
{
    for (int width = 1; width <= 40; ++width) {
        Points points;
        for (int i = 0; i < 3 * width; ++i) points.push_back({float(i / width) + 0.5f, float(i % width) + 0.5f, 7});
        points.insert(points.end(), 5, {1.5f, 1.5f, 1000});
        NoxPointCloud cloud = cloudOf(points);
        NoxRangeImage image;
        ASSERT_EQ(0, NOXEL::Nox3DDataConvert().PointCloudToRangeImage(cloud, &image, 1, width, 3, 1, 1, 0, 0));
        const auto expected = imageOf<float>(width, 3, [](int, int column) { return column == 0 ? kNone : 7; });
        EXPECT_EQ(heightsOf(expected), heightsOf(image)) << width;
    }
}

struct ColoredCell
{
    std::size_t cell;
    float height;
    Bytes color;
};

TEST(OrderedCloud, Method1Colors)
{
    // clang-format off
    const std::tuple<const char*, int, Points, Bytes, std::vector<ColoredCell>> rows[] = {
        {"one channel: the mean of the bytes in all four cells", 1, {at(1, 2, 5), at(1, 2, 8)}, {10, 21},
         {{2, 6.5f, {15}}, {3, 6.5f, {15}}, {6, 6.5f, {15}}, {7, 6.5f, {15}}}},
        {"one channel: replaced cell by cell", 1, {at(2, 3, 5), at(1, 2, 20), at(1, 3, 19)}, {10, 200, 100},
         {{2, 20, {200}}, {3, 19.5f, {150}}, {6, 20, {200}}, {7, 19.5f, {150}}, {11, 5, {10}}}},
        {"one channel: a highest of exactly 0 is untouched", 1, {at(1, 3, 0), at(1, 3, -2)}, {10, 30},
         {{3, -2, {30}}, {7, -2, {30}}}},
        {"three channels: the own cell only, heights below 0 too", 3,
         {at(1, 0, 9), at(1, 3, -9), at(1, 3, -4), at(1, 3, -99)}, {1, 1, 1, 9, 20, 30, 40, 50, 61, 99, 99, 99},
         {{7, -6.5f, {24, 35, 45}}}},
        {"three channels: 0 is a height, more than the threshold higher replaces", 3,
         {at(1, 1, 0), at(1, 1, 6), at(2, 2, 0), at(2, 2, 6.5f)}, {2, 4, 6, 4, 8, 12, 1, 1, 1, 7, 8, 9},
         {{5, 3, {3, 6, 9}}, {10, 6.5f, {7, 8, 9}}}},
        {"four channels: a stride of four, the fourth stays 0", 4, {at(1, 1, 3), at(2, 3, 4)},
         {1, 2, 3, 4, 5, 6, 7, 8}, {{5, 3, {1, 2, 3, 0}}, {11, 4, {5, 6, 7, 0}}}},
        {"two channels: nothing", 2, {at(1, 2, 5)}, {10, 20}, {}},
    };
    // clang-format on
    for (const auto& [rule, channels, points, bytes, expectedCells] : rows) {
        SCOPED_TRACE(rule);
        Floats expected(12, kNone);
        Bytes expectedColors(12 * static_cast<std::size_t>(channels), 0);
        for (const ColoredCell& c : expectedCells) {
            expected[c.cell] = c.height;
            std::copy(c.color.begin(), c.color.end(), expectedColors.data() + c.cell * c.color.size());
        }
        const Grid4x3 grid(cloudOf(points, bytes, channels));
        ASSERT_EQ(0, grid.code);
        EXPECT_EQ(expected, heightsOf(grid.image));
        EXPECT_EQ(expectedColors, colorsOf(grid.image));
    }
}

TEST(OrderedCloud, Method1RefusesColoursThatAreNotOneAPoint)
{
    for (const Bytes& bytes : {Bytes{1}, Bytes{1, 2, 3}}) {
        const Grid4x3 grid(cloudOf({at(1, 1, 3), at(1, 2, 4)}, bytes));
        EXPECT_EQ(30602010, grid.code);
        EXPECT_EQ(0, grid.image.Width());
    }
}

/// Planes of 2 rows by 3 columns, only sample (1, 2) there, at first 3 and second 1, height 5.
struct OneSample
{
    cv::Mat a = cv::Mat::zeros(2, 3, CV_32F), b = a.clone(), z = a.clone();
    OneSample() { a.at<float>(1, 2) = 3, b.at<float>(1, 2) = 1, z.at<float>(1, 2) = 5; }
};

TEST(OrderedCloudBodies, EachTakesItsOwnColumnPlane)
{
    const OneSample s;
    const tbb::blocked_range<std::size_t> all(0, 9);  // beyond the planes: they end at row 1
    NOXEL::PclToRangeTBBT1VoxelMaxHeight plain(s.a, s.b, s.z, 5, 4, 1, 1, 0, 0, 3);
    NOXEL::PclToRangeTBBT1VoxelMaxHeight_PC exchanged{s.a, s.b, s.z, 5, 4, 1, 1, 0, 0, 3};
    NOXEL::PclToRangeTBBT1ToT0 all5(s.a, s.b, s.z, 5, 4, 1, 1, 0, 0), narrow(s.a, s.b, s.z, 2, 4, 1, 1, 0, 0);
    plain(all), exchanged(all), all5(all), narrow(all);
    const auto cell = [](const cv::Mat& m, int row, int column) { return m.at<float>(row, column); };
    EXPECT_EQ(5.0f, cell(plain.sum, 1, 3));  // column from the first plane
    EXPECT_EQ(5.0f, cell(plain.reference, 0, 4));
    EXPECT_EQ(20.0, cv::sum(plain.sum)[0]);
    EXPECT_EQ(5.0f, cell(exchanged.sum, 3, 1));
    EXPECT_EQ(1.0f, cell(exchanged.count, 2, 2));
    EXPECT_EQ(5.0f, cell(all5.sum, 3, 1));
    EXPECT_EQ(0.0, cv::sum(narrow.count)[0]) << "column 2 of the planes lies beyond a grid of 2";

    all5(all);
    NOXEL::PclToRangeTBBT1ToT0 part(all5, tbb::split());
    EXPECT_EQ(0.0, cv::sum(part.count)[0]);
    part(all);
    all5.join(part);
    EXPECT_EQ(15.0f, cell(all5.sum, 2, 2));
    EXPECT_EQ(3.0f, cell(all5.count, 2, 2));
}

TEST(OrderedCloudBodies, ColorsAreJoinedAndTheReferenceStartsAgain)
{
    const OneSample s;
    const tbb::blocked_range<std::size_t> all(0, 2);
    unsigned char bytes[30] = {};
    bytes[(1 * 5 + 2) * 3 + 1] = 40;  // rows of the colours are as wide as the grid
    NOXEL::PclToRangeTBBT1VoxelMaxHeightWithColor_PC body(s.a, s.b, s.z, bytes, 3, 5, 4, 1, 1, 0, 0, 3);
    body(all);
    NOXEL::PclToRangeTBBT1VoxelMaxHeightWithColor_PC part(body, tbb::split());
    part(all);
    body.join(part);
    EXPECT_EQ(10.0f, body.sum.at<float>(3, 1));
    EXPECT_EQ(80.0f, body.colorSum.at<cv::Vec3f>(3, 1)[1]);
    body(all);
    EXPECT_EQ(5.0f, body.sum.at<float>(3, 1));
    EXPECT_EQ(-100000.0f, body.reference.at<float>(0, 0));
    NOXEL::PclToRangeTBBT1VoxelMaxHeightWithColor_PC none(s.a, s.b, s.z, nullptr, 0, 5, 4, 1, 1, 0, 0, 3);
    none(all);
    EXPECT_EQ(0.0, cv::sum(none.count)[0]);
}

}  // namespace
