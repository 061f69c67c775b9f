#pragma once

#include <MVector3f.h>
#include <MVectorBase.h>
#include <NoxExport.h>
#include <NoxVector3d.h>

namespace NOXEL3D {

/// Three doubles.
class NOX_EXPORT MVector3d : public MVector3Base<MVector3d, double>
{
public:
    /// Components undefined.
    MVector3d() noexcept {}  // NOLINT(modernize-use-equals-default): large scratch arrays must not be cleared
    MVector3d(double x, double y, double z) noexcept { setValues(x, y, z); }
    MVector3d(const MVector3f& v) noexcept { setValues(v.x(), v.y(), v.z()); }  // NOLINT(google-explicit-constructor)

    /// Sets all components.
    MVector3d& operator=(double scalar) noexcept
    {
        setValues(scalar, scalar, scalar);
        return *this;
    }

    double squaredNorm() const noexcept { return dot(*this); }
    double norm() const noexcept { return std::sqrt(squaredNorm()); }
    double squaredDistance(const MVector3d& v) const noexcept { return (*this - v).squaredNorm(); }
    double distance(const MVector3d& v) const noexcept { return (*this - v).norm(); }

    /// Each component rounded to float.
    MVector3f toVector3f() const noexcept
    {
        return {static_cast<float>(x()), static_cast<float>(y()), static_cast<float>(z())};
    }
    operator MVector3f() const noexcept { return toVector3f(); }  // NOLINT(google-explicit-constructor)
    /// Each component rounded to float.
    NoxVector3d toNox() const noexcept
    {
        return {static_cast<float>(x()), static_cast<float>(y()), static_cast<float>(z())};
    }

    static const MVector3d Zero;
    static const MVector3d XUnit;
    static const MVector3d YUnit;
    static const MVector3d ZUnit;
    static const MVector3d Infinity;  ///< all components the greatest float, as a double
    static const MVector3d Invalid;   ///< the same triple
};

static_assert(sizeof(MVector3d) == 3 * sizeof(double));

}  // namespace NOXEL3D
