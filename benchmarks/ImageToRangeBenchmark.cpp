// Gray image to range image against the copy limit and against one plain cv::Mat::convertTo of the same pair into a
// matrix that is there already, best against best (counter vsConvertTo, above 1 when the library is faster).
//   --benchmark_filter=ToRange

#include <Nox3DDataConvert.h>

#include "benchmarks/Limits.h"

#include <benchmark/benchmark.h>
#include <oneapi/tbb/global_control.h>
#include <opencv2/core.hpp>

#include <algorithm>
#include <random>

namespace {

constexpr int kSide = 4096;
constexpr double kScale = 0.37, kOffset = -33.3;

NoxImage randomGrays(int depth)
{
    NoxImage image;
    image.SetSize(kSide, kSide, depth);
    std::mt19937 random(1);
    auto* words = reinterpret_cast<unsigned*>(image.ImageData());
    std::generate_n(words, image.Matrix().total() * image.Matrix().elemSize() / sizeof(unsigned), random);
    return image;
}

template <bool Fixed>
void toRange(benchmark::State& state)
{
    const int depth = static_cast<int>(state.range(0)), dataType = static_cast<int>(state.range(1));
    const int threads = static_cast<int>(state.range(2));
    const tbb::global_control limit(tbb::global_control::max_allowed_parallelism, static_cast<std::size_t>(threads));
    NoxImage image = randomGrays(depth);
    const bool copies = Fixed && depth == dataType;
    cv::Mat converted;
    const auto peer = [&] {
        image.Matrix().convertTo(converted, dataType, copies ? 1.0 : kScale, copies ? 0.0 : kOffset);
    };
    NOXEL::Nox3DDataConvert convert;
    NoxRangeImage range;
    const auto run = [&] {
        const long code = Fixed ? convert.ImageToRangeImageAuto(image, &range, dataType, 1, 0, 1, 0, 1, 0)
                                : convert.ImageToRangeImage(image, &range, dataType, kScale, kOffset, 1, 0, 1, 0, 1, 0);
        if (code != 0) state.SkipWithError("refused");
    };
    const double bytes = static_cast<double>(image.Matrix().elemSize() + CV_ELEM_SIZE1(dataType)) * kSide * kSide;
    nox_bench::race(state, bytes, threads, run, "vsConvertTo", peer);
}

void linearToRange(benchmark::State& state) { toRange<false>(state); }
void fixedToRange(benchmark::State& state) { toRange<true>(state); }

BENCHMARK(linearToRange)
    ->ArgNames({"from", "to", "threads"})
    ->ArgsProduct({{0, 2}, {0, 1, 2, 3, 4, 5, 6}, {2}})
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime();
BENCHMARK(fixedToRange)
    ->ArgNames({"from", "to", "threads"})
    ->ArgsProduct({{0, 2}, {0, 2, 3, 4, 5, 6}, {2}})
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime();

}  // namespace
