#pragma once

#include <NoxBuffer.h>
#include <NoxExport.h>
#include <NoxVector3d.h>

/// Growable contiguous array of points, a value: a copy has its own points.
class NOX_EXPORT NoxVector3dArray
{
public:
    NoxVector3dArray() noexcept = default;

    int Length() const noexcept { return points_.size(); }
    /// @throws std::out_of_range
    NoxVector3d& operator[](int index) { return points_.at(index); }
    const NoxVector3d& operator[](int index) const { return points_.at(index); }
    /// x, y, z of the first point, the others behind it; null before anything was stored.
    float* Data() noexcept { return reinterpret_cast<float*>(points_.data()); }
    const float* Data() const noexcept { return reinterpret_cast<const float*>(points_.data()); }

    /// Keeps the points up to the new size; new ones are undefined until written.
    /// @throws std::length_error for a negative size
    void SetSize(int size) { points_.resize(size); }
    /// @throws std::out_of_range
    void Replace(int index, const NoxVector3d& point) { points_.at(index) = point; }
    void Append(const NoxVector3d& point) { points_.append(point); }

private:
    NoxBuffer<NoxVector3d> points_;
};
