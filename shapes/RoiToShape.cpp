#include "shapes/Shapes.h"

#include <NoxResultCodes.h>

#include "data/Checked.h"
#include "frame/Guards.h"

#include <cmath>
#include <limits>
#include <stdexcept>

namespace nox {

namespace {

NoxVector3d vector(double x, double y, double z)
{
    return {static_cast<float>(x), static_cast<float>(y), static_cast<float>(z)};
}

/// Lifts regions from the grid of a range image to heights from zLow to zHigh. World x comes from the row and world y
/// from the column; lengths go through the same scale and shift as positions.
struct Lift
{
    double zHigh, zLow, resolutionX, offsetX, resolutionY, offsetY;

    double height() const { return std::abs(zHigh - zLow); }
    double zMid() const { return (zHigh + zLow) * 0.5; }
    bool isFlat() const { return height() < 1e-10; }
    float heightF() const { return static_cast<float>(height()); }

    NoxVector3d at(const NoxPoint& p, double z) const
    {
        return vector((p.Y() - offsetY) * resolutionY, (p.X() - offsetX) * resolutionX, z);
    }
    NoxVector3d at(const NoxPoint& p) const { return at(p, zMid()); }
    NoxVector3d middle(const NoxPoint& a, const NoxPoint& b) const
    {
        return vector((a.Y() + b.Y() - offsetY) * 0.5 * resolutionY, (a.X() + b.X() - offsetX) * 0.5 * resolutionX,
                      zMid());
    }
    float alongX(double length) const { return static_cast<float>((length - offsetX) * resolutionX); }
    float alongY(double length) const { return static_cast<float>((length - offsetY) * resolutionY); }

    void rect(Nox3DShape* shape, const NoxVector3d& centre, double angle, float lengthX, float lengthY) const
    {
        const NoxVector3d rotation = vector(0, 0, angle);
        if (isFlat())
            shape->Gen3DRect(centre, rotation, lengthX, lengthY);
        else
            shape->Gen3DBox(centre, rotation, NoxVector3d(lengthX, lengthY, heightF()));
    }

    void circle(Nox3DShape* shape, const NoxPoint& centre, double radius) const
    {
        const NoxVector3d up(0, 0, 1);
        if (isFlat())
            shape->Gen3DCircle(at(centre), up, alongX(radius));
        else
            shape->Gen3DCylinder(at(centre), up, alongX(radius), heightF());
    }

    void torus(Nox3DShape* shape, const NoxPoint& centre, double radius1, double radius2, double start,
               double sweep) const
    {
        const float r1 = alongX(radius1), r2 = alongX(radius2);
        const auto from = static_cast<float>(start + 90.0), on = static_cast<float>(sweep);
        if (isFlat())
            shape->Gen3DTorus(at(centre), NoxVector3d(0, 0, 0), r1, r2, from, on, Nox3DTorusTypeFlat);
        else
            shape->Gen3DTube(at(centre), NoxVector3d(0, 0, 1), r1, r2, from, on, heightF());
    }

    void ellipse(Nox3DShape* shape, const NoxPoint& centre, double radius1, double radius2, double angle) const
    {
        const NoxVector3d rotation = vector(0, 0, angle + 90.0);
        const float r1 = alongX(radius1), r2 = alongX(radius2);
        if (isFlat())
            shape->Gen3DEllipse(at(centre), rotation, r1, r2);
        else
            shape->Gen3DEllipticCylinder(at(centre), rotation, r1, r2, heightF());
    }

    void point(Nox3DShape* shape, const NoxPoint& p) const
    {
        if (isFlat())
            shape->Gen3DPoint(at(p));
        else
            shape->Gen3DLine(at(p, zLow), at(p, zHigh), Nox3DLineTypeEndPoint);
    }

    /// With a height the line becomes a rectangle that stands on it, its direction cut to whole degrees.
    void line(Nox3DShape* shape, const NoxPoint& a, const NoxPoint& b) const
    {
        if (isFlat()) {
            shape->Gen3DLine(at(a), at(b), Nox3DLineTypeEndPoint);
            return;
        }
        const double u = b.Y() - a.Y() - offsetY, v = b.X() - a.X() - offsetX;
        const double width = std::sqrt(u * resolutionY * u * resolutionY + v * resolutionX * v * resolutionX);
        const double angle = std::atan2((a.X() + b.X()) * 0.5 - a.X(), (a.Y() + b.Y()) * 0.5 - a.Y());
        const int degrees = t32(angle * -180.0 / 3.141592653589793);
        shape->Gen3DRect(middle(a, b), vector(90, 0, -180.0 - degrees), static_cast<float>(width), heightF());
    }

    void polygon(Nox3DShape* shape, const NoxPointArray& points) const
    {
        if (isFlat()) {
            NoxVector3dArray corners;
            corners.SetSize(points.Length());
            for (int i = 0; i < points.Length(); ++i) corners.Replace(i, at(points[i]));
            shape->Gen3DPolygon(corners);
        } else {
            shape->Gen3DAnyShape(prism(points));
        }
    }

    /// The outline at zLow, the same at zHigh, and the lines between them.
    Nox3DLineSet prism(const NoxPointArray& points) const
    {
        const int n = points.Length();
        if (n > std::numeric_limits<int>::max() / 6) throw std::length_error("polygon too long for a prism");
        NoxVector3dArray vertices;
        Nox3DIntArray pairs;
        vertices.SetSize(2 * n);
        pairs.SetSize(6 * n);
        const auto connect = [&](int place, int from, int to) {
            pairs[2 * place] = from;
            pairs[2 * place + 1] = to;
        };
        for (int i = 0; i < n; ++i) {
            const int next = i + 1 < n ? i + 1 : 0;
            vertices.Replace(i, at(points[i], zLow));
            vertices.Replace(n + i, at(points[i], zHigh));
            connect(i, i, next);
            connect(n + i, n + i, n + next);
            connect(2 * n + i, i, n + i);
        }
        Nox3DLineSet lines;
        lines.SetVertex(vertices);
        lines.SetLine(pairs);
        return lines;
    }
};

long lift(const NoxROI& roi, Nox3DShape* shape, const Lift& to)
{
    NoxPoint a, b;
    NoxPointArray points;
    double first = 0.0, second = 0.0, third = 0.0, fourth = 0.0;
    if (roi.GetRect1(&a, &b)) {
        to.rect(shape, to.middle(a, b), 0.0, to.alongY(b.Y() - a.Y()), to.alongX(b.X() - a.X()));
    } else if (roi.GetCircle(&a, &first)) {
        to.circle(shape, a, first);
    } else if (roi.GetTorus(&a, &first, &second, &third, &fourth)) {
        to.torus(shape, a, first, second, third, fourth);
    } else if (roi.GetPolygon(&points)) {
        to.polygon(shape, points);
    } else if (roi.GetRect2(&a, &first, &second, &third)) {
        to.rect(shape, to.at(a), third, to.alongY(second), to.alongX(first));
    } else if (roi.GetLine(&a, &b)) {
        to.line(shape, a, b);
    } else if (roi.GetEllipse(&a, &first, &second, &third)) {
        to.ellipse(shape, a, first, second, third);
    } else if (roi.GetPoint(&a)) {
        to.point(shape, a);
    } else {
        return NOXEL::code::regionOrShapeKind;
    }
    return NOXEL::code::success;
}

}  // namespace

long roiTo3DShape(const NoxROI& roi, Nox3DShape* shape, double zHigh, double zLow, double resolutionX, double offsetX,
                  double resolutionY, double offsetY)
{
    using namespace NOXEL;
    if (zLow > zHigh) return code::argument2;
    if (zHigh > 65535.0 || zHigh < -65535.0) return code::argument2;
    if (zLow < -65535.0 || zLow > 65535.0) return code::argument2;
    if (resolutionX <= 0.0) return code::argument3;
    if (resolutionY <= 0.0) return code::argument5;
    const Lift to{zHigh, zLow, resolutionX, offsetX, resolutionY, offsetY};
    return guarded(code::roiToShapeThrew, [&] { return lift(roi, shape, to); });
}

}  // namespace nox
