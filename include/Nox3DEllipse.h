#pragma once

#include <NoxExport.h>
#include <NoxVector3d.h>

/// A flat ellipse in space.
class NOX_EXPORT Nox3DEllipse
{
public:
    Nox3DEllipse(float radiusA, float radiusB, const NoxVector3d& centre, const NoxVector3d& rotation) noexcept
        : radiusA_(radiusA), radiusB_(radiusB), centre_(centre), rotation_(rotation)
    {
    }

    float RadiusA() const noexcept { return radiusA_; }
    float RadiusB() const noexcept { return radiusB_; }
    const NoxVector3d& Centre() const noexcept { return centre_; }
    const NoxVector3d& Rotation() const noexcept { return rotation_; }  ///< degrees about x, y and z

private:
    float radiusA_;
    float radiusB_;
    NoxVector3d centre_;
    NoxVector3d rotation_;
};
