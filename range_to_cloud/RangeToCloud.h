#pragma once

#include <NoxPointCloud.h>
#include <NoxRangeImage.h>

namespace nox {

/// The conversion behind Nox3DDataConvert::RangeImageToPointCloud, with its tests.
long rangeImageToPointCloud(const NoxRangeImage& image, NoxPointCloud* cloud);

}  // namespace nox
