#pragma once

#include <MVector3d.h>
#include <MVectorBase.h>
#include <NoxExport.h>

namespace NOXEL3D {

/// Four doubles.
class NOX_EXPORT MVector4d : public MVectorBase<MVector4d, double, 4>
{
public:
    /// Components undefined.
    MVector4d() noexcept {}  // NOLINT(modernize-use-equals-default): as the other vectors
    MVector4d(double x, double y, double z, double w) noexcept { setValues(x, y, z, w); }

    const double& w() const noexcept { return v_[3]; }
    void setW(double w) noexcept { v_[3] = w; }
    void setValues(double x, double y, double z, double w) noexcept
    {
        v_[0] = x;
        v_[1] = y;
        v_[2] = z;
        v_[3] = w;
    }

    /// Sets all four components.
    MVector4d& operator=(double scalar) noexcept
    {
        setValues(scalar, scalar, scalar, scalar);
        return *this;
    }

    /// x, y, z; the w is dropped.
    MVector3d toVector3d() const noexcept { return {x(), y(), z()}; }
    operator MVector3d() const noexcept { return toVector3d(); }  // NOLINT(google-explicit-constructor)
};

static_assert(sizeof(MVector4d) == 4 * sizeof(double));

}  // namespace NOXEL3D
