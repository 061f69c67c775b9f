#pragma once

#include <algorithm>
#include <cstdint>

#include "device/ElementRules.h"

// How a kernel, written once, finds the elements that it works on.
//
//   NOX_KERNEL(cuda_Name, float* data, int n)
//   {
//       NOX_BLOCKS.forPoints(n, [&](std::int64_t i) { data[i] = ...; });
//   }
//
// For a device compiler that is a kernel of that name and with those arguments, and the loop calls its function once,
// for the element of the running thread. For the host it is a function with the blocks that it is to run as a further,
// first argument, and the loop runs through all their elements.

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
    __device__ void forPoints(std::int64_t n, const Use& use) const
    {
        const std::int64_t i = std::int64_t{blockDim.x} * blockIdx.x + threadIdx.x;
        if (i < n) use(i);
    }

    template <class Use>
    __device__ void forBlocks(const Use& use) const
    {
        use(std::int64_t{blockIdx.x});
    }

    /// What the block's threads did before this is seen by all of them.
    template <class Use>
    __device__ void forThreads(int count, const Use& use) const
    {
        __syncthreads();
        if (threadIdx.x < static_cast<unsigned>(count)) use(static_cast<int>(threadIdx.x));
    }

    __device__ Rows rowsToAddTo(int height) const { return {0, height}; }
};

/// Adds to a cell that other threads add to as well.
__device__ inline void addTo(float* cell, float value) { atomicAdd(cell, value); }

#else

#define NOX_KERNEL(name, ...) inline void name(const ::nox::device::Blocks& blocks, __VA_ARGS__)
#define NOX_BLOCKS blocks
#define NOX_BLOCK_SHARED
#define NOX_DEVICE

/// Blocks `first` to `end` of a row of blocks.
struct Blocks
{
    std::int64_t row;
    std::int64_t first;
    std::int64_t end;
    int share = 0;   ///< of a grid that kernels add to, the share of its rows that belongs to this task alone
    int shares = 1;  ///< how many there are

    template <class Use>
    void forPixels(int width, int height, const Use& use) const
    {
        const int lastRow = upTo(row + 1, Shape::kSide, height), lastColumn = upTo(end, Shape::kSide, width);
        for (int r = static_cast<int>(row * Shape::kSide); r < lastRow; ++r)
            for (int c = static_cast<int>(first * Shape::kSide); c < lastColumn; ++c) use(r, c);
    }

    template <class Use>
    void forPoints(std::int64_t n, const Use& use) const
    {
        const std::int64_t last = std::min(end * Shape::kLine, n);
        for (std::int64_t i = first * Shape::kLine; i < last; ++i) use(i);
    }

    template <class Use>
    void forBlocks(const Use& use) const
    {
        for (std::int64_t block = first; block < end; ++block) use(block);
    }

    template <class Use>
    void forThreads(int count, const Use& use) const
    {
        for (int t = 0; t < count; ++t) use(t);
    }

    Rows rowsToAddTo(int height) const
    {
        const auto bound = [&](int i) { return static_cast<int>(std::int64_t{height} * i / shares); };
        return {bound(share), bound(share + 1)};
    }

private:
    static int upTo(std::int64_t block, int side, int size)
    {
        return static_cast<int>(std::min<std::int64_t>(block * side, size));
    }
};

/// The cell's row belongs to the calling task alone, so there is nothing to lock, and a cell sums its points in their
/// order on any number of threads.
inline void addTo(float* cell, float value) { *cell += value; }

#endif

}  // namespace nox::device
