#include <Nox3DUtil.h>

#include <MMatrix3.h>
#include <MVector3d.h>

#include <cstdlib>
#include <cstring>

namespace NOXEL {

namespace {

using NOXEL3D::MMatrix3;
using NOXEL3D::MVector3d;

MVector3d widened(const NoxVector3d& v) { return {v.X(), v.Y(), v.Z()}; }

NoxMatrix4 asPose(const MMatrix3& r)
{
    const double* m = r.data();
    return {m[0], m[1], m[2], 0, m[3], m[4], m[5], 0, m[6], m[7], m[8], 0, 0, 0, 0, 1};
}

MMatrix3 product(const MMatrix3& a, const MMatrix3& b)
{
    const double* m = b.data();
    const MVector3d x = a * MVector3d(m[0], m[3], m[6]);
    const MVector3d y = a * MVector3d(m[1], m[4], m[7]);
    const MVector3d z = a * MVector3d(m[2], m[5], m[8]);
    return {x[0], y[0], z[0], x[1], y[1], z[1], x[2], y[2], z[2]};
}

/// A unit vector across `v`.
MVector3d across(const MVector3d& v)
{
    const MVector3d a = v.abs();
    const MVector3d axis = a.x() <= a.y() && a.x() <= a.z() ? MVector3d::XUnit
                           : a.y() <= a.z()                 ? MVector3d::YUnit
                                                            : MVector3d::ZUnit;
    const MVector3d c = v.cross(axis);
    return c / c.norm();
}

/// Rodrigues' rotation of unit vector a onto unit vector b, for vectors not more than a right angle apart:
/// I + [v] + [v]^2 / (1 + a.b) with v = a x b.
MMatrix3 rotationWithinRightAngle(const MVector3d& a, const MVector3d& b)
{
    const MVector3d v = a.cross(b);
    const double k = 1.0 / (1.0 + a.dot(b));
    const double c = a.dot(b);
    return {c + k * v[0] * v[0],    k * v[0] * v[1] - v[2], k * v[0] * v[2] + v[1],
            k * v[0] * v[1] + v[2], c + k * v[1] * v[1],    k * v[1] * v[2] - v[0],
            k * v[0] * v[2] - v[1], k * v[1] * v[2] + v[0], c + k * v[2] * v[2]};
}

/// Half a turn about a unit axis.
MMatrix3 halfTurn(const MVector3d& u)
{
    return {2 * u[0] * u[0] - 1, 2 * u[0] * u[1], 2 * u[0] * u[2], 2 * u[0] * u[1],    2 * u[1] * u[1] - 1,
            2 * u[1] * u[2],     2 * u[0] * u[2], 2 * u[1] * u[2], 2 * u[2] * u[2] - 1};
}

double radians(double degrees) { return degrees * (3.14159265358979323846 / 180.0); }

}  // namespace

std::wstring Nox3DUtil::toUnicode(const char* text)
{
    std::wstring wide(std::strlen(text), L'\0');
    std::mbstowcs(wide.data(), text, wide.size());  // stops at an invalid sequence: the rest stays zero
    return wide;
}

void Nox3DUtil::Transform(NoxVector3d& v, const NoxMatrix4& m) const
{
    const auto row = [&](std::size_t r) {
        const double* e = m.Data() + 4 * r;
        return static_cast<float>(e[0]) * v.X() + static_cast<float>(e[1]) * v.Y() + static_cast<float>(e[2]) * v.Z() +
               static_cast<float>(e[3]);
    };
    v = NoxVector3d(row(0), row(1), row(2));
}

NoxMatrix4 Nox3DUtil::XRotation(const double& degrees) const
{
    const double c = std::cos(radians(degrees)), s = std::sin(radians(degrees));
    return {1, 0, 0, 0, 0, c, -s, 0, 0, s, c, 0, 0, 0, 0, 1};
}

NoxMatrix4 Nox3DUtil::YRotation(const double& degrees) const
{
    const double c = std::cos(radians(degrees)), s = std::sin(radians(degrees));
    return {c, 0, s, 0, 0, 1, 0, 0, -s, 0, c, 0, 0, 0, 0, 1};
}

NoxMatrix4 Nox3DUtil::ZRotation(const double& degrees) const
{
    const double c = std::cos(radians(degrees)), s = std::sin(radians(degrees));
    return {c, -s, 0, 0, s, c, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
}

NoxMatrix4 Nox3DUtil::M4VectorIntoVectorRotation(const NoxVector3d& from, const NoxVector3d& to, bool normalise) const
{
    MVector3d a = widened(from), b = widened(to);
    if (a.norm() == 0.0 || b.norm() == 0.0) return asPose(MMatrix3());
    if (normalise) {
        a /= a.norm();
        b /= b.norm();
    }
    if (a.dot(b) >= 0.0) return asPose(rotationWithinRightAngle(a, b));

    // Beyond a right angle the formula loses digits: half a turn about the common axis first, then back the rest.
    const MVector3d v = a.cross(b);
    MVector3d axis = v.norm() > 1e-8 ? v / v.norm() : across(a);
    axis -= a * a.dot(axis);  // a short v carries few digits, and the half turn must bring a to -a
    axis /= axis.norm();
    return asPose(product(rotationWithinRightAngle(-a, b), halfTurn(axis)));
}

}  // namespace NOXEL
