#include <OrderedCloudBodies.h>

#include "data/Checked.h"
#include "data/MatContainer.h"
#include "data/Memory.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>

namespace NOXEL {

namespace {

using Rows = tbb::blocked_range<std::size_t>;
using Cell = std::int64_t;

cv::Mat zeroPlane(int rows, int columns, int type)
{
    cv::Mat plane = nox::newPlane(rows, columns, type);
    std::fill_n(plane.ptr<float>(), plane.total() * static_cast<std::size_t>(plane.channels()), 0.0f);
    return plane;
}

void addPlane(cv::Mat& target, const cv::Mat& source) noexcept
{
    float* sums = target.ptr<float>();
    const float* more = source.ptr<float>();
    const std::size_t n = target.total() * static_cast<std::size_t>(target.channels());
    for (std::size_t i = 0; i < n; ++i) sums[i] += more[i];
}

/// Calls use(row, column, height, sample) for every sample of the rows that lies in the grid. `across` gives the
/// column, `down` the row; samples are numbered as if the planes were as wide as the grid.
template <class Use>
void forEachSample(const VoxelAccumulation& body, const cv::Mat& across, const cv::Mat& down, const Rows& rows,
                   int columnLimit, const Use& use)
{
    const int columns = std::min({columnLimit, across.cols, down.cols, body.z.cols});
    const auto end = std::min(rows.end(), static_cast<std::size_t>(std::min({across.rows, down.rows, body.z.rows})));
    const int width = body.width, height = body.height;
    const float s0 = body.s0, s1 = body.s1, o0 = body.o0, o1 = body.o1;
    for (std::size_t r = rows.begin(); r < end; ++r) {
        const auto* u = across.ptr<float>(static_cast<int>(r));
        const auto* v = down.ptr<float>(static_cast<int>(r));
        const auto* z = body.z.ptr<float>(static_cast<int>(r));
        const auto firstSample = static_cast<std::int64_t>(r) * width;
        for (int c = 0; c < columns; ++c) {
            if (u[c] == 0.0f || v[c] == 0.0f) continue;
            const int column = nox::t32(u[c] / s1 + o1);
            const int row = nox::t32(v[c] / s0 + o0);
            if (column < 1 || column >= width || row < 1 || row >= height) continue;
            use(row, column, z[c], firstSample + c);
        }
    }
}

/// Calls use(cell) for the cells that a sample in that row and column reaches, its own first.
template <class Use>
void forCells(int row, int column, int width, const Use& use)
{
    const Cell own = static_cast<Cell>(row) * width + column;
    const bool right = column + 1 < width;
    use(own);
    if (right) use(own + 1);
    use(own - width);
    if (right) use(own - width + 1);
}

/// The planes of a body, and how a sample with `Colors` colour values changes their cells.
template <int Colors>
struct TopSurface
{
    int width;
    float threshold;
    float* sum;
    float* count;
    float* reference;
    float* colorSum;
    int channels;

    void addToFour(int row, int column, float z, const unsigned char* color) const
    {
        const bool nearOwn = isNear(static_cast<Cell>(row) * width + column, z);
        forCells(row, column, width, [&](Cell cell) { update(cell, z, nearOwn, reference[cell] == 0.0f, color); });
    }

    void addToOwn(int row, int column, float z, const unsigned char* color) const
    {
        const Cell own = static_cast<Cell>(row) * width + column;
        update(own, z, isNear(own, z), false, color);
    }

private:
    bool isNear(Cell cell, float z) const { return std::abs(z - reference[cell]) <= threshold; }

    void update(Cell cell, float z, bool near, bool untouched, const unsigned char* color) const
    {
        float* colorSums = colorSum + cell * channels;
        if (untouched || z - reference[cell] > threshold) {
            sum[cell] = z;
            count[cell] = 1.0f;
            for (int k = 0; k < Colors; ++k) colorSums[k] = color[k];
        } else if (near) {
            sum[cell] += z;
            count[cell] += 1.0f;
            for (int k = 0; k < Colors; ++k) colorSums[k] += color[k];
        }
        reference[cell] = std::max(reference[cell], z);
    }
};

void keepTopSurface(VoxelTopSurface& body, const cv::Mat& across, const cv::Mat& down, const Rows& rows)
{
    const TopSurface<0> cells{body.width,
                              body.threshold,
                              body.sum.ptr<float>(),
                              body.count.ptr<float>(),
                              body.reference.ptr<float>(),
                              nullptr,
                              0};
    forEachSample(body, across, down, rows, across.cols, [&](int row, int column, float z, std::int64_t /*sample*/) {
        cells.addToFour(row, column, z, nullptr);
    });
}

template <int Colors>
void keepColoredSurface(PclToRangeTBBT1VoxelMaxHeightWithColor_PC& body, const Rows& rows)
{
    const TopSurface<Colors> cells{body.width,
                                   body.threshold,
                                   body.sum.ptr<float>(),
                                   body.count.ptr<float>(),
                                   body.reference.ptr<float>(),
                                   body.colorSum.ptr<float>(),
                                   body.channels};
    forEachSample(body, body.b, body.a, rows, body.width, [&](int row, int column, float z, std::int64_t sample) {
        const unsigned char* color = body.colors + sample * body.channels;
        if constexpr (Colors == 1)
            cells.addToFour(row, column, z, color);
        else
            cells.addToOwn(row, column, z, color);
    });
}

}  // namespace

VoxelAccumulation::VoxelAccumulation(cv::Mat planeA, cv::Mat planeB, cv::Mat planeZ, int gridWidth, int gridHeight,
                                     float rowSize, float columnSize, float rowOffset, float columnOffset)
    : a(std::move(planeA)),
      b(std::move(planeB)),
      z(std::move(planeZ)),
      width(gridWidth),
      height(gridHeight),
      s0(rowSize),
      s1(columnSize),
      o0(rowOffset),
      o1(columnOffset),
      sum(zeroPlane(height, width, CV_32F)),
      count(zeroPlane(height, width, CV_32F))
{
}

VoxelAccumulation::VoxelAccumulation(const VoxelAccumulation& other, tbb::split /*tag*/)
    : VoxelAccumulation(other.a, other.b, other.z, other.width, other.height, other.s0, other.s1, other.o0, other.o1)
{
}

void VoxelAccumulation::join(const VoxelAccumulation& other) noexcept
{
    addPlane(sum, other.sum);
    addPlane(count, other.count);
}

VoxelTopSurface::VoxelTopSurface(cv::Mat planeA, cv::Mat planeB, cv::Mat planeZ, int gridWidth, int gridHeight,
                                 float rowSize, float columnSize, float rowOffset, float columnOffset,
                                 float largestStep)
    : VoxelAccumulation(std::move(planeA), std::move(planeB), std::move(planeZ), gridWidth, gridHeight, rowSize,
                        columnSize, rowOffset, columnOffset),
      threshold(largestStep),
      reference(zeroPlane(height, width, CV_32F))
{
}

VoxelTopSurface::VoxelTopSurface(const VoxelTopSurface& other, tbb::split tag)
    : VoxelAccumulation(other, tag), threshold(other.threshold), reference(zeroPlane(height, width, CV_32F))
{
}

void VoxelTopSurface::join(const VoxelTopSurface& other) noexcept
{
    VoxelAccumulation::join(other);
    addPlane(reference, other.reference);
}

void PclToRangeTBBT1VoxelMaxHeight_PC::operator()(const Rows& rows) { keepTopSurface(*this, b, a, rows); }

void PclToRangeTBBT1VoxelMaxHeight::operator()(const Rows& rows) { keepTopSurface(*this, a, b, rows); }

PclToRangeTBBT1VoxelMaxHeightWithColor_PC::PclToRangeTBBT1VoxelMaxHeightWithColor_PC(
    cv::Mat planeA, cv::Mat planeB, cv::Mat planeZ, unsigned char* colorData, int channelCount, int gridWidth,
    int gridHeight, float rowSize, float columnSize, float rowOffset, float columnOffset, float largestStep)
    : VoxelTopSurface(std::move(planeA), std::move(planeB), std::move(planeZ), gridWidth, gridHeight, rowSize,
                      columnSize, rowOffset, columnOffset, largestStep),
      colors(colorData),
      channels(channelCount)
{
    if (channels > 0) colorSum = zeroPlane(height, width, nox::matType(CV_32F, channels));
}

PclToRangeTBBT1VoxelMaxHeightWithColor_PC::PclToRangeTBBT1VoxelMaxHeightWithColor_PC(
    const PclToRangeTBBT1VoxelMaxHeightWithColor_PC& other, tbb::split /*tag*/)
    : PclToRangeTBBT1VoxelMaxHeightWithColor_PC(other.a, other.b, other.z, other.colors, other.channels, other.width,
                                                other.height, other.s0, other.s1, other.o0, other.o1, other.threshold)
{
}

void PclToRangeTBBT1VoxelMaxHeightWithColor_PC::operator()(const Rows& rows)
{
    std::fill_n(reference.ptr<float>(), reference.total(), -100000.0f);
    if (channels == 1) keepColoredSurface<1>(*this, rows);
    if (channels >= 3) keepColoredSurface<3>(*this, rows);
}

void PclToRangeTBBT1VoxelMaxHeightWithColor_PC::join(const PclToRangeTBBT1VoxelMaxHeightWithColor_PC& other) noexcept
{
    VoxelTopSurface::join(other);
    addPlane(colorSum, other.colorSum);
}

void PclToRangeTBBT1ToT0::operator()(const Rows& rows)
{
    auto* sums = sum.ptr<float>();
    auto* counts = count.ptr<float>();
    forEachSample(*this, b, a, rows, width, [&](int row, int column, float sample, std::int64_t /*number*/) {
        forCells(row, column, width, [&](Cell cell) {
            sums[cell] += sample;
            counts[cell] += 1.0f;
        });
    });
}

void PointCloudToMatXYZ::operator()(const Rows& rows) const
{
    const int columns = std::min({width, x->cols, y->cols, z->cols});
    const auto end = std::min(rows.end(), static_cast<std::size_t>(std::min({x->rows, y->rows, z->rows})));
    for (std::size_t r = rows.begin(); r < end; ++r) {
        const int row = static_cast<int>(r);
        const auto first = static_cast<long long>(row) * width;
        const int filled = static_cast<int>(std::clamp<long long>(count - first, 0, columns));
        int plane = 0;
        for (cv::Mat* target : {x, y, z}) {
            auto* values = target->ptr<float>(row);
            for (int c = 0; c < filled; ++c) values[c] = points[3 * (first + c) + plane];
            std::fill(values + filled, values + columns, 0.0f);
            ++plane;
        }
    }
}

}  // namespace NOXEL
