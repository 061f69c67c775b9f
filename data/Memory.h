#pragma once

#include <NoxMemory.h>

#include <opencv2/core.hpp>

#include <memory>

namespace nox {

/// A matrix from the project's memory, its content undefined.
inline cv::Mat newPlane(int rows, int columns, int type)
{
    cv::Mat plane;
    plane.allocator = NOXEL::NoxMatAllocator();
    plane.create(rows, columns, type);
    return plane;
}

struct Release
{
    void operator()(void* block) const noexcept { NOXEL::NoxRelease(block); }
};

/// An uninitialised working array.
template <class T>
using Scratch = std::unique_ptr<T[], Release>;

template <class T>
Scratch<T> newScratch(std::size_t count)
{
    static_assert(std::is_trivially_copyable_v<T>);
    if (count > static_cast<std::size_t>(-1) / sizeof(T)) throw std::bad_alloc();
    return Scratch<T>(static_cast<T*>(NOXEL::NoxAllocate(count * sizeof(T))));
}

}  // namespace nox
