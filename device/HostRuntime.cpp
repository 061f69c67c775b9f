#include <NoxMemory.h>
#include <oneapi/tbb/task_arena.h>

#include <cstring>
#include <new>
#include <tuple>
#include <utility>

#include "data/FloatingPoint.h"
#include "device/Kernels.h"
#include "device/Runtime.h"
#include "frame/Guards.h"
#include "frame/Parallel.h"

namespace nox::device {

namespace {

enum Error : int { kNone, kMemory, kLaunch };

/// Runs the blocks of a launch in parallel; where threads add to shared cells, all blocks for each share of the cells.
template <class Run>
void forBlocks(const Shape& shape, bool adds, const Run& run)
{
    using Range = tbb::blocked_range<std::int64_t>;
    if (adds) {
        const int shares = tbb::this_task_arena::max_concurrency();
        parallelFor(tbb::blocked_range<int>(0, shares, 1), [&](const tbb::blocked_range<int>& range) {
            for (int share = range.begin(); share != range.end(); ++share)
                for (std::int64_t row = 0; row < shape.gridHeight; ++row)
                    run(Blocks{row, 0, shape.gridWidth, share, shares});
        });
    } else if (shape.gridHeight == 1) {
        parallelFor(Range(0, shape.gridWidth), [&](const Range& range) { run(Blocks{0, range.begin(), range.end()}); });
    } else {
        parallelFor(Range(0, shape.gridHeight), [&](const Range& range) {
            for (std::int64_t row = range.begin(); row != range.end(); ++row) run(Blocks{row, 0, shape.gridWidth});
        });
    }
}

using Entry = void (*)(const Shape& shape, void** arguments);

template <class... P, std::size_t... i>
constexpr auto argumentsOf(void (*)(const Blocks&, P...), std::index_sequence<i...>)
{
    return [](void** packed) { return std::tuple<P...>(*static_cast<P*>(packed[i])...); };
}

template <class... P>
constexpr auto unpack(void (*kernel)(const Blocks&, P...))
{
    return argumentsOf(kernel, std::index_sequence_for<P...>());
}

template <auto kernel, bool adds>
void run(const Shape& shape, void** packed)
{
    const auto arguments = unpack(kernel)(packed);
    forBlocks(shape, adds, [&](const Blocks& blocks) {
        std::apply([&](const auto&... argument) { kernel(blocks, argument...); }, arguments);
    });
}

constexpr Entry kEntries[] = {
#define NOX_KERNEL_ENTRY(name, adds) run<&cuda_##name, adds>,
    NOX_KERNELS(NOX_KERNEL_ENTRY)
#undef NOX_KERNEL_ENTRY
};

/// Calls use(first, count) for pieces of that many bytes, in parallel.
template <class Use>
int forPieces(std::size_t bytes, const Use& use) noexcept
{
    constexpr std::size_t piece = std::size_t{1} << 20;
    return static_cast<int>(guarded(kMemory, [&] {
        parallelFor(tbb::blocked_range<std::size_t>(0, bytes, piece),
                    [&](const auto& range) { use(range.begin(), range.size()); });
        return kNone;
    }));
}

char* at(void* buffer, std::size_t place) { return static_cast<char*>(buffer) + place; }
const char* at(const void* buffer, std::size_t place) { return static_cast<const char*>(buffer) + place; }

class HostRuntime final : public Runtime
{
public:
    int allocate(void** buffer, std::size_t bytes) const noexcept override
    {
        return static_cast<int>(guarded(kMemory, [&] {
            requireMemory(bytes);
            *buffer = NOXEL::NoxAllocate(bytes);
            return kNone;
        }));
    }

    void release(void* buffer) const noexcept override { NOXEL::NoxRelease(buffer); }

    int clear(void* buffer, std::size_t bytes) const noexcept override
    {
        return forPieces(bytes, [=](std::size_t i, std::size_t count) { std::memset(at(buffer, i), 0, count); });
    }

    int upload(void* buffer, const void* from, std::size_t bytes) const noexcept override
    {
        return copy(buffer, from, bytes);
    }

    int download(void* to, const void* buffer, std::size_t bytes) const noexcept override
    {
        return copy(to, buffer, bytes);
    }

    int launch(KernelId kernel, const Shape& shape, void** arguments) const noexcept override
    {
        return static_cast<int>(guarded(kLaunch, [&] {
            const FlushingFloatingPoint mode;
            kEntries[static_cast<int>(kernel)](shape, arguments);
            return kNone;
        }));
    }

    int synchronise() const noexcept override { return kNone; }

    const char* errorText(int error) const noexcept override
    {
        switch (error) {
            case kNone: return "no error";
            case kMemory: return "out of memory";
            default: return "launch failure";
        }
    }

private:
    static int copy(void* to, const void* from, std::size_t bytes) noexcept
    {
        return forPieces(bytes, [=](std::size_t i, std::size_t count) { std::memcpy(at(to, i), at(from, i), count); });
    }
};

constexpr HostRuntime kHostRuntime;

}  // namespace

const Runtime& hostRuntime() noexcept { return kHostRuntime; }

#ifndef NOX_DEVICE_CUDA
const Runtime& builtInRuntime() noexcept { return hostRuntime(); }
#endif

}  // namespace nox::device
