#pragma once

#include <NoxExport.h>

#include <cstddef>

namespace cv {
class MatAllocator;
}

namespace NOXEL {

/// The one source of memory for pixels, points and working planes: 64-byte aligned and not cleared. Freed blocks are
/// kept for the next request, so that a repeated conversion does not pay for fresh pages: up to an eighth of the
/// machine's memory and 4 GiB; what goes beyond is given back to the system when it is freed.
/// @throws std::bad_alloc when there is no memory. Safe from any thread.
NOX_EXPORT void* NoxAllocate(std::size_t bytes);

/// Gives a block of `NoxAllocate` back; null is allowed. Safe from any thread.
NOX_EXPORT void NoxRelease(void* block) noexcept;

/// The same memory for matrices: assign it to `cv::Mat::allocator` before `create`. Lives for ever.
NOX_EXPORT cv::MatAllocator* NoxMatAllocator() noexcept;

}  // namespace NOXEL
