// The device's pipelines in the realisation of the build against the host's on the same job, alternating in one run:
// 4 million points of a cloud in the order of a scan and in random order.
//   --benchmark_filter=Device

#include "benchmarks/Compare.h"
#include "cloud_to_range/CloudToRange.h"
#include "cloud_to_range/Registration.h"
#include "device/Routes.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace {

constexpr int kSide = 2000;

/// A rough surface, one point somewhere in each cell of 1 x 1.
NoxPointCloud surface(bool shuffled)
{
    NoxVector3dArray points;
    points.SetSize(kSide * kSide);
    std::mt19937 random(1);
    std::uniform_real_distribution<float> share(0.0f, 0.9f);
    NoxVector3d* next = &points[0];
    for (int row = 0; row < kSide; ++row)
        for (int column = 0; column < kSide; ++column)
            *next++ = NoxVector3d(static_cast<float>(row) + share(random), static_cast<float>(column) + share(random),
                                  10.0f * std::sin(0.01f * static_cast<float>(row)) + share(random));
    if (shuffled) std::shuffle(&points[0], next, random);
    NoxPointCloud cloud;
    cloud.SetPoints(std::move(points));
    return cloud;
}

void DeviceCloudToRange(benchmark::State& state)
{
    const NoxPointCloud cloud = surface(state.range(0) != 0);
    const NoxMatrix4 pose(1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1);
    NoxRangeImage image;
    const auto call = [&](nox::Registration registration) {
        return [&, registration] { return nox::cloudToRangeByResolution(cloud, &image, pose, 1.0, 1.0, registration); };
    };
    nox_bench::compare(state, call(nox::registerPoints), call(nox::registerPointsOnDevice));
}

BENCHMARK(DeviceCloudToRange)->ArgName("random")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(9);

}  // namespace
