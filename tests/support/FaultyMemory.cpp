#include "tests/support/FaultyMemory.h"

#include <NoxMemory.h>

#include <opencv2/core.hpp>

#include <dlfcn.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

/// CMakeLists.txt defines NOX_FAULTY_NEW for the address sanitizer and NOX_FAULTY_NONE for that of threads.
namespace faulty {

namespace {

std::atomic<bool> armed{false}, allAfterToo{false};
std::atomic<long> place{0}, failing{0}, failed{0}, live{0};
std::atomic<int> fill{-1};
std::atomic<unsigned long> limit{~0UL};

bool fails(std::size_t bytes)
{
    if (bytes > limit.load(std::memory_order_relaxed)) return true;
    if (!armed.load(std::memory_order_relaxed)) return false;
    const long now = ++place;
    if (now != failing && !(allAfterToo && now > failing)) return false;
    ++failed;
    return true;
}

template <class T>
T* counted(T* block, int change)
{
    if (block) live.fetch_add(change, std::memory_order_relaxed);
    return block;
}

/// OpenCV takes its own memory when that of a matrix fails. Where that cannot fail it is the project's, too.
void leaveNoWayOut()
{
#if defined(NOX_FAULTY_NEW)
    cv::Mat::setDefaultAllocator(NOXEL::NoxMatAllocator());
#endif
}

template <class Function>
Function next(const char* symbol)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, symbol));
}

}  // namespace

void arm(long k, bool allAfter)
{
    leaveNoWayOut();
    place = failed = 0;
    failing = k;
    allAfterToo = allAfter;
    armed = true;
}

long disarm()
{
    armed = false;
    return failed;
}

long liveBlocks() { return live; }
void fillWith(int byte) { fill = byte; }

void limitBlocks(unsigned long bytes)
{
    leaveNoWayOut();
    limit = bytes;
}

}  // namespace faulty

using faulty::counted;
using faulty::fails;

void* NOXEL::NoxAllocate(std::size_t bytes)
{
    static const auto allocate = faulty::next<void* (*)(std::size_t)>("_ZN5NOXEL11NoxAllocateEm");
    if (fails(bytes)) throw std::bad_alloc();
    void* block = counted(allocate(bytes), 1);
    const int byte = faulty::fill.load(std::memory_order_relaxed);
    return byte < 0 ? block : std::memset(block, byte, bytes);
}

void NOXEL::NoxRelease(void* block) noexcept
{
    static const auto release = faulty::next<void (*)(void*)>("_ZN5NOXEL10NoxReleaseEPv");
    release(counted(block, -1));
}

#if defined(NOX_FAULTY_NEW)

void* operator new(std::size_t bytes, const std::nothrow_t& /*none*/) noexcept
{
    return fails(bytes) ? nullptr : counted(std::malloc(bytes), 1);
}
void* operator new(std::size_t bytes)
{
    void* const block = operator new(bytes, std::nothrow);
    return block ? block : throw std::bad_alloc();
}
void* operator new[](std::size_t bytes) { return operator new(bytes); }
void operator delete(void* block) noexcept { std::free(counted(block, -1)); }
void operator delete[](void* block) noexcept { operator delete(block); }
void operator delete(void* block, std::size_t /*bytes*/) noexcept { operator delete(block); }
void operator delete[](void* block, std::size_t /*bytes*/) noexcept { operator delete(block); }

#elif !defined(NOX_FAULTY_NONE)

extern "C" {

void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);
void __libc_free(void*);

void* malloc(std::size_t bytes) noexcept { return fails(bytes) ? nullptr : counted(__libc_malloc(bytes), 1); }
void* calloc(std::size_t count, std::size_t bytes) noexcept
{
    return fails(bytes) ? nullptr : counted(__libc_calloc(count, bytes), 1);
}
void* realloc(void* block, std::size_t bytes) noexcept
{
    if (fails(bytes)) return nullptr;
    void* const moved = __libc_realloc(block, bytes);
    return block ? moved : counted(moved, 1);
}
void* memalign(std::size_t alignment, std::size_t bytes) noexcept
{
    return fails(bytes) ? nullptr : counted(__libc_memalign(alignment, bytes), 1);
}
void* aligned_alloc(std::size_t alignment, std::size_t bytes) noexcept { return memalign(alignment, bytes); }
int posix_memalign(void** block, std::size_t alignment, std::size_t bytes) noexcept
{
    void* const fresh = memalign(alignment, bytes);
    if (!fresh) return ENOMEM;
    *block = fresh;
    return 0;
}
void free(void* block) noexcept { __libc_free(counted(block, -1)); }

}  // extern "C"

#endif
