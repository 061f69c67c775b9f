// Callers compare these outlines to the last bit, so their steps are fixed: also where a tilt shortens a side twice, or
// where the corners of a box come in an order that crosses itself. Shapes are in float, and so is what is reckoned from
// their numbers, up to the coordinates of the region; cosines and what they scale are in double.

#include "shapes/Shapes.h"

#include <Nox3DBox.h>
#include <Nox3DCircle.h>
#include <Nox3DEllipse.h>
#include <Nox3DEllipsoid.h>
#include <Nox3DPlane.h>
#include <Nox3DRect.h>
#include <Nox3DTriangle.h>
#include <Nox3DUtil.h>
#include <NoxResultCodes.h>

#include "frame/Guards.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace nox {

namespace {

constexpr double pi = 3.14159265358979323846;

/// Seen from above; region x is world y.
NoxPoint seen(const NoxVector3d& v) { return {v.Y(), v.X()}; }

bool isSame(const NoxPoint& a, const NoxPoint& b) { return a.X() == b.X() && a.Y() == b.Y(); }

double cosine(float degrees) { return std::cos(degrees * pi / 180.0); }

/// Distance in the first two components.
float flatDistance(const NoxVector3d& a, const NoxVector3d& b)
{
    const float x = a.X() - b.X(), y = a.Y() - b.Y();
    return std::sqrt(x * x + y * y);
}

/// Points of an outline in a frame whose first axis is world y and whose second is world x. Rotations are about the
/// origin: about the first axis by the angle about y, about the second by the angle about x.
using Corners = std::array<NoxVector3d, 4>;

Corners turned(Corners corners, const NoxVector3d& rotation)
{
    const NOXEL::Nox3DUtil util;
    for (NoxVector3d& corner : corners) {
        util.Transform(corner, util.XRotation(rotation.Y()));
        util.Transform(corner, util.YRotation(rotation.X()));
        util.Transform(corner, util.ZRotation(rotation.Z()));
    }
    return corners;
}

/// From the point of smallest to the point of largest y; among equals the first.
template <class Points>
void genExtent(const Points& points, int count, NoxROI* roi)
{
    NoxPoint lowest = points[0], highest = points[0];
    for (int i = 1; i < count; ++i) {
        const NoxPoint p = points[i];
        if (p.Y() < lowest.Y()) lowest = p;
        if (p.Y() > highest.Y()) highest = p;
    }
    roi->GenLine(lowest, highest);
}

void genExtent(const Corners& corners, NoxROI* roi)
{
    const NoxPoint points[] = {seen(corners[0]), seen(corners[1]), seen(corners[2]), seen(corners[3])};
    genExtent(points, 4, roi);
}

/// Whether the cosines of a tilt leave an area to see.
bool hasArea(const NoxVector3d& rotation) { return cosine(rotation.Y()) >= 1e-14 && cosine(rotation.X()) >= 1e-14; }

void outline(const NoxVector3d& a, const NoxVector3d& b, Nox3DLineType type, NoxROI* roi)
{
    const bool seenAsPoint = std::abs(b.X()) < 1e-8 && std::abs(b.Y()) < 1e-8;
    if (type == Nox3DLineTypeEndPoint || seenAsPoint)
        roi->GenLine(seen(a), seen(b));
    else
        roi->GenLine(seen(a), NoxPoint(a.Y() + b.Y(), a.X() + b.X()));
}

void outline(const Nox3DCircle& circle, NoxROI* roi)
{
    const NoxVector3d &c = circle.Centre(), &n = circle.Normal();
    const float r = circle.Radius();
    if (std::abs(n.Z()) < 1e-8) {  // on edge: a line across the normal
        const float l = std::sqrt(n.Y() * n.Y() + n.X() * n.X());
        const float dx = l > 0.0f ? n.X() / l : 0.0f, dy = l > 0.0f ? -n.Y() / l : 0.0f;
        roi->GenLine(NoxPoint(c.Y() - r * dx, c.X() - r * dy), NoxPoint(c.Y() + r * dx, c.X() + r * dy));
        return;
    }
    const NoxVector3d m = n.Normalized();
    if (m.X() == 0.0f && m.Y() == 0.0f) {
        roi->GenCircle(seen(c), r);
        return;
    }
    const NOXEL::Nox3DUtil util;
    const NoxMatrix4 upright = util.M4VectorIntoVectorRotation(m, NoxVector3d(0, 0, 1), true);
    Corners p = {NoxVector3d(c.Y() + r, c.X(), c.Z()), NoxVector3d(c.Y() - r, c.X(), c.Z()),
                 NoxVector3d(c.Y(), c.X() + r, c.Z()), NoxVector3d(c.Y(), c.X() - r, c.Z())};
    for (NoxVector3d& point : p) util.Transform(point, upright);
    const double angle = std::atan(m.X() / m.Y()) * 180.0 / pi;
    roi->GenEllipse(seen(c), flatDistance(p[0], p[1]) * 0.5, flatDistance(p[2], p[3]) * 0.5, angle);
}

void outline(const Nox3DPlane& plane, NoxROI* roi)
{
    constexpr float far = 100000.0f;
    const NoxVector3d& n = plane.Normal();
    if (n.Z() == 0.0f)
        roi->GenLine(NoxPoint(-far * n.X(), far * n.Y()), NoxPoint(far * n.X(), -far * n.Y()));
    else
        roi->GenRect2(NoxPoint(0, 0), far, far, 0.0);
}

void outline(const Nox3DBox& box, NoxROI* roi)
{
    const float x = box.Centre().X(), y = box.Centre().Y(), z = box.Centre().Z();
    const float hx = box.Size().X() * 0.5f, hy = box.Size().Y() * 0.5f, hz = box.Size().Z() * 0.5f;
    const NoxVector3d corners[] = {{y - hy, x - hx, z - hz}, {y - hy, x - hx, z + hz}, {y - hy, x + hx, z + hz},
                                   {y - hy, x + hx, z - hz}, {y + hy, x - hx, z - hz}, {y + hy, x + hx, z + hz},
                                   {y + hy, x - hx, z + hz}, {y + hy, x + hx, z - hz}};
    const NOXEL::Nox3DUtil util;
    const NoxMatrix4 pose =
        util.XRotation(box.Rotation().Y()) * util.YRotation(box.Rotation().X()) * util.ZRotation(box.Rotation().Z());
    NoxPoint points[std::size(corners)];
    auto end = std::begin(points);
    for (NoxVector3d corner : corners) {
        util.Transform(corner, pose);
        const NoxPoint point = seen(corner);
        if (std::none_of(points, end, [&](const NoxPoint& p) { return isSame(p, point); })) *end++ = point;
    }
    NoxPointArray distinct;
    std::for_each(points, end, [&](const NoxPoint& p) { distinct.Append(p); });
    roi->GenPolygon(distinct);
}

/// Exact: points on a line along an axis other than the two that give it are not found.
bool onOneLine(const NoxPointArray& points)
{
    const int n = points.Length();
    const NoxPoint a = points[0];
    const NoxPoint b = points[n > 2 && isSame(points[1], a) ? 2 : 1];
    for (int i = 0; i < n; ++i) {
        const NoxPoint p = points[i];
        const bool onLine = (p.X() - a.X()) / (b.X() - a.X()) == (p.Y() - a.Y()) / (b.Y() - a.Y());
        if (!onLine && !isSame(p, a) && !isSame(p, b)) return false;
    }
    return true;
}

void outline(const NoxVector3dArray& corners, NoxROI* roi)
{
    const int n = corners.Length();
    if (n == 0) throw std::invalid_argument("polygon without corners");
    NoxPointArray points;
    for (int i = 0; i < n; ++i) points.Append(seen(corners[i]));
    if (n == 1 || onOneLine(points))
        genExtent(std::as_const(points), n, roi);
    else
        roi->GenPolygon(points);
}

void outline(const Nox3DTriangle& triangle, NoxROI* roi)
{
    NoxVector3dArray corners;
    for (const NoxVector3d& corner : {triangle.A(), triangle.B(), triangle.C()}) corners.Append(corner);
    outline(corners, roi);
}

void outline(const Nox3DEllipse& ellipse, NoxROI* roi)
{
    const float x = ellipse.Centre().X(), y = ellipse.Centre().Y(), z = ellipse.Centre().Z();
    const float a = ellipse.RadiusA(), b = ellipse.RadiusB();
    const NoxVector3d& rotation = ellipse.Rotation();
    if (hasArea(rotation)) {
        roi->GenEllipse(seen(ellipse.Centre()), a * cosine(rotation.X()), b * cosine(rotation.Y()), rotation.Z());
        return;
    }
    const Corners ends = {NoxVector3d(y + a, x, z), NoxVector3d(y - a, x, z), NoxVector3d(y, x + b, z),
                          NoxVector3d(y, x - b, z)};
    genExtent(turned(ends, rotation), roi);
}

void outline(const Nox3DRect& rect, NoxROI* roi)
{
    const float x = rect.Centre().X(), y = rect.Centre().Y(), z = rect.Centre().Z();
    const float ha = rect.LengthA() * 0.5f, hb = rect.LengthB() * 0.5f;
    const NoxVector3d& rotation = rect.Rotation();
    const Corners p = turned({NoxVector3d(y - ha, x - hb, z), NoxVector3d(y + ha, x + hb, z),
                              NoxVector3d(y + ha, x - hb, z), NoxVector3d(y - ha, x + hb, z)},
                             rotation);
    if (!hasArea(rotation)) return genExtent(p, roi);
    roi->GenRect2(seen(rect.Centre()), cosine(rotation.X()) * flatDistance(p[0], p[2]),
                  cosine(rotation.Y()) * flatDistance(p[1], p[2]), rotation.Z());
}

void outline(const Nox3DEllipsoid& ellipsoid, NoxROI* roi)
{
    const NoxVector3d &axes = ellipsoid.SemiAxes(), &rotation = ellipsoid.Rotation();
    roi->GenEllipse(seen(ellipsoid.Centre()), axes.Y() * cosine(rotation.X()), axes.X() * cosine(rotation.Y()),
                    rotation.Z());
}

long project(const Nox3DShape& shape, NoxROI* roi)
{
    NoxVector3d a, b, c;
    float first = 0.0f, second = 0.0f;
    Nox3DLineType lineType{};
    NoxVector3dArray corners;
    if (shape.Get3DPoint(&a)) {
        roi->GenPoint(seen(a));
    } else if (shape.Get3DLine(&a, &b, &lineType)) {
        outline(a, b, lineType, roi);
    } else if (shape.Get3DCircle(&a, &b, &first)) {
        outline(Nox3DCircle(a, b, first), roi);
    } else if (shape.Get3DPlane(&a, &b)) {
        outline(Nox3DPlane(a, b), roi);
    } else if (shape.Get3DBox(&a, &b, &c)) {
        outline(Nox3DBox(a, c, b), roi);
    } else if (shape.Get3DSphere(&a, &first)) {
        roi->GenCircle(seen(a), first);
    } else if (shape.Get3DTriangle(&a, &b, &c)) {
        outline(Nox3DTriangle(a, b, c), roi);
    } else if (shape.Get3DPolygon(&corners)) {
        outline(corners, roi);
    } else if (shape.Get3DEllipse(&a, &b, &first, &second)) {
        outline(Nox3DEllipse(first, second, a, b), roi);
    } else if (shape.Get3DEllipsoid(&a, &b, &c)) {
        outline(Nox3DEllipsoid(a, c, b), roi);
    } else if (shape.Get3DRect(&a, &b, &first, &second)) {
        outline(Nox3DRect(first, second, a, b), roi);
    } else {
        return NOXEL::code::regionOrShapeKind;
    }
    return NOXEL::code::success;
}

}  // namespace

long shapeToROI(const Nox3DShape& shape, NoxROI* roi)
{
    return guarded(NOXEL::code::shapeToRoiThrew, [&] { return project(shape, roi); });
}

}  // namespace nox
