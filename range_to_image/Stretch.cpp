// Grays stretched to the heights found.

#include <RangeToImageBodies.h>

#include <Nox3DDataConvertAlg.h>

#include "frame/StaticConfig.h"
#include "range_to_image/Extremes.h"
#include "range_to_image/GrayImage.h"
#include "range_to_image/StretchRule.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <type_traits>

namespace NOXEL {

namespace {

using RunRange = tbb::blocked_range<int>;
using RowRange = tbb::blocked_range<std::size_t>;

/// What the scale starts from and keeps where nothing was found.
constexpr double kNothing = 1e15;

/// Replaces `*shared` by `value` where that comes `before` it, whatever other threads do to it meanwhile.
template <class Before>
void mergeInto(double* shared, double value, Before before)
{
    double seen;
    __atomic_load(shared, &seen, __ATOMIC_RELAXED);
    while (before(value, seen) &&
           !__atomic_compare_exchange(shared, &seen, &value, true, __ATOMIC_RELAXED, __ATOMIC_RELAXED))
    {
    }
}

template <class Body>
void mergeInto(const Body& body, const nox::Extremes& extremes)
{
    mergeInto(body.minimum, extremes.minimum, std::less<>());
    mergeInto(body.maximum, extremes.maximum, std::greater<>());
}

template <class T>
nox::Extremes extremesOfRuns(const RunRange& range, const cv::Mat& source, const NoxRun* runs, double invalid)
{
    nox::Extremes extremes;
    nox::forEachRun<T>(range, runs, source, [&](const T* heights, int count, const NoxRun& /*run*/) {
        nox::addHeights(heights, count, invalid, extremes);
    });
    return extremes;
}

template <class U, class T>
void stretchRuns(const parallelRECT2Mat1<T>& body, const RunRange& range)
{
    const nox::Stretch<T, U> rule(body.span, body.minimum, body.maximum, body.invalid);
    nox::mapRuns<T, U>(range, body.runs, *body.source, *body.destination, rule);
}

/// The range of heights that the grays are stretched over.
struct Scale
{
    double minimum = kNothing;
    double maximum = -kNothing;
};

/// Measures the region for the 8-bit types and unsigned 16 bit, all of the image for the others.
template <class T>
Scale measured(cv::Mat& source, std::vector<NoxRun>& runs)
{
    constexpr auto invalid = static_cast<double>(nox::Element<T>::invalid);
    const int pieces = nox::algorithmConfig().tbb;
    Scale scale;
    if constexpr (std::is_same_v<T, unsigned char>) {
        minMaxTBB<T> body(&source, runs.data());
        body.invalid = invalid;
        nox::parallelReduce(nox::runRange(runs, 6), body);
        if (body.minimum <= body.maximum) scale = {double(body.minimum), double(body.maximum)};
    } else if constexpr (sizeof(T) == 1 || std::is_same_v<T, unsigned short>) {
        nox::parallelFor(nox::runRange(runs, pieces),
                         minMaxValueRectTBB<T>(&source, &scale.minimum, &scale.maximum, invalid, runs.data()));
    } else {
        nox::forRows(source.rows, pieces,
                     minMaxNoROITBB<T>(&source, &scale.minimum, &scale.maximum, invalid, source.cols));
    }
    if (std::is_unsigned_v<T> && !(scale.minimum < scale.maximum))
        scale = {1.0, static_cast<double>(std::numeric_limits<T>::max())};
    return scale;
}

template <class T, class U>
void stretch(const cv::Mat& source, const cv::Mat& grays, const std::vector<NoxRun>& runs, const Scale& scale)
{
    const nox::Stretch<T, U> rule(std::numeric_limits<U>::max() - 1, scale.minimum, scale.maximum,
                                  static_cast<double>(nox::Element<T>::invalid));
    if constexpr (sizeof(T) <= 2) {
        const double graysPerUnit = rule.span / rule.range;
        const nox::GrayLine line{graysPerUnit, 1.0 - scale.minimum * graysPerUnit, 1, std::numeric_limits<U>::max()};
        nox::mapRegionByTable<T, U>(runs, source, grays, rule, line, nox::t32(scale.minimum), nox::t32(scale.maximum));
    } else if (nox::StretchLanes<T, U>::serves(rule)) {
        nox::mapRegion<T, U>(runs, source, grays, nox::StretchLanes<T, U>(rule));
    } else {
        nox::mapRegion<T, U>(runs, source, grays, rule);
    }
}

/// The gray of a whole image without a range of heights: the height itself, or 0 where none was found.
double constantGray(double height, double invalid)
{
    return std::abs(height) > kNothing || std::abs(invalid - height) < 1e-10 ? 0.0 : height;
}

void put(double* output, double value)
{
    if (output) *output = value;
}

}  // namespace

template <class T>
void minMaxTBB<T>::operator()(const RunRange& range)
{
    const nox::Extremes extremes = extremesOfRuns<T>(range, *source, runs, invalid);
    if (!(extremes.minimum <= extremes.maximum)) return;
    minimum = std::min(minimum, static_cast<T>(nox::t32(extremes.minimum)));
    maximum = std::max(maximum, static_cast<T>(nox::t32(extremes.maximum)));
}

template <class T>
void minMaxTBB<T>::join(const minMaxTBB& other) noexcept
{
    minimum = std::min(minimum, other.minimum);
    maximum = std::max(maximum, other.maximum);
}

template <class T>
void minMaxValueRectTBB<T>::operator()(const RunRange& range) const
{
    mergeInto(*this, extremesOfRuns<T>(range, *source, runs, invalid));
}

template <class T>
void minMaxNoROITBB<T>::operator()(const RowRange& rows) const
{
    nox::Extremes extremes;
    for (auto row = static_cast<int>(rows.begin()); row != static_cast<int>(rows.end()); ++row)
        nox::addHeights(nox::pixels<const T>(*source, row), width, invalid, extremes);
    mergeInto(*this, extremes);
}

template <class T>
void parallelRECT2Mat1<T>::operator()(const RunRange& range) const
{
    stretchRuns<unsigned char>(*this, range);
}

template <class T>
void parallelRECT2Mat16U<T>::operator()(const RunRange& range) const
{
    stretchRuns<unsigned short>(*this, range);
}

template struct minMaxTBB<unsigned char>;
template struct minMaxValueRectTBB<char>;
template struct minMaxValueRectTBB<unsigned short>;
template struct minMaxNoROITBB<short>;
template struct minMaxNoROITBB<int>;
template struct minMaxNoROITBB<float>;
template struct minMaxNoROITBB<double>;

#define NOX_BODIES(T)                     \
    template struct parallelRECT2Mat1<T>; \
    template struct parallelRECT2Mat16U<T>;
NOX_BODIES(unsigned char)
NOX_BODIES(signed char)
NOX_BODIES(short)
NOX_BODIES(int)
NOX_BODIES(float)
NOX_BODIES(double)
#undef NOX_BODIES

long Nox3DDataConvertAlg::NoxRangeImageToImage(NoxRangeImage& range, NoxROI& roi, NoxImage* image, int imageType,
                                               int background, double* grayScale, double* grayOffset)
{
    cv::Mat source = range.Matrix();
    cv::Mat grays = nox::grayMatrix(range, *image, imageType);
    background = std::clamp(background, 0, nox::topGray(imageType));

    std::vector<NoxRun> runs;
    const long code = nox::regionRuns(roi, range, &runs);
    // Outside the whole image lies nothing; where its runs could not be had, the pixels stay.
    if (code == 0 || roi.ROIType() != NoxROITypeAll) nox::fillOutside(grays, runs, background);
    if (code != 0) return code;

    Scale scale;
    const auto hasRange = [&] { return scale.maximum - scale.minimum > 1e-8; };
    nox::dispatchPair(range.DataType(), imageType, [&](auto element, auto gray) {
        using T = typename decltype(element)::type;
        using U = typename decltype(gray)::type;
        scale = measured<T>(source, runs);
        if (hasRange()) {
            stretch<T, U>(source, grays, runs, scale);
        } else {
            const double height = constantGray(scale.minimum, static_cast<double>(nox::Element<T>::invalid));
            nox::fillOutside(grays, {}, nox::saturate<U>(height));
        }
    });
    nox::deliver(grays, image);

    const double unitsPerGray = (scale.maximum - scale.minimum) / (nox::topGray(imageType) - 1.0);
    const double grayOfZero = 1.0 - unitsPerGray * scale.minimum;
    put(grayScale, unitsPerGray);
    put(grayOffset, 1.0 / unitsPerGray - grayOfZero / unitsPerGray);
    return code;
}

}  // namespace NOXEL
