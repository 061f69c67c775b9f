#pragma once

#include <algorithm>
#include <cstdint>

#include "device/ElementRules.h"
#ifndef __CUDACC__
#include "device/HostSums.h"
#endif

// How a kernel, written once, finds the elements that it works on.
//
//   NOX_KERNEL(cuda_Name, float* data, int width, int height)
//   {
//       NOX_BLOCKS.forPixels(width, height, [=](int row, int column) { data[...] = ...; });
//   }
//
// For a device compiler that is a kernel of that name and with those arguments, and the loop calls its function once,
// for the element of the running thread. For the host it is a function with the blocks that it is to run as a further,
// first argument, and the loop runs through all their elements. Elements that add to cells which others add to as well
// go through addPixels or addPoints: on a device with atomic additions, on the host in an order of its own
// (HostSums.h).

namespace nox::device {

/// The two shapes of a launch: 32 x 32 threads a block over a grid of pixels, 1024 over a list.
struct Shape
{
    int blockWidth;
    int blockHeight;
    std::int64_t gridWidth;  ///< blocks
    std::int64_t gridHeight;

    static constexpr int kSide = 32;
    static constexpr int kLine = 1024;

    static Shape pixels(int width, int height)
    {
        return {kSide, kSide, (std::int64_t{width} + kSide - 1) / kSide, (std::int64_t{height} + kSide - 1) / kSide};
    }
    static Shape line(std::int64_t n) { return {kLine, 1, (n + kLine - 1) / kLine, 1}; }
};

#ifdef __CUDACC__

#define NOX_KERNEL(name, ...) extern "C" __global__ void name(__VA_ARGS__)
#define NOX_BLOCKS ::nox::device::Blocks()
#define NOX_BLOCK_SHARED __shared__
#define NOX_DEVICE __device__

/// The block of the running thread.
struct Blocks
{
    template <class Use>
    __device__ void forPixels(int width, int height, const Use& use) const
    {
        const unsigned column = blockDim.x * blockIdx.x + threadIdx.x;
        const unsigned row = blockDim.y * blockIdx.y + threadIdx.y;
        if (column < static_cast<unsigned>(width) && row < static_cast<unsigned>(height))
            use(static_cast<int>(row), static_cast<int>(column));
    }

    template <class Use>
    __device__ void forBlocks(const Use& use) const
    {
        use(std::int64_t{blockIdx.x});
    }

    /// Calls use(thread, row, column) for the pixels of a block over all pixels of an image, row by row.
    template <class Use>
    __device__ void forPixelsOf(std::int64_t block, int width, int height, const Use& use) const
    {
        const std::int64_t i = block * Shape::kLine + threadIdx.x;
        if (i < std::int64_t{width} * height)
            use(static_cast<int>(threadIdx.x), static_cast<int>(i / width), static_cast<int>(i % width));
    }

    /// What the block's threads did before this is seen by all of them.
    template <class Use>
    __device__ void forThreads(int count, const Use& use) const
    {
        __syncthreads();
        if (threadIdx.x < static_cast<unsigned>(count)) use(static_cast<int>(threadIdx.x));
    }

    template <class Points>
    __device__ void addPixels(const Points& points, int width, int height) const
    {
        const Rows all{0, points.height};
        forPixels(width, height, [&](int row, int column) { points.add(std::int64_t{row} * width + column, all); });
    }

    template <class Points>
    __device__ void addPoints(const Points& points, int n) const
    {
        const std::int64_t i = std::int64_t{blockDim.x} * blockIdx.x + threadIdx.x;
        if (i < n) points.add(i, {0, points.height});
    }
};

/// Adds to a cell that other threads add to as well.
__device__ inline void addTo(float* cell, float value) { atomicAdd(cell, value); }

#else

#define NOX_KERNEL(name, ...) inline void name(const ::nox::device::Blocks& blocks, __VA_ARGS__)
#define NOX_BLOCKS blocks
#define NOX_BLOCK_SHARED
#define NOX_DEVICE

/// In front of a loop over elements that do not depend on each other. (clang finds that out by itself.)
#ifdef __clang__
#define NOX_INDEPENDENT
#else
#define NOX_INDEPENDENT _Pragma("GCC ivdep")
#endif

/// Blocks `first` to `end` of a row of blocks.
struct Blocks
{
    std::int64_t row;
    std::int64_t first;
    std::int64_t end;

    template <class Use>
    void forPixels(int width, int height, const Use& use) const
    {
        const int lastRow = upTo(row + 1, Shape::kSide, height), lastColumn = upTo(end, Shape::kSide, width);
        for (int r = static_cast<int>(row * Shape::kSide); r < lastRow; ++r) {
            NOX_INDEPENDENT
            for (int c = static_cast<int>(first * Shape::kSide); c < lastColumn; ++c) use(r, c);
        }
    }

    template <class Use>
    void forBlocks(const Use& use) const
    {
        for (std::int64_t block = first; block < end; ++block) use(block);
    }

    template <class Use>
    void forPixelsOf(std::int64_t block, int width, int height, const Use& use) const
    {
        const std::int64_t begin = block * Shape::kLine;
        const auto count = static_cast<int>(std::min<std::int64_t>(Shape::kLine, pixelCount(width, height) - begin));
        for (int thread = 0; thread < count;) {
            const auto r = static_cast<int>((begin + thread) / width), c = static_cast<int>((begin + thread) % width);
            const int run = std::min(width - c, count - thread);
            NOX_INDEPENDENT
            for (int k = 0; k < run; ++k) use(thread + k, r, c + k);
            thread += run;
        }
    }

    template <class Use>
    void forThreads(int count, const Use& use) const
    {
        NOX_INDEPENDENT
        for (int t = 0; t < count; ++t) use(t);
    }

    /// All points of a launch, whatever the blocks.
    template <class Points>
    void addPixels(const Points& points, int width, int height) const
    {
        addHeights(points, pixelCount(width, height), width, width);
    }

    template <class Points>
    void addPoints(const Points& points, int n) const
    {
        if constexpr (Points::kColored)
            addInShares(points, n);
        else
            addHeights(points, n, 16 * Shape::kLine, Strip::kLength);
    }

private:
    static int upTo(std::int64_t block, int side, int size)
    {
        return static_cast<int>(std::min<std::int64_t>(block * side, size));
    }
};

/// The cell's row belongs to the calling task alone.
inline void addTo(float* cell, float value) { *cell += value; }

#endif

}  // namespace nox::device
