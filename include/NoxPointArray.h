#pragma once

#include <NoxBuffer.h>
#include <NoxExport.h>
#include <NoxPoint.h>

/// Growable array of image points, a value: a copy has its own points.
class NOX_EXPORT NoxPointArray
{
public:
    int Length() const noexcept { return points_.size(); }
    void Append(const NoxPoint& point) { points_.append(point); }
    /// @throws std::out_of_range
    NoxPoint& operator[](int index) { return points_.at(index); }
    NoxPoint operator[](int index) const { return points_.at(index); }

private:
    NoxBuffer<NoxPoint> points_;
};
