#pragma once

#include <NoxExport.h>
#include <NoxVector3d.h>

/// A triangle in space.
class NOX_EXPORT Nox3DTriangle
{
public:
    Nox3DTriangle(const NoxVector3d& a, const NoxVector3d& b, const NoxVector3d& c) noexcept : a_(a), b_(b), c_(c) {}

    const NoxVector3d& A() const noexcept { return a_; }
    const NoxVector3d& B() const noexcept { return b_; }
    const NoxVector3d& C() const noexcept { return c_; }

private:
    NoxVector3d a_;
    NoxVector3d b_;
    NoxVector3d c_;
};
