#pragma once

#include <MMatrix3.h>
#include <MMatrix4.h>
#include <NoxPointCloud.h>
#include <NoxRangeImage.h>

namespace nox {

/// Where a point of the cloud falls in the grid.
struct PixelFrame
{
    NOXEL3D::MMatrix4 worldToBox;
    float resolutionX;
    float resolutionY;

    /// Column and row in pixels; the height stays the cloud's own z, whatever the frame does.
    NOXEL3D::MVector3f position(const NOXEL3D::MVector3f& point) const
    {
        const NOXEL3D::MVector3f u = worldToBox * point;
        return {u.x() / resolutionX, u.y() / resolutionY, point.z()};
    }
};

/// Lays a grid over the cloud's box in the frame whose axes are the columns of `axes`: sizes `image` (float, content
/// undefined), sets its resolutions and offsets, and gives the way from the cloud into the grid.
/// @return 0; 30602017 no usable box: a component is infinite, a marker or never a number, or the box has no extent
/// along a grid axis; 30602012 too little memory
long rasterizeBySize(const NoxPointCloud& cloud, int width, int height, const NOXEL3D::MMatrix3& axes,
                     NoxRangeImage* image, PixelFrame* frame);

/// The same with given resolutions; a box without extent gives one column or row.
/// @return 0; 30602024 no usable box, or a resolution that is no number; 30602012 too little memory, or more columns or
/// rows than an int holds
long rasterizeByResolution(const NoxPointCloud& cloud, double resolutionX, double resolutionY,
                           const NOXEL3D::MMatrix3& axes, NoxRangeImage* image, PixelFrame* frame);

}  // namespace nox
