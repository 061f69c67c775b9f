#pragma once

#include <NoxColorArray.h>
#include <NoxPointCloud.h>
#include <NoxRangeImage.h>

#include "cloud_to_range/Rasterization.h"

namespace nox {

/// Makes heights, and with colours a colour plane, out of the points of a cloud: spreads every point over four cells; a
/// cell keeps a weighted mean of the top surface.
///
/// The outcome is that of all points taken one after the other, bit for bit, whatever the number of threads: the grid
/// is cut into tiles that fit a core's cache, and each tile takes the points that reach it in the order of the cloud.
/// @param frame   the way from the cloud into the grid
/// @param colors  one for each point, or empty
/// @param image   sized, its content undefined on entry; every cell is written
/// @return 0; 30602012 too little memory; 30602023 not one colour a point. Throws when memory ends.
long registerPoints(const NoxPointCloud& cloud, const PixelFrame& frame, const NoxColorArray& colors,
                    NoxRangeImage* image);

}  // namespace nox
