// What the memory of this machine gives: the limits that the other benchmarks name their share of.

#include "benchmarks/Limits.h"

namespace {

void limit(benchmark::State& state, double (*measure)(int))
{
    for (auto _ : state) state.counters["GB/s"] = measure(static_cast<int>(state.range(0)));
}

/// The first write to pages that the system has just given, through the library's own memory.
void firstTouch(benchmark::State& state)
{
    const std::size_t bytes = std::size_t{240} << 20;
    for (auto _ : state) {
        state.PauseTiming();
        nox_bench::dropKeptMemory();
        state.ResumeTiming();
        nox_bench::touchFresh(bytes, static_cast<int>(state.range(0)));
    }
    state.counters["GB/s"] =
        benchmark::Counter(static_cast<double>(bytes) * 1e-9, benchmark::Counter::kIsIterationInvariantRate);
}

BENCHMARK_CAPTURE(limit, read, nox_bench::readLimit)->Arg(1)->Arg(2)->Iterations(1);
BENCHMARK_CAPTURE(limit, write, nox_bench::writeLimit)->Arg(1)->Arg(2)->Iterations(1);
BENCHMARK_CAPTURE(limit, copy, nox_bench::copyLimit)->Arg(1)->Arg(2)->Iterations(1);
BENCHMARK_CAPTURE(limit, inPlace, nox_bench::inPlaceLimit)->Arg(1)->Arg(2)->Iterations(1);
BENCHMARK(firstTouch)->Arg(1)->Arg(2)->Iterations(5)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
