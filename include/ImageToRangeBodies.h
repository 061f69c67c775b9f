#pragma once

#include <NoxExport.h>
#include <NoxImage.h>
#include <NoxRangeImage.h>

#include <oneapi/tbb/blocked_range.h>

#include <opencv2/core/mat.hpp>

#include <cstddef>

// The bodies that turn rows of grays into rows of heights. Rows and columns that source and destination do not both
// have are left out; rows are independent of each other. Gray 0 is a pixel without a measurement.

namespace NOXEL {

/// What the bodies with a fixed rule have in common.
struct GrayRows
{
    cv::Mat* source = nullptr;
    cv::Mat* destination = nullptr;

    GrayRows() = default;
    GrayRows(cv::Mat* grays, cv::Mat* heights) : source(grays), destination(heights) {}
};

/// What the bodies with a scale have in common.
struct ScaledGrayRows
{
    double scale = 1.0;
    double offset = 0.0;
    cv::Mat* source = nullptr;
    cv::Mat* destination = nullptr;

    ScaledGrayRows() = default;
    ScaledGrayRows(double grayScale, double grayOffset, cv::Mat* grays, cv::Mat* heights)
        : scale(grayScale), offset(grayOffset), source(grays), destination(heights)
    {
    }
};

/// gray x scale + offset, in double, rounded to nearest and saturated; beyond 32 bits and for a NaN an integer type
/// takes its lowest value. From 16-bit grays to `char` the low bits of the truncated number. Gray 0 becomes the invalid
/// value.
/// @tparam S  unsigned char with any element type, the signed 8-bit one as `signed char`; unsigned short with any, the
/// signed 8-bit one as `char`
template <class S, class D>
struct NOX_EXPORT ImageToRangeImageConverterTBB : ScaledGrayRows
{
    using ScaledGrayRows::ScaledGrayRows;
    void operator()(const tbb::blocked_range<std::size_t>& rows) const;
};

/// The grays as they are; `T` is unsigned char or unsigned short.
template <class S, class T>
struct NOX_EXPORT ImageToRangeImageConverterAutoTBBSameType : GrayRows
{
    using GrayRows::GrayRows;
    void operator()(const tbb::blocked_range<std::size_t>& rows) const;
};

/// gray x 258.00787 + 1 in float, truncated, at most 65535; 0 stays 0.
struct NOX_EXPORT ImageToRangeImageConverterAutoTBB8Uto16U : GrayRows
{
    using GrayRows::GrayRows;
    void operator()(const tbb::blocked_range<std::size_t>& rows) const;
};

/// gray x 0.0038758507 + 1 in float, truncated, at most 255; 0 stays 0.
struct NOX_EXPORT ImageToRangeImageConverterAutoTBB16Uto8U : GrayRows
{
    using GrayRows::GrayRows;
    void operator()(const tbb::blocked_range<std::size_t>& rows) const;
};

/// (gray - offset) x scale - 32767, truncated, the low bits that `T` has; 0 stays 0. `T` is short or int.
template <class T>
struct NOX_EXPORT ImageToRangeImageConverterAutoTBB8Uto16S : ScaledGrayRows
{
    using ScaledGrayRows::ScaledGrayRows;
    void operator()(const tbb::blocked_range<std::size_t>& rows) const;
};

/// gray - 32768. `T` is short or int.
template <class T>
struct NOX_EXPORT ImageToRangeImageConverterAutoTBB16Uto16S : GrayRows
{
    using GrayRows::GrayRows;
    void operator()(const tbb::blocked_range<std::size_t>& rows) const;
};

/// (gray - offset - 1) x scale in double; gray 0 becomes the invalid value. `T` is float or double.
template <class S, class T>
struct NOX_EXPORT ImageToRangeImageConverterAutoTBB8UtoOther : ScaledGrayRows
{
    using ScaledGrayRows::ScaledGrayRows;
    void operator()(const tbb::blocked_range<std::size_t>& rows) const;
};

/// (gray - offset) x scale in double; gray 0 becomes the invalid value. `T` is float or double.
template <class S, class T>
struct NOX_EXPORT ImageToRangeImageConverterAutoTBB16UtoOther : ScaledGrayRows
{
    using ScaledGrayRows::ScaledGrayRows;
    void operator()(const tbb::blocked_range<std::size_t>& rows) const;
};

/// One body for all pairs, over flat pixel indices: (gray - offset - 1) x scale for 8-bit images and
/// (gray - offset) x scale + 1 for 16-bit ones, stored as RangeImagePtr does; gray 0 becomes the invalid value. Where
/// the image's depth is the element type, the grays are stored as they are.
class NOX_EXPORT ImageToRangeImageConverterTBBNew
{
public:
    /// Sizes the range image to the grid of the image. Both have to live as long as the body and its copies are used.
    /// @throws as NoxRangeImage::SetSize
    void Set(double scale, double offset, int dataType, NoxImage* image, NoxRangeImage* range);
    /// The range image, sharing its pixels.
    void Get(NoxRangeImage* range) const;
    /// Indices beyond the image, or beyond an int, are left out, and so is all of an image of another depth.
    void operator()(const tbb::blocked_range<std::size_t>& pixels) const;

private:
    double scale_ = 1.0;
    double offset_ = 0.0;
    const NoxImage* image_ = nullptr;
    NoxRangeImage* range_ = nullptr;
};

}  // namespace NOXEL
