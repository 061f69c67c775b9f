#pragma once

#include <MVector3d.h>
#include <NoxExport.h>

namespace NOXEL3D {

/// 4 x 4 matrix of double, row by row: a transform of points, its translation in the last column.
class NOX_EXPORT MMatrix4
{
public:
    /// The identity.
    MMatrix4() noexcept : MMatrix4(1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1) {}
    MMatrix4(double m00, double m01, double m02, double m03, double m10, double m11, double m12, double m13, double m20,
             double m21, double m22, double m23, double m30, double m31, double m32, double m33) noexcept
        : m_{m00, m01, m02, m03, m10, m11, m12, m13, m20, m21, m22, m23, m30, m31, m32, m33}
    {
    }

    double* data() noexcept { return m_; }
    const double* data() const noexcept { return m_; }

    /// The point transform: rotation block times the vector plus the last column, no division.
    MVector3d operator*(const MVector3d& v) const noexcept
    {
        return {m_[0] * v[0] + m_[1] * v[1] + m_[2] * v[2] + m_[3], m_[4] * v[0] + m_[5] * v[1] + m_[6] * v[2] + m_[7],
                m_[8] * v[0] + m_[9] * v[1] + m_[10] * v[2] + m_[11]};
    }
    /// Reckoned in double and rounded to float once.
    MVector3f operator*(const MVector3f& v) const noexcept { return (*this * MVector3d(v)).toVector3f(); }

    /// The inverse of a rigid transform: the transposed rotation R' and the translation -R' t.
    MMatrix4 rigidInverse() const noexcept
    {
        const MVector3d x = column(0), y = column(1), z = column(2), t = column(3);
        return {x[0], x[1], x[2], -x.dot(t), y[0], y[1], y[2], -y.dot(t), z[0], z[1], z[2], -z.dot(t), 0, 0, 0, 1};
    }

    /// The transform whose rotation columns are the three axes and whose translation is `origin`.
    static MMatrix4 Pose(const MVector3d& xAxis, const MVector3d& yAxis, const MVector3d& zAxis,
                         const MVector3d& origin) noexcept
    {
        return {xAxis[0], yAxis[0], zAxis[0], origin[0], xAxis[1], yAxis[1], zAxis[1], origin[1],
                xAxis[2], yAxis[2], zAxis[2], origin[2], 0,        0,        0,        1};
    }

    /// Rows 0 to 2 of a column: an axis, or with 3 the translation.
    MVector3d column(int i) const noexcept { return {m_[i], m_[4 + i], m_[8 + i]}; }

private:
    double m_[16];
};

static_assert(sizeof(MMatrix4) == 16 * sizeof(double));

}  // namespace NOXEL3D
