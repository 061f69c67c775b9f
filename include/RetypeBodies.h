#pragma once

#include <NoxExport.h>
#include <NoxRangeImage.h>

#include <oneapi/tbb/blocked_range.h>
#include <opencv2/core/mat.hpp>

#include <cstddef>

// The bodies that change the element type of the pixels of a range image; a range is one of rows. They read and write
// packed or evenly spaced rows that the caller owns. Rows are independent of each other; source and destination are
// distinct memory. "Low bits" are those of the number truncated to 64 bits, or to 32 where told; what does not fit, a
// NaN too, counts as the lowest integer.

namespace NOXEL {

/// One body for all pairs of element types. With the height W = (v - offset) x resolution in double, a valid pixel
/// becomes
///  - W for float and double, v itself between the two;
///  - v for 32 bits from the narrower types, and v + 128 modulo 256 between the 8-bit types;
///  - W / divisor for s8 and, from float and double, for s32, truncated to 32 bits; for s8 the low 16 of them, signed,
///    are cut to -126 (from below -127) and 127;
///  - W / divisor + targetOffset, truncated, for u8 and u16: for u8 from double and float pinned to 1 and 255 in float,
///    from integers the low 16 bits, unsigned, where 0 becomes 1 and all above 255 becomes 255; for u16 from integers
///    the low 16 of 32 bits, above 65535 first cut to 65535; from float and double the low 16 bits.
/// A pixel is valid when it is further than 1e-8 from `sourceInvalid`; a NaN is not. An invalid one becomes
/// `destinationInvalid`.
///
/// @tparam S, D  two different element types; signed 8 bit from unsigned 8 bit is `signed char`, else `char`. From
/// `short` only to float, and to `short` never.
template <class S, class D>
struct NOX_EXPORT RangeImageConverterTBBNew
{
    int sourceType = 0, destinationType = 0;  ///< the NoxDataType of S and of D; with others the body does nothing
    const S* source = nullptr;
    D* destination = nullptr;
    int width = 0;
    int sourceStride = 0, destinationStride = 0;       ///< from row to row, in elements
    double resolution = 1.0, offset = 0.0;             ///< of the source's heights; 1 and 0 for float and double
    double sourceInvalid = 0, destinationInvalid = 0;  ///< whole numbers for the integer types
    double divisor = 0.001, targetOffset = 32768.0;    ///< of the destination's fixed scale

    RangeImageConverterTBBNew() = default;
    RangeImageConverterTBBNew(int typeOfSource, int typeOfDestination, const S* heights, D* result, int columns,
                              int strideOfSource, int strideOfDestination, double resZ, double offZ, double invalidOfS,
                              double invalidOfD, double unit, double zero)
        : sourceType(typeOfSource),
          destinationType(typeOfDestination),
          source(heights),
          destination(result),
          width(columns),
          sourceStride(strideOfSource),
          destinationStride(strideOfDestination),
          resolution(resZ),
          offset(offZ),
          sourceInvalid(invalidOfS),
          destinationInvalid(invalidOfD),
          divisor(unit),
          targetOffset(zero)
    {
    }

    void operator()(const tbb::blocked_range<std::size_t>& rows) const;
};

/// What the bodies for one pair have in common: packed rows, and two numbers of the pair's rule.
template <class S, class D, class Number>
struct RetypeRows
{
    const S* source = nullptr;
    D* destination = nullptr;
    int width = 0;
    Number scale = 1, offset = 0;

    RetypeRows() = default;
    RetypeRows(const S* heights, D* result, int columns, Number scaleOfRule, Number offsetOfRule)
        : source(heights), destination(result), width(columns), scale(scaleOfRule), offset(offsetOfRule)
    {
    }
};

/// u8 to u16: (v - offset) x scale / 0.001 + 32768 in double, rounded to float; above 65535 is 65535, else the low 16
/// bits. 0 stays 0. The scale is the source's resolution.
struct NOX_EXPORT RangeImageConvertTBB_8Uto16U : RetypeRows<unsigned char, unsigned short, double>
{
    using RetypeRows::RetypeRows;
    void operator()(const tbb::blocked_range<int>& rows) const;
};

/// RangeImageConvertTBB_8Uto16U in float, by (v - offset) x scale x 1000 + 32768.
struct NOX_EXPORT RangeImageConvertTBB_8Uto16U_SSE : RetypeRows<unsigned char, unsigned short, double>
{
    using RetypeRows::RetypeRows;
    void operator()(const tbb::blocked_range<int>& rows) const;
};

/// RangeImageConvertTBB_8Uto16U in float.
struct NOX_EXPORT RangeImageConvertTBB_8Uto16U_AVX : RetypeRows<unsigned char, unsigned short, double>
{
    using RetypeRows::RetypeRows;
    void operator()(const tbb::blocked_range<int>& rows) const;
};

/// u16 to u8: (v - offset) x scale x 100 + 127 in float; above 255 is 255, not above 0 is 1, else truncated, so that
/// what lies between 0 and 1 becomes 0, the invalid value. 0 stays 0. The scale is the source's resolution.
struct NOX_EXPORT RangeConvertTBB16Uto8U_TBB : RetypeRows<unsigned short, unsigned char, float>
{
    using RetypeRows::RetypeRows;
    void operator()(const tbb::blocked_range<int>& rows) const;
};

/// u16 to u8: (v - offset) x scale + 127 in float, rounded to nearest and saturated. 0 stays 0.
struct NOX_EXPORT RangeConvertTBB16Uto8U_TBBSSE : RetypeRows<unsigned short, unsigned char, float>
{
    using RetypeRows::RetypeRows;
    void operator()(const tbb::blocked_range<int>& rows) const;
};

/// float to u8: v / scale + offset in float; above 255 is 255, below 1 is 1, else truncated. A pixel not further than
/// 1e-6 from the invalid value of float, and a NaN, is 0. The scale is 0.01 and the offset 127.
struct NOX_EXPORT RangeConvertTBB32Fto8U : RetypeRows<float, unsigned char, float>
{
    using RetypeRows::RetypeRows;
    void operator()(const tbb::blocked_range<int>& rows) const;
};

/// RangeConvertTBB32Fto8U, where v = 0 is 0 too.
struct NOX_EXPORT RangeConvertTBB32Fto8U_SSE : RetypeRows<float, unsigned char, float>
{
    using RetypeRows::RetypeRows;
    void operator()(const tbb::blocked_range<int>& rows) const;
};

/// One body for every pair, over flat pixel indices: the height, brought to the fixed scale of the target (u8: 0.01
/// with the zero at 127, s8: 0.01, u16: 0.001 with the zero at 32768, s16 and s32: 0.001, float and double: 1), rounded
/// and saturated as RangeImagePtr does.
class NOX_EXPORT RangeImageConverterTBB
{
public:
    /// Gives `output` the grid of the source and the numbers of the fixed scale. It may be the source; it outlives the
    /// body and its copies. @throws as NoxRangeImage::SetSize
    void Set(int dataType, NoxRangeImage* source, NoxRangeImage* output);
    /// The output, sharing its pixels.
    void Get(NoxRangeImage* output) const;
    /// Indices beyond the image, or beyond an int, are left out.
    void operator()(const tbb::blocked_range<std::size_t>& pixels) const;

private:
    NoxRangeImage source_;
    NoxRangeImage* output_ = nullptr;
};

/// The smallest X and the smallest Y, each by itself, of the pixels of a block whose Z is below 1e8 in absolute value;
/// 3.4028235e38 where there are none. The planes are CV_32F; a NaN in X or Y is passed over.
/// @return 0
NOX_EXPORT long BOX_MinXY_SIMDNEW(cv::Mat& X, cv::Mat& Y, cv::Mat& Z, float* minX, float* minY, int width, int height);

}  // namespace NOXEL
