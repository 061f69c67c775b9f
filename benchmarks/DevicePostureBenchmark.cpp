// The device's merge in the realisation of the build against the host's, alternating in one run: two float images of 4
// million pixels each, askew, into one grid of 8 million.
//   --benchmark_filter=Device

#include <PostureBodies.h>

#include "benchmarks/Compare.h"
#include "device/Pipelines.h"

#include <cmath>

namespace {

constexpr int kSide = 2048;

NoxRangeImage surface()
{
    NoxRangeImage image;
    image.SetSize(kSide, kSide, NoxDataType32F);
    auto* heights = reinterpret_cast<float*>(image.Data());
    for (int i = 0; i < kSide * kSide; ++i)
        heights[i] = i % 20 == 7 ? -3.4028234663852886e38f : 5.0f + std::sin(static_cast<float>(i % kSide) * 0.01f);
    return image;
}

NoxMatrix pose(double turn, double y)
{
    const double c = std::cos(turn), s = std::sin(turn);
    return NoxMatrix((cv::Mat_<double>(4, 4) << c, -s, 0.02, 0, s, c, 0.01, y, -0.02, 0, 1, 3, 0, 0, 0, 1));
}

void DeviceRangeMerge(benchmark::State& state)
{
    NoxRangeImageArray images;
    images.Append(surface());
    images.Append(surface());
    NoxMatrixArray poses;
    poses.Append(pose(0.1, 0));
    poses.Append(pose(-0.2, kSide));
    NoxRangeImage result;
    nox_bench::compare(
        state,
        [&] {
            return NOXEL::RangeImgPostureCorrect_CPU_TYPE0(images, poses, 1, 1, 1, 0, 2 * kSide, kSide, 2 * kSide,
                                                           kSide, &result);
        },
        [&] {
            return nox::device::DeviceRangeMerge(nox::device::builtInRuntime(), images, poses, 1, 1, 2 * kSide, kSide,
                                                 2 * kSide, kSide, &result);
        });
}

BENCHMARK(DeviceRangeMerge)->Unit(benchmark::kMillisecond)->Iterations(7);

}  // namespace
