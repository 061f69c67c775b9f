// Point cloud to range image, 10 million points at about one a cell, in the order of a scan and in random order:
// the registration alone, the same by private full planes and the library's exponential, and the whole call.
//   --benchmark_filter=CloudToRange

#include <CloudToRangeBodies.h>
#include <Nox3DDataConvert.h>

#include "benchmarks/Limits.h"
#include "benchmarks/Process.h"
#include "benchmarks/Surface.h"
#include "cloud_to_range/Registration.h"

#include <benchmark/benchmark.h>
#include <oneapi/tbb/global_control.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace {

using Range = tbb::blocked_range<std::size_t>;

constexpr int kSide = 3163;
constexpr double kPoints = static_cast<double>(kSide) * kSide;

enum Order : int { kScan, kRandom };

/// Made once for each order.
NoxPointCloud& cloudIn(Order order)
{
    static NoxPointCloud clouds[2];
    if (clouds[order].Length() == 0) clouds[order] = nox_bench::surface(kSide, order == kRandom);
    return clouds[order];
}

/// From the cloud into a grid whose cells are 1 x 1: columns along y, rows along x.
nox::PixelFrame unitFrame() { return {NOXEL3D::MMatrix4(0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1), 1.0f, 1.0f}; }

/// Runs call() once an iteration, prepare() before it outside the measured time, and reports the best iteration.
template <class Prepare, class Call>
void measure(benchmark::State& state, const Prepare& prepare, const Call& call)
{
    using Clock = std::chrono::steady_clock;
    double best = std::numeric_limits<double>::max();
    for (auto _ : state) {
        prepare();
        const auto start = Clock::now();
        if (call() != 0) state.SkipWithError("refused");
        const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
        state.SetIterationTime(seconds);
        best = std::min(best, seconds);
    }
    state.counters["ns/point"] = 1e9 * best / kPoints;
}

void nothing() {}

tbb::global_control threadsOf(const benchmark::State& state)
{
    return {tbb::global_control::max_allowed_parallelism, static_cast<std::size_t>(state.range(1))};
}

void CloudToRangeRegistration(benchmark::State& state)
{
    const tbb::global_control threads = threadsOf(state);
    const NoxPointCloud& cloud = cloudIn(static_cast<Order>(state.range(0)));
    NoxRangeImage image;
    image.SetSize(kSide, kSide, NoxDataType32F);
    measure(state, nothing, [&] { return nox::registerPoints(cloud, unitFrame(), NoxColorArray(), &image); });
}

void CloudToRangeRegistrationNaive(benchmark::State& state)
{
    const tbb::global_control threads = threadsOf(state);
    const NoxPointCloud& cloud = cloudIn(static_cast<Order>(state.range(0)));
    const auto count = static_cast<std::size_t>(cloud.Length());
    NOXEL3D::MVector3fArray positions(cloud.Length());
    for (std::size_t i = 0; i < count; ++i) {
        const float* p = cloud.PointData() + 3 * i;
        positions[static_cast<int>(i)] = unitFrame().position({p[0], p[1], p[2]});
    }
    NoxRangeImage image;
    image.SetSize(kSide, kSide, NoxDataType32F);
    measure(state, nothing, [&] {
        NOXEL::PCtoRIRegisterPointNew body(kSide, kSide, positions.data(), 2.0);
        const auto pieces = static_cast<std::size_t>(state.range(1));
        tbb::parallel_reduce(Range(0, count, count / pieces), body);
        tbb::parallel_for(Range(0, kSide),
                          NOXEL::PointCloudToRangeImageReplaceValueNew(reinterpret_cast<float*>(image.Data()),
                                                                       &body.weights, &body.weightedSum, kSide, kSide));
        return 0;
    });
}

/// Peak memory of the call, the cloud counted, against points and image at 12 and 4 bytes.
double peakShare(NoxPointCloud& cloud, NoxMatrix4& pose)
{
    NoxRangeImage image;
    const double taken =
        nox_bench::peakOf([&] { NOXEL::Nox3DDataConvert().PointCloudToRangeImage(cloud, &image, pose, 1.0, 1.0); });
    const double needed = 12 * kPoints + 4.0 * image.Width() * image.Height();
    return (12 * kPoints + taken) / needed;
}

void CloudToRangeWhole(benchmark::State& state)
{
    const tbb::global_control threads = threadsOf(state);
    const bool cold = state.range(2) != 0;
    NoxPointCloud& cloud = cloudIn(static_cast<Order>(state.range(0)));
    NoxMatrix4 pose(1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1);
    state.counters["peak"] = peakShare(cloud, pose);
    NOXEL::Nox3DDataConvert convert;
    NoxRangeImage image;
    const auto prepare = [&] {
        if (!cold) return;
        image.Clear();
        nox_bench::dropKeptMemory();
    };
    measure(state, prepare, [&] { return convert.PointCloudToRangeImage(cloud, &image, pose, 1.0, 1.0); });
}

void repeated(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Unit(benchmark::kMillisecond)->Iterations(7)->UseManualTime();
}

const std::vector<std::int64_t> kOrders{kScan, kRandom};
const std::vector<std::int64_t> kThreads{1, 2};

BENCHMARK(CloudToRangeRegistration)->ArgNames({"random", "threads"})->ArgsProduct({kOrders, kThreads})->Apply(repeated);
BENCHMARK(CloudToRangeRegistrationNaive)->ArgNames({"random", "threads"})->ArgsProduct({kOrders, {2}})->Apply(repeated);
BENCHMARK(CloudToRangeWhole)
    ->ArgNames({"random", "threads", "cold"})
    ->ArgsProduct({kOrders, kThreads, {0, 1}})
    ->Apply(repeated);

}  // namespace
