#include "range_to_cloud/RangeToCloud.h"

#include <NoxMemory.h>
#include <NoxResultCodes.h>

#include "data/Checked.h"
#include "data/Memory.h"
#include "frame/Guards.h"
#include "frame/Parallel.h"
#include "frame/Streaming.h"
#include "range_to_cloud/PackedPoints.h"
#include "range_to_cloud/PixelRules.h"

#include <opencv2/core.hpp>

#include <limits>
#include <numeric>
#include <utility>

namespace nox {

namespace {

namespace code = NOXEL::code;

using RowRange = tbb::blocked_range<std::size_t>;

/// The rows of an image in blocks of about 64 Ki pixels, each of them one task with a piece of the cloud of its own.
class RowBlocks
{
public:
    explicit RowBlocks(const NoxRangeImage& image)
        : rows_(static_cast<std::size_t>(image.Height())),
          rowsEach_(std::max<std::size_t>(1, kPixels / static_cast<std::size_t>(image.Width())))
    {
    }

    std::size_t count() const { return (rows_ + rowsEach_ - 1) / rowsEach_; }
    RowRange operator[](std::size_t block) const
    {
        return {block * rowsEach_, std::min(rows_, (block + 1) * rowsEach_)};
    }

    template <class Task>
    void forEach(const Task& task) const
    {
        parallelFor(RowRange(0, count()), [&](const RowRange& blocks) {
            for (std::size_t block = blocks.begin(); block != blocks.end(); ++block) task(block, (*this)[block]);
        });
    }

private:
    static constexpr std::size_t kPixels = 65536;
    std::size_t rows_, rowsEach_;
};

/// What goes into the cloud.
struct Product
{
    NoxVector3dArray points;
    NoxColorArray colors;

    void size(std::size_t count, bool colored)
    {
        points.SetSize(static_cast<int>(count));
        if (colored) colors.SetSize(static_cast<int>(count), 1, 4);
    }
};

template <class T, class Rule>
std::size_t countRow(const Rows<T>& rows, std::size_t row, const Rule& rule)
{
    const T* values = rows[row];
    std::size_t count = 0;
    for (int column = 0; column < rows.width; ++column) count += rule.keeps(values[column]) ? 1 : 0;
    return count;
}

/// The points of all valid pixels, and their colours where `image` has some: the blocks are counted, then each fills
/// its own piece, so that the order is that of the pixels.
/// @return 0, or the code for an output that can't be sized
template <class T, class Rule>
long convert(const NoxRangeImage& image, const Rule& rule, Product& product)
{
    const Rows<T> rows{image.Data(), image.Matrix().step[0], image.Width()};
    const RowBlocks blocks(image);
    const bool colored = image.ColorData() != nullptr;

    Scratch<std::size_t> ends;
    const auto reserve = [&] {
        ends = newScratch<std::size_t>(blocks.count() + 1);
        return code::success;
    };
    if (const long failed = guarded(code::cloudSizingThrew, reserve)) return failed;

    ends[0] = 0;
    blocks.forEach([&](std::size_t block, const RowRange& range) {
        std::size_t count = 0;
        for (std::size_t row = range.begin(); row != range.end(); ++row) count += countRow(rows, row, rule);
        ends[block + 1] = count;
    });
    std::partial_sum(ends.get(), ends.get() + blocks.count() + 1, ends.get());
    const std::size_t total = ends[blocks.count()];

    const auto size = [&] {
        product.size(total, colored);
        return code::success;
    };
    if (const long failed = guarded(code::cloudSizingThrew, size)) return failed;

    const IntoTriples points{product.points.Data()};
    const bool streaming = outgrowsCaches<NoxVector3d>(total);
    blocks.forEach([&](std::size_t block, const RowRange& range) {
        if (colored) {
            const WithColors colors{image.ColorData(), product.colors.Data(), image.ColorMatrix().channels()};
            appendRows(range, rows, rule, points, colors, ends[block]);
        } else if constexpr (std::is_same_v<Rule, Orthographic<T>>) {
            PointPiece piece(points.points + ends[block] * 3, streaming);
            for (std::size_t row = range.begin(); row != range.end(); ++row) appendRow(rows, row, rule, piece);
        } else {
            appendRows(range, rows, rule, points, WithoutColors{}, ends[block]);
        }
    });
    return code::success;
}

template <class T>
Orthographic<T> orthographic(const NoxRangeImage& image)
{
    return {static_cast<float>(image.ResolutionX()), static_cast<float>(image.ResolutionY()),
            static_cast<float>(image.OffsetX()),     static_cast<float>(image.OffsetY()),
            static_cast<float>(image.ResolutionZ()), static_cast<float>(image.OffsetZ())};
}

template <class T>
Perspective<T> perspective(const NoxRangeImage& image)
{
    const auto parameter = [&](int i) { return image.GetParaValue(i).D(); };
    return {parameter(0),
            parameter(1),
            parameter(2),
            parameter(3),
            isScaled<T> ? parameter(4) : 1.0,
            isScaled<T> ? parameter(5) : 0.0};
}

bool hasPerspective(const NoxRangeImage& image)
{
    for (int i = 0; i < 4; ++i)
        if (image.GetParaValue(i).D() <= 0.0) return false;
    return true;
}

long refusalOfSize(const NoxRangeImage& image, std::int64_t pixels)
{
    constexpr std::int64_t unguarded = 300000000;
    constexpr std::uint64_t bytesPerPixel = 24;
    if (pixels > unguarded && !memoryCovers(bytesPerPixel * static_cast<std::uint64_t>(pixels)))
        return code::cloudMemory;
    if (pixels > std::numeric_limits<int>::max()) return code::cloudSizingThrew;
    if (image.ColorData() && image.ColorMatrix().total() < static_cast<std::size_t>(pixels))
        return code::cloudSizingThrew;
    return code::success;
}

/// Colours of a channel count that has no rule leave the cloud without points.
bool hasColorRule(const NoxRangeImage& image)
{
    return !image.ColorData() || WithColors::serves(image.ColorMatrix().channels());
}

}  // namespace

long rangeImageToPointCloud(const NoxRangeImage& image, NoxPointCloud* cloud)
{
    const int type = image.Type();
    if (type == 1 && !hasPerspective(image)) return code::rangeImageType;
    const std::int64_t pixels = pixelCount(image);
    if (pixels == 0) return code::rangeImageEmpty;
    if (const long refused = guarded(code::cloudSizingThrew, [&] { return refusalOfSize(image, pixels); }))
        return refused;
    if (type != 0 && type != 1) return code::rangeImageType;

    Product product;
    long result = code::success;
    if (hasColorRule(image)) {
        dispatch(image.DataType(), Elements{}, [&](auto tag) {
            using T = typename decltype(tag)::type;
            result = type == 0 ? convert<T>(image, orthographic<T>(image), product)
                               : convert<T>(image, perspective<T>(image), product);
        });
    }
    if (result != code::success) return result;

    NoxPointCloud filled(*cloud);  // so that a failure leaves the caller's cloud as it was
    filled.SetPoints(std::move(product.points));
    if (image.ColorData()) filled.SetColors(std::move(product.colors));
    *cloud = filled;
    return code::success;
}

}  // namespace nox
