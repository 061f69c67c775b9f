#pragma once

#include <MVectorBase.h>
#include <NoxExport.h>

#include <type_traits>

namespace NOXEL3D {

class MVector3d;

/// Three floats. Reckons in float, but scales in double.
class NOX_EXPORT MVector3f : public MVector3Base<MVector3f, float>
{
public:
    /// Components undefined.
    MVector3f() noexcept {}  // NOLINT(modernize-use-equals-default): large scratch arrays must not be cleared
    MVector3f(float x, float y, float z) noexcept { setValues(x, y, z); }

    /// Sets all components.
    MVector3f& operator=(float scalar) noexcept
    {
        setValues(scalar, scalar, scalar);
        return *this;
    }
    /// Rounds each component to float. A template, so that a braced list of components is no candidate for it.
    template <class V, class = std::enable_if_t<std::is_same_v<V, MVector3d>>>
    MVector3f& operator=(const V& v) noexcept
    {
        return *this = v.toVector3f();
    }

    static const MVector3f Zero;
    static const MVector3f XUnit;
    static const MVector3f YUnit;
    static const MVector3f ZUnit;
    static const MVector3f Infinity;  ///< all components the greatest float
    static const MVector3f Invalid;   ///< the same triple
};

static_assert(sizeof(MVector3f) == 3 * sizeof(float));

}  // namespace NOXEL3D

#include <MVector3d.h>
