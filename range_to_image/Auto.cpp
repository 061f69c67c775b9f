// Grays by a fixed rule for each pair of element type and image type.

#include <Nox3DDataConvertAlg.h>
#include <NoxResultCodes.h>
#include <RangeToImageBodies.h>

#include "frame/StaticConfig.h"
#include "range_to_image/FixedRules.h"
#include "range_to_image/GrayImage.h"

namespace NOXEL {

using RowRange = tbb::blocked_range<std::size_t>;

void ImageConverterTBBNew::operator()(const RowRange& rows) const
{
    nox::dispatchPair(elementType, imageType, [&](auto element, auto gray) {
        using T = typename decltype(element)::type;
        using U = typename decltype(gray)::type;
        nox::withFixedRule<T, U>({divisor, offset, lowGray, highGray},
                                 [&](const auto& rule) { nox::mapRows<T, U>(rows, *source, *destination, rule); });
    });
}

template <class S, class D>
void ImageConvertTBB8Uor16U<S, D>::operator()(const RowRange& rows) const
{
    nox::mapRows<S, D>(rows, *source, *destination, nox::LinearGray<S, D>{a, b});
}

template struct ImageConvertTBB8Uor16U<unsigned char, unsigned short>;
template struct ImageConvertTBB8Uor16U<unsigned short, unsigned char>;

long Nox3DDataConvertAlg::NoxRangeImageToImageAuto(NoxRangeImage& range, NoxImage* image, int imageType)
{
    cv::Mat source = range.Matrix();
    cv::Mat grays = nox::grayMatrix(range, *image, imageType);
    const bool wide = imageType == NoxImageType16U;
    const ImageConverterTBBNew body(wide ? 0.001 : 0.01, wide ? 32768.0 : 127.0, 1, nox::topGray(imageType), imageType,
                                    range.DataType(), &source, &grays);
    nox::forRows(source.rows, nox::algorithmConfig().tbb, body);
    nox::deliver(grays, image);
    return code::success;
}

}  // namespace NOXEL
