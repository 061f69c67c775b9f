#pragma once

#include <NoxExport.h>
#include <NoxVector3d.h>

/// An ellipsoid.
class NOX_EXPORT Nox3DEllipsoid
{
public:
    Nox3DEllipsoid(const NoxVector3d& centre, const NoxVector3d& semiAxes, const NoxVector3d& rotation) noexcept
        : centre_(centre), semiAxes_(semiAxes), rotation_(rotation)
    {
    }

    const NoxVector3d& Centre() const noexcept { return centre_; }
    const NoxVector3d& SemiAxes() const noexcept { return semiAxes_; }
    const NoxVector3d& Rotation() const noexcept { return rotation_; }  ///< degrees about x, y and z

private:
    NoxVector3d centre_;
    NoxVector3d semiAxes_;
    NoxVector3d rotation_;
};
