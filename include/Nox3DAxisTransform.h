#pragma once

#include <NoxExport.h>
#include <NoxMatrix4.h>
#include <NoxVector3d.h>

namespace NOXEL {

/// Rotations as matrices and as three angles in degrees. Stateless; safe from any thread.
///
/// Rotations are right-handed. Order 0, the only one, turns about x first, then about y, then about z: the matrix is
/// Rz * Ry * Rx. The turn about z comes last, so a rotation that carries a vector onto +Z still does so without it.
/// A refusal writes nothing.
class NOX_EXPORT Nox3DAxisTransform
{
public:
    /// The smallest rotation that carries the direction onto +Z; from -Z half a turn about x.
    /// @return 0; 11200001 a direction that is zero or not finite
    long VectorToDirectionZ(const NoxVector3d& direction, NoxMatrix4* matrix) const noexcept;

    /// Takes a transform apart: translation * rotation * scale. The scales are the lengths of the matrix's first three
    /// columns, the third one negative for a mirror image. Angles 1 and 3 are in -180 to 180, angle 2 in -90 to 90; at
    /// +-90, where the others are not unique, angle 1 is 0.
    /// @param angles, scale, translation  each may be null
    /// @return 0; 11200001 a matrix with a number that is not finite or an axis of length 0; 11200002 another order
    long GetRotateAnglesFromTransformMatrix4(const NoxMatrix4& matrix, int order, NoxVector3d* angles,
                                             NoxVector3d* scale, NoxVector3d* translation) const noexcept;

    /// The transform that turns by the angles and then moves.
    /// @return 0; 11200001 an angle that is not finite; 11200002 another order; 11200003 a translation that is not
    /// finite
    long GenTransformMatrix(const NoxVector3d& angles, int order, const NoxVector3d& translation,
                            NoxMatrix4* matrix) const noexcept;
};

}  // namespace NOXEL
