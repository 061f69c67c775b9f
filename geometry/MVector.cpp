#include <MVector3d.h>
#include <MVector3f.h>

namespace NOXEL3D {

#define NOX_VECTOR_CONSTANTS(V)                                                   \
    const V V::Zero(0, 0, 0);                                                     \
    const V V::XUnit(1, 0, 0);                                                    \
    const V V::YUnit(0, 1, 0);                                                    \
    const V V::ZUnit(0, 0, 1);                                                    \
    const V V::Infinity(kInvalidComponent, kInvalidComponent, kInvalidComponent); \
    const V V::Invalid(kInvalidComponent, kInvalidComponent, kInvalidComponent);

NOX_VECTOR_CONSTANTS(MVector3f)
NOX_VECTOR_CONSTANTS(MVector3d)
#undef NOX_VECTOR_CONSTANTS

}  // namespace NOXEL3D
