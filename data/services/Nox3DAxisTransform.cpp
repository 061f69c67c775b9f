#include <Nox3DAxisTransform.h>

#include <NoxResultCodes.h>

#include <algorithm>
#include <cmath>

namespace NOXEL {

namespace {

constexpr double pi = 3.14159265358979323846;

double radians(double degrees) { return degrees * (pi / 180.0); }
float degrees(double radians) { return static_cast<float>(radians * (180.0 / pi)); }

bool isFinite(const NoxVector3d& v) { return std::isfinite(v.X()) && std::isfinite(v.Y()) && std::isfinite(v.Z()); }

}  // namespace

long Nox3DAxisTransform::VectorToDirectionZ(const NoxVector3d& direction, NoxMatrix4* matrix) const noexcept
{
    double x = direction.X(), y = direction.Y(), z = direction.Z();
    const double length = std::hypot(x, y, z);
    if (!std::isfinite(length) || length == 0.0) return code::argument1;

    x /= length;
    y /= length;
    z /= length;
    const double across = x * x + y * y;
    if (across == 0.0 && z < 0.0) {
        *matrix = NoxMatrix4(1, 0, 0, 0, 0, -1, 0, 0, 0, 0, -1, 0, 0, 0, 0, 1);
        return code::success;
    }
    const double k = z < 0.0 ? (1.0 - z) / across : 1.0 / (1.0 + z);  // the same number, without cancellation
    *matrix =
        NoxMatrix4(1.0 - k * x * x, -k * x * y, -x, 0, -k * x * y, 1.0 - k * y * y, -y, 0, x, y, z, 0, 0, 0, 0, 1);
    return code::success;
}

long Nox3DAxisTransform::GetRotateAnglesFromTransformMatrix4(const NoxMatrix4& matrix, int order, NoxVector3d* angles,
                                                             NoxVector3d* scale,
                                                             NoxVector3d* translation) const noexcept
{
    const double* m = matrix.Data();
    if (!std::all_of(m, m + 16, [](double v) { return std::isfinite(v); })) return code::argument1;
    double size[3];
    for (int axis = 0; axis < 3; ++axis) size[axis] = std::hypot(m[axis], m[4 + axis], m[8 + axis]);
    if (!(size[0] > 0.0 && size[1] > 0.0 && size[2] > 0.0)) return code::argument1;
    if (order != 0) return code::argument2;

    double r[3][3];
    for (int row = 0; row < 3; ++row)
        for (int axis = 0; axis < 3; ++axis) r[row][axis] = m[4 * row + axis] / size[axis];
    const double determinant = r[0][0] * (r[1][1] * r[2][2] - r[1][2] * r[2][1]) -
                               r[0][1] * (r[1][0] * r[2][2] - r[1][2] * r[2][0]) +
                               r[0][2] * (r[1][0] * r[2][1] - r[1][1] * r[2][0]);
    if (determinant < 0.0) {
        size[2] = -size[2];
        for (auto& row : r) row[2] = -row[2];
    }

    // The third row is (-sin b, cos b sin a, cos b cos a). With the turn about x undone, the second column is
    // (-sin c, cos c), near and at b = +-90 too, where the first column vanishes.
    const double a = std::atan2(r[2][1], r[2][2]);
    const double b = std::atan2(-r[2][0], std::hypot(r[2][1], r[2][2]));
    const double c =
        std::atan2(std::sin(a) * r[0][2] - std::cos(a) * r[0][1], std::cos(a) * r[1][1] - std::sin(a) * r[1][2]);

    if (angles) *angles = NoxVector3d(degrees(a), degrees(b), degrees(c));
    if (scale)
        *scale = NoxVector3d(static_cast<float>(size[0]), static_cast<float>(size[1]), static_cast<float>(size[2]));
    if (translation)
        *translation = NoxVector3d(static_cast<float>(m[3]), static_cast<float>(m[7]), static_cast<float>(m[11]));
    return code::success;
}

long Nox3DAxisTransform::GenTransformMatrix(const NoxVector3d& angles, int order, const NoxVector3d& translation,
                                            NoxMatrix4* matrix) const noexcept
{
    if (!isFinite(angles)) return code::argument1;
    if (order != 0) return code::argument2;
    if (!isFinite(translation)) return code::argument3;

    const double a = radians(angles.X()), b = radians(angles.Y()), c = radians(angles.Z());
    const double sa = std::sin(a), ca = std::cos(a), sb = std::sin(b), cb = std::cos(b), sc = std::sin(c),
                 cc = std::cos(c);
    *matrix = NoxMatrix4(cc * cb, cc * sb * sa - sc * ca, cc * sb * ca + sc * sa, translation.X(),  //
                         sc * cb, sc * sb * sa + cc * ca, sc * sb * ca - cc * sa, translation.Y(),  //
                         -sb, cb * sa, cb * ca, translation.Z(),                                    //
                         0, 0, 0, 1);
    return code::success;
}

}  // namespace NOXEL
