#pragma once

#include <Nox3DLineSet.h>
#include <NoxExport.h>
#include <NoxTagged.h>
#include <NoxVector3d.h>
#include <NoxVector3dArray.h>

/// Kinds of shapes. Codes 3 and 8 are kept free.
enum Nox3DShapeType : int {
    Nox3DShapeTypeNone = 0,  ///< no shape
    Nox3DShapeTypePoint = 1,
    Nox3DShapeTypeLine = 2,
    Nox3DShapeTypeCircle = 4,
    Nox3DShapeTypePlane = 5,
    Nox3DShapeTypeBox = 6,
    Nox3DShapeTypeSphere = 7,
    Nox3DShapeTypeTriangle = 9,
    Nox3DShapeTypePolygon = 10,
    Nox3DShapeTypeEllipse = 11,
    Nox3DShapeTypeEllipsoid = 12,
    Nox3DShapeTypeRect = 13,
    Nox3DShapeTypeCylinder = 14,
    Nox3DShapeTypeEllipticCylinder = 15,
    Nox3DShapeTypeTorus = 16,  ///< flat ring, or a sector of one
    Nox3DShapeTypeTube = 17,   ///< ring, or a sector of one, with a height
    Nox3DShapeTypeLineSet = 18,
};

/// What the second vector of a line is; any value other than 1 counts as a direction.
using Nox3DLineType = int;
enum : Nox3DLineType {
    Nox3DLineTypeDirection = 0,
    Nox3DLineTypeEndPoint = 1,
};

using Nox3DTorusType = int;
enum : Nox3DTorusType {
    Nox3DTorusTypeFlat = 0,  ///< a ring in one plane
};

/// A shape in space, in world units; by default none. A plain value.
///
/// A rotation is three angles in degrees about x, y and z. Sizes and lengths are full ones, radii and semi-axes half
/// ones. The two angles of torus and tube are where the sector begins and how far it goes on, in degrees.
///
/// `Gen3D...` makes the object that kind. `Get3D...` of another kind returns false and writes nothing.
class NOX_EXPORT Nox3DShape
{
public:
    /// The Nox3DShapeType of this shape.
    Nox3DShapeType ShapeType3D() const noexcept { return static_cast<Nox3DShapeType>(value_.Code()); }

    void Gen3DPoint(const NoxVector3d& point);
    bool Get3DPoint(NoxVector3d* point) const;

    void Gen3DLine(const NoxVector3d& from, const NoxVector3d& endOrDirection, Nox3DLineType type);
    bool Get3DLine(NoxVector3d* from, NoxVector3d* endOrDirection, Nox3DLineType* type) const;

    void Gen3DCircle(const NoxVector3d& centre, const NoxVector3d& normal, float radius);
    bool Get3DCircle(NoxVector3d* centre, NoxVector3d* normal, float* radius) const;

    void Gen3DPlane(const NoxVector3d& point, const NoxVector3d& normal);
    bool Get3DPlane(NoxVector3d* point, NoxVector3d* normal) const;

    void Gen3DBox(const NoxVector3d& centre, const NoxVector3d& rotation, const NoxVector3d& size);
    bool Get3DBox(NoxVector3d* centre, NoxVector3d* rotation, NoxVector3d* size) const;

    void Gen3DSphere(const NoxVector3d& centre, float radius);
    bool Get3DSphere(NoxVector3d* centre, float* radius) const;

    void Gen3DTriangle(const NoxVector3d& a, const NoxVector3d& b, const NoxVector3d& c);
    bool Get3DTriangle(NoxVector3d* a, NoxVector3d* b, NoxVector3d* c) const;

    void Gen3DPolygon(const NoxVector3dArray& corners);
    bool Get3DPolygon(NoxVector3dArray* corners) const;

    void Gen3DEllipse(const NoxVector3d& centre, const NoxVector3d& rotation, float radiusA, float radiusB);
    bool Get3DEllipse(NoxVector3d* centre, NoxVector3d* rotation, float* radiusA, float* radiusB) const;

    void Gen3DEllipsoid(const NoxVector3d& centre, const NoxVector3d& rotation, const NoxVector3d& semiAxes);
    bool Get3DEllipsoid(NoxVector3d* centre, NoxVector3d* rotation, NoxVector3d* semiAxes) const;

    void Gen3DRect(const NoxVector3d& centre, const NoxVector3d& rotation, float width, float height);
    bool Get3DRect(NoxVector3d* centre, NoxVector3d* rotation, float* width, float* height) const;

    void Gen3DCylinder(const NoxVector3d& centre, const NoxVector3d& normal, float radius, float height);
    bool Get3DCylinder(NoxVector3d* centre, NoxVector3d* normal, float* radius, float* height) const;

    void Gen3DEllipticCylinder(const NoxVector3d& centre, const NoxVector3d& rotation, float radiusA, float radiusB,
                               float height);
    bool Get3DEllipticCylinder(NoxVector3d* centre, NoxVector3d* rotation, float* radiusA, float* radiusB,
                               float* height) const;

    void Gen3DTorus(const NoxVector3d& centre, const NoxVector3d& rotation, float radius1, float radius2, float start,
                    float sweep, Nox3DTorusType type);
    bool Get3DTorus(NoxVector3d* centre, NoxVector3d* rotation, float* radius1, float* radius2, float* start,
                    float* sweep, Nox3DTorusType* type) const;

    void Gen3DTube(const NoxVector3d& centre, const NoxVector3d& normal, float radius1, float radius2, float start,
                   float sweep, float height);
    bool Get3DTube(NoxVector3d* centre, NoxVector3d* normal, float* radius1, float* radius2, float* start, float* sweep,
                   float* height) const;

    void Gen3DAnyShape(const Nox3DLineSet& lines);
    bool Get3DAnyShape(Nox3DLineSet* lines) const;

private:
    template <int Code, class... Parameters>
    using Kind = NOXEL::NoxKind<Code, Parameters...>;

    // clang-format off
    NOXEL::NoxTagged<
        Kind<Nox3DShapeTypeNone>,
        Kind<Nox3DShapeTypePoint, NoxVector3d>,
        Kind<Nox3DShapeTypeLine, NoxVector3d, NoxVector3d, Nox3DLineType>,
        Kind<Nox3DShapeTypeCircle, NoxVector3d, NoxVector3d, float>,
        Kind<Nox3DShapeTypePlane, NoxVector3d, NoxVector3d>,
        Kind<Nox3DShapeTypeBox, NoxVector3d, NoxVector3d, NoxVector3d>,
        Kind<Nox3DShapeTypeSphere, NoxVector3d, float>,
        Kind<Nox3DShapeTypeTriangle, NoxVector3d, NoxVector3d, NoxVector3d>,
        Kind<Nox3DShapeTypePolygon, NoxVector3dArray>,
        Kind<Nox3DShapeTypeEllipse, NoxVector3d, NoxVector3d, float, float>,
        Kind<Nox3DShapeTypeEllipsoid, NoxVector3d, NoxVector3d, NoxVector3d>,
        Kind<Nox3DShapeTypeRect, NoxVector3d, NoxVector3d, float, float>,
        Kind<Nox3DShapeTypeCylinder, NoxVector3d, NoxVector3d, float, float>,
        Kind<Nox3DShapeTypeEllipticCylinder, NoxVector3d, NoxVector3d, float, float, float>,
        Kind<Nox3DShapeTypeTorus, NoxVector3d, NoxVector3d, float, float, float, float, Nox3DTorusType>,
        Kind<Nox3DShapeTypeTube, NoxVector3d, NoxVector3d, float, float, float, float, float>,
        Kind<Nox3DShapeTypeLineSet, Nox3DLineSet>>
        value_;
    // clang-format on
};
