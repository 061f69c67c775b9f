#include "cloud_to_range/Rasterization.h"

#include <CloudToRangeBodies.h>
#include <MBox.h>
#include <NoxPlatform.h>
#include <NoxResultCodes.h>

#include <cmath>
#include <cstdint>

#include "data/Checked.h"
#include "frame/Parallel.h"

namespace nox {

namespace {

using NOXEL3D::MBox;
using NOXEL3D::MMatrix3;
using NOXEL3D::MMatrix4;
using NOXEL3D::MVector3d;
using NOXEL3D::MVector3f;

/// The cloud's box in the frame, its lowest corner and its edges.
struct Extent
{
    MVector3f min;
    MVector3f max;

    MVector3f center() const { return (min + max) * 0.5; }
    MVector3f size() const { return max - min; }

    /// The marker is a number like others to the reduction, so one marked point spoils the box. Without any number the
    /// size is negative.
    bool isUsable() const
    {
        const MVector3f s = size();
        for (int i = 0; i < 3; ++i)
            if (max[i] == NOXEL3D::kInvalidComponent || !(s[i] >= 0.0f) || std::isinf(s[i])) return false;
        return true;
    }
};

Extent extentOf(const NoxPointCloud& cloud, const MMatrix3& axes)
{
    const MMatrix3 toFrame = axes.transposed();
    NOXEL::AABB_box box(cloud.PointData(), &toFrame);
    parallelReduce(tbb::blocked_range<int>(0, cloud.Length(), 1), box);
    return {box.min, box.max};
}

MBox orientedBox(const Extent& extent, const MMatrix3& axes)
{
    MBox box;
    box.setSize(extent.size());
    box.setPose(MMatrix4::Pose(axes * MVector3d::XUnit, axes * MVector3d::YUnit, axes * MVector3d::ZUnit,
                               axes * extent.center()));
    return box;
}

PixelFrame frameOf(const MBox& box, float resolutionX, float resolutionY)
{
    const MMatrix4 corner = MMatrix4::Pose(box.xDirection(), box.yDirection(), box.zDirection(), box.minCorner());
    return {corner.rigidInverse(), resolutionX, resolutionY};
}

/// Whether there is memory for that many points and cells. Small jobs do not ask. Cells are counted in whole hundreds
/// a side; a grid too thin for that is asked about by its pixels.
bool memoryCoversGrid(std::int64_t count, int width, int height)
{
    constexpr std::uint64_t bytesEach = 24;
    const auto points = static_cast<std::uint64_t>(count);
    const auto hundreds = static_cast<std::uint64_t>(width / 100) * static_cast<std::uint64_t>(height / 100);
    const auto cells = static_cast<std::uint64_t>(pixelCount(width, height));
    if (points <= 300000000 && hundreds <= 30000 && cells <= 400000000) return true;

    const std::uint64_t available = NOXEL::NoxAvailablePhysicalMemory();
    return available >= bytesEach * points && available / 10000 >= bytesEach * hundreds &&
           available / sizeof(float) >= cells;
}

}  // namespace

long rasterizeBySize(const NoxPointCloud& cloud, int width, int height, const MMatrix3& axes, NoxRangeImage* image,
                     PixelFrame* frame)
{
    const Extent extent = extentOf(cloud, axes);
    if (!extent.isUsable()) return NOXEL::code::boxBySize;
    const MBox box = orientedBox(extent, axes);
    const auto resolutionX = static_cast<float>(box.size().x() / (width - 1.0));
    const auto resolutionY = static_cast<float>(box.size().y() / (height - 1.0));
    if (!(resolutionX > 0.0f && resolutionY > 0.0f)) return NOXEL::code::boxBySize;
    if (!memoryCoversGrid(cloud.Length(), width, height)) return NOXEL::code::cloudMemory;

    image->SetSize(width, height, NoxDataType32F);
    image->SetInfo(1.0, -extent.min.z(), resolutionX, -extent.min.x() / resolutionX, resolutionY,
                   -extent.min.y() / resolutionY);
    *frame = frameOf(box, resolutionX, resolutionY);
    return NOXEL::code::success;
}

long rasterizeByResolution(const NoxPointCloud& cloud, double resolutionX, double resolutionY, const MMatrix3& axes,
                           NoxRangeImage* image, PixelFrame* frame)
{
    const Extent extent = extentOf(cloud, axes);
    if (!extent.isUsable()) return NOXEL::code::boxByResolution;
    const MBox box = orientedBox(extent, axes);
    const double columns = box.size().x() / resolutionX;
    const double rows = box.size().y() / resolutionY;
    if (std::isnan(columns) || std::isnan(rows)) return NOXEL::code::boxByResolution;
    constexpr double mostCells = 2147483647.0;  // less one for the last, begun cell
    if (columns >= mostCells || rows >= mostCells) return NOXEL::code::cloudMemory;
    const int width = t32(columns) + 1;
    const int height = t32(rows) + 1;
    if (!memoryCoversGrid(cloud.Length(), width, height)) return NOXEL::code::cloudMemory;

    image->SetSize(width, height, NoxDataType32F);
    image->SetInfo(1.0, extent.min.z(), resolutionX, -extent.min.x() / resolutionX, resolutionY,
                   -extent.min.y() / resolutionY);
    *frame = frameOf(box, static_cast<float>(resolutionX), static_cast<float>(resolutionY));
    return NOXEL::code::success;
}

}  // namespace nox
