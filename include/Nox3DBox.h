#pragma once

#include <NoxExport.h>
#include <NoxVector3d.h>

/// A rotated box.
class NOX_EXPORT Nox3DBox
{
public:
    Nox3DBox(const NoxVector3d& centre, const NoxVector3d& size, const NoxVector3d& rotation) noexcept
        : centre_(centre), size_(size), rotation_(rotation)
    {
    }

    const NoxVector3d& Centre() const noexcept { return centre_; }
    const NoxVector3d& Size() const noexcept { return size_; }          ///< full lengths of the sides
    const NoxVector3d& Rotation() const noexcept { return rotation_; }  ///< degrees about x, y and z

private:
    NoxVector3d centre_;
    NoxVector3d size_;
    NoxVector3d rotation_;
};
