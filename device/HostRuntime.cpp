#include <NoxMemory.h>

#include <algorithm>
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

template <class... P, std::size_t... i>
constexpr auto unpacked(void (*)(const Blocks&, P...), std::index_sequence<i...>)
{
    return [](void** packed) { return std::tuple<P...>(*static_cast<P*>(packed[i])...); };
}

template <class... P>
constexpr auto unpack(void (*kernel)(const Blocks&, P...))
{
    return unpacked(kernel, std::index_sequence_for<P...>());
}

template <auto kernel>
void run(const Blocks& blocks, void** packed)
{
    std::apply([&](const auto&... argument) { kernel(blocks, argument...); }, unpack(kernel)(packed));
}

struct Entry
{
    void (*run)(const Blocks& blocks, void** packed);
    bool adds;
};

constexpr Entry kEntries[] = {
#define NOX_KERNEL_ENTRY(name, adds) {run<&cuda_##name>, adds},
    NOX_KERNELS(NOX_KERNEL_ENTRY)
#undef NOX_KERNEL_ENTRY
};

/// Blocks in a row that stay in a core's cache while several kernels go over them.
constexpr std::int64_t kPiece = 64;

/// Runs kernels in parallel over pieces of the grid, in each one after the other.
void runAll(const Launch* launches, int count, const Shape& shape)
{
    const auto entry = [](const Launch& launch) -> const Entry& { return kEntries[static_cast<int>(launch.kernel)]; };
    const auto run = [&](const Blocks& blocks) {
        for (const Launch* next = launches; next != launches + count; ++next) entry(*next).run(blocks, next->arguments);
    };
    if (entry(*launches).adds) return run({});  // it does the sharing itself
    const std::int64_t pieces = (shape.gridWidth + kPiece - 1) / kPiece;
    parallelFor(tbb::blocked_range<std::int64_t>(0, pieces * shape.gridHeight), [&](const auto& range) {
        for (std::int64_t i = range.begin(); i != range.end(); ++i) {
            const std::int64_t first = i % pieces * kPiece;
            run({i / pieces, first, std::min(first + kPiece, shape.gridWidth)});
        }
    });
}

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

    bool sharesMemory() const noexcept override { return true; }

    int upload(void* buffer, const void* from, std::size_t bytes) const noexcept override
    {
        return copy(buffer, from, bytes);
    }

    int download(void* to, const void* buffer, std::size_t bytes) const noexcept override
    {
        return copy(to, buffer, bytes);
    }

    int launch(const Launch* launches, int count, const Shape& shape) const noexcept override
    {
        return static_cast<int>(guarded(kLaunch, [&] {
            const FlushingFloatingPoint mode;
            runAll(launches, count, shape);
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
