#pragma once

#include <NoxColorArray.h>
#include <NoxVector3dArray.h>

#include <memory>

/// An unordered array of points with optional colours. Copies share points and colours.
class NOX_EXPORT NoxPointCloud
{
public:
    int Length() const noexcept;
    /// x, y, z of the first point, the others behind it; null when there are none.
    float* PointData() const noexcept;
    /// First byte of the colours, null when there are none.
    unsigned char* ColorData() const noexcept;
    bool IsValidColor() const noexcept { return ColorData() != nullptr; }

    /// Gives the cloud points of its own; the array may be changed or destroyed afterwards.
    void SetPoints(const NoxVector3dArray& points);
    /// Takes the points over without a copy.
    void SetPoints(NoxVector3dArray&& points);
    /// Gives the cloud colours of its own. An empty array leaves the cloud without colours.
    void SetColors(const NoxColorArray& colors);
    /// Takes the colours over without a copy; other copies of the array still share their bytes.
    void SetColors(NoxColorArray&& colors);

    /// The colours themselves, an empty array when there are none.
    const NoxColorArray& Colors() const noexcept { return colors_; }
    /// The colours with bytes of their own.
    NoxColorArray DeepCopyColors() const;
    /// Back to empty.
    void Clear() { *this = NoxPointCloud(); }

private:
    std::shared_ptr<NoxVector3dArray> points_;
    NoxColorArray colors_;
};
