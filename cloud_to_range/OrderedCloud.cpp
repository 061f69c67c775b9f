// Clouds whose points come in the order of a grid.

#include <CloudToRangeBodies.h>
#include <NoxResultCodes.h>
#include <OrderedCloudBodies.h>

#include "cloud_to_range/CloudToRange.h"
#include "data/Checked.h"
#include "data/ElementType.h"
#include "data/Memory.h"
#include "frame/Guards.h"
#include "frame/Parallel.h"
#include "frame/StaticConfig.h"

#include <algorithm>
#include <cstdint>
#include <stdexcept>

namespace nox {

namespace {

using Rows = tbb::blocked_range<std::size_t>;

/// Copies the heights by index; cells behind the last point become invalid.
struct PointCloudToPixel
{
    const float* points;
    float* image;
    int width;
    int count;

    void operator()(const Rows& rows) const
    {
        for (std::size_t r = rows.begin(); r != rows.end(); ++r) {
            const auto first = static_cast<std::int64_t>(r) * width;
            const int filled = static_cast<int>(std::clamp<std::int64_t>(count - first, 0, width));
            float* cells = image + first;
            for (int c = 0; c < filled; ++c) cells[c] = points[3 * (first + c) + 2];
            std::fill(cells + filled, cells + width, Element<float>::invalid);
        }
    }
};

void requireMemoryForCells(const OrderedGrid& grid, int bytesPerCell)
{
    std::uint64_t bytes = 0;
    if (__builtin_mul_overflow(pixelCount(grid.width, grid.height), bytesPerCell, &bytes)) throw std::bad_alloc();
    requireMemory(bytes);
}

/// The result with planes of its own, so that a failure leaves the caller's as they were; with 0 channels without
/// colours.
NoxRangeImage sized(const NoxRangeImage& result, const OrderedGrid& grid, int channels)
{
    NoxRangeImage image(result);
    image.SetSize(grid.width, grid.height, NoxDataType32F);
    if (channels > 0)
        image.SetColorSize(grid.width, grid.height, channels);
    else
        image.SetColorSize(0, 0, 1);
    return image;
}

float* heights(const NoxRangeImage& image) { return reinterpret_cast<float*>(image.Data()); }

/// Accumulates all rows in one piece, since the order of the samples counts, and gives back the samples' memory.
template <class Body>
void accumulate(Body& body)
{
    body(Rows(0, static_cast<std::size_t>(body.height)));
    body.a.release();
    body.b.release();
    body.z.release();
}

}  // namespace

long pointCloudToRangeImage(const NoxPointCloud& cloud, NoxRangeImage* result, const OrderedGrid& grid)
{
    if (cloud.Length() == 0) return NOXEL::code::pointCloudEmpty;
    requireMemoryForCells(grid, sizeof(float));
    NoxRangeImage image = sized(*result, grid, 0);
    image.SetInfo(1.0, 0.0, grid.secondResolution, grid.offsetX, grid.firstResolution, grid.offsetY);
    forRows(grid.height, facadeConfig().tbb,
            PointCloudToPixel{cloud.PointData(), heights(image), grid.width, cloud.Length()});
    *result = image;
    return NOXEL::code::success;
}

long pointCloudToRangeImageOrden(const NoxPointCloud& cloud, NoxRangeImage* result, const OrderedGrid& grid)
{
    if (cloud.Length() == 0) return NOXEL::code::pointCloudEmpty;
    const NoxColorArray& colors = cloud.Colors();
    const int channels = colors.Data() ? colors.Channel() : 0;
    if (channels > 0 && colors.Length() != cloud.Length()) throw std::length_error("not one colour for each point");

    // Six planes and the sums of the colours at once; the result takes the place of the samples.
    requireMemoryForCells(grid, 6 * static_cast<int>(sizeof(float)) + channels * static_cast<int>(sizeof(float) + 1));
    cv::Mat x = newPlane(grid.height, grid.width, CV_32F);
    cv::Mat y = newPlane(grid.height, grid.width, CV_32F);
    cv::Mat z = newPlane(grid.height, grid.width, CV_32F);
    forRows(grid.height, 0, NOXEL::PointCloudToMatXYZ(grid.width, &x, &y, &z, cloud.PointData(), cloud.Length()));

    const auto first = static_cast<float>(grid.firstResolution), second = static_cast<float>(grid.secondResolution);
    const auto offsetX = static_cast<float>(grid.offsetX), offsetY = static_cast<float>(grid.offsetY);
    const auto threshold = static_cast<float>(3.0 * std::max(grid.firstResolution, grid.secondResolution));
    NoxRangeImage image;
    if (channels > 0) {
        NOXEL::PclToRangeTBBT1VoxelMaxHeightWithColor_PC body(std::move(x), std::move(y), std::move(z), colors.Data(),
                                                              channels, grid.width, grid.height, second, first, offsetY,
                                                              offsetX, threshold);
        accumulate(body);
        image = sized(*result, grid, channels);
        float* cells = heights(image);
        unsigned char* cellColors = image.ColorData();
        const NOXEL::PointCloudToRangeImageReplaceValueWithColorNew fill(
            cells, cellColors, &body.count, &body.sum, &body.colorSum, channels, grid.height, grid.width);
        forRows(grid.height, facadeConfig().tbb, [&](const Rows& rows) {
            const auto begin = rows.begin() * static_cast<std::size_t>(grid.width);
            const auto count = rows.size() * static_cast<std::size_t>(grid.width);
            const auto bytes = static_cast<std::size_t>(channels);
            std::fill_n(cells + begin, count, Element<float>::invalid);
            std::fill_n(cellColors + begin * bytes, count * bytes, static_cast<unsigned char>(0));
            fill(rows);
        });
    } else {
        NOXEL::PclToRangeTBBT1VoxelMaxHeight_PC body(std::move(x), std::move(y), std::move(z), grid.width, grid.height,
                                                     second, first, offsetY, offsetX, threshold);
        accumulate(body);
        image = sized(*result, grid, 0);
        forRows(grid.height, facadeConfig().tbb,
                NOXEL::PointCloudToRangeImageReplaceValueNew(heights(image), &body.count, &body.sum, grid.height,
                                                             grid.width));
    }
    image.SetInfo(1.0, 0.0, grid.firstResolution, grid.offsetX, grid.secondResolution, grid.offsetY);
    *result = image;
    return NOXEL::code::success;
}

}  // namespace nox
