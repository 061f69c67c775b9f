#include <NoxMemory.h>

#include <opencv2/core.hpp>

#include <cstdlib>
#include <memory>
#include <new>

// A sanitizer sees overflows and leaks only in blocks that it hands out itself.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define NOX_SYSTEM_ALLOCATOR
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define NOX_SYSTEM_ALLOCATOR
#endif
#endif

#ifndef NOX_SYSTEM_ALLOCATOR
#include <tbb/scalable_allocator.h>
#endif

namespace {

constexpr std::size_t kAlignment = 64;

void* allocateOrNull(std::size_t bytes) noexcept
{
    if (bytes == 0) bytes = 1;
#ifdef NOX_SYSTEM_ALLOCATOR
    void* block = nullptr;
    return posix_memalign(&block, kAlignment, bytes) == 0 ? block : nullptr;
#else
    return scalable_aligned_malloc(bytes, kAlignment);
#endif
}

class MatAllocator final : public cv::MatAllocator
{
public:
    cv::UMatData* allocate(int dims, const int* sizes, int type, void* data, std::size_t* step,
                           cv::AccessFlag /*flags*/, cv::UMatUsageFlags /*usage*/) const override
    {
        std::size_t total = CV_ELEM_SIZE(type);
        for (int i = dims - 1; i >= 0; --i) {
            if (step) {
                if (data && step[i] > total)
                    total = step[i];  // the rows of memory that somebody else gave
                else
                    step[i] = total;
            }
            if (__builtin_mul_overflow(total, static_cast<std::size_t>(sizes[i]), &total)) throw std::bad_alloc();
        }
        auto header = std::make_unique<cv::UMatData>(this);
        header->data = header->origdata =
            static_cast<uchar*>(data != nullptr ? data : NOXEL::NoxAllocate(total));
        header->size = total;
        if (data) header->flags |= cv::UMatData::USER_ALLOCATED;
        return header.release();
    }

    bool allocate(cv::UMatData* data, cv::AccessFlag /*flags*/, cv::UMatUsageFlags /*usage*/) const override
    {
        return data != nullptr;
    }

    void deallocate(cv::UMatData* data) const override
    {
        if (!data) return;
        if (!(data->flags & cv::UMatData::USER_ALLOCATED)) NOXEL::NoxRelease(data->origdata);
        delete data;
    }
};

}  // namespace

namespace NOXEL {

void* NoxAllocate(std::size_t bytes)
{
    void* block = allocateOrNull(bytes);
    if (!block) throw std::bad_alloc();
    return block;
}

void NoxRelease(void* block) noexcept
{
#ifdef NOX_SYSTEM_ALLOCATOR
    std::free(block);
#else
    scalable_aligned_free(block);
#endif
}

cv::MatAllocator* NoxMatAllocator() noexcept
{
    // Matrices may be released while static objects are destroyed, so the allocator never is.
    static MatAllocator* const allocator = new MatAllocator;
    return allocator;
}

}  // namespace NOXEL
