#include <CloudToRangeBodies.h>

#include <algorithm>

#include "cloud_to_range/Rasterization.h"
#include "data/ElementType.h"

namespace NOXEL {

namespace {

using NOXEL3D::MVector3f;

MVector3f pointAt(const float* points, std::size_t i) { return {points[3 * i], points[3 * i + 1], points[3 * i + 2]}; }

}  // namespace

void AABB_box::operator()(const tbb::blocked_range<int>& range)
{
    const NOXEL3D::MMatrix3 turn = *rotation;
    MVector3f low = min, high = max;
    for (int i = range.begin(); i != range.end(); ++i) {
        const MVector3f q = turn * pointAt(points, static_cast<std::size_t>(i));
        for (int k = 0; k < 3; ++k) {
            low[k] = q[k] < low[k] ? q[k] : low[k];
            high[k] = q[k] > high[k] ? q[k] : high[k];
        }
    }
    min = low;
    max = high;
}

void AABB_box::join(const AABB_box& other) noexcept
{
    for (int k = 0; k < 3; ++k) {
        min[k] = other.min[k] < min[k] ? other.min[k] : min[k];
        max[k] = other.max[k] > max[k] ? other.max[k] : max[k];
    }
}

void PointCloudToRangeImageInitRangeImg::operator()(const tbb::blocked_range<std::size_t>& rows) const
{
    const auto columns = static_cast<std::size_t>(std::max(width, 0));
    std::fill(data + rows.begin() * columns, data + rows.end() * columns, nox::Element<float>::invalid);
}

void PointCloudToRangeImageRasterizationNew::operator()(const tbb::blocked_range<std::size_t>& range) const
{
    const nox::PixelFrame frame{worldToBox, resolutionX, resolutionY};
    for (std::size_t i = range.begin(); i != range.end(); ++i) {
        const MVector3f p = pointAt(points, i);
        if (p.z() == NOXEL3D::kInvalidComponent) continue;
        (*positions)[static_cast<int>(i)] = frame.position(p);
    }
}

void PointCloudToRangeImageRasterizationNewCUDA::operator()(const tbb::blocked_range<std::size_t>& range) const
{
    const nox::PixelFrame frame{worldToBox, resolutionX, resolutionY};
    for (std::size_t i = range.begin(); i != range.end(); ++i) {
        const MVector3f position = frame.position(pointAt(points, i));
        x[i] = position.x();
        y[i] = position.y();
        z[i] = position.z();
    }
}

}  // namespace NOXEL
