#pragma once

#include <NoxExport.h>
#include <NoxVector3d.h>

/// A circle in space.
class NOX_EXPORT Nox3DCircle
{
public:
    Nox3DCircle(const NoxVector3d& centre, const NoxVector3d& normal, float radius) noexcept
        : centre_(centre), normal_(normal), radius_(radius)
    {
    }

    const NoxVector3d& Centre() const noexcept { return centre_; }
    const NoxVector3d& Normal() const noexcept { return normal_; }
    float Radius() const noexcept { return radius_; }

private:
    NoxVector3d centre_;
    NoxVector3d normal_;
    float radius_;
};
