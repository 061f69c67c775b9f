#pragma once

#include <NoxMatrix4.h>
#include <NoxPointCloud.h>
#include <NoxRangeImage.h>
#include <NoxVector3d.h>

namespace nox {

struct PixelFrame;

/// How the heights of a sized image are made: on the host (`registerPoints`) or on the device
/// (`registerPointsOnDevice`).
using Registration = long (*)(const NoxPointCloud& cloud, const PixelFrame& frame, const NoxColorArray& colors,
                              NoxRangeImage* image);

/// The drivers behind the forms of Nox3DDataConvert::PointCloudToRangeImage. The façade has tested the arguments. The
/// result is written only when all went well.
long cloudToRangeBySize(const NoxPointCloud& cloud, NoxRangeImage* result, const NoxMatrix4& pose, int width,
                        int height, Registration registration);
long cloudToRangeByResolution(const NoxPointCloud& cloud, NoxRangeImage* result, const NoxMatrix4& pose,
                              double resolutionX, double resolutionY, Registration registration);
long cloudToRangeAlong(const NoxPointCloud& cloud, NoxRangeImage* result, const NoxVector3d& direction,
                       double resolutionX, double resolutionY, Registration registration);

/// The grid of an ordered cloud.
struct OrderedGrid
{
    int width;
    int height;
    double firstResolution;
    double secondResolution;
    double offsetX;
    double offsetY;
};

/// Method 0: heights by index.
long pointCloudToRangeImage(const NoxPointCloud& cloud, NoxRangeImage* result, const OrderedGrid& grid);
/// Method 1: points binned by their coordinates.
long pointCloudToRangeImageOrden(const NoxPointCloud& cloud, NoxRangeImage* result, const OrderedGrid& grid);

}  // namespace nox
