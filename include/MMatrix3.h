#pragma once

#include <MVector3d.h>
#include <NoxExport.h>

namespace NOXEL3D {

/// 3 x 3 matrix of double, row by row; acts on column vectors.
class NOX_EXPORT MMatrix3
{
public:
    /// The identity.
    MMatrix3() noexcept : MMatrix3(1, 0, 0, 0, 1, 0, 0, 0, 1) {}
    MMatrix3(double m00, double m01, double m02, double m10, double m11, double m12, double m20, double m21,
             double m22) noexcept
        : m_{m00, m01, m02, m10, m11, m12, m20, m21, m22}
    {
    }

    double* data() noexcept { return m_; }
    const double* data() const noexcept { return m_; }

    MVector3d operator*(const MVector3d& v) const noexcept
    {
        return {m_[0] * v[0] + m_[1] * v[1] + m_[2] * v[2], m_[3] * v[0] + m_[4] * v[1] + m_[5] * v[2],
                m_[6] * v[0] + m_[7] * v[1] + m_[8] * v[2]};
    }
    /// Reckoned in double and rounded to float once.
    MVector3f operator*(const MVector3f& v) const noexcept { return (*this * MVector3d(v)).toVector3f(); }

    MMatrix3 transposed() const noexcept { return {m_[0], m_[3], m_[6], m_[1], m_[4], m_[7], m_[2], m_[5], m_[8]}; }

private:
    double m_[9];
};

static_assert(sizeof(MMatrix3) == 9 * sizeof(double));

}  // namespace NOXEL3D
