#pragma once

#include <NoxExport.h>
#include <NoxRangeImage.h>

namespace NOXEL {

/// Brings range images to another number of pixels. Stateless; safe from any thread.
class NOX_EXPORT Nox3DSampling
{
public:
    /// The same surface on a grid of another size. Both grids cover the same area: resolutions X and Y scale by old /
    /// new size, the offsets become (offset + 0.5) * new / old - 0.5, and the parameters 0 to 3 of a type 1 image
    /// follow.
    ///
    /// Method 0 takes the nearest pixel as it is, with its colour. The others weigh pixels as OpenCV does: 1 the
    /// nearest 2 x 2, 2 the nearest 4 x 4 (cubic), 4 the nearest 8 x 8 (Lanczos), 3 all pixels that a smaller grid's
    /// pixel covers, by area, and as 1 in a direction that grows. They keep a tilted plane that plane, at the borders
    /// too: where the weights lie uneven about a pixel, its mean is moved along the slope of the image's plane of least
    /// squares.
    ///
    /// Pixels that are invalid, NaN or infinite have no weight: a pixel is the mean of the others, and invalid where
    /// they hold less than half of the weight. Integer heights are rounded to nearest and saturated; none becomes the
    /// invalid value by that. Colours have the weights of the heights, and are 0 in invalid pixels; a colour plane that
    /// does not fit the grid is dropped.
    /// @param target  may be the source; replaced as a whole, and left alone by a failure. Pixels are never shared with
    ///                the source, and objects that shared the target's pixels keep them.
    /// @param method  0 to 4
    /// @param width, height  above 0
    /// @return 0; 11100001 an empty source; 11200001, 11200002, 11200003 method, width, height refused; 30602016 too
    ///         little memory, or more than 2^31 - 1 pixels (with colours: bytes of colour). Throws std::bad_alloc.
    long Resample(const NoxRangeImage& source, NoxRangeImage* target, int method, int width, int height) const;
};

}  // namespace NOXEL
