#pragma once

#include <Nox3DPlane.h>
#include <NoxExport.h>
#include <NoxImage.h>
#include <NoxRangeImage.h>

class NoxROI;

namespace NOXEL {

/// The drivers of the conversions between range images and gray images. Stateless. The façade has tested the arguments
/// and catches what they throw; each is defined in the folder of its conversion. A `double*` is an optional output.
class NOX_EXPORT Nox3DDataConvertAlg
{
public:
    /// Measured stretch inside a region.
    long NoxRangeImageToImage(NoxRangeImage& range, NoxROI& roi, NoxImage* image, int imageType, int background,
                              double* grayScale, double* grayOffset);
    /// Fixed band, limits in stored units; relative to the plane when `usePlane` is true.
    long NoxRangeImageToImage(NoxRangeImage& range, NoxROI& roi, NoxImage* image, int imageType, int background,
                              const Nox3DPlane& plane, bool usePlane, double low, double high, int lowGray,
                              int highGray, double* grayScale, double* grayLow);
    /// Fixed rule for each pair of types.
    long NoxRangeImageToImageAuto(NoxRangeImage& range, NoxImage* image, int imageType);
    /// A band about the mean of each tile.
    long NoxRangeImageToImageByChunk(NoxRangeImage& range, NoxImage* image, int imageType, int tileWidth,
                                     int tileHeight, double above, double below);

    /// Linear map from grays to heights.
    long NoxImageToRangeImage(NoxImage& image, NoxRangeImage* range, int dataType, double grayScale, double grayOffset);
    /// Fixed rule for each pair of types.
    long NoxImageToRangeImageAuto(NoxImage& image, NoxRangeImage* range, int dataType);
};

}  // namespace NOXEL

namespace nox {

struct StaticConfig;

/// The configuration record that these drivers read.
const StaticConfig& algorithmConfig() noexcept;

}  // namespace nox
