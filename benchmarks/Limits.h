#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstddef>

/// What the machine's memory gives, measured in the run that uses it, so that shares of it are ratios of one run.
namespace nox_bench {

/// GB/s of a copy by streaming stores, read and written bytes counted, between two warm buffers of 240 MiB together on
/// that many threads; the best of seven. Measured once a run and thread count.
double copyLimit(int threads);
/// GB/s of summing a warm buffer of 240 MiB.
double readLimit(int threads);
/// GB/s of filling a warm buffer of 240 MiB by streaming stores.
double writeLimit(int threads);
/// GB/s of adding to a warm buffer of 240 MiB in place, read and written bytes counted.
double inPlaceLimit(int threads);

/// Reports a loop that moved `bytes` an iteration, and its share of the copy limit, as counters GB/s and ofCopy.
void reportShare(benchmark::State& state, double bytes, int threads);

template <class Call>
double seconds(const Call& call)
{
    const auto start = std::chrono::steady_clock::now();
    call();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// The best time of `run` and of a `peer` that is called right after it, in turn for as long as the benchmark lasts:
/// counters ofCopy, for the bytes that `run` moves, and `versus`, above 1 when `run` is faster. Gives the time of
/// `run`.
template <class Run, class Peer>
double race(benchmark::State& state, double bytes, int threads, const Run& run, const char* versus, const Peer& peer)
{
    run();
    run();  // an output that is replaced: two of them take turns
    peer();
    peer();
    double best = 1e9, bestOfPeer = 1e9;
    for (auto _ : state) {
        const double time = seconds(run);
        state.SetIterationTime(time);
        best = std::min(best, time);
        bestOfPeer = std::min(bestOfPeer, seconds(peer));
    }
    state.counters["ofCopy"] = bytes * 1e-9 / best / copyLimit(threads);
    state.counters[versus] = bestOfPeer / best;
    return best;
}

/// Takes a block of the library's memory, writes it once on that many threads and gives it back.
void touchFresh(std::size_t bytes, int threads);

/// Drops the memory that the library keeps for the next call, so that the next output lies on fresh pages.
void dropKeptMemory();

}  // namespace nox_bench
