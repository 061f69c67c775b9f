// Regions lifted to shapes and shapes projected to regions. Expected values are reckoned by hand.

#include "tests/support/Samples.h"

#include <sstream>
#include <utility>

namespace {

using namespace samples;

/// A kind and its numbers, to four decimals.
class Text
{
public:
    explicit Text(const char* kind) { text_ << kind; }
    Text& add(double v) { return text_ << ' ' << std::round(v * 1e4) / 1e4 + 0.0, *this; }
    Text& add(const NoxPoint& p) { return add(p.X()).add(p.Y()); }
    Text& add(const NoxVector3d& v) { return add(v.X()).add(v.Y()).add(v.Z()); }
    std::string str() const { return text_.str(); }

private:
    std::ostringstream text_;
};

template <class... Parts>
std::string text(const char* kind, const Parts&... parts)
{
    Text line(kind);
    (line.add(parts), ...);
    return line.str();
}

template <class Array>
std::string listed(const char* kind, const Array& array)
{
    Text line(kind);
    for (int i = 0; i < array.Length(); ++i) line.add(array[i]);
    return line.str();
}

std::string told(const NoxROI& roi)
{
    NoxPoint p, q;
    NoxPointArray points;
    double a, b, c;
    if (roi.GetCircle(&p, &a)) return text("circle", p, a);
    if (roi.GetPolygon(&points)) return listed("polygon", std::as_const(points));
    if (roi.GetRect2(&p, &a, &b, &c)) return text("rect2", p, a, b, c);
    if (roi.GetLine(&p, &q)) return text("line", p, q);
    if (roi.GetEllipse(&p, &a, &b, &c)) return text("ellipse", p, a, b, c);
    if (roi.GetPoint(&p)) return text("point", p);
    return "none";
}

std::string told(const Nox3DShape& shape)
{
    NoxVector3d u, v, w;
    NoxVector3dArray corners;
    Nox3DLineSet lines;
    Nox3DLineType line;
    Nox3DTorusType torus;
    float a, b, c, d, h;
    if (shape.Get3DPoint(&u)) return text("point", u);
    if (shape.Get3DLine(&u, &v, &line)) return text("line", u, v, line);
    if (shape.Get3DCircle(&u, &v, &a)) return text("circle", u, v, a);
    if (shape.Get3DBox(&u, &v, &w)) return text("box", u, v, w);
    if (shape.Get3DPolygon(&corners)) return listed("polygon", corners);
    if (shape.Get3DEllipse(&u, &v, &a, &b)) return text("ellipse", u, v, a, b);
    if (shape.Get3DRect(&u, &v, &a, &b)) return text("rect", u, v, a, b);
    if (shape.Get3DCylinder(&u, &v, &a, &h)) return text("cylinder", u, v, a, h);
    if (shape.Get3DEllipticCylinder(&u, &v, &a, &b, &h)) return text("ecylinder", u, v, a, b, h);
    if (shape.Get3DTorus(&u, &v, &a, &b, &c, &d, &torus)) return text("torus", u, v, a, b, c, d, torus);
    if (shape.Get3DTube(&u, &v, &a, &b, &c, &d, &h)) return text("tube", u, v, a, b, c, d, h);
    if (shape.Get3DAnyShape(&lines)) return listed("vertices", lines.Vertex()) + listed(" lines", lines.Line());
    return "none";
}

/// The object that one of its Gen operations makes.
template <class Object, class... In>
Object made(void (Object::*gen)(In...), const std::decay_t<In>&... arguments)
{
    Object object;
    (object.*gen)(arguments...);
    return object;
}

std::string lifted(NoxROI region, double zHigh, double zLow, double resolutionX, double offsetX, double resolutionY,
                   double offsetY)
{
    Nox3DShape result;
    const long code = NOXEL::Nox3DDataConvert().ROITo3DShape(region, &result, zHigh, zLow, resolutionX, offsetX,
                                                             resolutionY, offsetY);
    return code == 0 ? told(result) : told(result) + ' ' + std::to_string(code);
}

std::string projected(Nox3DShape source)
{
    NoxROI result;
    const long code = NOXEL::Nox3DDataConvert().Nox3DShapeToROI(source, &result);
    return code == 0 ? told(result) : told(result) + ' ' + std::to_string(code);
}

TEST(RoiToShape, refusesInOrder)
{
    const NoxROI all;
    const std::tuple<const char*, double, double, double, double, const char*> rows[] = {
        {"order of heights first", 1, 2, 0, 0, "none 11200002"},
        {"zHigh too high", 65536, 0, 0, 0, "none 11200002"},
        {"zHigh too low", -65536, -65536, 0, 0, "none 11200002"},
        {"zLow too low", 1, -65535.5, 0, 0, "none 11200002"},
        {"resolution X before Y", 65535, -65535, 0, 0, "none 11200003"},
        {"resolution Y before the kind", 2, 1, 1, 0, "none 11200005"},
        {"the whole image has no shape", 2, 1, 1, 1, "none 11000002"},
        {"a NaN passes the tests", kNaN, kNaN, kNaN, kNaN, "none 11000002"},
    };
    for (const auto& [rule, zHigh, zLow, resolutionX, resolutionY, expected] : rows)
        EXPECT_EQ(lifted(all, zHigh, zLow, resolutionX, 0, resolutionY, 0), expected) << rule;
}

TEST(RoiToShape, liftsEveryKindFlatAndWithAHeight)
{
    using R = NoxROI;
    const NoxPoint p(10, 20), a(2, 4);
    const auto outline = arrayOf<NoxPointArray>({a, p, NoxPoint(1, 5)});
    const std::tuple<NoxROI, const char*, const char*> rows[] = {
        {made(&R::GenRect1, a, p), "rect 5.25 11 2.5 0 0 0 6.5 14", "box 5.25 11 2.5 0 0 0 6.5 14 3"},
        {made(&R::GenCircle, p, 5.0), "circle 8.5 18 2.5 0 0 1 8", "cylinder 8.5 18 2.5 0 0 1 8 3"},
        {made(&R::GenTorus, p, 5, 7, 30, 60), "torus 8.5 18 2.5 0 0 0 8 12 120 60 0",
         "tube 8.5 18 2.5 0 0 1 8 12 120 60 3"},
        {made(&R::GenPolygon, outline), "polygon 0.5 2 2.5 8.5 18 2.5 1 0 2.5",
         "vertices 0.5 2 1 8.5 18 1 1 0 1 0.5 2 4 8.5 18 4 1 0 4"
         " lines 0 1 1 2 2 0 3 4 4 5 5 3 0 3 1 4 2 5"},
        {made(&R::GenPolygon, NoxPointArray()), "polygon", "vertices lines"},
        {made(&R::GenRect2, p, 8, 9, 30), "rect 8.5 18 2.5 0 0 30 3 14", "box 8.5 18 2.5 0 0 30 3 14 3"},
        {made(&R::GenLine, a, p), "line 0.5 2 2.5 8.5 18 2.5 1",
         "rect 5.25 11 2.5 90 0 -154 15.4353 3"},  // sqrt(6.5^2 + 14^2); atan2(4, 8) is 26.57 degrees
        {made(&R::GenLine, a, NoxPoint(kNaN, 0)), "line 0.5 2 2.5 -1.5 nan 2.5 1",
         "rect 0.25 nan 2.5 90 0 2.14748e+09 nan 3"},
        {made(&R::GenEllipse, p, 5, 7, 30), "ellipse 8.5 18 2.5 0 0 120 8 12", "ecylinder 8.5 18 2.5 0 0 120 8 12 3"},
        {made(&R::GenPoint, p), "point 8.5 18 2.5", "line 8.5 18 1 8.5 18 4 1"},
    };
    for (const auto& [region, flat, solid] : rows) {
        EXPECT_EQ(lifted(region, 2.5 + 1e-11, 2.5, 2, 1, 0.5, 3), flat);
        EXPECT_EQ(lifted(region, 4, 1, 2, 1, 0.5, 3), solid);
    }
}

TEST(ShapeToRoi, projectsEveryKind)
{
    using S = Nox3DShape;
    using V = NoxVector3d;
    using L = Nox3DLineType;
    const auto corners = arrayOf<NoxVector3dArray>;
    const V c(1, 2, 3), none(0, 0, 0), tiltX(60, 0, 30), tiltY(0, 60, 30), edgeY(0, 90, 0);
    const std::tuple<const char*, Nox3DShape, const char*> rows[] = {
        {"point", made(&S::Gen3DPoint, c), "point 2 1"},
        {"line to an end", made(&S::Gen3DLine, c, V(4, 6, 9), L(1)), "line 2 1 6 4"},
        {"line along a direction", made(&S::Gen3DLine, c, V(4, 6, 9), L(0)), "line 2 1 8 5"},
        {"other types count as a direction", made(&S::Gen3DLine, c, V(0, 6, 9), L(7)), "line 2 1 8 1"},
        {"a direction along one axis", made(&S::Gen3DLine, c, V(4, 0, 9), L(0)), "line 2 1 2 5"},
        {"upright direction counts as an end", made(&S::Gen3DLine, V(1, 1, 0), V(0, 0, 5), L(0)), "line 1 1 0 0"},
        {"as good as upright", made(&S::Gen3DLine, V(1, 1, 0), V(5e-9f, 5e-9f, 5), L(0)), "line 1 1 0 0"},
        {"circle from below", made(&S::Gen3DCircle, c, V(0, 0, -1), 5), "circle 2 1 5"},
        {"long normal along z", made(&S::Gen3DCircle, c, V(0, 0, 2), 5), "circle 2 1 5"},
        {"circle on edge, normal x", made(&S::Gen3DCircle, c, V(1, 0, 0), 5), "line -3 1 7 1"},
        {"circle on edge, normal y", made(&S::Gen3DCircle, c, V(0, 1, 0), 5), "line 2 6 2 -4"},
        {"circle on edge, oblique", made(&S::Gen3DCircle, c, V(3, 4, 0), 5), "line -1 5 5 -3"},
        {"circle without a normal", made(&S::Gen3DCircle, c, none, 5), "line 2 1 2 1"},
        {"tilted circle", made(&S::Gen3DCircle, c, V(1.2f, 0, 1.6f), 5), "ellipse 2 1 4 5 90"},
        {"tilted both ways: 5 sqrt(.928^2 + .096^2), 5 sqrt(.872^2 + .096^2)",
         made(&S::Gen3DCircle, c, V(.36f, .48f, .8f), 5), "ellipse 2 1 4.6648 4.3863 36.8699"},
        {"plane on edge", made(&S::Gen3DPlane, c, V(3, 2, 0)), "line -300000 200000 300000 -200000"},
        {"plane", made(&S::Gen3DPlane, c, V(1, 0, -.001f)), "rect2 0 0 100000 100000 0"},
        {"box", made(&S::Gen3DBox, c, none, V(2, 4, 6)), "polygon 0 0 2 0 0 4 2 4"},
        {"box tipped halfway: (x - z) / sqrt(2) at all eight corners",
         made(&S::Gen3DBox, none, V(0, 45, 0), V(2, 4, 6)),
         "polygon 1.4142 -2 -2.8284 -2 -1.4142 -2 2.8284 -2 1.4142 2 -1.4142 2 -2.8284 2 2.8284 2"},
        {"box turned about z, then about the first axis", made(&S::Gen3DBox, V(11, 22, 33), V(0, 90, 90), V(2, 4, 6)),
         "polygon -30 -10 -36 -10 -36 -12 -30 -12"},
        {"box tipped about the second axis, then about the first",
         made(&S::Gen3DBox, V(11, 22, 33), V(90, 90, 0), V(2, 4, 6)), "polygon 20 30 20 36 24 30 24 36"},
        {"sphere", made(&S::Gen3DSphere, c, 5), "circle 2 1 5"},
        {"triangle", made(&S::Gen3DTriangle, none, V(1, 2, 5), V(3, 1, 2)), "polygon 0 0 2 1 1 3"},
        {"on one line, all negative", made(&S::Gen3DTriangle, V(-2, -4, 0), V(-1, -2, 1), V(-3, -6, 9)),
         "line -6 -3 -2 -1"},
        {"three points along an axis are not found", made(&S::Gen3DTriangle, V(1, 0, 0), V(1, 1, 0), V(1, 2, 0)),
         "polygon 0 1 1 1 2 1"},
        {"two points along an axis are", made(&S::Gen3DTriangle, V(1, 0, 0), V(1, 1, 0), V(1, 0, 0)), "line 0 1 0 1"},
        {"first two alike", made(&S::Gen3DPolygon, corners({c, c, V(2, 4, 0), V(5, 3, 0)})), "polygon 2 1 2 1 4 2 3 5"},
        {"polygon", made(&S::Gen3DPolygon, corners({none, c, V(5, 4, 3), V(3, 0, 0)})), "polygon 0 0 2 1 4 5 0 3"},
        {"polygon of two like corners", made(&S::Gen3DPolygon, corners({c, c})), "line 2 1 2 1"},
        {"polygon of one corner", made(&S::Gen3DPolygon, corners({c})), "line 2 1 2 1"},
        {"ellipse tilted about x", made(&S::Gen3DEllipse, c, tiltX, 3, 2), "ellipse 2 1 1.5 2 30"},
        {"ellipse tilted about y", made(&S::Gen3DEllipse, c, tiltY, 3, 2), "ellipse 2 1 3 1 30"},
        {"ellipse on edge", made(&S::Gen3DEllipse, c, edgeY, 3, 2), "line -3 -1 -3 5"},
        {"ellipsoid tilted about x", made(&S::Gen3DEllipsoid, c, tiltX, V(4, 5, 6)), "ellipse 2 1 2.5 4 30"},
        {"ellipsoid tilted about y", made(&S::Gen3DEllipsoid, c, tiltY, V(4, 5, 6)), "ellipse 2 1 5 2 30"},
        {"rectangle tilted about x: twice", made(&S::Gen3DRect, c, tiltX, 6, 4), "rect2 2 1 1.5 4 30"},
        {"rectangle tilted about y: twice", made(&S::Gen3DRect, c, tiltY, 6, 4), "rect2 2 1 6 1 30"},
        {"rectangle on edge", made(&S::Gen3DRect, c, edgeY, 6, 4), "line -3 -1 -3 5"},
        {"rectangle on edge about x, among equals the first", made(&S::Gen3DRect, c, V(90, 0, 0), 6, 4),
         "line -1 3 -1 3"},
        {"no corners", made(&S::Gen3DPolygon, NoxVector3dArray()), "none 30602002"},
        {"no shape", S(), "none 11000002"},
        {"cylinder", made(&S::Gen3DCylinder, c, none, 1, 1), "none 11000002"},
        {"line set", made(&S::Gen3DAnyShape, Nox3DLineSet()), "none 11000002"},
    };
    for (const auto& [rule, source, expected] : rows) EXPECT_EQ(projected(source), expected) << rule;
}

}  // namespace
