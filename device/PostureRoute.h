#pragma once

#include <NoxMatrixArray.h>
#include <NoxRangeImage.h>
#include <NoxRangeImageArray.h>

#include "posture/Posture.h"

namespace nox {

/// What `mergeOrthographic` does, on the device, for images of either type: their grids count as orthographic. A merge
/// on a reduced canvas of fewer than 1024 columns or rows runs on the host.
/// @param images  float; reduced in place when samplingFactor is above 1
/// @return 0; 11100001 an image without pixels or reduced to none; 11200003 the images do not fit the canvas; 30602013;
/// 30602014; the code of a failing resampling or host merge
long mergeOnDevice(NoxRangeImageArray& images, const NoxMatrixArray& poses, const PostureRequest& request,
                   NoxRangeImage* result);

}  // namespace nox
