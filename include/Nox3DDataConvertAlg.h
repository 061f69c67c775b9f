#pragma once

#include <Nox3DPlane.h>
#include <NoxExport.h>
#include <NoxImage.h>
#include <NoxROI.h>
#include <NoxRangeImage.h>

namespace NOXEL {

/// The drivers behind Nox3DDataConvert: between range images and gray images, and between the forms of range images.
/// They test no argument and let exceptions pass; the façade does both, so call that. Stateless, safe from any thread
/// on separate outputs. A `double*` is an optional output. `imageType` other than 0 makes 16-bit grays.
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

    /// Another element type; source and output hold different matrix objects.
    long NoxRangeImageDataTypeConvert(NoxRangeImage& source, NoxRangeImage* output, int dataType);
    /// The same where they hold one matrix object, which the source keeps unless it is the output.
    long NoxRangeImageDataTypeConvertShared(NoxRangeImage& source, NoxRangeImage* output, int dataType);
    /// Type 1 to type 0; width and height are those of the source. The façade does not catch what this throws.
    long NoxRangeImageTypeConvert(NoxRangeImage& source, NoxRangeImage* output, const double* referenceDistance,
                                  int method, int width, int height);
};

}  // namespace NOXEL
