#pragma once

#include <Nox3DPlane.h>
#include <NoxDataType.h>
#include <NoxExport.h>
#include <NoxImage.h>
#include <NoxRangeImage.h>
#include <NoxRun.h>

#include <oneapi/tbb/blocked_range.h>
#include <opencv2/core.hpp>

#include <cstddef>

// The bodies that measure range images and turn their pixels into grays; `T` is the element type of the heights.
//
// A body over runs takes a range of indices into `runs`, a body over rows a range of rows. It owns nothing that it
// points at. The runs lie inside both matrices. Bodies that map write the pixels of their runs or rows and no others,
// so disjoint ranges may run at once. `invalid` is the stored value that marks a pixel without a measurement; where a
// rule names no other tolerance a pixel is invalid up to 1e-6 from it. Gray 0 is what an invalid pixel takes.

namespace NOXEL {

/// The extremes of the valid pixels of runs, for a reduction. Without any, `minimum` stays above `maximum`.
template <class T>
struct NOX_EXPORT minMaxTBB
{
    cv::Mat* source = nullptr;
    T minimum = static_cast<T>(-1);
    T maximum = 0;
    double invalid = 0;
    NoxRun* runs = nullptr;

    minMaxTBB(cv::Mat* heights, NoxRun* firstRun) : source(heights), runs(firstRun) {}
    minMaxTBB(minMaxTBB& other, tbb::split) : source(other.source), invalid(other.invalid), runs(other.runs) {}

    void operator()(const tbb::blocked_range<int>& range);
    void join(const minMaxTBB& other) noexcept;
};

/// The extremes of the valid pixels of runs. Lowers `*minimum` and raises `*maximum`, which all bodies of a loop share;
/// they do that without losing each other's values.
template <class T>
struct NOX_EXPORT minMaxValueRectTBB
{
    cv::Mat* source = nullptr;
    double* minimum = nullptr;
    double* maximum = nullptr;
    double invalid = 0;
    NoxRun* runs = nullptr;

    minMaxValueRectTBB() = default;
    minMaxValueRectTBB(cv::Mat* heights, double* low, double* high, double invalidValue, NoxRun* firstRun)
        : source(heights), minimum(low), maximum(high), invalid(invalidValue), runs(firstRun)
    {
    }

    void operator()(const tbb::blocked_range<int>& range) const;
};

/// minMaxValueRectTBB over the first `width` pixels of whole rows.
template <class T>
struct NOX_EXPORT minMaxNoROITBB
{
    cv::Mat* source = nullptr;
    double* minimum = nullptr;
    double* maximum = nullptr;
    double invalid = 0;
    int width = 0;

    minMaxNoROITBB() = default;
    minMaxNoROITBB(cv::Mat* heights, double* low, double* high, double invalidValue, int columns)
        : source(heights), minimum(low), maximum(high), invalid(invalidValue), width(columns)
    {
    }

    void operator()(const tbb::blocked_range<std::size_t>& rows) const;
};

/// Stretches runs of heights to 8-bit grays: the minimum becomes gray 1 and the maximum gray `span` + 1, truncated.
/// The distance to the minimum is rounded to float before it is divided by the range.
template <class T>
struct NOX_EXPORT parallelRECT2Mat1
{
    cv::Mat* source = nullptr;
    cv::Mat* destination = nullptr;
    int span = 254;
    double minimum = 0, maximum = 0, invalid = 0;  ///< in stored units
    NoxRun* runs = nullptr;

    parallelRECT2Mat1() = default;
    parallelRECT2Mat1(cv::Mat* heights, cv::Mat* grays, int graySpan, double low, double high, double invalidValue,
                      NoxRun* firstRun)
        : source(heights),
          destination(grays),
          span(graySpan),
          minimum(low),
          maximum(high),
          invalid(invalidValue),
          runs(firstRun)
    {
    }

    void operator()(const tbb::blocked_range<int>& range) const;
};

/// parallelRECT2Mat1 to 16-bit grays, the span 65534 as a rule.
template <class T>
struct NOX_EXPORT parallelRECT2Mat16U : parallelRECT2Mat1<T>
{
    using parallelRECT2Mat1<T>::parallelRECT2Mat1;

    void operator()(const tbb::blocked_range<int>& range) const;
};

/// Gray = v x a - b in float along runs of packed unsigned pixels of `S`, to grays of `D`, in blocks and a tail: a
/// block is taken while it begins before the run's last column less the block's size. A block rounds to nearest and
/// clamps, the tail truncates and keeps the low bits, so one height may take two grays in one run. Height 0 is gray 0
/// in the tail; what it is in a block, the form tells.
template <class S, class D>
struct NOX_EXPORT LinearRunBody
{
    const S* source = nullptr;
    D* destination = nullptr;
    int stride = 0;  ///< of rows, in pixels
    float a = 1, b = 0;
    NoxRun* runs = nullptr;

    LinearRunBody() = default;
    LinearRunBody(const S* heights, D* grays, int rowStride, float scale, float offset, NoxRun* firstRun)
        : source(heights), destination(grays), stride(rowStride), a(scale), b(offset), runs(firstRun)
    {
    }
};

/// Blocks of 16; a block of zeros stays zero, a zero in a mixed block is reckoned like any other height.
struct NOX_EXPORT parallelRECT2Mat1_8Uto8U_TBBSSE : LinearRunBody<unsigned char, unsigned char>
{
    using LinearRunBody::LinearRunBody;
    void operator()(const tbb::blocked_range<int>& range) const;
};

/// Blocks of 16; zeros stay zero. In blocks the product is not rounded before the subtraction.
struct NOX_EXPORT parallelRECT2Mat1_8Uto8U_TBBFMA : LinearRunBody<unsigned char, unsigned char>
{
    using LinearRunBody::LinearRunBody;
    void operator()(const tbb::blocked_range<int>& range) const;
};

/// Blocks of 16; zeros stay zero.
struct NOX_EXPORT parallelRECT_16Uto8U_TBBSSE : LinearRunBody<unsigned short, unsigned char>
{
    using LinearRunBody::LinearRunBody;
    void operator()(const tbb::blocked_range<int>& range) const;
};

/// Blocks of 8; zeros stay zero.
struct NOX_EXPORT parallelRECT_16Uto16U_TBBSSE : LinearRunBody<unsigned short, unsigned short>
{
    using LinearRunBody::LinearRunBody;
    void operator()(const tbb::blocked_range<int>& range) const;
};

/// Maps the band from `low` to `high` to the grays from `lowGray` to `highGray` along runs; what lies beyond takes the
/// gray of that end. With `usePlane` the height is first taken relative to the plane, along its normal. The grid
/// position of a pixel, x from the row and y from the column, is then place x resolution + offset for 8-bit grays and
/// (place - offset) x resolution for 16-bit ones. Gray 0: a pixel up to 1e-6 (16 bit: 1e-10) from the invalid value or
/// beyond 1e15, both told from the stored value, but with a plane and 16 bit from the corrected one; and a corrected
/// height that is not finite.
template <class T>
struct NOX_EXPORT parallelRangeToImgLimitTBB
{
    cv::Mat* source = nullptr;
    cv::Mat* destination = nullptr;
    int lowGray = 0;
    int imageType = NoxImageType8U;
    int highGray = 255;
    int grayRange = 255;       ///< highGray - lowGray
    double low = 0, high = 0;  ///< in stored units
    double invalid = 0;
    NoxRun* runs = nullptr;
    NoxVector3d normal, point;
    double resolutionX = 1, resolutionY = 1, resolutionZ = 1;
    double offsetX = 0, offsetY = 0, offsetZ = 0;
    float normalZ = 1;
    bool usePlane = false;

    parallelRangeToImgLimitTBB() = default;
    parallelRangeToImgLimitTBB(cv::Mat* heights, cv::Mat* grays, int grayOfLow, int typeOfImage, int grayOfHigh,
                               int rangeOfGrays, double lowLimit, double highLimit, double invalidValue,
                               NoxRun* firstRun, const NoxVector3d& planeNormal, const NoxVector3d& planePoint,
                               double resX, double resY, double resZ, double offX, double offY, double offZ,
                               float zOfNormal, bool withPlane)
        : source(heights),
          destination(grays),
          lowGray(grayOfLow),
          imageType(typeOfImage),
          highGray(grayOfHigh),
          grayRange(rangeOfGrays),
          low(lowLimit),
          high(highLimit),
          invalid(invalidValue),
          runs(firstRun),
          normal(planeNormal),
          point(planePoint),
          resolutionX(resX),
          resolutionY(resY),
          resolutionZ(resZ),
          offsetX(offX),
          offsetY(offY),
          offsetZ(offZ),
          normalZ(zOfNormal),
          usePlane(withPlane)
    {
    }

    void operator()(const tbb::blocked_range<int>& range) const;
};

/// Rows by the fixed rule for the pair of element type and image type. Integer heights are spread over the grays from
/// `lowGray` to `highGray`; float and double ones take height / divisor + offset, truncated, and saturate at gray 0 and
/// at the top.
struct NOX_EXPORT ImageConverterTBBNew
{
    double divisor = 0.01, offset = 127.0;
    int lowGray = 1, highGray = 255;
    int imageType = NoxImageType8U, elementType = NoxDataType8U;
    cv::Mat* source = nullptr;
    cv::Mat* destination = nullptr;

    ImageConverterTBBNew() = default;
    ImageConverterTBBNew(double unitsPerGray, double grayOfZero, int low, int high, int typeOfImage, int typeOfElement,
                         cv::Mat* heights, cv::Mat* grays)
        : divisor(unitsPerGray),
          offset(grayOfZero),
          lowGray(low),
          highGray(high),
          imageType(typeOfImage),
          elementType(typeOfElement),
          source(heights),
          destination(grays)
    {
    }

    void operator()(const tbb::blocked_range<std::size_t>& rows) const;
};

/// Rows between the unsigned depths: height x a - b in float, truncated, low bits; height 0 is gray 0.
template <class S, class D>
struct NOX_EXPORT ImageConvertTBB8Uor16U
{
    float a = 1, b = 0;
    cv::Mat* source = nullptr;
    cv::Mat* destination = nullptr;

    ImageConvertTBB8Uor16U() = default;
    ImageConvertTBB8Uor16U(float scale, float offset, cv::Mat* heights, cv::Mat* grays)
        : a(scale), b(offset), source(heights), destination(grays)
    {
    }

    void operator()(const tbb::blocked_range<std::size_t>& rows) const;
};

/// Counts the valid pixels of the rows of a tile, those further than 1e-7 from the invalid value, and adds them to the
/// sum in order; a NaN is none. The count and the sum are shared: give the loop a range that never splits.
template <class T>
struct NOX_EXPORT MeanBody
{
    int* count = nullptr;
    double* sum = nullptr;
    T invalid{};
    int width = 0, stride = 0;  ///< of the tile and from row to row, in elements
    T* source = nullptr;        ///< first element of the tile

    MeanBody() = default;
    MeanBody(int* pixelCount, double* sumOfHeights, T invalidValue, int tileWidth, int rowStride, T* heights)
        : count(pixelCount),
          sum(sumOfHeights),
          invalid(invalidValue),
          width(tileWidth),
          stride(rowStride),
          source(heights)
    {
    }

    void operator()(const tbb::blocked_range<std::size_t>& rows) const;
};

/// Rows of a tile: the heights from `low` to `high` are spread from `lowGray` over `span` grays, what lies beyond takes
/// `lowGray` or `highGray`, and the limit itself where the two limits are one. Gray 0: up to 1e-8 from the invalid
/// value, beyond 1e15, NaN.
template <class T, class U>
struct NOX_EXPORT RangeImageToImageByChunk
{
    U lowGray = 1, highGray = 0;
    int span = 0;
    T low{}, high{}, invalid{};
    int width = 0, stride = 0;  ///< of the tile and from row to row, in elements; both matrices have the same
    T* source = nullptr;        ///< first elements of the tile
    U* destination = nullptr;

    RangeImageToImageByChunk() = default;
    RangeImageToImageByChunk(U grayOfLow, U grayOfHigh, int graySpan, T lowLimit, T highLimit, T invalidValue,
                             int tileWidth, int rowStride, T* heights, U* grays)
        : lowGray(grayOfLow),
          highGray(grayOfHigh),
          span(graySpan),
          low(lowLimit),
          high(highLimit),
          invalid(invalidValue),
          width(tileWidth),
          stride(rowStride),
          source(heights),
          destination(grays)
    {
    }

    void operator()(const tbb::blocked_range<std::size_t>& rows) const;
};

/// The map of parallelRangeToImgLimitTBB without a plane, for flat pixel indices, row x width + column. When
/// `maximum` - `minimum` is not above 1e-10, every valid height but 0 takes the gray midway between the two. The images
/// outlive the body; the gray image has the size of the range image and the depth of the image type.
class NOX_EXPORT ImageConverterTBB
{
public:
    void Set(double minimum, double maximum, double low, double high, int lowGray, int highGray, int imageType,
             NoxRangeImage* range, NoxImage* image);
    void operator()(const tbb::blocked_range<int>& pixels) const;

private:
    double minimum_ = 0, maximum_ = 0, low_ = 0, high_ = 0;
    int lowGray_ = 0, highGray_ = 0, imageType_ = NoxImageType8U;
    NoxRangeImage* range_ = nullptr;
    NoxImage* image_ = nullptr;
};

/// Sizes `output` like `source`, as double, and stores height x k + b for flat pixel indices: `low` becomes `lowGray`
/// and `high` becomes `highGray`, truncated to 16 bits for a 16-bit image type. Heights beyond the limits become
/// invalid.
class NOX_EXPORT ImageLinearTBB
{
public:
    /// `output` may be the source; it outlives the body. @throws as NoxRangeImage::SetSize
    void Set(double low, double high, int lowGray, int highGray, int imageType, NoxRangeImage* source,
             NoxRangeImage* output);
    void operator()(const tbb::blocked_range<int>& pixels) const;

private:
    double low_ = 0, high_ = 0, scale_ = 0, offset_ = 0;
    int imageType_ = NoxImageType8U;
    NoxRangeImage source_;
    NoxRangeImage* output_ = nullptr;
};

}  // namespace NOXEL
