#pragma once

#include <NoxDataType.h>
#include <NoxImage.h>
#include <NoxROI.h>
#include <NoxRangeImage.h>
#include <NoxRun.h>

#include "data/ElementType.h"
#include "frame/Parallel.h"
#include "frame/StaticConfig.h"
#include "range_to_image/GrayTable.h"
#include "range_to_image/PixelLoops.h"

#include <opencv2/core.hpp>

#include <cstdint>
#include <stdexcept>
#include <vector>

namespace nox {

using Grays = Types<unsigned char, unsigned short>;

constexpr int topGray(int imageType) { return imageType == NoxImageType8U ? 255 : 65535; }

/// Calls use(Tag of the element type, Tag of the gray type).
/// @throws std::invalid_argument for heights that are of none of the element types
template <class Use>
void dispatchPair(int dataType, int imageType, const Use& use)
{
    const bool isServed = dispatch(dataType, Elements{}, [&](auto element) {
        dispatch(imageType == NoxImageType8U ? 0 : 1, Grays{}, [&](auto gray) { use(element, gray); });
    });
    if (!isServed) throw std::invalid_argument("no such element type");
}

/// The invalid value of an element type as a double.
double invalidOf(int dataType);

/// The matrix that takes the grays: with efficiency 1 the image's own where size and type fit, so that its pixels are
/// written in place, else one of its own, content undefined. Never one that overlaps the heights.
cv::Mat grayMatrix(const NoxRangeImage& range, const NoxImage& image, int imageType);

/// Hands the filled matrix over. Images that share the old pixels keep them unless these were written in place.
void deliver(const cv::Mat& grays, NoxImage* image);

/// The pixels of a region in the image: inside its grid, by row and column, disjoint. Kind 3 is the whole image.
/// @return 0, or the code of the service that rasterises regions
long regionRuns(const NoxROI& roi, const NoxRangeImage& range, std::vector<NoxRun>* runs);

/// Their number.
std::size_t pixelsIn(const std::vector<NoxRun>& runs);

/// Writes the background to all pixels outside the runs of `regionRuns`.
void fillOutside(cv::Mat& grays, const std::vector<NoxRun>& runs, int background);

inline tbb::blocked_range<int> runRange(const std::vector<NoxRun>& runs, int pieces)
{
    const auto cut = static_cast<int>(grain(runs.size(), pieces));
    return {0, static_cast<int>(runs.size()), static_cast<std::size_t>(cut)};
}

/// Maps the pixels of all runs in parallel.
template <class T, class U, class Rule>
void mapRegion(const std::vector<NoxRun>& runs, const cv::Mat& source, const cv::Mat& grays, const Rule& rule)
{
    parallelFor(runRange(runs, algorithmConfig().tbb),
                [&](const tbb::blocked_range<int>& range) { mapRuns<T, U>(range, runs.data(), source, grays, rule); });
}

/// mapRegion by a rule that is dear next to a look-up, for heights from `first` to `last` and the invalid one: 8- and
/// 16-bit heights go through a table of all their grays where there are enough of them to pay for it, or through the
/// line that is the rule but for its roundings, where that gives the same grays.
template <class T, class U, class Rule>
void mapRegionByTable(const std::vector<NoxRun>& runs, const cv::Mat& source, const cv::Mat& grays, const Rule& rule,
                      const GrayLine& line, int first, int last)
{
    if (pixelsIn(runs) < GrayLookup<T, U>::size) return mapRegion<T, U>(runs, source, grays, rule);
    const Scratch<U> table = tabulate<T, U>(rule);
    const LineLanes<T, U, float> floats(table.get(), line);
    const LineLanes<T, U, double> doubles(table.get(), line);
    if (sizeof(U) == 1 && floats.agrees(first, last))
        mapRegion<T, U>(runs, source, grays, floats);
    else if (doubles.agrees(first, last))
        mapRegion<T, U>(runs, source, grays, doubles);
    else
        mapRegion<T, U>(runs, source, grays, GrayLookup<T, U>{table.get()});
}

}  // namespace nox
