#pragma once

#include <NoxExport.h>

#include <oneapi/tbb/blocked_range.h>

#include <opencv2/core/mat.hpp>

#include <cstddef>
#include <limits>

namespace NOXEL {

/// What the accumulation bodies share: three float planes of samples, two for the position in the grid and one for the
/// height, and for every cell of the grid the sum and the number of the heights that reached it.
///
/// A sample whose value in either position plane is exactly 0 is none. One with its position in column c and row r
/// reaches the cells (r, c), (r, c + 1), (r - 1, c) and (r - 1, c + 1), as far as the row goes; c and r start at 1, so
/// nothing stands for column 0 and row 0 is reached as a neighbour only. A position outside the grid, a NaN among them,
/// is passed over. Positions are reckoned in float and truncated. Samples are read as far as all three planes go.
///
/// A body is run over rows of the planes. Split, it goes on with sums of its own, which `join` adds up.
class NOX_EXPORT VoxelAccumulation
{
public:
    /// @param a, b, z  CV_32F planes of one size; shared, not copied
    /// @param gridWidth, gridHeight  cells; sum and count start at 0
    /// @param rowSize, columnSize  extent of a cell in units of the position planes
    /// @param rowOffset, columnOffset  in cells
    VoxelAccumulation(cv::Mat a, cv::Mat b, cv::Mat z, int gridWidth, int gridHeight, float rowSize, float columnSize,
                      float rowOffset, float columnOffset);
    /// The same samples, sums of its own.
    VoxelAccumulation(const VoxelAccumulation& other, tbb::split);
    void join(const VoxelAccumulation& other) noexcept;

    cv::Mat a, b, z;
    int width, height;
    float s0, s1;  ///< extent of a cell along a column (rows) and along a row (columns)
    float o0, o1;  ///< the offsets to match
    cv::Mat sum, count;
};

/// Keeps the top surface: a height within the threshold of the highest that its own cell (r, c) has seen is added in
/// all four cells, one further above a cell's highest throws away what that cell held. A reference of 0 marks an
/// untouched cell, so among heights not above 0 the last one stays.
///
/// The outcome depends on the order of the samples: run it over all rows in one piece.
class NOX_EXPORT VoxelTopSurface : public VoxelAccumulation
{
public:
    /// @param largestStep  the threshold; the highest height of every cell, the reference, starts at 0
    VoxelTopSurface(cv::Mat a, cv::Mat b, cv::Mat z, int gridWidth, int gridHeight, float rowSize, float columnSize,
                    float rowOffset, float columnOffset, float largestStep);
    VoxelTopSurface(const VoxelTopSurface& other, tbb::split);
    void join(const VoxelTopSurface& other) noexcept;

    float threshold;
    cv::Mat reference;
};

/// Top surface with the column from plane b and the row from plane a, as in type 0 images.
class NOX_EXPORT PclToRangeTBBT1VoxelMaxHeight_PC : public VoxelTopSurface
{
public:
    using VoxelTopSurface::VoxelTopSurface;
    void operator()(const tbb::blocked_range<std::size_t>& rows);
};

/// Top surface with the column from plane a and the row from plane b, as in type 1 images.
class NOX_EXPORT PclToRangeTBBT1VoxelMaxHeight : public VoxelTopSurface
{
public:
    using VoxelTopSurface::VoxelTopSurface;
    void operator()(const tbb::blocked_range<std::size_t>& rows);
};

/// Top surface with colours, the column from plane b; the reference starts at -100000 whenever the body is entered.
///
/// With one channel the colours follow the heights in all four cells. With three or more, a sample reaches its own cell
/// (r, c) only, no height counts as untouched, and the first three channels are summed. With other channel counts the
/// body does nothing.
class NOX_EXPORT PclToRangeTBBT1VoxelMaxHeightWithColor_PC : public VoxelTopSurface
{
public:
    /// @param colorData  bytes of the sample in row r, column c from (r * gridWidth + c) * channelCount on; only read,
    /// and not for samples that do not exist. Columns of the planes beyond gridWidth have none and are left out.
    PclToRangeTBBT1VoxelMaxHeightWithColor_PC(cv::Mat a, cv::Mat b, cv::Mat z, unsigned char* colorData,
                                              int channelCount, int gridWidth, int gridHeight, float rowSize,
                                              float columnSize, float rowOffset, float columnOffset, float largestStep);
    PclToRangeTBBT1VoxelMaxHeightWithColor_PC(const PclToRangeTBBT1VoxelMaxHeightWithColor_PC& other, tbb::split);
    void operator()(const tbb::blocked_range<std::size_t>& rows);
    void join(const PclToRangeTBBT1VoxelMaxHeightWithColor_PC& other) noexcept;

    unsigned char* colors;
    int channels;
    cv::Mat colorSum;  ///< CV_32FC(channels), starts at 0; empty without channels
};

/// Mean of all heights that reach a cell, the column from plane b. It walks at most as many columns of the planes as
/// the grid has.
class NOX_EXPORT PclToRangeTBBT1ToT0 : public VoxelAccumulation
{
public:
    using VoxelAccumulation::VoxelAccumulation;
    void operator()(const tbb::blocked_range<std::size_t>& rows);
};

/// Splits a cloud in grid order into planes of x, y and z, over rows of the planes; cells without a point hold 0.
struct NOX_EXPORT PointCloudToMatXYZ
{
    PointCloudToMatXYZ() = default;
    /// @param pointCount  points that there are; without it there is one for each cell of the rows
    PointCloudToMatXYZ(int gridWidth, cv::Mat* planeX, cv::Mat* planeY, cv::Mat* planeZ, const float* triples,
                       long long pointCount = std::numeric_limits<long long>::max()) noexcept
        : width(gridWidth), x(planeX), y(planeY), z(planeZ), points(triples), count(pointCount)
    {
    }
    void operator()(const tbb::blocked_range<std::size_t>& rows) const;

    int width = 0;
    cv::Mat* x = nullptr;
    cv::Mat* y = nullptr;
    cv::Mat* z = nullptr;
    const float* points = nullptr;
    long long count = std::numeric_limits<long long>::max();
};

}  // namespace NOXEL
