// The numeric primitives on 64 Mi warm elements, two threads, against what memory gives and against OpenCV, which works
// on the same buffer in turn with the library: the best of 15 rounds each. The environment variable NOX_BENCH_TBB is
// the `tbb` of the configuration, 0 without it.
//   --benchmark_filter='Add|Sum|MinMax|Replace'
// ofLimit: share of the in-place limit (Add) or of the read limit (all others); timesOpenCV: how often faster.

#include <NoxConfig.h>
#include <tbbComputing.h>

#include "benchmarks/Limits.h"
#include "data/ElementType.h"
#include "data/Memory.h"

#include <benchmark/benchmark.h>
#include <oneapi/tbb/global_control.h>
#include <opencv2/core.hpp>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace {

constexpr int kSide = 8192, kCount = kSide * kSide, kThreads = 2;

template <class T>
cv::Mat numbers()
{
    cv::Mat all = nox::newPlane(kSide, kSide, cv::DataType<T>::depth);
    cv::RNG random(1);
    std::is_integral_v<T> ? random.fill(all, cv::RNG::UNIFORM, 1, 100) : random.fill(all, cv::RNG::UNIFORM, -1e3, 1e3);
    return all;
}

template <class Work>
double secondsOf(const Work& work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// Both in turn, the first round not counted.
template <class Work, class Peer>
void compare(benchmark::State& state, double bytes, double limit, const Work& work, const Peer& peer)
{
    const tbb::global_control control(tbb::global_control::max_allowed_parallelism, kThreads);
    for (auto _ : state) {
        double ours = 1e9, openCV = 1e9;
        work();
        for (int round = 0; round < 15; ++round) {
            openCV = std::min(openCV, secondsOf(peer));
            ours = std::min(ours, secondsOf(work));
        }
        state.SetIterationTime(ours);
        state.counters["GB/s"] = bytes / ours * 1e-9;
        state.counters["ofLimit"] = bytes / ours * 1e-9 / limit;
        state.counters["timesOpenCV"] = openCV / ours;
    }
}

template <class T>
void Add(benchmark::State& state)
{
    cv::Mat all = numbers<T>();
    compare(
        state, 2.0 * sizeof(T) * kCount, nox_bench::inPlaceLimit(kThreads),
        [&] { NOXEL::tbbComputing().AddTBB(all.ptr<T>(), kCount, T(1)); }, [&] { cv::add(all, cv::Scalar(1), all); });
}

template <class T>
void Sum(benchmark::State& state)
{
    cv::Mat all = numbers<T>();
    compare(
        state, 1.0 * sizeof(T) * kCount, nox_bench::readLimit(kThreads),
        [&] { benchmark::DoNotOptimize(NOXEL::tbbComputing().SumTBB(all.ptr<T>(), kCount)); },
        [&] { benchmark::DoNotOptimize(cv::sum(all)); });
}

/// OpenCV is given the mask of the valid elements, and not timed for making it.
template <class T>
void MinMax(benchmark::State& state)
{
    cv::Mat all = numbers<T>(), valid;
    cv::compare(all, static_cast<double>(nox::Element<T>::invalid), valid, cv::CMP_NE);
    T low, high;
    double lowest, highest;
    compare(
        state, 1.0 * sizeof(T) * kCount, nox_bench::readLimit(kThreads),
        [&] { NOXEL::tbbComputing().MinMaxTBB(all.ptr<T>(), kCount, &low, &high); },
        [&] { cv::minMaxIdx(all, &lowest, &highest, nullptr, nullptr, valid); });
}

/// One element of 65536 is replaced, to and fro.
template <class T>
void Replace(benchmark::State& state)
{
    cv::Mat all = numbers<T>(), hits;
    T from = T(111), to = T(112);
    for (int i = 0; i < kCount; i += 65536) all.ptr<T>()[i] = from;
    compare(
        state, 1.0 * sizeof(T) * kCount, nox_bench::readLimit(kThreads),
        [&] {
            NOXEL::tbbComputing().ReplaceValueTBB(all.ptr<T>(), kCount, from, to);
            std::swap(from, to);
        },
        [&] {
            cv::compare(all, static_cast<double>(from), hits, cv::CMP_EQ);
            all.setTo(static_cast<double>(to), hits);
            std::swap(from, to);
        });
}

void once(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Iterations(1)->UseManualTime()->Unit(benchmark::kMillisecond);
}

#define NUMERIC(T)                              \
    BENCHMARK_TEMPLATE(Add, T)->Apply(once);    \
    BENCHMARK_TEMPLATE(Sum, T)->Apply(once);    \
    BENCHMARK_TEMPLATE(MinMax, T)->Apply(once); \
    BENCHMARK_TEMPLATE(Replace, T)->Apply(once);
NOX_FOR_EACH_ELEMENT(NUMERIC)

}  // namespace

/// In the place of the shipped configuration library, which is asked when the library is loaded.
long NOXEL::NoxGetStaticTBB(int* tbb)
{
    const char* pieces = std::getenv("NOX_BENCH_TBB");
    *tbb = pieces ? std::atoi(pieces) : 0;
    return 0;
}
