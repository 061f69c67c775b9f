// The device's pipelines in the realisation of the build against the host's on the same job, alternating in one run:
// 4 million points of a cloud in the order of a scan and in random order.
//   --benchmark_filter=Device

#include "benchmarks/Compare.h"
#include "benchmarks/Surface.h"
#include "cloud_to_range/CloudToRange.h"
#include "cloud_to_range/Registration.h"
#include "device/Routes.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace {

constexpr int kSide = 2000;

void DeviceCloudToRange(benchmark::State& state)
{
    const NoxPointCloud cloud = nox_bench::surface(kSide, state.range(0) != 0);
    const NoxMatrix4 pose(1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1);
    NoxRangeImage image;
    const auto call = [&](nox::Registration registration) {
        return [&, registration] { return nox::cloudToRangeByResolution(cloud, &image, pose, 1.0, 1.0, registration); };
    };
    nox_bench::compare(state, call(nox::registerPoints), call(nox::registerPointsOnDevice));
}

BENCHMARK(DeviceCloudToRange)->ArgName("random")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(9);

}  // namespace
