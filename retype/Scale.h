#pragma once

#include <NoxDataType.h>
#include <NoxRangeImage.h>

#include <type_traits>

// How the stored numbers of an image give heights: (number - offset) x resolution.

namespace nox::retype {

struct Scale
{
    double resolution, offset;
};

/// The scale on which heights of their own unit are placed: 8 bits from -1.26 to 1.28 about, 16 bits unsigned from
/// -32.768 to 32.767.
constexpr Scale fixedScale(int dataType)
{
    switch (dataType) {
        case NoxDataType8U: return {0.01, 127.0};
        case NoxDataType8S: return {0.01, 0.0};
        case NoxDataType16U: return {0.001, 32768.0};
        case NoxDataType16S:
        case NoxDataType32S: return {0.001, 0.0};
        default: return {1.0, 0.0};
    }
}

/// Float and double heights are stored as they are, whatever the numbers of the image say.
inline Scale scaleOf(const NoxRangeImage& image)
{
    if (image.DataType() >= NoxDataType32F) return {1.0, 0.0};
    return {image.ResolutionZ(), image.OffsetZ()};
}

}  // namespace nox::retype
