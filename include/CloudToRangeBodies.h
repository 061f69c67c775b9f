#pragma once

#include <MArray.h>
#include <MMatrix3.h>
#include <MMatrix4.h>
#include <MVector3f.h>
#include <NoxExport.h>

#include <oneapi/tbb/blocked_range.h>
#include <oneapi/tbb/parallel_for.h>
#include <oneapi/tbb/parallel_reduce.h>
#include <opencv2/core/mat.hpp>

#include <cstddef>

/// The loop bodies of the conversions from an unordered point cloud to a range image. Positions are in pixels of the
/// grid: x along the columns, y along the rows, z the height in cloud units. A body holds plain pointers; what they
/// point to belongs to the caller and outlives the loop.
namespace NOXEL {

/// Reduction to the box of a cloud in a frame: each point is turned by `rotation`, then its components are compared
/// strictly, so a NaN changes nothing. Without any number in a component its minimum stays above its maximum.
class NOX_EXPORT AABB_box
{
public:
    AABB_box() = default;
    AABB_box(const float* cloud, const NOXEL3D::MMatrix3* rotationToFrame) : points(cloud), rotation(rotationToFrame) {}
    AABB_box(const AABB_box& other, tbb::split) : AABB_box(other.points, other.rotation) {}

    void operator()(const tbb::blocked_range<int>& range);
    void join(const AABB_box& other) noexcept;

    const float* points = nullptr;                           ///< x, y, z of each point
    const NOXEL3D::MMatrix3* rotation = nullptr;             ///< from the cloud's axes to the frame's
    NOXEL3D::MVector3f min = NOXEL3D::MVector3f::Infinity;   ///< starts at the greatest float
    NOXEL3D::MVector3f max = -NOXEL3D::MVector3f::Infinity;  ///< starts at the lowest float
};

/// Fills rows of a height grid with the invalid height, -3.4028235e38.
class NOX_EXPORT PointCloudToRangeImageInitRangeImg
{
public:
    PointCloudToRangeImageInitRangeImg() = default;
    PointCloudToRangeImageInitRangeImg(float* heights, int columns) : data(heights), width(columns) {}

    void operator()(const tbb::blocked_range<std::size_t>& rows) const;

    float* data = nullptr;
    int width = 0;
};

/// Positions of points in the grid. A point whose z is the marker 3.4028235e38 leaves its entry as it is.
class NOX_EXPORT PointCloudToRangeImageRasterizationNew
{
public:
    PointCloudToRangeImageRasterizationNew() = default;
    PointCloudToRangeImageRasterizationNew(const float* cloud, NOXEL3D::MVector3fArray* output,
                                           const NOXEL3D::MMatrix4& toBox, float pixelX, float pixelY)
        : points(cloud), positions(output), worldToBox(toBox), resolutionX(pixelX), resolutionY(pixelY)
    {
    }

    void operator()(const tbb::blocked_range<std::size_t>& range) const;

    const float* points = nullptr;                 ///< x, y, z of each point
    NOXEL3D::MVector3fArray* positions = nullptr;  ///< one entry for each point
    NOXEL3D::MMatrix4 worldToBox;                  ///< puts the box's lowest corner into the origin
    float resolutionX = 1;                         ///< cloud units per column
    float resolutionY = 1;                         ///< cloud units per row
};

/// The same into three arrays, for every point whatever its z.
class NOX_EXPORT PointCloudToRangeImageRasterizationNewCUDA
{
public:
    PointCloudToRangeImageRasterizationNewCUDA() = default;
    PointCloudToRangeImageRasterizationNewCUDA(const float* cloud, float* outputX, float* outputY, float* outputZ,
                                               const NOXEL3D::MMatrix4& toBox, float pixelX, float pixelY)
        : points(cloud), x(outputX), y(outputY), z(outputZ), worldToBox(toBox), resolutionX(pixelX), resolutionY(pixelY)
    {
    }

    void operator()(const tbb::blocked_range<std::size_t>& range) const;

    const float* points = nullptr;
    float* x = nullptr;
    float* y = nullptr;
    float* z = nullptr;
    NOXEL3D::MMatrix4 worldToBox;
    float resolutionX = 1;
    float resolutionY = 1;
};

/// Registration: spreads every position over the four cells round it with Gaussian weights. A cell keeps the weighted
/// sum of the heights near the highest one that it has seen: a height more than the threshold above it discards what
/// the cell held, one more than the threshold below it is ignored. Positions with |z| not below 1e8 are passed over.
///
/// Each body has planes of its own, and each range starts without a highest height. Joined bodies add their planes, so
/// under a parallel reduction the outcome depends on how the range was cut.
/// @throws cv::Exception, std::bad_alloc when the planes can't be had
class NOX_EXPORT PCtoRIRegisterPointNew
{
public:
    PCtoRIRegisterPointNew(int columns, int rows, NOXEL3D::MVector3f* positions, double heightThreshold);
    PCtoRIRegisterPointNew(const PCtoRIRegisterPointNew& other, tbb::split);

    void operator()(const tbb::blocked_range<std::size_t>& range);
    void join(const PCtoRIRegisterPointNew& other) noexcept;

    int width;
    int height;
    NOXEL3D::MVector3f* points;  ///< positions in the grid
    double threshold;            ///< in cloud units
    cv::Mat weightedSum;         ///< height x width floats
    cv::Mat weights;
    cv::Mat reference;  ///< highest height of a cell in the current range
    float* weightedSumData;
    float* weightsData;
    float* referenceData;
};

/// The same with colours. One channel carries one value a point, three and more the first three; with any other number
/// of channels nothing is registered.
class NOX_EXPORT PCtoRIRegisterPointWithColorNew
{
public:
    PCtoRIRegisterPointWithColorNew(int columns, int rows, NOXEL3D::MVector3f* positions, float heightThreshold,
                                    unsigned char* colorBytes, int colorChannels);
    PCtoRIRegisterPointWithColorNew(const PCtoRIRegisterPointWithColorNew& other, tbb::split);

    void operator()(const tbb::blocked_range<std::size_t>& range);
    void join(const PCtoRIRegisterPointWithColorNew& other) noexcept;

    int width;
    int height;
    NOXEL3D::MVector3f* points;  ///< positions in the grid
    float threshold;             ///< in cloud units
    unsigned char* colors;       ///< `channels` bytes for each point
    int channels;
    cv::Mat weightedSum;
    cv::Mat weights;
    cv::Mat reference;
    cv::Mat weightedColor;  ///< `channels` floats a cell
    float* weightedSumData;
    float* weightsData;
    float* referenceData;
    float* weightedColorData;
};

/// Heights from the planes of a registration: sum / weight where a cell has weight, else the invalid height.
class NOX_EXPORT PointCloudToRangeImageReplaceValueNew
{
public:
    PointCloudToRangeImageReplaceValueNew() = default;
    PointCloudToRangeImageReplaceValueNew(float* heights, cv::Mat* weightPlane, cv::Mat* sumPlane, int rows,
                                          int columns)
        : image(heights), weights(weightPlane), weightedSum(sumPlane), height(rows), width(columns)
    {
    }

    void operator()(const tbb::blocked_range<std::size_t>& rows) const;

    float* image = nullptr;
    cv::Mat* weights = nullptr;
    cv::Mat* weightedSum = nullptr;
    int height = 0;
    int width = 0;
};

/// Heights and colours from the planes of a registration. A cell without weight gets the colour 0 and keeps the height
/// that it had. Channels beyond the third stay as they were; with neither one nor at least three channels nothing is
/// written.
class NOX_EXPORT PointCloudToRangeImageReplaceValueWithColorNew
{
public:
    PointCloudToRangeImageReplaceValueWithColorNew() = default;
    PointCloudToRangeImageReplaceValueWithColorNew(float* heights, unsigned char* colorPlane, cv::Mat* weightPlane,
                                                   cv::Mat* sumPlane, cv::Mat* colorSumPlane, int colorChannels,
                                                   int rows, int columns)
        : image(heights),
          colors(colorPlane),
          weights(weightPlane),
          weightedSum(sumPlane),
          weightedColor(colorSumPlane),
          channels(colorChannels),
          height(rows),
          width(columns)
    {
    }

    void operator()(const tbb::blocked_range<std::size_t>& rows) const;

    float* image = nullptr;
    unsigned char* colors = nullptr;  ///< `channels` bytes a cell
    cv::Mat* weights = nullptr;
    cv::Mat* weightedSum = nullptr;
    cv::Mat* weightedColor = nullptr;  ///< `channels` floats a cell
    int channels = 0;
    int height = 0;
    int width = 0;
};

}  // namespace NOXEL
