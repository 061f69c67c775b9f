#pragma once

#include <NoxExport.h>
#include <NoxVector3d.h>

/// A flat rectangle in space.
class NOX_EXPORT Nox3DRect
{
public:
    Nox3DRect(float lengthA, float lengthB, const NoxVector3d& centre, const NoxVector3d& rotation) noexcept
        : lengthA_(lengthA), lengthB_(lengthB), centre_(centre), rotation_(rotation)
    {
    }

    float LengthA() const noexcept { return lengthA_; }  ///< full length of a side
    float LengthB() const noexcept { return lengthB_; }
    const NoxVector3d& Centre() const noexcept { return centre_; }
    const NoxVector3d& Rotation() const noexcept { return rotation_; }  ///< degrees about x, y and z

private:
    float lengthA_;
    float lengthB_;
    NoxVector3d centre_;
    NoxVector3d rotation_;
};
