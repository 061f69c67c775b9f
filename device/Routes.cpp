#include "device/Routes.h"

#include <CloudToRangeBodies.h>
#include <NoxResultCodes.h>

#include "data/Memory.h"
#include "device/Pipelines.h"
#include "frame/Guards.h"
#include "frame/Parallel.h"

#include <cstdint>

namespace nox {

long registerPointsOnDevice(const NoxPointCloud& cloud, const PixelFrame& frame, const NoxColorArray& colors,
                            NoxRangeImage* image)
{
    if (colors.Data() && colors.Length() != cloud.Length()) return NOXEL::code::colorCount;
    if (colors.Data()) image->SetColorSize(image->Width(), image->Height(), colors.Channel());

    const auto count = static_cast<std::size_t>(cloud.Length());
    requireMemory(3 * sizeof(float) * std::uint64_t{count});
    const auto x = newScratch<float>(count), y = newScratch<float>(count), z = newScratch<float>(count);
    parallelFor(tbb::blocked_range<std::size_t>(0, count), NOXEL::PointCloudToRangeImageRasterizationNewCUDA(
                                                               cloud.PointData(), x.get(), y.get(), z.get(),
                                                               frame.worldToBox, frame.resolutionX, frame.resolutionY));
    return device::DevicePclToRange(device::builtInRuntime(), x.get(), y.get(), z.get(), image, colors.Data(),
                                    colors.Channel(), cloud.Length(), image->Width(), image->Height());
}

}  // namespace nox
