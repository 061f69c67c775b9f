#pragma once

#include <NoxExport.h>

#include <cmath>
#include <limits>

namespace NOXEL3D {

/// Marks a component without a value, in float and double alike: the greatest float. It has the opposite sign of the
/// invalid height of a float range image.
inline constexpr float kInvalidComponent = std::numeric_limits<float>::max();

/// What all vectors have: `N` components of type `S` and nothing else in the object; `V` is the vector class.
template <class V, class S, int N>
class NOX_EXPORT MVectorBase
{
public:
    S* data() noexcept { return v_; }
    const S* data() const noexcept { return v_; }

    const S& x() const noexcept { return v_[0]; }
    const S& y() const noexcept { return v_[1]; }
    const S& z() const noexcept { return v_[2]; }
    void setX(S x) noexcept { v_[0] = x; }
    void setY(S y) noexcept { v_[1] = y; }
    void setZ(S z) noexcept { v_[2] = z; }

    /// Exact; a NaN differs from itself.
    bool operator==(const V& other) const noexcept
    {
        for (int i = 0; i < N; ++i)
            if (!(v_[i] == other.data()[i])) return false;
        return true;
    }
    bool operator!=(const V& other) const noexcept { return !(*this == other); }

    /// Sum of the products, reckoned in `S` from x on and then widened.
    double dot(const V& other) const noexcept
    {
        S sum = v_[0] * other.data()[0];
        for (int i = 1; i < N; ++i) sum += v_[i] * other.data()[i];
        return static_cast<double>(sum);
    }

    /// No component is the marker or a NaN; an infinity is valid.
    bool isValid() const noexcept
    {
        for (S c : v_)
            if (c == S(kInvalidComponent) || std::isnan(c)) return false;
        return true;
    }
    /// Some component is a NaN.
    bool isNaN() const noexcept
    {
        for (S c : v_)
            if (std::isnan(c)) return true;
        return false;
    }
    /// Marks x and leaves the rest.
    void invalidate() noexcept { v_[0] = S(kInvalidComponent); }

protected:
    S v_[N];
};

/// What the vectors of three components have beside that.
template <class V, class S>
class NOX_EXPORT MVector3Base : public MVectorBase<V, S, 3>
{
public:
    void setValues(S x, S y, S z) noexcept
    {
        v_[0] = x;
        v_[1] = y;
        v_[2] = z;
    }
    /// No range check.
    S& operator[](int i) noexcept { return v_[i]; }
    const S& operator[](int i) const noexcept { return v_[i]; }

    V cross(const V& b) const noexcept
    {
        return V(v_[1] * b[2] - v_[2] * b[1], v_[2] * b[0] - v_[0] * b[2], v_[0] * b[1] - v_[1] * b[0]);
    }
    V schurProduct(const V& b) const noexcept { return V(v_[0] * b[0], v_[1] * b[1], v_[2] * b[2]); }
    V abs() const noexcept { return V(std::abs(v_[0]), std::abs(v_[1]), std::abs(v_[2])); }

    V operator-() const noexcept { return V(-v_[0], -v_[1], -v_[2]); }
    /// The negated vector, no reciprocal.
    V inverse() const noexcept { return -*this; }
    void invert() noexcept { setValues(-v_[0], -v_[1], -v_[2]); }

    V operator+(const V& b) const noexcept { return V(v_[0] + b[0], v_[1] + b[1], v_[2] + b[2]); }
    V operator-(const V& b) const noexcept { return V(v_[0] - b[0], v_[1] - b[1], v_[2] - b[2]); }
    V& operator+=(const V& b) noexcept { return self() = *this + b; }
    V& operator-=(const V& b) noexcept { return self() = *this - b; }

    /// Scaled in double, each component rounded to `S` at the end; a zero divisor is not tested for.
    V operator*(double s) const noexcept { return V(S(v_[0] * s), S(v_[1] * s), S(v_[2] * s)); }
    V operator/(double s) const noexcept { return V(S(v_[0] / s), S(v_[1] / s), S(v_[2] / s)); }
    V& operator*=(double s) noexcept { return self() = *this * s; }
    V& operator/=(double s) noexcept { return self() = *this / s; }

protected:
    using MVectorBase<V, S, 3>::v_;

private:
    V& self() noexcept { return static_cast<V&>(*this); }
};

}  // namespace NOXEL3D
