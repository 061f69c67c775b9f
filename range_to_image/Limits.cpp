// A band of heights mapped to a band of grays, relative to a plane where one is given.

#include <RangeToImageBodies.h>

#include <Nox3DDataConvertAlg.h>

#include "frame/StaticConfig.h"
#include "range_to_image/GrayImage.h"
#include "range_to_image/LimitRule.h"

#include <algorithm>

namespace NOXEL {

namespace {

using RunRange = tbb::blocked_range<int>;

template <class T>
nox::Band bandOf(const parallelRangeToImgLimitTBB<T>& body)
{
    return {body.low, body.high, body.high - body.low, double(body.grayRange), body.lowGray, body.highGray};
}

template <class U, class T>
nox::LimitRule<T, U> flatRule(const parallelRangeToImgLimitTBB<T>& body)
{
    return {bandOf(body), body.invalid};
}

template <class U, class T>
void mapAlongPlane(const parallelRangeToImgLimitTBB<T>& body, const RunRange& range)
{
    const nox::PlaneRule<T, U> rule(bandOf(body), body);
    nox::forEachRun<T>(range, body.runs, *body.source, [&](const T* heights, int count, const NoxRun& run) {
        rule.mapRun(heights, nox::pixels<U>(*body.destination, run.row) + run.first, count, run);
    });
}

template <class U, class T>
void mapLimits(const parallelRangeToImgLimitTBB<T>& body, const RunRange& range)
{
    if (body.usePlane)
        mapAlongPlane<U>(body, range);
    else
        nox::mapRuns<T, U>(range, body.runs, *body.source, *body.destination, flatRule<U>(body));
}

/// The same with the rule in its quickest form.
template <class T, class U>
void mapRegion(const parallelRangeToImgLimitTBB<T>& body, const std::vector<NoxRun>& runs)
{
    const auto rule = flatRule<U>(body);
    if (body.usePlane)
        nox::parallelFor(nox::runRange(runs, nox::algorithmConfig().tbb), body);
    else if constexpr (sizeof(T) <= 2) {
        const double graysPerUnit = rule.band.grays / rule.band.range;
        const nox::GrayLine line{graysPerUnit, body.lowGray - body.low * graysPerUnit, body.lowGray, body.highGray};
        nox::mapRegionByTable<T, U>(runs, *body.source, *body.destination, rule, line, std::numeric_limits<T>::lowest(),
                                    std::numeric_limits<T>::max());
    } else if (nox::LimitLanes<T, U>::serves(rule))
        nox::mapRegion<T, U>(runs, *body.source, *body.destination, nox::LimitLanes<T, U>{rule});
    else
        nox::mapRegion<T, U>(runs, *body.source, *body.destination, rule);
}

}  // namespace

template <class T>
void parallelRangeToImgLimitTBB<T>::operator()(const RunRange& range) const
{
    if (imageType == NoxImageType8U)
        mapLimits<unsigned char>(*this, range);
    else
        mapLimits<unsigned short>(*this, range);
}

#define NOX_BODY(T) template struct parallelRangeToImgLimitTBB<T>;
NOX_FOR_EACH_ELEMENT(NOX_BODY)
#undef NOX_BODY

long Nox3DDataConvertAlg::NoxRangeImageToImage(NoxRangeImage& range, NoxROI& roi, NoxImage* image, int imageType,
                                               int background, const Nox3DPlane& plane, bool usePlane, double low,
                                               double high, int lowGray, int highGray, double* grayScale,
                                               double* grayLow)
{
    if (grayScale) *grayScale = (high - low) / (double(highGray) - double(lowGray));
    if (grayLow) *grayLow = low;

    cv::Mat source = range.Matrix();
    cv::Mat grays = nox::grayMatrix(range, *image, imageType);

    std::vector<NoxRun> runs;
    const long code = nox::regionRuns(roi, range, &runs);
    nox::fillOutside(grays, runs, std::clamp(background, 0, nox::topGray(imageType)));
    if (code != 0) return code;

    nox::dispatchPair(range.DataType(), imageType, [&](auto element, auto gray) {
        using T = typename decltype(element)::type;
        const parallelRangeToImgLimitTBB<T> body(
            &source, &grays, lowGray, imageType, highGray, highGray - lowGray, low, high,
            static_cast<double>(nox::Element<T>::invalid), runs.data(), plane.Normal(), plane.Point(),
            range.ResolutionX(), range.ResolutionY(), range.ResolutionZ(), range.OffsetX(), range.OffsetY(),
            range.OffsetZ(), plane.Normal().Dot(NoxVector3d(0, 0, 1)), usePlane);
        mapRegion<T, typename decltype(gray)::type>(body, runs);
    });
    nox::deliver(grays, image);
    return code;
}

}  // namespace NOXEL
