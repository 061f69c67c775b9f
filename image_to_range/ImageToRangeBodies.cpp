#include <ImageToRangeBodies.h>
#include <RangeImagePtr.h>

#include "data/Checked.h"
#include "data/ElementType.h"
#include "frame/Streaming.h"
#include "image_to_range/GrayRules.h"

#include <algorithm>
#include <cstdint>
#include <limits>

namespace NOXEL {

namespace {

using Range = tbb::blocked_range<std::size_t>;

/// Maps the rows that both matrices have; map(in, out, n) does n pixels.
template <class S, class D, class Map>
void mapRows(const cv::Mat& source, cv::Mat& destination, const Range& rows, const Map& map)
{
    const bool streaming = nox::outgrowsCaches<D>(destination.total());
    const auto columns = static_cast<std::size_t>(std::min(source.cols, destination.cols));
    const auto end = std::min(rows.end(), static_cast<std::size_t>(std::min(source.rows, destination.rows)));
    for (std::size_t row = rows.begin(); row < end; ++row) {
        const S* in = source.ptr<S>(static_cast<int>(row));
        nox::fillRow(destination.ptr<D>(static_cast<int>(row)), columns, streaming,
                     [&](D* piece, std::size_t first, std::size_t count) { map(in + first, piece, count); });
    }
}

template <class Rule>
void mapRows(const cv::Mat& source, cv::Mat& destination, const Range& rows, const Rule& rule)
{
    mapRows<typename Rule::Gray, typename Rule::Height>(source, destination, rows, nox::to_range::GrayMap<Rule>(rule));
}

}  // namespace

template <class S, class D>
void ImageToRangeImageConverterTBB<S, D>::operator()(const Range& rows) const
{
    mapRows(*source, *destination, rows, nox::to_range::LinearRule<S, D>{scale, offset});
}

template <class S, class T>
void ImageToRangeImageConverterAutoTBBSameType<S, T>::operator()(const Range& rows) const
{
    mapRows<T, T>(*source, *destination, rows, [](const T* in, T* out, std::size_t n) { std::copy_n(in, n, out); });
}

void ImageToRangeImageConverterAutoTBB8Uto16U::operator()(const Range& rows) const
{
    mapRows(*source, *destination, rows, nox::to_range::DepthRule<unsigned char, unsigned short>{});
}

void ImageToRangeImageConverterAutoTBB16Uto8U::operator()(const Range& rows) const
{
    mapRows(*source, *destination, rows, nox::to_range::DepthRule<unsigned short, unsigned char>{});
}

template <class T>
void ImageToRangeImageConverterAutoTBB8Uto16S<T>::operator()(const Range& rows) const
{
    mapRows(*source, *destination, rows, nox::to_range::CentredRule<T>{scale, offset});
}

template <class T>
void ImageToRangeImageConverterAutoTBB16Uto16S<T>::operator()(const Range& rows) const
{
    mapRows<unsigned short, T>(*source, *destination, rows, [](const unsigned short* in, T* out, std::size_t n) {
        for (std::size_t i = 0; i < n; ++i) out[i] = static_cast<T>(in[i] - 32768);
    });
}

template <class S, class T>
void ImageToRangeImageConverterAutoTBB8UtoOther<S, T>::operator()(const Range& rows) const
{
    mapRows(*source, *destination, rows, nox::to_range::HeightRule<S, T>{scale, offset});
}

template <class S, class T>
void ImageToRangeImageConverterAutoTBB16UtoOther<S, T>::operator()(const Range& rows) const
{
    mapRows(*source, *destination, rows, nox::to_range::HeightRule<S, T>{scale, offset});
}

void ImageToRangeImageConverterTBBNew::Set(double scale, double offset, int dataType, NoxImage* image,
                                           NoxRangeImage* range)
{
    range->SetSize(image->Width(), image->Height(), dataType);
    scale_ = scale;
    offset_ = offset;
    image_ = image;
    range_ = range;
}

void ImageToRangeImageConverterTBBNew::Get(NoxRangeImage* range) const { *range = *range_; }

void ImageToRangeImageConverterTBBNew::operator()(const Range& pixels) const
{
    const auto count = std::min<std::int64_t>(nox::pixelCount(*image_), std::numeric_limits<int>::max());
    const int end = static_cast<int>(std::min(pixels.end(), static_cast<std::size_t>(count)));
    const int depth = image_->BitDepth();
    const unsigned char* grays = image_->ImageData();
    const bool asTheyAre = depth == range_->DataType();
    const double before = depth == NoxImageType8U ? 1.0 : 0.0;
    const double after = depth == NoxImageType16U ? 1.0 : 0.0;
    if (depth != NoxImageType8U && depth != NoxImageType16U) return;

    RangeImagePtr heights(*range_);
    for (int i = static_cast<int>(std::min(pixels.begin(), static_cast<std::size_t>(end))); i < end; ++i) {
        const double gray = depth == NoxImageType8U ? grays[i] : reinterpret_cast<const unsigned short*>(grays)[i];
        if (gray == 0.0)
            heights.inValidate(i);
        else
            heights.ReplaceValue(i, asTheyAre ? gray : (gray - offset_ - before) * scale_ + after);
    }
}

#define NOX_INSTANTIATE(D) template struct ImageToRangeImageConverterTBB<unsigned short, D>;
NOX_FOR_EACH_ELEMENT(NOX_INSTANTIATE)
#undef NOX_INSTANTIATE
template struct ImageToRangeImageConverterTBB<unsigned char, unsigned char>;
template struct ImageToRangeImageConverterTBB<unsigned char, signed char>;
template struct ImageToRangeImageConverterTBB<unsigned char, unsigned short>;
template struct ImageToRangeImageConverterTBB<unsigned char, short>;
template struct ImageToRangeImageConverterTBB<unsigned char, int>;
template struct ImageToRangeImageConverterTBB<unsigned char, float>;
template struct ImageToRangeImageConverterTBB<unsigned char, double>;

template struct ImageToRangeImageConverterAutoTBBSameType<unsigned char, unsigned char>;
template struct ImageToRangeImageConverterAutoTBBSameType<unsigned short, unsigned short>;
template struct ImageToRangeImageConverterAutoTBB8Uto16S<short>;
template struct ImageToRangeImageConverterAutoTBB8Uto16S<int>;
template struct ImageToRangeImageConverterAutoTBB16Uto16S<short>;
template struct ImageToRangeImageConverterAutoTBB16Uto16S<int>;
template struct ImageToRangeImageConverterAutoTBB8UtoOther<unsigned char, float>;
template struct ImageToRangeImageConverterAutoTBB8UtoOther<unsigned char, double>;
template struct ImageToRangeImageConverterAutoTBB16UtoOther<unsigned short, float>;
template struct ImageToRangeImageConverterAutoTBB16UtoOther<unsigned short, double>;

}  // namespace NOXEL
