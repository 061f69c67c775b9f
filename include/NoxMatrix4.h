#pragma once

#include <NoxFixedMatrix.h>

/// 4 x 4 matrix of double, row by row; as a pose it acts on column vectors (x, y, z, 1), the translation in elements
/// 3, 7 and 11 of `Data()`. Default: all zero, which the conversions refuse as a pose.
class NoxMatrix4 : public NOXEL::NoxFixedMatrix<4>
{
public:
    NoxMatrix4() noexcept = default;
    NoxMatrix4(double m00, double m01, double m02, double m03, double m10, double m11, double m12, double m13,
               double m20, double m21, double m22, double m23, double m30, double m31, double m32, double m33) noexcept
        : NoxFixedMatrix(m00, m01, m02, m03, m10, m11, m12, m13, m20, m21, m22, m23, m30, m31, m32, m33)
    {
    }

    /// Matrix product; each element is summed in ascending order of the inner index.
    NoxMatrix4 operator*(const NoxMatrix4& other) const noexcept
    {
        NoxMatrix4 product;
        for (int row = 0; row < 4; ++row) {
            for (int column = 0; column < 4; ++column) {
                double sum = 0.0;
                for (int k = 0; k < 4; ++k) sum += Data()[4 * row + k] * other.Data()[4 * k + column];
                product.Data()[4 * row + column] = sum;
            }
        }
        return product;
    }
};
