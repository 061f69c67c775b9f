#pragma once

#include <NoxExport.h>
#include <NoxVector3d.h>

/// A plane: a point on it and its normal, in this order. The default plane is not valid.
class NOX_EXPORT Nox3DPlane
{
public:
    Nox3DPlane() noexcept = default;
    Nox3DPlane(const NoxVector3d& point, const NoxVector3d& normal) noexcept : point_(point), normal_(normal) {}

    const NoxVector3d& Point() const noexcept { return point_; }
    const NoxVector3d& Normal() const noexcept { return normal_; }

    /// All six numbers are finite and none is an invalid marker, and the normal is not zero.
    bool IsValid() const noexcept;

private:
    NoxVector3d point_;
    NoxVector3d normal_;
};
