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
#include <sys/mman.h>
#include <tbb/scalable_allocator.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#endif

namespace {

constexpr std::size_t kAlignment = 64;

#ifdef NOX_SYSTEM_ALLOCATOR

void* allocateOrNull(std::size_t bytes) noexcept
{
    void* block = nullptr;
    return posix_memalign(&block, kAlignment, bytes == 0 ? 1 : bytes) == 0 ? block : nullptr;
}

void release(void* block) noexcept { std::free(block); }

#else

// Fresh pages cost several times the conversion that fills them, and the scalable allocator hands blocks of tens of
// megabytes back to the system at once. So blocks come from a pool that keeps what it has taken, on huge pages where
// the system grants them. What the pool may hold is bounded; a request beyond that goes to the scalable allocator
// proper.

/// Bytes that the pool may still take from the system: an eighth of the machine's memory, 4 GiB at most.
std::atomic<std::int64_t>& poolRoom()
{
    static std::atomic<std::int64_t> room{
        std::min<std::int64_t>(std::int64_t{4} << 30, sysconf(_SC_PHYS_PAGES) / 8 * sysconf(_SC_PAGESIZE))};
    return room;
}

void* growPool(std::intptr_t /*pool*/, std::size_t& bytes)
{
    const auto wanted = static_cast<std::int64_t>(bytes);
    if (poolRoom().fetch_sub(wanted) < wanted) {
        poolRoom().fetch_add(wanted);
        return nullptr;
    }
    void* pages = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED) {
        poolRoom().fetch_add(wanted);
        return nullptr;
    }
    madvise(pages, bytes, MADV_HUGEPAGE);  // a wish: without it the pages are small
    return pages;
}

int shrinkPool(std::intptr_t /*pool*/, void* pages, std::size_t bytes)
{
    poolRoom().fetch_add(static_cast<std::int64_t>(bytes));
    return munmap(pages, bytes);
}

/// The pool, or null where it could not be made. It is never destroyed: static objects may still hold blocks then.
rml::MemoryPool* pool()
{
    static rml::MemoryPool* const made = [] {
        constexpr std::size_t granularity = std::size_t{2} << 20;
        const rml::MemPoolPolicy policy(growPool, shrinkPool, granularity, /*fixedPool=*/false, /*keepAllMemory=*/true);
        rml::MemoryPool* fresh = nullptr;
        return rml::pool_create_v1(0, &policy, &fresh) == rml::POOL_OK ? fresh : nullptr;
    }();
    return made;
}

/// Stands in front of every block, one alignment long, and tells where the block goes back to.
struct alignas(kAlignment) Origin
{
    rml::MemoryPool* pool;
};

void* allocateOrNull(std::size_t bytes) noexcept
{
    std::size_t total = 0;
    if (__builtin_add_overflow(bytes, sizeof(Origin), &total)) return nullptr;
    rml::MemoryPool* from = pool();
    void* memory = from ? rml::pool_aligned_malloc(from, total, kAlignment) : nullptr;
    if (!memory) {
        from = nullptr;
        memory = scalable_aligned_malloc(total, kAlignment);
    }
    return memory ? new (memory) Origin{from} + 1 : nullptr;
}

void release(void* block) noexcept
{
    if (!block) return;
    Origin* origin = static_cast<Origin*>(block) - 1;
    if (origin->pool)
        rml::pool_free(origin->pool, origin);
    else
        scalable_aligned_free(origin);
}

#endif

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
        header->data = header->origdata = static_cast<uchar*>(data != nullptr ? data : NOXEL::NoxAllocate(total));
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

void NoxRelease(void* block) noexcept { release(block); }

cv::MatAllocator* NoxMatAllocator() noexcept
{
    // Matrices may be released while static objects are destroyed, so the allocator never is.
    alignas(MatAllocator) static unsigned char place[sizeof(MatAllocator)];
    static MatAllocator* const allocator = new (place) MatAllocator;
    return allocator;
}

}  // namespace NOXEL
