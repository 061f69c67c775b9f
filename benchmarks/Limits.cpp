#include "benchmarks/Limits.h"

#include <NoxMemory.h>

#include <immintrin.h>
#include <oneapi/tbb/blocked_range.h>
#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/parallel_for.h>
#include <sys/mman.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <new>
#include <vector>

namespace nox_bench {

namespace {

constexpr std::size_t kBytes = std::size_t{240} << 20;
constexpr std::size_t kPiece = std::size_t{256} << 10;

struct Free
{
    void operator()(void* block) const { std::free(block); }
};
using Buffer = std::unique_ptr<float[], Free>;

Buffer warmBuffer(std::size_t bytes)
{
    void* block = std::aligned_alloc(64, bytes);
    if (!block) throw std::bad_alloc();
    std::fill_n(static_cast<float*>(block), bytes / sizeof(float), 1.0f);
    return Buffer(static_cast<float*>(block));
}

void copyPiece(const float* from, float* to, std::size_t n)
{
    for (std::size_t i = 0; i < n; i += 8) _mm256_stream_ps(to + i, _mm256_load_ps(from + i));
}

void readPiece(const float* from, std::size_t n)
{
    __m256 sums[4] = {_mm256_setzero_ps(), _mm256_setzero_ps(), _mm256_setzero_ps(), _mm256_setzero_ps()};
    for (std::size_t i = 0; i < n; i += 32)
        for (int k = 0; k < 4; ++k) sums[k] = _mm256_add_ps(sums[k], _mm256_load_ps(from + i + 8 * k));
    benchmark::DoNotOptimize(sums);
}

void writePiece(float* to, std::size_t n)
{
    for (std::size_t i = 0; i < n; i += 8) _mm256_stream_ps(to + i, _mm256_set1_ps(2.0f));
}

void addPiece(float* to, std::size_t n)
{
    for (std::size_t i = 0; i < n; i += 8)
        _mm256_store_ps(to + i, _mm256_add_ps(_mm256_load_ps(to + i), _mm256_set1_ps(1.0f)));
}

/// The best of seven runs of `piece(first, count)` over a buffer of `bytes`, as GB/s for `moved` bytes.
template <class Piece>
double best(int threads, std::size_t bytes, double moved, const Piece& piece)
{
    const tbb::global_control control(tbb::global_control::max_allowed_parallelism, static_cast<std::size_t>(threads));
    double seconds = 1e9;
    for (int run = 0; run < 7; ++run) {
        const auto start = std::chrono::steady_clock::now();
        tbb::parallel_for(tbb::blocked_range<std::size_t>(0, bytes / kPiece), [&](const auto& range) {
            for (std::size_t p = range.begin(); p != range.end(); ++p)
                piece(p * (kPiece / sizeof(float)), kPiece / sizeof(float));
        });
        seconds = std::min(seconds, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    return moved / seconds * 1e-9;
}

constexpr std::size_t kPage = 4096;

unsigned char* nextPage(void* block)
{
    return reinterpret_cast<unsigned char*>((reinterpret_cast<std::uintptr_t>(block) + kPage) / kPage * kPage);
}

/// Whether some of the pages, looked at here and there, are in memory.
bool isResident(unsigned char* pages, std::size_t bytes)
{
    for (std::size_t sixteenth = 0; sixteenth < 16; ++sixteenth) {
        unsigned char state = 0;
        mincore(pages + bytes / 16 * sixteenth / kPage * kPage, kPage, &state);
        if (state & 1) return true;
    }
    return false;
}

template <class Measure>
double once(std::map<int, double>& known, int threads, const Measure& measure)
{
    const auto found = known.find(threads);
    return found != known.end() ? found->second : known[threads] = measure();
}

}  // namespace

double copyLimit(int threads)
{
    static std::map<int, double> known;
    return once(known, threads, [&] {
        const Buffer from = warmBuffer(kBytes / 2), to = warmBuffer(kBytes / 2);
        return best(threads, kBytes / 2, static_cast<double>(kBytes),
                    [&](std::size_t first, std::size_t n) { copyPiece(&from[first], &to[first], n); });
    });
}

double readLimit(int threads)
{
    static std::map<int, double> known;
    return once(known, threads, [&] {
        const Buffer from = warmBuffer(kBytes);
        return best(threads, kBytes, static_cast<double>(kBytes),
                    [&](std::size_t first, std::size_t n) { readPiece(&from[first], n); });
    });
}

double writeLimit(int threads)
{
    static std::map<int, double> known;
    return once(known, threads, [&] {
        const Buffer to = warmBuffer(kBytes);
        return best(threads, kBytes, static_cast<double>(kBytes),
                    [&](std::size_t first, std::size_t n) { writePiece(&to[first], n); });
    });
}

double inPlaceLimit(int threads)
{
    static std::map<int, double> known;
    return once(known, threads, [&] {
        const Buffer to = warmBuffer(kBytes);
        return best(threads, kBytes, 2.0 * static_cast<double>(kBytes),
                    [&](std::size_t first, std::size_t n) { addPiece(&to[first], n); });
    });
}

void reportShare(benchmark::State& state, double bytes, int threads)
{
    const double perIteration = bytes * 1e-9;
    state.counters["GB/s"] = benchmark::Counter(perIteration, benchmark::Counter::kIsIterationInvariantRate);
    state.counters["ofCopy"] =
        benchmark::Counter(perIteration / copyLimit(threads), benchmark::Counter::kIsIterationInvariantRate);
}

void touchFresh(std::size_t bytes, int threads)
{
    const tbb::global_control control(tbb::global_control::max_allowed_parallelism, static_cast<std::size_t>(threads));
    auto* block = static_cast<float*>(NOXEL::NoxAllocate(bytes));
    tbb::parallel_for(tbb::blocked_range<std::size_t>(0, bytes / kPiece), [&](const auto& range) {
        std::fill(block + range.begin() * (kPiece / sizeof(float)), block + range.end() * (kPiece / sizeof(float)),
                  1.0f);
    });
    NOXEL::NoxRelease(block);
}

void dropKeptMemory()
{
    // Takes all that the library has kept, in ever smaller blocks until a block of a size is fresh, empties the blocks
    // of their pages and gives them back.
    std::vector<void*> taken;
    for (std::size_t bytes = std::size_t{512} << 20; bytes >= std::size_t{1} << 20; bytes /= 2) {
        bool kept = true;
        while (kept) {
            taken.push_back(NOXEL::NoxAllocate(bytes));
            unsigned char* const page = nextPage(taken.back());
            kept = isResident(page, bytes - kPage);
            madvise(page, bytes - kPage, MADV_DONTNEED);
        }
    }
    for (void* block : taken) NOXEL::NoxRelease(block);
}

}  // namespace nox_bench
