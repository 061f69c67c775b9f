#pragma once

#include <Nox3DPlane.h>
#include <NoxExport.h>
#include <NoxROI.h>
#include <NoxRangeImage.h>
#include <NoxVector3d.h>

namespace NOXEL {

/// Measures surfaces. Stateless; safe from any thread.
class NOX_EXPORT Nox3DSurfaceMeasurement
{
public:
    /// Smallest, largest and mean height of the pixels of a region.
    ///
    /// The height of a pixel is the z of its point, in float: (value - OffsetZ) * ResolutionZ, but the value itself for
    /// double images and for float images of type 0. With a valid plane it is the distance of the point from the plane,
    /// positive on the side of the normal. Pixels that are invalid or whose height is not finite take no part.
    /// @param region  the default one is the whole image; its part inside the image counts
    /// @param plane   the default one, not valid, is none
    /// @param lowest, highest, mean  each may be null
    /// @param count   number of the pixels measured, at most the largest int; may be null
    /// The other arguments are not used, and may be 0 or null.
    /// @return 0; 11100001 no pixel to measure: nothing is written then. Throws std::bad_alloc.
    long HeightIntensity(const NoxRangeImage& image, const NoxROI& region, const Nox3DPlane& plane, int, int, double,
                         double, int, int, double* lowest, double* highest, int* count, double* mean, double*, double*,
                         double*, double*, NoxVector3d*, NoxVector3d*) const;
};

}  // namespace NOXEL
