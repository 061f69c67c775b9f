#pragma once

#include <NoxDataType.h>
#include <NoxExport.h>
#include <NoxVector3dArray.h>

#include <oneapi/tbb/blocked_range.h>
#include <opencv2/core.hpp>

#include <cstddef>

// The bodies that turn rows of a range image into points; `T` is the element type of the heights.
//
// An appending body writes the point of each valid pixel, rows and columns ascending, at the place that `*count` tells,
// and raises it. So one call has to walk all rows of an image: give the loop a range that never splits. The destination
// has room for all pixels. In type 0 a pixel is invalid up to 1e-6 from the invalid value and when it is a NaN, in
// type 1 when it is exactly the invalid value.
//
// Of colours with 1 byte a pixel the gray is taken, of 3 or 4 bytes the first three; a point has four bytes, the last
// of them 255. With any other number of channels the body does nothing. Rows of colours follow each other without gaps.

namespace NOXEL {

/// Type 0, unsigned 8 bit, packed rows, into x y z triples.
struct NOX_EXPORT RangeImageToPointCloud_TBB_8U
{
    const unsigned char* source = nullptr;
    float* points = nullptr;
    int width = 0;
    float resolutionX = 1, resolutionY = 1, offsetX = 0, offsetY = 0, resolutionZ = 1, offsetZ = 0;
    int* count = nullptr;

    RangeImageToPointCloud_TBB_8U() = default;
    RangeImageToPointCloud_TBB_8U(const unsigned char* sourceOf8U, float* triples, int columns, float resX, float resY,
                                  float offX, float offY, float resZ, float offZ, int* pointCount)
        : source(sourceOf8U),
          points(triples),
          width(columns),
          resolutionX(resX),
          resolutionY(resY),
          offsetX(offX),
          offsetY(offY),
          resolutionZ(resZ),
          offsetZ(offZ),
          count(pointCount)
    {
    }

    void operator()(const tbb::blocked_range<std::size_t>& rows) const;
};

/// The same in blocks of 16 pixels. A block marks what it leaves out by x = 3.4028235e38, so that a grid whose own x
/// gets there, or is a NaN, loses those points.
struct NOX_EXPORT RangeImageToPointCloud_TBBSSE_8U : RangeImageToPointCloud_TBB_8U
{
    using RangeImageToPointCloud_TBB_8U::RangeImageToPointCloud_TBB_8U;

    void operator()(const tbb::blocked_range<std::size_t>& rows) const;
};

/// RangeImageToPointCloud_TBB_8U with a colour for each point.
struct NOX_EXPORT RangeImageToPointCloud_TBB_8UWithColor
{
    const unsigned char* source = nullptr;
    const unsigned char* sourceColors = nullptr;
    unsigned char* colors = nullptr;
    int channels = 0;
    float* points = nullptr;
    int width = 0;
    float resolutionX = 1, resolutionY = 1, offsetX = 0, offsetY = 0, resolutionZ = 1, offsetZ = 0;
    int* count = nullptr;

    RangeImageToPointCloud_TBB_8UWithColor() = default;
    RangeImageToPointCloud_TBB_8UWithColor(const unsigned char* sourceOf8U, const unsigned char* imageColors,
                                           unsigned char* pointColors, int colorChannels, float* triples, int columns,
                                           float resX, float resY, float offX, float offY, float resZ, float offZ,
                                           int* pointCount)
        : source(sourceOf8U),
          sourceColors(imageColors),
          colors(pointColors),
          channels(colorChannels),
          points(triples),
          width(columns),
          resolutionX(resX),
          resolutionY(resY),
          offsetX(offX),
          offsetY(offY),
          resolutionZ(resZ),
          offsetZ(offZ),
          count(pointCount)
    {
    }

    void operator()(const tbb::blocked_range<std::size_t>& rows) const;
};

/// Type 0, rows as far apart as those of `mat`, into an array. Float and double heights are taken as they are.
/// Throws std::out_of_range when the array is too small.
template <class T>
struct NOX_EXPORT RangeImageToPointCloudByTBB
{
    int width = 0;
    float resolutionX = 1, resolutionY = 1, offsetX = 0, offsetY = 0, resolutionZ = 1, offsetZ = 0;
    T invalid{};
    int* count = nullptr;
    cv::Mat* mat = nullptr;
    NoxDataType dataType = NoxDataType8U;
    NoxVector3dArray* points = nullptr;

    RangeImageToPointCloudByTBB() = default;
    RangeImageToPointCloudByTBB(int columns, float resX, float resY, float offX, float offY, float resZ, float offZ,
                                T invalidValue, int* pointCount, cv::Mat* heights, int type, NoxVector3dArray* array)
        : width(columns),
          resolutionX(resX),
          resolutionY(resY),
          offsetX(offX),
          offsetY(offY),
          resolutionZ(resZ),
          offsetZ(offZ),
          invalid(invalidValue),
          count(pointCount),
          mat(heights),
          dataType(static_cast<NoxDataType>(type)),
          points(array)
    {
    }

    void operator()(const tbb::blocked_range<std::size_t>& rows) const;
};

/// RangeImageToPointCloudByTBB with a colour for each point.
template <class T>
struct NOX_EXPORT RangeImageToPointCloudByTBBWithColor : RangeImageToPointCloudByTBB<T>
{
    const unsigned char* sourceColors = nullptr;
    unsigned char* colors = nullptr;
    int channels = 0;

    RangeImageToPointCloudByTBBWithColor() = default;
    RangeImageToPointCloudByTBBWithColor(int columns, float resX, float resY, float offX, float offY, float resZ,
                                         float offZ, T invalidValue, int* pointCount, cv::Mat* heights, int type,
                                         NoxVector3dArray* array, const unsigned char* imageColors,
                                         unsigned char* pointColors, int colorChannels)
        : RangeImageToPointCloudByTBB<T>(columns, resX, resY, offX, offY, resZ, offZ, invalidValue, pointCount, heights,
                                         type, array),
          sourceColors(imageColors),
          colors(pointColors),
          channels(colorChannels)
    {
    }

    void operator()(const tbb::blocked_range<std::size_t>& rows) const;
};

/// Type 1, packed rows, into triples of `D`. `parameter` holds the six of the image; for float and double heights the
/// caller gives height resolution 1 and height offset 0.
template <class T, class D>
struct NOX_EXPORT RangeImageToPointCloud_TBB_TYPE1
{
    const T* source = nullptr;
    D* points = nullptr;
    int width = 0;
    int* count = nullptr;
    double parameter[6] = {};

    RangeImageToPointCloud_TBB_TYPE1() = default;
    RangeImageToPointCloud_TBB_TYPE1(const T* heights, D* triples, int columns, int* pointCount, double p0, double p1,
                                     double p2, double p3, double p4, double p5)
        : source(heights), points(triples), width(columns), count(pointCount), parameter{p0, p1, p2, p3, p4, p5}
    {
    }

    void operator()(const tbb::blocked_range<std::size_t>& rows) const;
};

/// RangeImageToPointCloud_TBB_TYPE1 with a colour for each point.
template <class T, class D>
struct NOX_EXPORT RangeImageToPointCloud_TBB_TYPE1WithColor
{
    const T* source = nullptr;
    D* points = nullptr;
    const unsigned char* sourceColors = nullptr;
    unsigned char* colors = nullptr;
    int channels = 0;
    int width = 0;
    int* count = nullptr;
    double parameter[6] = {};

    RangeImageToPointCloud_TBB_TYPE1WithColor() = default;
    RangeImageToPointCloud_TBB_TYPE1WithColor(const T* heights, D* triples, int columns, int* pointCount,
                                              const unsigned char* imageColors, unsigned char* pointColors,
                                              int colorChannels, double p0, double p1, double p2, double p3, double p4,
                                              double p5)
        : source(heights),
          points(triples),
          sourceColors(imageColors),
          colors(pointColors),
          channels(colorChannels),
          width(columns),
          count(pointCount),
          parameter{p0, p1, p2, p3, p4, p5}
    {
    }
    /// The same, the fields in their order.
    RangeImageToPointCloud_TBB_TYPE1WithColor(const T* heights, D* triples, const unsigned char* imageColors,
                                              unsigned char* pointColors, int colorChannels, int columns,
                                              int* pointCount, double p0, double p1, double p2, double p3, double p4,
                                              double p5)
        : RangeImageToPointCloud_TBB_TYPE1WithColor(heights, triples, columns, pointCount, imageColors, pointColors,
                                                    colorChannels, p0, p1, p2, p3, p4, p5)
    {
    }

    void operator()(const tbb::blocked_range<std::size_t>& rows) const;
};

}  // namespace NOXEL

/// Type 1 in 32-bit float, packed rows, into three planes of the image's size: nothing is left out, a pixel with the
/// invalid value (compared as a float) keeps what the planes hold there. Rows are independent of each other.
template <class T>
struct NOX_EXPORT RangeImageToPointCloudTBB1
{
    int width = 0;
    float scaleX = 1, scaleY = 1, resolutionZ = 1, centreColumn = 0, centreRow = 0, offsetZ = 0, invalid = 0;
    cv::Mat x, y, z;
    const T* source = nullptr;

    RangeImageToPointCloudTBB1() = default;
    RangeImageToPointCloudTBB1(int columns, float xScale, float yScale, float resZ, float opticalColumn,
                               float opticalRow, float offZ, float invalidValue, const cv::Mat& xPlane,
                               const cv::Mat& yPlane, const cv::Mat& zPlane, const T* heights)
        : width(columns),
          scaleX(xScale),
          scaleY(yScale),
          resolutionZ(resZ),
          centreColumn(opticalColumn),
          centreRow(opticalRow),
          offsetZ(offZ),
          invalid(invalidValue),
          x(xPlane),
          y(yPlane),
          z(zPlane),
          source(heights)
    {
    }

    void operator()(const tbb::blocked_range<std::size_t>& rows) const;
};
