#include <RangeImagePtr.h>
#include <RetypeBodies.h>

#include "data/Checked.h"
#include "retype/RetypeRows.h"
#include "retype/Scale.h"

#include <opencv2/core.hpp>

#include <algorithm>
#include <cstdint>
#include <limits>

namespace NOXEL {

template <class S, class D>
void RangeImageConverterTBBNew<S, D>::operator()(const tbb::blocked_range<std::size_t>& rows) const
{
    if (sourceType == cv::DataType<S>::depth && destinationType == cv::DataType<D>::depth)
        nox::retype::mapRows(rows, *this, nox::retype::ruleOf(*this), false);
}

#define NOX_ROWS_BODY(Body)                                                   \
    void Body::operator()(const tbb::blocked_range<int>& rows) const          \
    {                                                                         \
        nox::retype::mapRows(rows, *this, nox::retype::ruleOf(*this), false); \
    }
NOX_ROWS_BODY(RangeImageConvertTBB_8Uto16U)
NOX_ROWS_BODY(RangeImageConvertTBB_8Uto16U_SSE)
NOX_ROWS_BODY(RangeImageConvertTBB_8Uto16U_AVX)
NOX_ROWS_BODY(RangeConvertTBB16Uto8U_TBB)
NOX_ROWS_BODY(RangeConvertTBB16Uto8U_TBBSSE)
NOX_ROWS_BODY(RangeConvertTBB32Fto8U)
NOX_ROWS_BODY(RangeConvertTBB32Fto8U_SSE)
#undef NOX_ROWS_BODY

void RangeImageConverterTBB::Set(int dataType, NoxRangeImage* source, NoxRangeImage* output)
{
    source_ = *source;
    output->SetSize(source_.Width(), source_.Height(), dataType);
    const nox::retype::Scale scale = nox::retype::fixedScale(dataType);
    output->SetInfo(scale.resolution, scale.offset, source_.ResolutionX(), source_.OffsetX(), source_.ResolutionY(),
                    source_.OffsetY());
    output_ = output;
}

void RangeImageConverterTBB::Get(NoxRangeImage* output) const { *output = *output_; }

void RangeImageConverterTBB::operator()(const tbb::blocked_range<std::size_t>& pixels) const
{
    const RangeImagePtr heights(source_);
    RangeImagePtr results(*output_);
    const nox::retype::Scale from = nox::retype::scaleOf(source_), to = nox::retype::fixedScale(output_->DataType());
    const auto count = std::min<std::int64_t>(nox::pixelCount(source_), std::numeric_limits<int>::max());
    const int end = static_cast<int>(std::min(pixels.end(), static_cast<std::size_t>(count)));
    for (int i = static_cast<int>(std::min(pixels.begin(), static_cast<std::size_t>(end))); i < end; ++i) {
        if (heights.isValid(i))
            results.ReplaceValue(i, (heights.GetValue(i) - from.offset) * from.resolution / to.resolution + to.offset);
        else
            results.inValidate(i);
    }
}

#define NOX_FROM_INTEGER(S, Byte)                        \
    template struct RangeImageConverterTBBNew<S, Byte>;  \
    template struct RangeImageConverterTBBNew<S, float>; \
    template struct RangeImageConverterTBBNew<S, double>;
#define NOX_FROM_FLOAT(S)                                         \
    template struct RangeImageConverterTBBNew<S, unsigned char>;  \
    template struct RangeImageConverterTBBNew<S, char>;           \
    template struct RangeImageConverterTBBNew<S, unsigned short>; \
    template struct RangeImageConverterTBBNew<S, int>;
NOX_FROM_INTEGER(unsigned char, signed char)
NOX_FROM_INTEGER(char, unsigned char)
NOX_FROM_INTEGER(unsigned short, char)
NOX_FROM_INTEGER(int, char)
NOX_FROM_FLOAT(float)
NOX_FROM_FLOAT(double)
#undef NOX_FROM_INTEGER
#undef NOX_FROM_FLOAT
template struct RangeImageConverterTBBNew<unsigned char, unsigned short>;
template struct RangeImageConverterTBBNew<unsigned char, int>;
template struct RangeImageConverterTBBNew<char, unsigned short>;
template struct RangeImageConverterTBBNew<char, int>;
template struct RangeImageConverterTBBNew<unsigned short, unsigned char>;
template struct RangeImageConverterTBBNew<unsigned short, int>;
template struct RangeImageConverterTBBNew<int, unsigned char>;
template struct RangeImageConverterTBBNew<int, unsigned short>;
template struct RangeImageConverterTBBNew<short, float>;
template struct RangeImageConverterTBBNew<float, double>;
template struct RangeImageConverterTBBNew<double, float>;

}  // namespace NOXEL
