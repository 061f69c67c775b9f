#include <Nox3DShape.h>

void Nox3DShape::Gen3DPoint(const NoxVector3d& point) { value_.Set<Nox3DShapeTypePoint>(point); }
bool Nox3DShape::Get3DPoint(NoxVector3d* point) const { return value_.Get<Nox3DShapeTypePoint>(point); }

void Nox3DShape::Gen3DLine(const NoxVector3d& from, const NoxVector3d& endOrDirection, Nox3DLineType type)
{
    value_.Set<Nox3DShapeTypeLine>(from, endOrDirection, type);
}
bool Nox3DShape::Get3DLine(NoxVector3d* from, NoxVector3d* endOrDirection, Nox3DLineType* type) const
{
    return value_.Get<Nox3DShapeTypeLine>(from, endOrDirection, type);
}

void Nox3DShape::Gen3DCircle(const NoxVector3d& centre, const NoxVector3d& normal, float radius)
{
    value_.Set<Nox3DShapeTypeCircle>(centre, normal, radius);
}
bool Nox3DShape::Get3DCircle(NoxVector3d* centre, NoxVector3d* normal, float* radius) const
{
    return value_.Get<Nox3DShapeTypeCircle>(centre, normal, radius);
}

void Nox3DShape::Gen3DPlane(const NoxVector3d& point, const NoxVector3d& normal)
{
    value_.Set<Nox3DShapeTypePlane>(point, normal);
}
bool Nox3DShape::Get3DPlane(NoxVector3d* point, NoxVector3d* normal) const
{
    return value_.Get<Nox3DShapeTypePlane>(point, normal);
}

void Nox3DShape::Gen3DBox(const NoxVector3d& centre, const NoxVector3d& rotation, const NoxVector3d& size)
{
    value_.Set<Nox3DShapeTypeBox>(centre, rotation, size);
}
bool Nox3DShape::Get3DBox(NoxVector3d* centre, NoxVector3d* rotation, NoxVector3d* size) const
{
    return value_.Get<Nox3DShapeTypeBox>(centre, rotation, size);
}

void Nox3DShape::Gen3DSphere(const NoxVector3d& centre, float radius)
{
    value_.Set<Nox3DShapeTypeSphere>(centre, radius);
}
bool Nox3DShape::Get3DSphere(NoxVector3d* centre, float* radius) const
{
    return value_.Get<Nox3DShapeTypeSphere>(centre, radius);
}

void Nox3DShape::Gen3DTriangle(const NoxVector3d& a, const NoxVector3d& b, const NoxVector3d& c)
{
    value_.Set<Nox3DShapeTypeTriangle>(a, b, c);
}
bool Nox3DShape::Get3DTriangle(NoxVector3d* a, NoxVector3d* b, NoxVector3d* c) const
{
    return value_.Get<Nox3DShapeTypeTriangle>(a, b, c);
}

void Nox3DShape::Gen3DPolygon(const NoxVector3dArray& corners) { value_.Set<Nox3DShapeTypePolygon>(corners); }
bool Nox3DShape::Get3DPolygon(NoxVector3dArray* corners) const { return value_.Get<Nox3DShapeTypePolygon>(corners); }

void Nox3DShape::Gen3DEllipse(const NoxVector3d& centre, const NoxVector3d& rotation, float radiusA, float radiusB)
{
    value_.Set<Nox3DShapeTypeEllipse>(centre, rotation, radiusA, radiusB);
}
bool Nox3DShape::Get3DEllipse(NoxVector3d* centre, NoxVector3d* rotation, float* radiusA, float* radiusB) const
{
    return value_.Get<Nox3DShapeTypeEllipse>(centre, rotation, radiusA, radiusB);
}

void Nox3DShape::Gen3DEllipsoid(const NoxVector3d& centre, const NoxVector3d& rotation, const NoxVector3d& semiAxes)
{
    value_.Set<Nox3DShapeTypeEllipsoid>(centre, rotation, semiAxes);
}
bool Nox3DShape::Get3DEllipsoid(NoxVector3d* centre, NoxVector3d* rotation, NoxVector3d* semiAxes) const
{
    return value_.Get<Nox3DShapeTypeEllipsoid>(centre, rotation, semiAxes);
}

void Nox3DShape::Gen3DRect(const NoxVector3d& centre, const NoxVector3d& rotation, float width, float height)
{
    value_.Set<Nox3DShapeTypeRect>(centre, rotation, width, height);
}
bool Nox3DShape::Get3DRect(NoxVector3d* centre, NoxVector3d* rotation, float* width, float* height) const
{
    return value_.Get<Nox3DShapeTypeRect>(centre, rotation, width, height);
}

void Nox3DShape::Gen3DCylinder(const NoxVector3d& centre, const NoxVector3d& normal, float radius, float height)
{
    value_.Set<Nox3DShapeTypeCylinder>(centre, normal, radius, height);
}
bool Nox3DShape::Get3DCylinder(NoxVector3d* centre, NoxVector3d* normal, float* radius, float* height) const
{
    return value_.Get<Nox3DShapeTypeCylinder>(centre, normal, radius, height);
}

void Nox3DShape::Gen3DEllipticCylinder(const NoxVector3d& centre, const NoxVector3d& rotation, float radiusA,
                                       float radiusB, float height)
{
    value_.Set<Nox3DShapeTypeEllipticCylinder>(centre, rotation, radiusA, radiusB, height);
}
bool Nox3DShape::Get3DEllipticCylinder(NoxVector3d* centre, NoxVector3d* rotation, float* radiusA, float* radiusB,
                                       float* height) const
{
    return value_.Get<Nox3DShapeTypeEllipticCylinder>(centre, rotation, radiusA, radiusB, height);
}

void Nox3DShape::Gen3DTorus(const NoxVector3d& centre, const NoxVector3d& rotation, float radius1, float radius2,
                            float start, float sweep, Nox3DTorusType type)
{
    value_.Set<Nox3DShapeTypeTorus>(centre, rotation, radius1, radius2, start, sweep, type);
}
bool Nox3DShape::Get3DTorus(NoxVector3d* centre, NoxVector3d* rotation, float* radius1, float* radius2, float* start,
                            float* sweep, Nox3DTorusType* type) const
{
    return value_.Get<Nox3DShapeTypeTorus>(centre, rotation, radius1, radius2, start, sweep, type);
}

void Nox3DShape::Gen3DTube(const NoxVector3d& centre, const NoxVector3d& normal, float radius1, float radius2,
                           float start, float sweep, float height)
{
    value_.Set<Nox3DShapeTypeTube>(centre, normal, radius1, radius2, start, sweep, height);
}
bool Nox3DShape::Get3DTube(NoxVector3d* centre, NoxVector3d* normal, float* radius1, float* radius2, float* start,
                           float* sweep, float* height) const
{
    return value_.Get<Nox3DShapeTypeTube>(centre, normal, radius1, radius2, start, sweep, height);
}

void Nox3DShape::Gen3DAnyShape(const Nox3DLineSet& lines) { value_.Set<Nox3DShapeTypeLineSet>(lines); }
bool Nox3DShape::Get3DAnyShape(Nox3DLineSet* lines) const { return value_.Get<Nox3DShapeTypeLineSet>(lines); }
