#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

#include "data/Checked.h"
#include "data/HostDevice.h"

// What happens to one point or pixel, for host and device alike.

namespace nox::device {

/// A height of that size or more is no measurement; neither is a NaN.
inline constexpr float kHeightBound = 1e8f;
/// What stands in planes where there is no point: larger than every coordinate, so it wins no minimum.
inline constexpr float kNoPoint = 3.4028234663852886e38f;
/// The row of a point that takes no part: a NaN, which lies on no grid.
inline constexpr float kNoRow = std::numeric_limits<float>::quiet_NaN();

NOX_HD inline bool isMeasurement(float z) { return std::fabs(z) < kHeightBound; }

/// What truncates to the nearest pixel, halves away from zero.
NOX_HD inline float towardsNearest(float position)
{
    const float size = std::fabs(position);
    const float half = size >= 0.5f && size <= 8388608.0f ? 0.5f : 0.0f;  // beyond it there are no fractions
    return position + std::copysign(half, position);
}

/// What no int holds, and a NaN, gives the smallest int, which lies on no grid.
NOX_HD inline std::int32_t nearestPixel(float position) { return t32(towardsNearest(position)); }

/// a * b + c, rounded once. Without an instruction for that, through double, which holds the product: of the results
/// the last bit can differ where bits cut off from the double leave it halfway between two floats.
NOX_HD inline float fused(float a, float b, float c)
{
#ifdef __CUDA_ARCH__
    return fmaf(a, b, c);
#else
    return static_cast<float>(static_cast<double>(a) * static_cast<double>(b) + static_cast<double>(c));
#endif
}

struct Point
{
    float x;
    float y;
    float z;
};

/// One of two, both reckoned: no branch stands in the way of vectors.
NOX_HD inline float choose(bool first, float a, float b) { return first ? a : b; }
NOX_HD inline Point choose(bool first, const Point& a, const Point& b)
{
    return {choose(first, a.x, b.x), choose(first, a.y, b.y), choose(first, a.z, b.z)};
}

/// The grid of a range image: x comes from the row and y from the column.
struct PixelGrid
{
    float offsetX;
    float offsetY;
    float resolutionX;
    float resolutionY;

    NOX_HD Point pointAt(int row, int column, float height) const
    {
        return {(static_cast<float>(row) - offsetY) * resolutionY, (static_cast<float>(column) - offsetX) * resolutionX,
                height};
    }
};

/// The upper three rows of a pose, with fused multiply-adds.
struct Pose
{
    float m[12];

    NOX_HD Point operator()(const Point& p) const { return {row(m, p), row(m + 4, p), row(m + 8, p)}; }

private:
    NOX_HD static float row(const float* r, const Point& p)
    {
        return fused(p.z, r[2], fused(p.x, r[0], p.y * r[1])) + r[3];
    }
};

/// Rows of a grid, the last one excluded.
struct Rows
{
    int first;
    int end;
};

/// Calls add(cell) for each of the four pixels that a point reaches: the nearest one, and its neighbours towards higher
/// columns and rows.
template <class Add>
NOX_HD inline void spread(std::int64_t column, std::int64_t row, int width, const Rows& rows, const Add& add)
{
    if (row + 1 < rows.first || row >= rows.end) return;
    const bool inLeft = 0 <= column && column < width, inRight = 0 <= column + 1 && column + 1 < width;
    const bool inUpper = rows.first <= row, inLower = row + 1 < rows.end;
    const std::int64_t cell = row * width + column;
    if (inUpper && inLeft) add(cell);
    if (inUpper && inRight) add(cell + 1);
    if (inLower && inLeft) add(cell + width);
    if (inLower && inRight) add(cell + width + 1);
}

/// Whether a height is summed: a measurement other than exactly 0.
NOX_HD inline bool isSummed(float z) { return 0.0f < std::fabs(z) && isMeasurement(z); }

NOX_HD inline float meanOr(float invalid, float sum, float weight) { return weight > 0.0f ? sum / weight : invalid; }

/// A byte, truncated; 0 without weight.
NOX_HD inline unsigned char meanByte(float sum, float weight)
{
    const std::int32_t mean = weight > 0.0f ? t32(sum / weight) : 0;
    return static_cast<unsigned char>(mean < 0 ? 0 : mean > 255 ? 255 : mean);
}

/// How many of a colour's channels are averaged; the others become 0.
NOX_HD inline int averagedChannels(int channels) { return channels < 3 ? channels : 3; }

}  // namespace nox::device
