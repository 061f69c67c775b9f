#pragma once

#include <NoxExport.h>
#include <NoxPoint.h>
#include <NoxPointArray.h>
#include <NoxTagged.h>

/// Kinds of regions. Kinds 5, 9 and 11 are kept free and have no maker.
enum NoxROIType : int {
    NoxROITypeRect1 = 0,    ///< rectangle along the axes
    NoxROITypeCircle = 1,   ///< circle
    NoxROITypeTorus = 2,    ///< ring, or a sector of one
    NoxROITypeAll = 3,      ///< no region: the whole image
    NoxROITypePolygon = 4,  ///< polygon
    NoxROITypeRect2 = 6,    ///< rotated rectangle
    NoxROITypeLine = 7,     ///< line segment
    NoxROITypeEllipse = 8,  ///< ellipse
    NoxROITypePoint = 10,   ///< point
};

/// A region of an image; by default the whole image. A plain value.
///
/// Coordinates are those of pixel centres: the pixel in column c and row r has its centre at (c, r). Angles are in
/// degrees, from the direction of ascending columns towards descending rows: anticlockwise as the image is seen. A
/// region is closed, its outline belongs to it.
///
/// `Gen...` makes the object that kind. `Get...` of another kind returns false and writes nothing.
class NOX_EXPORT NoxROI
{
public:
    /// The NoxROIType of this region.
    NoxROIType ROIType() const noexcept { return static_cast<NoxROIType>(value_.Code()); }

    /// Between two opposite corners, in any order.
    void GenRect1(const NoxPoint& corner, const NoxPoint& opposite);
    bool GetRect1(NoxPoint* corner, NoxPoint* opposite) const;

    void GenCircle(const NoxPoint& centre, double radius);
    bool GetCircle(NoxPoint* centre, double* radius) const;

    /// What lies between two circles, their radii in any order, within the sector that begins at the angle `start` and
    /// goes on for `sweep` degrees: backwards for a negative one, all round from 360 on.
    void GenTorus(const NoxPoint& centre, double radius1, double radius2, double start, double sweep);
    bool GetTorus(NoxPoint* centre, double* radius1, double* radius2, double* start, double* sweep) const;

    /// The outline runs through the points in order and back to the first. It may be concave, touch and cross itself; a
    /// point is inside when a ray from it crosses the outline an odd number of times.
    void GenPolygon(const NoxPointArray& points);
    bool GetPolygon(NoxPointArray* points) const;

    /// With sides of the full lengths `length1` along the direction of `angle` and `length2` across it.
    void GenRect2(const NoxPoint& centre, double length1, double length2, double angle);
    bool GetRect2(NoxPoint* centre, double* length1, double* length2, double* angle) const;

    void GenLine(const NoxPoint& from, const NoxPoint& to);
    bool GetLine(NoxPoint* from, NoxPoint* to) const;

    /// With half axes `radius1` along the direction of `angle` and `radius2` across it.
    void GenEllipse(const NoxPoint& centre, double radius1, double radius2, double angle);
    bool GetEllipse(NoxPoint* centre, double* radius1, double* radius2, double* angle) const;

    void GenPoint(const NoxPoint& point);
    bool GetPoint(NoxPoint* point) const;

private:
    template <int Code, class... Parameters>
    using Kind = NOXEL::NoxKind<Code, Parameters...>;

    // clang-format off
    NOXEL::NoxTagged<Kind<NoxROITypeAll>,
                     Kind<NoxROITypeRect1, NoxPoint, NoxPoint>,
                     Kind<NoxROITypeCircle, NoxPoint, double>,
                     Kind<NoxROITypeTorus, NoxPoint, double, double, double, double>,
                     Kind<NoxROITypePolygon, NoxPointArray>,
                     Kind<NoxROITypeRect2, NoxPoint, double, double, double>,
                     Kind<NoxROITypeLine, NoxPoint, NoxPoint>,
                     Kind<NoxROITypeEllipse, NoxPoint, double, double, double>,
                     Kind<NoxROITypePoint, NoxPoint>>
        value_;
    // clang-format on
};
