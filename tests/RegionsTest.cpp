// Regions and shapes as values, and regions as runs: every kind against a point-in-shape test of each pixel.

#include "tests/support/Samples.h"

#include <NoxROIDataConvert.h>

#include <functional>
#include <random>
#include <tuple>

namespace {

using namespace samples;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

template <class T>
bool same(const T& a, const T& b)
{
    return a == b;
}
bool same(const NoxPoint& a, const NoxPoint& b) { return a.X() == b.X() && a.Y() == b.Y(); }
template <class Array>
bool sameArray(const Array& a, const Array& b)
{
    bool equal = a.Length() == b.Length();
    for (int i = 0; equal && i < a.Length(); ++i) equal = same(a[i], b[i]);
    return equal;
}
bool same(const NoxPointArray& a, const NoxPointArray& b) { return sameArray(a, b); }
bool same(const NoxVector3dArray& a, const NoxVector3dArray& b) { return sameArray(a, b); }
bool same(const Nox3DLineSet& a, const Nox3DLineSet& b) { return sameArray(a.Vertex(), b.Vertex()); }

/// Makes a value, copies it, and reads the copy back after the original has become another kind.
template <class Value, class... In, class... Out>
Value expectKind(void (Value::*gen)(In...), bool (Value::*get)(Out*...) const, const std::common_type_t<Out>&... in)
{
    Value original;
    (original.*gen)(in...);
    const Value copy = original;
    original = Value();
    std::tuple<Out...> out;
    EXPECT_TRUE(std::apply([&](auto&... o) { return (copy.*get)(&o...); }, out));
    EXPECT_TRUE(std::apply([&](auto&... o) { return (same(o, in) && ...); }, out));
    EXPECT_FALSE(std::apply([&](auto&... o) { return (original.*get)(&o...); }, out));
    EXPECT_TRUE(std::apply([&](auto&... o) { return (same(o, in) && ...); }, out))
        << "written by a Get of another kind";
    return copy;
}

TEST(Regions, everyKindGivesItsCodeAndItsParametersBack)
{
    using R = NoxROI;
    const NoxPoint a(1, 2), b(3, 5);
    EXPECT_EQ(R().ROIType(), 3);
    EXPECT_EQ(expectKind(&R::GenRect1, &R::GetRect1, a, b).ROIType(), 0);
    EXPECT_EQ(expectKind(&R::GenCircle, &R::GetCircle, a, 7).ROIType(), 1);
    EXPECT_EQ(expectKind(&R::GenTorus, &R::GetTorus, a, 7, 8, 9, 10).ROIType(), 2);
    EXPECT_EQ(expectKind(&R::GenPolygon, &R::GetPolygon, arrayOf<NoxPointArray>({a, b, {6, 4}})).ROIType(), 4);
    EXPECT_EQ(expectKind(&R::GenRect2, &R::GetRect2, a, 7, 8, 9).ROIType(), 6);
    EXPECT_EQ(expectKind(&R::GenLine, &R::GetLine, a, b).ROIType(), 7);
    EXPECT_EQ(expectKind(&R::GenEllipse, &R::GetEllipse, a, 7, 8, 9).ROIType(), 8);
    EXPECT_EQ(expectKind(&R::GenPoint, &R::GetPoint, a).ROIType(), 10);
}

TEST(Shapes, everyKindGivesItsCodeAndItsParametersBack)
{
    using S = Nox3DShape;
    const NoxVector3d a(1, 2, 3), b(4, 5, 6), c(7, 8, 9);
    const auto array = arrayOf<NoxVector3dArray>({a, b});
    Nox3DLineSet lines;
    lines.SetVertex(array);
    EXPECT_EQ(S().ShapeType3D(), 0);
    EXPECT_EQ(expectKind(&S::Gen3DPoint, &S::Get3DPoint, a).ShapeType3D(), 1);
    EXPECT_EQ(expectKind(&S::Gen3DLine, &S::Get3DLine, a, b, Nox3DLineTypeEndPoint).ShapeType3D(), 2);
    EXPECT_EQ(expectKind(&S::Gen3DCircle, &S::Get3DCircle, a, b, 2).ShapeType3D(), 4);
    EXPECT_EQ(expectKind(&S::Gen3DPlane, &S::Get3DPlane, a, b).ShapeType3D(), 5);
    EXPECT_EQ(expectKind(&S::Gen3DBox, &S::Get3DBox, a, b, c).ShapeType3D(), 6);
    EXPECT_EQ(expectKind(&S::Gen3DSphere, &S::Get3DSphere, a, 2).ShapeType3D(), 7);
    EXPECT_EQ(expectKind(&S::Gen3DTriangle, &S::Get3DTriangle, a, b, c).ShapeType3D(), 9);
    EXPECT_EQ(expectKind(&S::Gen3DPolygon, &S::Get3DPolygon, array).ShapeType3D(), 10);
    EXPECT_EQ(expectKind(&S::Gen3DEllipse, &S::Get3DEllipse, a, b, 2, 3).ShapeType3D(), 11);
    EXPECT_EQ(expectKind(&S::Gen3DEllipsoid, &S::Get3DEllipsoid, a, b, c).ShapeType3D(), 12);
    EXPECT_EQ(expectKind(&S::Gen3DRect, &S::Get3DRect, a, b, 2, 3).ShapeType3D(), 13);
    EXPECT_EQ(expectKind(&S::Gen3DCylinder, &S::Get3DCylinder, a, b, 2, 3).ShapeType3D(), 14);
    EXPECT_EQ(expectKind(&S::Gen3DEllipticCylinder, &S::Get3DEllipticCylinder, a, b, 2, 3, 4).ShapeType3D(), 15);
    EXPECT_EQ(expectKind(&S::Gen3DTorus, &S::Get3DTorus, a, b, 2, 3, 4, 5, Nox3DTorusTypeFlat).ShapeType3D(), 16);
    EXPECT_EQ(expectKind(&S::Gen3DTube, &S::Get3DTube, a, b, 2, 3, 4, 5, 6).ShapeType3D(), 17);
    EXPECT_EQ(expectKind(&S::Gen3DAnyShape, &S::Get3DAnyShape, lines).ShapeType3D(), 18);
}

/// The runs of a region, their order and bounds tested.
std::vector<NoxRun> runsOf(const NoxROI& roi, int width, int height)
{
    std::vector<NoxRun> runs(3);  // what was there is replaced
    EXPECT_EQ(NOXEL::NoxROIDataConvert().ROItoRun(roi, &runs, width, height, nullptr), 0);
    for (std::size_t i = 0; i < runs.size(); ++i) {
        const NoxRun& r = runs[i];
        EXPECT_TRUE(0 <= r.row && r.row < height && 0 <= r.first && r.first <= r.last && r.last < width);
        if (i > 0) {
            const NoxRun& before = runs[i - 1];
            EXPECT_TRUE(before.row < r.row || (before.row == r.row && before.last + 1 < r.first));
        }
    }
    return runs;
}

/// Rows of '#' and '.'.
std::vector<std::string> picture(const NoxROI& roi, int width, int height)
{
    std::vector<std::string> rows(static_cast<std::size_t>(height), std::string(static_cast<std::size_t>(width), '.'));
    for (const NoxRun& r : runsOf(roi, width, height))
        for (int c = r.first; c <= r.last; ++c)
            rows[static_cast<std::size_t>(r.row)][static_cast<std::size_t>(c)] = '#';
    return rows;
}

using Depth = std::function<double(double x, double y)>;  ///< not below 0 inside; how far is of no matter

/// Pixels on the outline itself count only where the depth is reckoned exactly.
void expectPixels(const NoxROI& roi, bool exact, const Depth& depth)
{
    constexpr int width = 37, height = 23;
    const auto rows = picture(roi, width, height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const double d = depth(x, y);
            if (!exact && std::abs(d) < 1e-9) continue;
            ASSERT_EQ(rows[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)] == '#', d >= 0)
                << "kind " << roi.ROIType() << " column " << x << " row " << y;
        }
    }
}

/// Even-odd, and on an edge; exact for quarters.
double polygonDepth(const NoxPointArray& p, double x, double y)
{
    bool inside = false;
    for (int i = 0; i < p.Length(); ++i) {
        const NoxPoint a = p[i], b = p[(i + 1) % p.Length()];
        const double cross = (b.X() - a.X()) * (y - a.Y()) - (b.Y() - a.Y()) * (x - a.X());
        const double between = (x - a.X()) * (x - b.X()) + (y - a.Y()) * (y - b.Y());
        if (cross == 0 && between <= 0) return 0;
        if ((a.Y() > y) != (b.Y() > y)) inside ^= (cross < 0) == (b.Y() > a.Y());
    }
    return inside ? 1 : -1;
}

TEST(RegionRuns, equalThePointInShapeTestOfEveryPixel)
{
    std::mt19937 random(3);
    const auto quarters = [&](int low, int high) {
        return std::uniform_int_distribution<>(4 * low, 4 * high)(random) / 4.0;
    };
    for (int round = 0; round < 400; ++round) {
        const NoxPoint c(quarters(-8, 45), quarters(-8, 30)), e(quarters(-8, 45), quarters(-8, 30));
        const double r1 = quarters(0, 20), r2 = quarters(0, 12), sweep = quarters(-370, 370),
                     angle = round % 4 ? quarters(-400, 400) : 90 * (round % 9 - 4);
        const double cosine = std::cos(angle * M_PI / 180), sine = std::sin(angle * M_PI / 180);
        // Along and across a direction that turns anticlockwise as the image is seen.
        const auto u = [&](double x, double y) { return cosine * (x - c.X()) - sine * (y - c.Y()); };
        const auto v = [&](double x, double y) { return -sine * (x - c.X()) - cosine * (y - c.Y()); };
        const auto square = [&](double x, double y) { return (x - c.X()) * (x - c.X()) + (y - c.Y()) * (y - c.Y()); };
        const auto ring = [&](double x, double y) {
            const double low = std::min(r1, r2), high = std::max(r1, r2), d = square(x, y);
            return std::min(high * high - d, d - low * low);
        };
        NoxROI roi;
        roi.GenRect1(c, e);
        expectPixels(roi, true, [&](double x, double y) {
            return std::min(-(x - c.X()) * (x - e.X()), -(y - c.Y()) * (y - e.Y()));
        });
        roi.GenCircle(c, r1);
        expectPixels(roi, true, [&](double x, double y) { return r1 * r1 - square(x, y); });
        roi.GenTorus(c, r1, r2, angle, 360);
        expectPixels(roi, true, ring);
        roi.GenTorus(c, r1, r2, angle, sweep);
        expectPixels(roi, false, [&](double x, double y) {
            if (std::abs(sweep) >= 360) return ring(x, y);
            const double start = sweep < 0 ? angle + sweep : angle, span = std::abs(sweep);
            double turn = std::fmod(std::atan2(c.Y() - y, x - c.X()) * 180 / M_PI - start, 360);
            if (turn < 0) turn += 360;
            const double edge = std::min({turn, std::abs(turn - span), 360 - turn});
            return edge < 1e-9 || square(x, y) == 0 ? 0 : std::min(ring(x, y), span - turn);
        });
        roi.GenRect2(c, 2 * r1, 2 * r2, angle);
        expectPixels(roi, false,
                     [&](double x, double y) { return std::min(r1 - std::abs(u(x, y)), r2 - std::abs(v(x, y))); });
        roi.GenEllipse(c, r1, r2, angle);
        expectPixels(roi, false, [&](double x, double y) {
            return r1 * r1 * r2 * r2 - std::pow(u(x, y) * r2, 2) - std::pow(v(x, y) * r1, 2);
        });
        NoxPointArray p;
        for (int corners = 1 + round % 9; corners > 0; --corners) p.Append({quarters(-8, 45), quarters(-8, 30)});
        if (round % 2) p.Append({p[0].X(), quarters(0, 22)});  // upright and touching edges
        roi.GenPolygon(p);
        expectPixels(roi, true, [&](double x, double y) { return polygonDepth(p, x, y); });
    }
}

TEST(RegionRuns, outlinesCountAsInside)
{
    NoxROI roi;
    roi.GenEllipse({10, 5}, 10, 5, 180);
    const auto ellipse = picture(roi, 21, 11);
    EXPECT_EQ(ellipse[1], "....#############....");  // 6, 4 from the centre: 0.36 + 0.64
    EXPECT_EQ(ellipse[5], "#####################");
    roi.GenRect2({3, 2}, 2, 4, 90);
    EXPECT_EQ(picture(roi, 7, 5), (std::vector<std::string>{".......", ".#####.", ".#####.", ".#####.", "......."}));
    roi.GenTorus({3, 3}, 2, 3, 0, 90);  // up and right
    EXPECT_EQ(picture(roi, 7, 4), (std::vector<std::string>{"...#...", "...###.", ".....#.", ".....##"}));
    roi.GenTorus({3, 3}, 0, 3, -45, -90);  // backwards: the quarter below
    EXPECT_EQ(picture(roi, 7, 7)[4], "..###..");
    roi.GenTorus({3, 3}, 0, 3, 45, 0);  // a single ray, not its opposite
    EXPECT_EQ(picture(roi, 7, 7),
              (std::vector<std::string>{".......", ".....#.", "....#..", "...#...", ".......", ".......", "......."}));
    roi.GenLine({0, 0}, {6, 3});
    EXPECT_EQ(picture(roi, 7, 4), (std::vector<std::string>{"#......", "..#....", "....#..", "......#"}));
    roi.GenPoint({2, 1});
    EXPECT_EQ(picture(roi, 4, 2), (std::vector<std::string>{"....", "..#."}));
    EXPECT_EQ(picture(NoxROI(), 3, 2), (std::vector<std::string>{"###", "###"}));
}

TEST(RegionRuns, noNumberIsTooStrange)
{
    const double numbers[] = {nan, infinity, -infinity, 1e300, -1e300, 1e18, 3e9, -3e9, 1e-300, -1, 0, 4};
    const auto size = std::size(numbers);
    for (std::size_t i = 0; i < size * size * size; ++i) {
        const double a = numbers[i % size], b = numbers[i / size % size], c = numbers[i / size / size];
        NoxROI roi;
        const std::function<void()> kinds[] = {
            [&] { roi.GenRect1({a, b}, {c, 4}); },
            [&] { roi.GenCircle({a, b}, c); },
            [&] { roi.GenTorus({a, 4}, b, c, c, b); },
            [&] { roi.GenRect2({a, 4}, b, c, c); },
            [&] { roi.GenEllipse({a, 4}, b, c, c); },
            [&] { roi.GenPolygon(arrayOf<NoxPointArray>({{a, b}, {c, 4}, {5, 0}})); },
            [&] { roi.GenLine({a, b}, {c, 4}); },
        };
        for (const auto& make : kinds) {
            make();
            const bool any = !runsOf(roi, 9, 7).empty();
            const bool none = std::isnan(a) || std::isnan(b) || std::isnan(c) || (roi.ROIType() == 1 && c < 0);
            EXPECT_FALSE(any && none) << roi.ROIType();
            EXPECT_TRUE(runsOf(roi, 0, 7).empty() && runsOf(roi, 9, -1).empty());
        }
    }
    NoxROI all;
    all.GenRect1({infinity, -infinity}, {-1e300, 1e300});
    EXPECT_EQ(picture(all, 3, 2), (std::vector<std::string>{"###", "###"}));
    NoxROI dot;
    dot.GenCircle({2, 1}, 0);
    EXPECT_EQ(picture(dot, 4, 2), (std::vector<std::string>{"....", "..#."}));
}

TEST(RegionRuns, workFollowsTheRowsInTheGrid)
{
    NoxROI roi;
    roi.GenCircle({5000, 5000}, 4999.5);
    const auto runs = runsOf(roi, 10001, 10001);
    ASSERT_EQ(runs.size(), 9999u);
    for (const NoxRun& r : runs) {
        const std::int64_t dy = r.row - 5000, left = r.first - 5000, square = 4 * 4999 * 5000 + 1;  // in half pixels
        ASSERT_EQ(r.last - 5000, -left);
        ASSERT_LE(4 * (left * left + dy * dy), square);
        ASSERT_GT(4 * ((left - 1) * (left - 1) + dy * dy), square);
    }
    roi.GenCircle({0, 1e9}, 2e9);
    EXPECT_EQ(runsOf(roi, std::numeric_limits<int>::max(), 5).size(), 5u);
    roi.GenPolygon(arrayOf<NoxPointArray>({{-1e12, -1e12}, {1e12, -1e12}, {1e12, 1e12}, {-1e12, 1e12}}));
    EXPECT_EQ(runsOf(roi, std::numeric_limits<int>::max(), 5).size(), 5u);
}

}  // namespace
