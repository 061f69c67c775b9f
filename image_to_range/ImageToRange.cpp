#include <ImageToRangeBodies.h>
#include <Nox3DDataConvertAlg.h>
#include <NoxDataType.h>
#include <NoxResultCodes.h>

#include "data/ElementType.h"
#include "frame/OutputPlane.h"
#include "frame/Parallel.h"
#include "frame/StaticConfig.h"

#include <stdexcept>
#include <type_traits>

namespace NOXEL {

namespace {

/// Calls f(Tag<S>, Tag<D>) for the pair of an image's depth and an element type.
template <class F>
void dispatchPair(int depth, int dataType, const F& f)
{
    const auto withGray = [&](auto gray) {
        return nox::dispatch(dataType, nox::Elements{}, [&](auto height) { f(gray, height); });
    };
    const bool served = depth == NoxImageType8U    ? withGray(nox::Tag<unsigned char>{})
                        : depth == NoxImageType16U ? withGray(nox::Tag<unsigned short>{})
                                                   : false;
    if (!served) throw std::invalid_argument("no such pair of depth and element type");
}

template <class Body>
void runOverRows(const Body& body)
{
    nox::forRows(body.source->rows, nox::algorithmConfig().tbb, body);
}

/// Runs the body that has the fixed rule for the pair.
template <class S, class D>
void runAuto(cv::Mat* source, cv::Mat* destination)
{
    constexpr bool fromBytes = std::is_same_v<S, unsigned char>;
    if constexpr (std::is_same_v<D, char>)
        throw std::invalid_argument("no fixed rule for signed 8-bit heights");
    else if constexpr (std::is_same_v<S, D>)
        runOverRows(ImageToRangeImageConverterAutoTBBSameType<S, D>(source, destination));
    else if constexpr (std::is_floating_point_v<D> && fromBytes)
        runOverRows(ImageToRangeImageConverterAutoTBB8UtoOther<S, D>(0.01, 127.0, source, destination));
    else if constexpr (std::is_floating_point_v<D>)
        runOverRows(ImageToRangeImageConverterAutoTBB16UtoOther<S, D>(0.001, 32768.0, source, destination));
    else if constexpr (std::is_same_v<D, unsigned short>)
        runOverRows(ImageToRangeImageConverterAutoTBB8Uto16U(source, destination));
    else if constexpr (std::is_same_v<D, unsigned char>)
        runOverRows(ImageToRangeImageConverterAutoTBB16Uto8U(source, destination));
    else if constexpr (fromBytes)
        runOverRows(ImageToRangeImageConverterAutoTBB8Uto16S<D>(65534.0 / 254.0, 1.0, source, destination));
    else
        runOverRows(ImageToRangeImageConverterAutoTBB16Uto16S<D>(source, destination));
}

}  // namespace

long Nox3DDataConvertAlg::NoxImageToRangeImage(NoxImage& image, NoxRangeImage* range, int dataType, double grayScale,
                                               double grayOffset)
{
    cv::Mat source = image.Matrix();
    cv::Mat destination;
    dispatchPair(source.depth(), dataType, [&](auto gray, auto height) {
        using S = typename decltype(gray)::type;
        using Element = typename decltype(height)::type;
        constexpr bool signedByte = std::is_same_v<S, unsigned char> && std::is_same_v<Element, char>;
        using D = std::conditional_t<signedByte, signed char, Element>;
        destination = nox::newPlaneFor(source, dataType);
        runOverRows(ImageToRangeImageConverterTBB<S, D>(grayScale, grayOffset, &source, &destination));
    });
    range->SetMatrix(destination);
    return code::success;
}

long Nox3DDataConvertAlg::NoxImageToRangeImageAuto(NoxImage& image, NoxRangeImage* range, int dataType)
{
    cv::Mat source = image.Matrix();
    cv::Mat destination;
    dispatchPair(source.depth(), dataType, [&](auto gray, auto height) {
        destination = nox::outputPlane(source, range->Matrix(), dataType, nox::algorithmConfig());
        runAuto<typename decltype(gray)::type, typename decltype(height)::type>(&source, &destination);
    });
    if (destination.data != range->Matrix().data) range->SetMatrix(destination);
    return code::success;
}

}  // namespace NOXEL
