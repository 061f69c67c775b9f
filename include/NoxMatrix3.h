#pragma once

#include <NoxFixedMatrix.h>

/// 3 x 3 matrix of double, row by row. Default: all zero.
class NoxMatrix3 : public NOXEL::NoxFixedMatrix<3>
{
public:
    NoxMatrix3() noexcept = default;
    NoxMatrix3(double m00, double m01, double m02, double m10, double m11, double m12, double m20, double m21,
               double m22) noexcept
        : NoxFixedMatrix(m00, m01, m02, m10, m11, m12, m20, m21, m22)
    {
    }
};
