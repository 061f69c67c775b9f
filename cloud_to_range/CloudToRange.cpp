#include "cloud_to_range/CloudToRange.h"

#include <NoxResultCodes.h>

#include "cloud_to_range/Rasterization.h"

namespace nox {

namespace {

using NOXEL3D::MMatrix3;

/// The axes of the grid: along the columns the cloud's y, along the rows its x, as a type 0 image has them. The pose's
/// translation is never read.
MMatrix3 axesOf(const NoxMatrix4& pose)
{
    const double* p = pose.Data();
    return {p[4], p[5], p[6], p[0], p[1], p[2], p[8], p[9], p[10]};
}

MMatrix3 axesOf(const NoxVector3d& direction)
{
    return {0, 1, 0, 1, 0, 0, direction.X(), direction.Y(), direction.Z()};
}

/// Rasterises into an image of its own, fills it, and hands it over when all went well.
template <class Rasterize>
long convert(const NoxPointCloud& cloud, NoxRangeImage* result, Registration registration, const Rasterize& rasterize)
{
    NoxRangeImage image;
    PixelFrame frame;
    if (const long failed = rasterize(&image, &frame)) return failed;
    if (const long failed = registration(cloud, frame, cloud.Colors(), &image)) return failed;
    *result = image;
    return NOXEL::code::success;
}

}  // namespace

long cloudToRangeBySize(const NoxPointCloud& cloud, NoxRangeImage* result, const NoxMatrix4& pose, int width,
                        int height, Registration registration)
{
    return convert(cloud, result, registration, [&](NoxRangeImage* image, PixelFrame* frame) {
        return rasterizeBySize(cloud, width, height, axesOf(pose), image, frame);
    });
}

long cloudToRangeByResolution(const NoxPointCloud& cloud, NoxRangeImage* result, const NoxMatrix4& pose,
                              double resolutionX, double resolutionY, Registration registration)
{
    return convert(cloud, result, registration, [&](NoxRangeImage* image, PixelFrame* frame) {
        return rasterizeByResolution(cloud, resolutionX, resolutionY, axesOf(pose), image, frame);
    });
}

long cloudToRangeAlong(const NoxPointCloud& cloud, NoxRangeImage* result, const NoxVector3d& direction,
                       double resolutionX, double resolutionY, Registration registration)
{
    return convert(cloud, result, registration, [&](NoxRangeImage* image, PixelFrame* frame) {
        return rasterizeByResolution(cloud, resolutionX, resolutionY, axesOf(direction), image, frame);
    });
}

}  // namespace nox
