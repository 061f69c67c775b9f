#pragma once

// The value types of the same library; nothing below needs them.
#include <MArray.h>
#include <MBox.h>
#include <MLineSegment.h>
#include <MMatrix3.h>
#include <MVector4d.h>

#include <NoxExport.h>
#include <NoxMatrix3.h>
#include <NoxMatrix4.h>
#include <NoxVector3d.h>

#include <Eigen/Core>

#include <cmath>
#include <string>

namespace NOXEL {

/// Bridges between the plain data classes and Eigen, Gaussian helpers and small operations on vectors and matrices.
/// Stateless; safe from any thread. What touches Eigen is inline, so that the layout of Eigen's types is always that of
/// the caller's own compilation.
class Nox3DUtil
{
public:
    Eigen::Matrix<double, 3, 1> ToEigen(const NoxVector3d& v) const { return {v.X(), v.Y(), v.Z()}; }
    Eigen::Matrix<double, 3, 3> ToEigen(const NoxMatrix3& m) const { return toEigen<3>(m); }
    Eigen::Matrix<double, 4, 4> ToEigen(const NoxMatrix4& m) const { return toEigen<4>(m); }

    /// Each component rounded to float.
    NoxVector3d FromEigen(const Eigen::Matrix<double, 3, 1>& v) const
    {
        return {static_cast<float>(v(0)), static_cast<float>(v(1)), static_cast<float>(v(2))};
    }
    NoxVector3d FromEigen(Eigen::Matrix<double, 3, 1>& v) const
    {
        return FromEigen(static_cast<const Eigen::Matrix<double, 3, 1>&>(v));
    }
    NoxMatrix3 FromEigen(const Eigen::Matrix<double, 3, 3>& m) const { return fromEigen<NoxMatrix3>(m); }
    NoxMatrix4 FromEigen(const Eigen::Matrix<double, 4, 4>& m) const { return fromEigen<NoxMatrix4>(m); }
    NoxMatrix4 FromEigen(Eigen::Matrix<double, 4, 4>& m) const { return fromEigen<NoxMatrix4>(m); }
    /// Each element widened to double.
    NoxMatrix4 FromEigen(const Eigen::Matrix<float, 4, 4>& m) const { return fromEigen<NoxMatrix4>(m); }

    /// exp(-x^2 / (2 sigma^2)): the Gaussian with a peak of 1. `sigma` is not 0: that is the caller's care.
    NOX_EXPORT double Gauss(double x, double sigma) const { return std::exp(x * x / (sigma * -2.0 * sigma)); }
    /// Its derivative by x.
    NOX_EXPORT double GaussDx(double x, double sigma) const { return -(Gauss(x, sigma) * x / (sigma * sigma)); }

    /// The text as wide characters under the process's current locale. The result has the text's length in bytes; what
    /// the conversion does not reach, or all behind an invalid sequence, is zero.
    NOX_EXPORT static std::wstring toUnicode(const char* text);

    /// The point transform in place, in float: rotation block times the vector plus the last column.
    NOX_EXPORT void Transform(NoxVector3d& v, const NoxMatrix4& m) const;

    /// Right-handed rotation about an axis by an angle in degrees.
    NOX_EXPORT NoxMatrix4 XRotation(const double& degrees) const;
    NOX_EXPORT NoxMatrix4 YRotation(const double& degrees) const;
    NOX_EXPORT NoxMatrix4 ZRotation(const double& degrees) const;

    /// The smallest rotation that brings `from` onto `to`. Antiparallel vectors: half a turn about an axis across
    /// `from`. A zero vector gives the identity.
    /// @param normalise  false: both have length 1 already and are taken as they are
    NOX_EXPORT NoxMatrix4 M4VectorIntoVectorRotation(const NoxVector3d& from, const NoxVector3d& to,
                                                     bool normalise) const;

private:
    template <int N, class Source>
    static Eigen::Matrix<double, N, N> toEigen(const Source& source)
    {
        Eigen::Matrix<double, N, N> target;
        for (int row = 0; row < N; ++row)
            for (int column = 0; column < N; ++column) target(row, column) = source.Value(row, column);
        return target;
    }

    template <class Target, class Source>
    static Target fromEigen(const Source& source)
    {
        Target target;
        for (int row = 0; row < Source::RowsAtCompileTime; ++row)
            for (int column = 0; column < Source::ColsAtCompileTime; ++column)
                target.Replace(row, column, static_cast<double>(source(row, column)));
        return target;
    }
};

}  // namespace NOXEL
