// Grays by a band about the mean of each tile.

#include <Nox3DDataConvertAlg.h>
#include <NoxResultCodes.h>
#include <RangeToImageBodies.h>

#include "data/Checked.h"
#include "frame/StaticConfig.h"
#include "range_to_image/GrayImage.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace NOXEL {

namespace {

using RowRange = tbb::blocked_range<std::size_t>;

/// How far a height lies inside the band, in floats; the difference of double heights is formed before it is rounded,
/// of integers as integers.
template <class T>
auto share(T height, T low, T high)
{
    if constexpr (std::is_same_v<T, double>)
        return static_cast<double>(static_cast<float>(height - low)) / (high - low);
    else if constexpr (std::is_same_v<T, float>)
        return (height - low) / (high - low);
    else
        return static_cast<float>(std::int64_t{height} - low) / static_cast<float>(std::int64_t{high} - low);
}

template <class T, class U>
U grayOf(T height, const RangeImageToImageByChunk<T, U>& body)
{
    const auto value = static_cast<double>(height);
    if (std::abs(value) > 1e15 || std::abs(value - static_cast<double>(body.invalid)) < 1e-8) return 0;
    if (height < body.low) return body.lowGray;
    if (height > body.high) return body.highGray;
    if (body.high == body.low) return height == body.low ? body.lowGray : U(0);
    const auto part = share(height, body.low, body.high);
    using Real = decltype(part);
    return static_cast<U>(nox::t64(part * static_cast<Real>(body.span) + static_cast<Real>(body.lowGray)));
}

/// The limits about a mean, brought into the type: a limit beyond its end becomes that end, and when both would then be
/// the same end, the other one becomes the opposite end.
template <class T>
struct TileBand
{
    double low, high;

    TileBand(double mean, double below, double above) : low(mean - below), high(mean + above)
    {
        constexpr auto least = static_cast<double>(std::numeric_limits<T>::lowest());
        constexpr auto most = static_cast<double>(std::numeric_limits<T>::max());
        if (low < least) {
            low = least;
            if (high == least) high = most;
        }
        if (high > most) {
            high = most;
            if (low == most) low = least;
        }
    }

    static T stored(double limit)
    {
        if constexpr (std::is_integral_v<T>)
            return static_cast<T>(nox::t64(limit));
        else
            return static_cast<T>(limit);
    }
};

/// A tile at the end of a row or column of tiles takes what is left, but a single pixel gets none.
int tileCount(int pixels, int tile) { return pixels / tile + (pixels % tile >= 2 ? 1 : 0); }

template <class T, class U>
void mapTile(const cv::Mat& source, const cv::Mat& grays, const cv::Rect& tile, double above, double below)
{
    const auto stride = static_cast<int>(source.step1());
    T* const heights = nox::pixels<T>(source, tile.y) + tile.x;
    constexpr T invalid = nox::Element<T>::invalid;
    const RowRange rows(0, static_cast<std::size_t>(tile.height));

    std::int64_t count = 0;  // row by row: the pixels of a tile may be more than an int holds
    int inRow = 0;
    double sum = 0.0;
    const MeanBody<T> mean(&inRow, &sum, invalid, tile.width, stride, heights);
    for (std::size_t row = rows.begin(); row != rows.end(); ++row) {
        inRow = 0;
        mean(RowRange(row, row + 1));
        count += inRow;
    }
    if (count == 0) return;  // gray 0 as it is

    const TileBand<T> band(sum / static_cast<double>(count), below, above);
    constexpr U top = std::numeric_limits<U>::max();
    const RangeImageToImageByChunk<T, U> body(1, top, top - 1, band.stored(band.low), band.stored(band.high), invalid,
                                              tile.width, stride, heights, nox::pixels<U>(grays, tile.y) + tile.x);
    constexpr int worthCutting = 1 << 16;
    if (nox::pixelCount(tile.width, tile.height) < worthCutting)
        body(rows);
    else
        nox::forRows(tile.height, nox::algorithmConfig().tbb, body);
}

}  // namespace

template <class T>
void MeanBody<T>::operator()(const RowRange& rows) const
{
    int valid = *count;
    double total = *sum;
    for (std::size_t row = rows.begin(); row != rows.end(); ++row) {
        const T* heights = source + row * static_cast<std::size_t>(stride);
        for (int column = 0; column < width; ++column) {
            const auto value = static_cast<double>(heights[column]);
            if (!(std::abs(value - static_cast<double>(invalid)) >= 1e-7)) continue;
            ++valid;
            total += value;
        }
    }
    *count = valid;
    *sum = total;
}

template <class T, class U>
void RangeImageToImageByChunk<T, U>::operator()(const RowRange& rows) const
{
    const auto rule = [body = *this](T height) { return grayOf(height, body); };
    for (std::size_t row = rows.begin(); row != rows.end(); ++row) {
        const std::size_t first = row * static_cast<std::size_t>(stride);
        nox::mapPixels(source + first, destination + first, width, rule);
    }
}

#define NOX_BODIES(T)                                           \
    template struct MeanBody<T>;                                \
    template struct RangeImageToImageByChunk<T, unsigned char>; \
    template struct RangeImageToImageByChunk<T, unsigned short>;
NOX_FOR_EACH_ELEMENT(NOX_BODIES)
#undef NOX_BODIES

long Nox3DDataConvertAlg::NoxRangeImageToImageByChunk(NoxRangeImage& range, NoxImage* image, int imageType,
                                                      int tileWidth, int tileHeight, double above, double below)
{
    const cv::Mat source = range.Matrix();
    cv::Mat grays = nox::grayMatrix(range, *image, imageType);
    nox::fillOutside(grays, {}, 0);

    const int across = tileCount(source.cols, tileWidth), down = tileCount(source.rows, tileHeight);
    nox::dispatchPair(range.DataType(), imageType, [&](auto element, auto gray) {
        using T = typename decltype(element)::type;
        using U = typename decltype(gray)::type;
        const auto tiles = static_cast<std::size_t>(nox::pixelCount(across, down));
        nox::parallelFor(RowRange(0, tiles), [&](const RowRange& numbers) {
            for (std::size_t n = numbers.begin(); n != numbers.end(); ++n) {
                const int x = static_cast<int>(n % static_cast<std::size_t>(across)) * tileWidth;
                const int y = static_cast<int>(n / static_cast<std::size_t>(across)) * tileHeight;
                const cv::Rect tile(x, y, std::min(tileWidth, source.cols - x), std::min(tileHeight, source.rows - y));
                mapTile<T, U>(source, grays, tile, above, below);
            }
        });
    });
    nox::deliver(grays, image);
    return code::success;
}

}  // namespace NOXEL
