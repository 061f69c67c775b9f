#include <Nox3DDataConvertAlg.h>
#include <Nox3DPlane.h>
#include <Nox3DSampling.h>
#include <Nox3DSurfaceMeasurement.h>
#include <NoxDataType.h>
#include <NoxPlatform.h>
#include <NoxROI.h>
#include <NoxResultCodes.h>
#include <OrderedCloudBodies.h>
#include <RangeToCloudBodies.h>
#include <RetypeBodies.h>

#include "data/Checked.h"
#include "data/ElementType.h"
#include "data/Memory.h"
#include "frame/Guards.h"
#include "frame/MinXY.h"
#include "frame/Parallel.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <new>
#include <optional>

namespace NOXEL {

namespace {

/// The perspective parameters: column and row of the optical centre, x and y for a step and a unit of depth.
struct Optics
{
    double column, row, x, y;
};

/// Lowest, highest and mean depth of an image.
struct Depths
{
    double low = 0, high = 0, mid = 0;
};

/// The points of an image, X and Y measured from their smallest values, Z the distance below the reference. X or Y 0
/// tells a pixel without a point; so it does where a minimum lies.
struct Planes
{
    cv::Mat x, y, z;
    float minX = 0, minY = 0;
};

template <class Operation>
void forEachPixel(Planes& planes, const Operation& operation)
{
    float *x = planes.x.ptr<float>(), *y = planes.y.ptr<float>(), *z = planes.z.ptr<float>();
    const std::size_t n = planes.z.total();
    for (std::size_t i = 0; i < n; ++i) operation(x[i], y[i], z[i]);
}

Planes pointPlanes(const NoxRangeImage& source, const Optics& optics, double referenceDistance)
{
    const int width = source.Width(), height = source.Height();
    const auto n = static_cast<std::size_t>(nox::pixelCount(source));
    Planes planes;
    for (cv::Mat* plane : {&planes.x, &planes.y, &planes.z}) {
        *plane = nox::newPlane(height, width, CV_32F);
        std::fill_n(plane->ptr<float>(), n, 0.0f);
    }

    const bool scaled = source.DataType() != NoxDataType64F;
    const auto resolution = scaled ? static_cast<float>(source.ResolutionZ()) : 1.0f;
    const auto offset = scaled ? static_cast<float>(source.OffsetZ()) : 0.0f;
    nox::dispatch(source.DataType(), nox::Elements{}, [&](auto tag) {
        using T = typename decltype(tag)::type;
        const T invalid = nox::Element<T>::invalid;
        nox::forRows(
            height, 0,
            RangeImageToPointCloudTBB1<T>(width, static_cast<float>(optics.x), static_cast<float>(optics.y), resolution,
                                          static_cast<float>(optics.column), static_cast<float>(optics.row), offset,
                                          static_cast<float>(invalid), planes.x, planes.y, planes.z,
                                          reinterpret_cast<const T*>(source.Data())));
    });

    const float toHeight[4] = {0.0f, 0.0f, -1.0f, static_cast<float>(referenceDistance)};
    forEachPixel(planes, [&](float x, float y, float& z) {
        z = x * toHeight[0] + y * toHeight[1] + z * toHeight[2] + toHeight[3];
    });
    BOX_MinXY_SIMDNEW(planes.x, planes.y, planes.z, &planes.minX, &planes.minY, width, height);
    const float shiftX = 0.0f - planes.minX, shiftY = 0.0f - planes.minY;
    forEachPixel(planes, [&](float& x, float& y, float /*z*/) {
        x = x != 0.0f ? x + shiftX : x;
        y = y != 0.0f ? y + shiftY : y;
    });
    return planes;
}

/// Leaves the pixels where they are.
void relabel(Planes planes, const Optics& optics, const Depths& depths, NoxRangeImage* output)
{
    forEachPixel(planes, [](float x, float y, float& z) {
        if (x == 0.0f || y == 0.0f) z = nox::Element<float>::invalid;
    });
    output->SetMatrix(planes.z);
    output->SetType(0);
    output->SetInfo(1.0, 0.0, depths.mid * optics.x, nox::throughFloat(optics.column), depths.mid * optics.y,
                    nox::throughFloat(optics.row));
}

/// A side of the enlarged grid, at least 1; none when it does not fit an int.
std::optional<int> enlarged(int side, float scale)
{
    const float cells = static_cast<float>(side) * scale;
    if (cells >= 0x1p31f) return std::nullopt;
    return cells >= 1.0f ? nox::t32(cells) : 1;
}

bool threePlanesFit(int width, int height)
{
    return nox::memoryGrants(3 * sizeof(float) * static_cast<std::uint64_t>(nox::pixelCount(width, height)));
}

bool gridFits(int width, int height)
{
    constexpr float perKilo = 0.0009765625f;
    const std::uint64_t freeMegabytes = NoxAvailablePhysicalMemory() / 1024 / 1024;
    if (static_cast<float>(width) * perKilo * (static_cast<float>(height) * perKilo) * 4.0f >
        static_cast<float>(freeMegabytes))
        return false;
    return threePlanesFit(width, height);
}

/// The size of the grid of method 1; none when it or the points do not fit in memory.
std::optional<cv::Size> enlargedGrid(const Depths& depths, int width, int height)
{
    const auto scale = static_cast<float>(std::abs(depths.high / depths.low) * 0.9);
    const std::optional<int> gridWidth = enlarged(width, scale), gridHeight = enlarged(height, scale);
    if (!gridWidth || !gridHeight || !gridFits(*gridWidth, *gridHeight) || !threePlanesFit(width, height))
        return std::nullopt;
    return cv::Size(*gridWidth, *gridHeight);
}

/// Moves each pixel to its place on a grid, which is then brought to the size of the image.
long regrid(const Planes& planes, const Optics& optics, const Depths& depths, cv::Size gridSize, int width, int height,
            NoxRangeImage* output)
{
    const double cellX = std::abs(depths.low) * optics.x, cellY = std::abs(depths.low) * optics.y;
    const double threshold = 3.0 * std::max(depths.mid * optics.y, depths.mid * optics.x);
    PclToRangeTBBT1VoxelMaxHeight body(planes.x, planes.y, planes.z, gridSize.width, gridSize.height,
                                       static_cast<float>(cellY), static_cast<float>(cellX), 0.0f, 0.0f,
                                       static_cast<float>(threshold));
    body(tbb::blocked_range<std::size_t>(0, static_cast<std::size_t>(height)));  // in one piece: the order counts
    float* const sums = body.sum.ptr<float>();
    const float* const counts = body.count.ptr<float>();
    for (std::size_t i = 0; i < body.sum.total(); ++i)
        sums[i] = counts[i] > 0.0f ? sums[i] / counts[i] : nox::Element<float>::invalid;

    NoxRangeImage grid = *output;  // an exception of the service leaves the output as it was
    grid.SetMatrix(body.sum);
    grid.SetType(0);
    grid.SetInfo(1.0, 0.0, cellX, 0.0, cellY, 0.0);
    const long result = Nox3DSampling().Resample(grid, &grid, 0, width, height);
    if (result == code::success) {
        const double x = grid.ResolutionX(), y = grid.ResolutionY();
        grid.SetInfo(1.0, 0.0, x, nox::throughFloat(-planes.minX / x), y, nox::throughFloat(-planes.minY / y));
        grid.SetType(0);
    }
    *output = grid;
    return result;
}

}  // namespace

long BOX_MinXY_SIMDNEW(cv::Mat& X, cv::Mat& Y, cv::Mat& Z, float* minX, float* minY, int width, int height)
{
    nox::minXY(X, Y, Z, minX, minY, width, height);
    return code::success;
}

long Nox3DDataConvertAlg::NoxRangeImageTypeConvert(NoxRangeImage& source, NoxRangeImage* output,
                                                   const double* referenceDistance, int method, int width, int height)
{
    if (source.Type() != 0 && source.Type() != 1) return code::rangeImageType;
    if (source.Type() == 0) return code::notServed;
    if (static_cast<unsigned>(method) > 1) return code::argument2;
    const auto parameter = [&](int index) { return source.GetParaValue(index).D(); };
    const Optics optics{parameter(0), parameter(1), parameter(2), parameter(3)};
    Depths depths;
    const long measured = Nox3DSurfaceMeasurement().HeightIntensity(
        source, NoxROI(), Nox3DPlane(), 1, 0, 0.0, 0.0, 1, 1, &depths.low, &depths.high, nullptr, &depths.mid, nullptr,
        nullptr, nullptr, nullptr, nullptr, nullptr);
    if (measured != code::success) return measured;
    if (depths.low == 0.0) depths.low = 0.1;

    if (method == 1) {
        const std::optional<cv::Size> gridSize = enlargedGrid(depths, width, height);
        if (!gridSize) return code::postureMemory;
        return regrid(pointPlanes(source, optics, *referenceDistance), optics, depths, *gridSize, width, height,
                      output);
    }
    if (!threePlanesFit(width, height)) throw std::bad_alloc();
    relabel(pointPlanes(source, optics, *referenceDistance), optics, depths, output);
    return code::success;
}

}  // namespace NOXEL
