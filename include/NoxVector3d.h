#pragma once

#include <cmath>

/// Three floats x, y, z and nothing else: an array of them is a flat float array. The companion in double precision is
/// NOXEL3D::MVector3d.
class NoxVector3d
{
public:
    constexpr NoxVector3d() noexcept = default;
    constexpr NoxVector3d(float x, float y, float z) noexcept : x_(x), y_(y), z_(z) {}

    constexpr float X() const noexcept { return x_; }
    constexpr float Y() const noexcept { return y_; }
    constexpr float Z() const noexcept { return z_; }

    /// Exact: a NaN differs from itself.
    constexpr bool operator==(const NoxVector3d& v) const noexcept { return x_ == v.x_ && y_ == v.y_ && z_ == v.z_; }
    constexpr bool operator!=(const NoxVector3d& v) const noexcept { return !(*this == v); }

    /// Scalar product, in float.
    constexpr float Dot(const NoxVector3d& v) const noexcept { return x_ * v.x_ + y_ * v.y_ + z_ * v.z_; }

    /// The vector divided by its length, reckoned in double so that no length of finite floats overflows or vanishes;
    /// a zero vector stays as it is.
    NoxVector3d Normalized() const noexcept
    {
        const double x = x_, y = y_, z = z_;
        const double length = std::sqrt(x * x + y * y + z * z);
        if (length == 0.0) return *this;
        return {static_cast<float>(x / length), static_cast<float>(y / length), static_cast<float>(z / length)};
    }

private:
    float x_ = 0.0f, y_ = 0.0f, z_ = 0.0f;
};

static_assert(sizeof(NoxVector3d) == 3 * sizeof(float));
