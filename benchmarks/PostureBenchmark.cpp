// Posture correction, four float images of 4 million pixels each into one of 16 million, the direct course: the images
// side by side as they lie in the result, turned by a quarter, askew, and with noise that a steep pose strews all over
// the grid; and the same by the canvas stages.
//   --benchmark_filter=Posture

#include <Nox3DDataConvert.h>
#include <PostureBodies.h>

#include "benchmarks/Limits.h"
#include "benchmarks/Process.h"

#include <benchmark/benchmark.h>
#include <oneapi/tbb/global_control.h>
#include <opencv2/core.hpp>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <functional>
#include <limits>
#include <random>

namespace {

constexpr int kSide = 2048;
constexpr int kOut = 2 * kSide;
constexpr double kPixels = 4.0 * kSide * kSide;

enum Lie : int { kStraight, kQuarterTurn, kAskew, kSteepNoise };

struct Scene
{
    NoxRangeImageArray images;
    NoxMatrixArray poses;
};

/// Four images, each with its pose into a quarter of the result; a twentieth of the pixels is invalid.
Scene& sceneOf(Lie lie)
{
    static Scene scenes[4];
    Scene& scene = scenes[lie];
    if (scene.images.Length() > 0) return scene;
    std::mt19937 random(1);
    for (int i = 0; i < 4; ++i) {
        NoxRangeImage image;
        image.SetSize(kSide, kSide, NoxDataType32F);
        auto* heights = reinterpret_cast<float*>(image.Data());
        for (int p = 0; p < kSide * kSide; ++p) {
            const float noise = static_cast<float>(random() % 1024) * (lie == kSteepNoise ? 2.0f : 0.001f);
            heights[p] = random() % 20 == 0 ? std::numeric_limits<float>::lowest()
                                            : 5.0f * std::sin(static_cast<float>(p % kSide) * 0.01f) + noise;
        }
        scene.images.Append(image);

        const double turn = lie == kQuarterTurn ? CV_PI / 2 : lie == kAskew ? 0.6 : 0.0;
        const double tilt = lie == kSteepNoise ? 1.2 : 0.05;
        const cv::Matx33d turned(std::cos(turn), -std::sin(turn), 0, std::sin(turn), std::cos(turn), 0, 0, 0, 1);
        const cv::Matx33d tilted(std::cos(tilt), 0, std::sin(tilt), 0, 1, 0, -std::sin(tilt), 0, std::cos(tilt));
        cv::Mat pose = cv::Mat::eye(4, 4, CV_64F);
        cv::Mat(tilted * turned).copyTo(pose(cv::Rect(0, 0, 3, 3)));
        pose.at<double>(0, 3) = i / 2 * kSide + (lie == kStraight ? 0.3 : 0.0);
        pose.at<double>(1, 3) = i % 2 * kSide;
        scene.poses.Append(NoxMatrix(pose));
    }
    return scene;
}

void measure(benchmark::State& state, Scene& scene, const std::function<long(Scene&, NoxRangeImage*)>& merge)
{
    using Clock = std::chrono::steady_clock;
    const tbb::global_control threads(tbb::global_control::max_allowed_parallelism,
                                      static_cast<std::size_t>(state.range(1)));
    NoxRangeImage result;
    state.counters["peak_B/cell"] = nox_bench::peakOf([&] { merge(scene, &result); }) / (1.0 * kOut * kOut);
    double best = std::numeric_limits<double>::max();
    for (auto _ : state) {
        const auto start = Clock::now();
        if (merge(scene, &result) != 0) state.SkipWithError("refused");
        const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
        state.SetIterationTime(seconds);
        best = std::min(best, seconds);
    }
    state.counters["ns/pixel"] = 1e9 * best / kPixels;
}

void PostureMerge(benchmark::State& state)
{
    measure(state, sceneOf(static_cast<Lie>(state.range(0))), [](Scene& scene, NoxRangeImage* result) {
        return NOXEL::Nox3DDataConvert().RangeImagePostureCorrect(scene.images, scene.poses, 0, 1.0f, 1.0f, 1, 0, kOut,
                                                                  kOut, result);
    });
}

/// Planes for all points, then a private grid for each piece of the canvas: the stages one after the other.
long mergeByStages(Scene& scene, NoxRangeImage* result)
{
    cv::Mat x(kSide, 4 * kSide, CV_32F, cv::Scalar(std::numeric_limits<float>::max())), y = x.clone();
    cv::Mat z(kSide, 4 * kSide, CV_32F, cv::Scalar(std::numeric_limits<float>::lowest())), x0, y0;
    for (int i = 0; i < 4; ++i) {
        cv::Mat pose;
        scene.poses[i].Matrix().convertTo(pose, CV_32F);
        if (i == 0)
            NOXEL::RangeToPlc_SIMD0(scene.images[i], pose, x0, y0, x, y, z, 0, 0, 1, 1, kSide, kSide);
        else
            NOXEL::RangeToPlc_SIMD(scene.images[i], pose, x, y, z, 0, 0, 1, 1, i * kSide, kSide, kSide);
    }
    NOXEL::PclValToPixelAll(x, y, z, 0, 0, 1, 1, 4 * kSide, kSide);
    NOXEL::PclAddToRangeTBB body(x, y, z, 4 * kSide, kSide, kOut, kOut);
    tbb::parallel_reduce(tbb::blocked_range<std::size_t>(0, kSide, kSide / 2), body);
    result->SetSize(kOut, kOut, NoxDataType32F);
    auto* heights = reinterpret_cast<float*>(result->Data());
    for (std::size_t i = 0; i < std::size_t{kOut} * kOut; ++i)
        heights[i] = body.countData[i] > 0 ? body.sumData[i] / body.countData[i] : std::numeric_limits<float>::lowest();
    return 0;
}

void PostureStages(benchmark::State& state)
{
    measure(state, sceneOf(static_cast<Lie>(state.range(0))), mergeByStages);
}

void repeated(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Unit(benchmark::kMillisecond)->Iterations(7)->MeasureProcessCPUTime()->UseManualTime();
}

BENCHMARK(PostureMerge)
    ->ArgNames({"lie", "threads"})
    ->ArgsProduct({{kStraight, kQuarterTurn, kAskew, kSteepNoise}, {1, 2}})
    ->Apply(repeated);
BENCHMARK(PostureStages)->ArgNames({"lie", "threads"})->ArgsProduct({{kStraight, kAskew}, {2}})->Apply(repeated);

}  // namespace
