#pragma once

#include "device/Blocks.h"

// The kernels. A parameter without a name is a spare one. Points stand in three planes X, Y, Z. Range images lie side
// by side on a canvas of `stride` columns, each from its column offset on; the first, at offset 0, has kernels of its
// own, which end in 0.

namespace nox::device {

// Projection and correction.

struct Planes
{
    float* x;
    float* y;
    float* z;

    NOX_HD Point at(std::int64_t cell) const { return {x[cell], y[cell], z[cell]}; }
    NOX_HD void set(std::int64_t cell, const Point& p) const
    {
        x[cell] = p.x;
        y[cell] = p.y;
        z[cell] = p.z;
    }
};

/// Where an image lies on the canvas.
struct Place
{
    int columnOffset;
    int width;
    int height;
    int stride;

    NOX_HD std::int64_t cellAt(int row, int column) const { return std::int64_t{row} * stride + columnOffset + column; }
};

NOX_DEVICE inline void rangeToPoints(const Blocks& blocks, const float* range, const Planes& planes,
                                     const PixelGrid& grid, float invalidZ, float invalidXY, const Place& place)
{
    blocks.forPixels(place.width, place.height, [=](int row, int column) {
        const float height = range[std::int64_t{row} * place.width + column];
        planes.set(place.cellAt(row, column), choose(isMeasurement(height), grid.pointAt(row, column, height),
                                                     Point{invalidXY, invalidXY, invalidZ}));
    });
}

NOX_KERNEL(cuda_RangeToPcl0, const float* range, float* X, float* Y, float* Z, float offsetX, float offsetY,
           float resolutionX, float resolutionY, float invalidZ, float invalidXY, int width, int height, int stride,
           int /*spare*/)
{
    rangeToPoints(NOX_BLOCKS, range, {X, Y, Z}, {offsetX, offsetY, resolutionX, resolutionY}, invalidZ, invalidXY,
                  {0, width, height, stride});
}

NOX_KERNEL(cuda_NRangeToPcl, const float* range, float* X, float* Y, float* Z, float offsetX, float offsetY,
           float resolutionX, float resolutionY, float invalidZ, float invalidXY, int columnOffset, int /*spare*/,
           int width, int height, int stride, int /*spare*/)
{
    rangeToPoints(NOX_BLOCKS, range, {X, Y, Z}, {offsetX, offsetY, resolutionX, resolutionY}, invalidZ, invalidXY,
                  {columnOffset, width, height, stride});
}

/// The smallest X and the smallest Y of every 1024 pixels, by a tree: in each step a slot takes the lesser of two. The
/// slots are the block's own.
template <class Finish>
NOX_DEVICE inline void blockMinima(const Blocks& blocks, float* slotsX, float* slotsY, const float* X, const float* Y,
                                   float* blockMinX, float* blockMinY, const Place& place, const Finish& finish)
{
    blocks.forBlocks([&](std::int64_t block) {
        blocks.forThreads(Shape::kLine, [=](int t) { slotsX[t] = slotsY[t] = kNoPoint; });
        blocks.forPixelsOf(block, place.width, place.height, [=](int t, int row, int column) {
            const std::int64_t cell = place.cellAt(row, column);
            slotsX[t] = X[cell];
            slotsY[t] = Y[cell];
        });
        for (int step = Shape::kLine / 2; step > 0; step /= 2)
            blocks.forThreads(step, [=](int t) {
                slotsX[t] = choose(slotsX[t] > slotsX[t + step], slotsX[t + step], slotsX[t]);
                slotsY[t] = choose(slotsY[t] > slotsY[t + step], slotsY[t + step], slotsY[t]);
            });
        blocks.forThreads(1, [&](int) {
            blockMinX[block] = finish(slotsX[0]);
            blockMinY[block] = finish(slotsY[0]);
        });
    });
}

NOX_KERNEL(cuda_NMinBoxXY, const float* X, const float* Y, float* blockMinX, float* blockMinY, float /*spare*/,
           int width, int height, int stride, int /*spare*/)
{
    NOX_BLOCK_SHARED float slotsX[Shape::kLine], slotsY[Shape::kLine];
    blockMinima(NOX_BLOCKS, slotsX, slotsY, X, Y, blockMinX, blockMinY, {0, width, height, stride},
                [](float least) { return least; });
}

NOX_KERNEL(cuda_NMinBoxXY_N0, const float* X, const float* Y, float* blockMinX, float* blockMinY, float zeroReplacement,
           int width, int height, int stride, int /*spare*/)
{
    NOX_BLOCK_SHARED float slotsX[Shape::kLine], slotsY[Shape::kLine];
    blockMinima(NOX_BLOCKS, slotsX, slotsY, X, Y, blockMinX, blockMinY, {0, width, height, stride},
                [=](float least) { return least == 0.0f ? zeroReplacement : least; });
}

NOX_KERNEL(cuda_PclCorrect0, float* X, float* Y, float* Z, float m00, float m01, float m02, float m03, float m10,
           float m11, float m12, float m13, float m20, float m21, float m22, float m23, float invalid, int width,
           int height, int stride, int /*spare*/)
{
    const Planes planes{X, Y, Z};
    const Place place{0, width, height, stride};
    const Pose pose{{m00, m01, m02, m03, m10, m11, m12, m13, m20, m21, m22, m23}};
    NOX_BLOCKS.forPixels(width, height, [=](int row, int column) {
        const std::int64_t cell = place.cellAt(row, column);
        const Point p = planes.at(cell);
        planes.set(cell, choose(p.z < kHeightBound, pose(p), Point{invalid, invalid, invalid}));
    });
}

NOX_KERNEL(cuda_NPclCorrect, float* X, float* Y, float* Z, float m00, float m01, float m02, float m03, float m10,
           float m11, float m12, float m13, float m20, float m21, float m22, float m23, float invalid, int columnOffset,
           int /*spare*/, int width, int height, int stride, int /*spare*/)
{
    const Planes planes{X, Y, Z};
    const Place place{columnOffset, width, height, stride};
    const Pose pose{{m00, m01, m02, m03, m10, m11, m12, m13, m20, m21, m22, m23}};
    NOX_BLOCKS.forPixels(width, height, [=](int row, int column) {
        const std::int64_t cell = place.cellAt(row, column);
        const Point p = planes.at(cell);
        planes.set(cell, choose(p.z != invalid, pose(p), p));
    });
}

NOX_KERNEL(cuda_NPclValToPixel, float* X, float* Y, const float* Z, float shiftX, float shiftY, float rowResolution,
           float columnResolution, float /*spare*/, int columnOffset, int /*spare*/, int width, int height, int stride,
           int /*spare*/)
{
    const Place place{columnOffset, width, height, stride};
    NOX_BLOCKS.forPixels(width, height, [=](int row, int column) {
        const std::int64_t cell = place.cellAt(row, column);
        const bool moves = isMeasurement(Z[cell]);
        X[cell] = choose(moves, (X[cell] - shiftX) / rowResolution, X[cell]);
        Y[cell] = choose(moves, (Y[cell] - shiftY) / columnResolution, Y[cell]);
    });
}

// Accumulation. Sums, weights and colours of the grid start at 0.

/// Points of a list, their columns and rows in pixels, and the grid that they are added to. addColor(i, cell) adds what
/// else a point has.
template <class AddColor>
struct Additions
{
    const float* columns;
    const float* rows;
    const float* heights;
    AddColor addColor;
    int width;
    int height;
    float* sums;
    float* weights;

    static constexpr bool kColored = AddColor::kColored;

    /// What truncates to the pixel; a NaN, which lies on no grid, for a point that is not summed.
    NOX_HD float rowOf(std::int64_t i) const { return choose(isSummed(heights[i]), towardsNearest(rows[i]), kNoRow); }
    NOX_HD float columnOf(std::int64_t i) const { return towardsNearest(columns[i]); }

    /// Adds point i to the pixels that it reaches in some rows.
    NOX_DEVICE void add(std::int64_t i, const Rows& own) const
    {
        spread(t32(columnOf(i)), t32(rowOf(i)), width, own, [&](std::int64_t cell) {
            addTo(sums + cell, heights[i]);
            addTo(weights + cell, 1.0f);
            addColor(i, cell);
        });
    }
};

/// A point's first three channels.
struct Colors
{
    const unsigned char* bytes;
    int channels;
    float* sums;

    static constexpr bool kColored = true;

    NOX_DEVICE void operator()(std::int64_t i, std::int64_t cell) const
    {
        for (int k = 0; k < averagedChannels(channels); ++k)
            addTo(sums + cell * channels + k, static_cast<float>(bytes[i * channels + k]));
    }
};

struct NoColors
{
    static constexpr bool kColored = false;

    NOX_DEVICE void operator()(std::int64_t, std::int64_t) const {}
};

NOX_KERNEL(cuda_AddWeightSum, const float* X, const float* Y, const float* Z, int n, int width, int height,
           float* weightedSum, float* weights)
{
    NOX_BLOCKS.addPoints(Additions<NoColors>{X, Y, Z, {}, width, height, weightedSum, weights}, n);
}

NOX_KERNEL(cuda_AddWeightSumWithColor1, const float* X, const float* Y, const float* Z, const unsigned char* colors,
           int n, int width, int height, float* weightedSum, float* weightedColor, float* weights)
{
    const Colors values{colors, 1, weightedColor};
    NOX_BLOCKS.addPoints(Additions<Colors>{X, Y, Z, values, width, height, weightedSum, weights}, n);
}

NOX_KERNEL(cuda_AddWeightSumWithColor3, const float* X, const float* Y, const float* Z, const unsigned char* colors,
           int n, int width, int height, int channels, float* weightedSum, float* weightedColor, float* weights)
{
    const Colors values{colors, channels, weightedColor};
    NOX_BLOCKS.addPoints(Additions<Colors>{X, Y, Z, values, width, height, weightedSum, weights}, n);
}

/// The points of a canvas: a point's row stands in X, its column in Y.
NOX_KERNEL(cuda_NAddWeightSum, const float* X, const float* Y, const float* Z, int width, int height,
           float* weightedSum, float* weights)
{
    NOX_BLOCKS.addPixels(Additions<NoColors>{Y, X, Z, {}, width, height, weightedSum, weights}, width, height);
}

/// What was added up of a grid; `colors` holds `channels` sums a pixel.
struct Sums
{
    const float* heights;
    const float* weights;
    const float* colors;
    int channels;
};

NOX_DEVICE inline void finish(const Blocks& blocks, const Sums& sums, float invalid, int width, int height, float* out,
                              unsigned char* outColor)
{
    blocks.forPixels(width, height, [=](int row, int column) {
        const std::int64_t cell = std::int64_t{row} * width + column;
        const float weight = sums.weights[cell];
        out[cell] = meanOr(invalid, sums.heights[cell], weight);
        for (std::int64_t k = cell * sums.channels; k < (cell + 1) * sums.channels; ++k)
            outColor[k] = meanByte(sums.colors[k], weight);
    });
}

NOX_KERNEL(cuda_WeightToFinalZ, float* weightedSum, float* weights, float invalid, int width, int height, float* out)
{
    finish(NOX_BLOCKS, {weightedSum, weights, nullptr, 0}, invalid, width, height, out, nullptr);
}

NOX_KERNEL(cuda_WeightToFinalZWithColor1, float* weightedSum, float* weightedColor, float* weights, float invalid,
           int width, int height, float* out, unsigned char* outColor)
{
    finish(NOX_BLOCKS, {weightedSum, weights, weightedColor, 1}, invalid, width, height, out, outColor);
}

NOX_KERNEL(cuda_WeightToFinalZWithColor3, float* weightedSum, float* weightedColor, float* weights, float invalid,
           int width, int height, int channels, float* out, unsigned char* outColor)
{
    finish(NOX_BLOCKS, {weightedSum, weights, weightedColor, channels}, invalid, width, height, out, outColor);
}

/// From a canvas of `stride` columns and `rows` rows, which the result may exceed: invalid there.
NOX_KERNEL(cuda_WeightToZS, const float* weightedSum, const float* weights, float invalid, int stride, int rows,
           int width, int height, float* out)
{
    NOX_BLOCKS.forPixels(width, height, [=](int row, int column) {
        const std::int64_t cell = std::int64_t{row} * stride + column;
        out[std::int64_t{row} * width + column] =
            row < rows && column < stride ? meanOr(invalid, weightedSum[cell], weights[cell]) : invalid;
    });
}

}  // namespace nox::device

/// Every kernel, and whether its threads add to cells that they share.
#define NOX_KERNELS(KERNEL)                 \
    KERNEL(RangeToPcl0, false)              \
    KERNEL(NRangeToPcl, false)              \
    KERNEL(NMinBoxXY, false)                \
    KERNEL(NMinBoxXY_N0, false)             \
    KERNEL(PclCorrect0, false)              \
    KERNEL(NPclCorrect, false)              \
    KERNEL(NPclValToPixel, false)           \
    KERNEL(AddWeightSum, true)              \
    KERNEL(AddWeightSumWithColor1, true)    \
    KERNEL(AddWeightSumWithColor3, true)    \
    KERNEL(NAddWeightSum, true)             \
    KERNEL(WeightToFinalZ, false)           \
    KERNEL(WeightToFinalZWithColor1, false) \
    KERNEL(WeightToFinalZWithColor3, false) \
    KERNEL(WeightToZS, false)

namespace nox::device {

/// The place of a kernel in the list.
enum class KernelId : int {
#define NOX_KERNEL_ID(name, adds) name,
    NOX_KERNELS(NOX_KERNEL_ID)
#undef NOX_KERNEL_ID
};

}  // namespace nox::device
