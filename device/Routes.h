#pragma once

#include <NoxColorArray.h>
#include <NoxMatrixArray.h>
#include <NoxPointCloud.h>
#include <NoxRangeImage.h>
#include <NoxRangeImageArray.h>

#include "cloud_to_range/Rasterization.h"

namespace nox {

/// What `registerPoints` does, on the device: the mean of the points that reach a cell instead of the top surface.
/// @return 0; 30602013; 30602014; 30602023 not one colour a point. Throws when memory of the host ends.
long registerPointsOnDevice(const NoxPointCloud& cloud, const PixelFrame& frame, const NoxColorArray& colors,
                            NoxRangeImage* image);

}  // namespace nox
