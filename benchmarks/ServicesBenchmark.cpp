// Resample against one plain cv::resize of the same float image by the same method and threads, which knows no invalid
// pixels (counter ofResize, 1 when equally long, best against best), and HeightIntensity against the memory it reads.
//   --benchmark_filter='Resample|HeightIntensity'

#include <Nox3DSampling.h>
#include <Nox3DSurfaceMeasurement.h>

#include "benchmarks/Limits.h"

#include <benchmark/benchmark.h>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <chrono>
#include <random>

namespace {

constexpr int kSide = 4096;

/// Waves with noise; one pixel of sixteen is invalid when there are holes.
NoxRangeImage surface(bool holes)
{
    NoxRangeImage image;
    image.SetSize(kSide, kSide, NoxDataType32F);
    std::mt19937 random(1);
    for (int r = 0; r < kSide; ++r) {
        for (int c = 0; c < kSide; ++c) {
            const auto noise = static_cast<unsigned>(random());
            image.Matrix().at<float>(r, c) = holes && noise % 16 == 0 ? -3.4028235e38f
                                                                      : 0.01f * static_cast<float>((r + 3 * c) % 777) +
                                                                            1e-11f * static_cast<float>(noise);
        }
    }
    return image;
}

template <class Call>
double seconds(const Call& call)
{
    const auto start = std::chrono::steady_clock::now();
    call();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void Resample(benchmark::State& state)
{
    constexpr int flags[] = {cv::INTER_NEAREST_EXACT, cv::INTER_LINEAR, cv::INTER_CUBIC, cv::INTER_AREA,
                             cv::INTER_LANCZOS4};
    const int method = static_cast<int>(state.range(0)), side = static_cast<int>(state.range(1));
    const NoxRangeImage image = surface(state.range(2) != 0);
    NoxRangeImage result;
    cv::Mat resized;
    const auto peer = [&] { cv::resize(image.Matrix(), resized, {side, side}, 0, 0, flags[method]); };
    peer();
    double best = 1e9, bestPeer = 1e9;
    for (auto _ : state) {
        const double time = seconds(
            [&] { benchmark::DoNotOptimize(NOXEL::Nox3DSampling().Resample(image, &result, method, side, side)); });
        state.SetIterationTime(time);
        best = std::min(best, time);
        bestPeer = std::min(bestPeer, seconds(peer));
    }
    state.counters["ofResize"] = best / bestPeer;
}
BENCHMARK(Resample)
    ->ArgNames({"method", "side", "holes"})
    ->ArgsProduct({{0, 1, 2, 3, 4}, {1024, 2048, 3000, 4500}, {0, 1}})
    ->UseManualTime()
    ->MinTime(0.3)
    ->Unit(benchmark::kMillisecond);

void HeightIntensity(benchmark::State& state)
{
    NoxRangeImage image = surface(true);
    cv::Mat pixels;
    image.Matrix().convertTo(pixels, static_cast<int>(state.range(0)), 10.0);
    image.SetMatrix(pixels);
    image.SetType(1);
    double low = 0, high = 0, mean = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(NOXEL::Nox3DSurfaceMeasurement().HeightIntensity(
            image, {}, {}, 1, 0, 0.0, 0.0, 1, 1, &low, &high, nullptr, &mean, nullptr, nullptr, nullptr, nullptr,
            nullptr, nullptr));
    }
    const auto bytes = static_cast<double>(pixels.total() * pixels.elemSize());
    state.counters["ofRead"] =
        benchmark::Counter(bytes * 1e-9 / nox_bench::readLimit(1), benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(HeightIntensity)->ArgName("type")->DenseRange(0, 6)->Unit(benchmark::kMillisecond);

}  // namespace
