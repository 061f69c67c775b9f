// Range image to point cloud against the copy limit: the pixel read once and 12 bytes written a point. The second
// template argument tells whether the points fall on fresh pages, as in a first call, or on kept ones.

#include <Nox3DDataConvert.h>

#include "benchmarks/Limits.h"
#include "data/ElementType.h"

#include <benchmark/benchmark.h>
#include <oneapi/tbb/global_control.h>
#include <opencv2/core.hpp>

#include <random>

namespace {

constexpr double kInvalidShare = 0.1;

/// Random heights, a tenth of them invalid at random places.
template <class T>
NoxRangeImage scan(int width, int height)
{
    NoxRangeImage image;
    image.SetSize(width, height, cv::DataType<T>::depth);
    image.SetInfo(0.01, 3.0, 0.2, 5.0, 0.3, 7.0);
    std::mt19937 random(1);
    std::uniform_real_distribution<double> share(0.0, 1.0);
    T* heights = reinterpret_cast<T*>(image.Data());
    for (long i = 0; i < static_cast<long>(width) * height; ++i)
        heights[i] = share(random) < kInvalidShare ? nox::Element<T>::invalid : static_cast<T>(1 + share(random) * 100);
    return image;
}

template <class T, bool Cold>
void RangeToCloud(benchmark::State& state)
{
    const int side = static_cast<int>(state.range(0));
    const int threads = static_cast<int>(state.range(1));
    const tbb::global_control limit(tbb::global_control::max_allowed_parallelism, static_cast<std::size_t>(threads));
    NoxRangeImage image = scan<T>(side, side);
    NOXEL::Nox3DDataConvert convert;
    NoxPointCloud cloud;
    // The new cloud is made while the old one still stands, so repeated calls take two blocks in turn: touch both.
    for (int call = 0; call < 3; ++call) convert.RangeImageToPointCloud(image, &cloud);
    const double bytes = static_cast<double>(sizeof(T)) * side * side + 12.0 * cloud.Length();
    for (auto _ : state) {
        if (Cold) {
            state.PauseTiming();
            cloud.Clear();
            nox_bench::dropKeptMemory();
            state.ResumeTiming();
        }
        if (convert.RangeImageToPointCloud(image, &cloud) != 0) state.SkipWithError("refused");
    }
    nox_bench::reportShare(state, bytes, threads);
}

void sizesAndThreads(benchmark::internal::Benchmark* benchmark)
{
    benchmark->ArgNames({"side", "threads"})->ArgsProduct({{1024, 4096}, {1, 2}});
    benchmark->Unit(benchmark::kMillisecond)->UseRealTime();
}

BENCHMARK_TEMPLATE(RangeToCloud, float, false)->Apply(sizesAndThreads);
BENCHMARK_TEMPLATE(RangeToCloud, float, true)->Apply(sizesAndThreads);
BENCHMARK_TEMPLATE(RangeToCloud, unsigned short, false)->Apply(sizesAndThreads);
BENCHMARK_TEMPLATE(RangeToCloud, unsigned short, true)->Apply(sizesAndThreads);
BENCHMARK_TEMPLATE(RangeToCloud, unsigned char, false)->Apply(sizesAndThreads);
BENCHMARK_TEMPLATE(RangeToCloud, unsigned char, true)->Apply(sizesAndThreads);

}  // namespace
