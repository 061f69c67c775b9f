#include "cloud_to_range/Registration.h"

#include <NoxPlatform.h>
#include <NoxResultCodes.h>
#include <oneapi/tbb/task_arena.h>

#include <algorithm>
#include <atomic>
#include <numeric>
#include <vector>

#include "cloud_to_range/TilePlanes.h"
#include "data/Checked.h"
#include "data/ElementType.h"
#include "frame/Parallel.h"
#include "frame/TileSort.h"
#include "frame/Tiling.h"

namespace nox {

namespace {

constexpr std::size_t kBlock = 1024;            // points read from the cloud at once
constexpr std::size_t kMostReads = 2;           // of a block, on average, before sorting is cheaper
constexpr std::int64_t kTileCells = 32 * 1024;  // their sums fill half of a core's cache

int threads() { return tbb::this_task_arena::max_concurrency(); }

/// The cloud as positions, a block at a time.
template <int Colors>
class CloudReader
{
public:
    CloudReader(const NoxPointCloud& cloud, const PixelFrame& frame, const NoxColorArray& colors)
        : points_(cloud.PointData()),
          count_(static_cast<std::size_t>(cloud.Length())),
          colors_(colors.Data()),
          channels_(static_cast<std::size_t>(colors.Channel())),
          frame_(frame)
    {
    }

    std::size_t count() const { return count_; }
    std::size_t blocks() const { return (count_ + kBlock - 1) / kBlock; }

    /// Positions of a block in order; how many they are.
    std::size_t read(std::size_t block, Position<Colors>* out) const
    {
        const std::size_t first = block * kBlock;
        const std::size_t n = std::min(kBlock, count_ - first);
        const float* p = points_ + 3 * first;
        for (std::size_t i = 0; i < n; ++i, p += 3) {
            const NOXEL3D::MVector3f position = frame_.position({p[0], p[1], p[2]});
            out[i].x = position.x();
            out[i].y = position.y();
            out[i].z = position.z();
            if constexpr (Colors > 0) std::copy_n(colors_ + (first + i) * channels_, Colors, out[i].color.data());
        }
        return n;
    }

private:
    const float* points_;
    std::size_t count_;
    const unsigned char* colors_;
    std::size_t channels_;
    PixelFrame frame_;
};

/// Which blocks of the cloud each band of the grid reads, in ascending order.
struct BlockLists
{
    std::vector<std::size_t> begin;  // of each band in `blocks`, and the end of the last
    std::vector<std::size_t> blocks;
};

/// First and last band that the positions reach; first above last when they reach none.
struct Span
{
    std::size_t first;
    std::size_t last;
    std::size_t bands() const { return last + 1 - first; }
};

template <int Colors>
Span spanOf(const Position<Colors>* positions, std::size_t count, const TileGrid& grid)
{
    std::int64_t lowest = grid.height(), highest = -1;
    for (std::size_t i = 0; i < count; ++i) {
        const std::int64_t row = t32(positions[i].y);
        if (row < -1 || row >= grid.height()) continue;
        lowest = std::min(lowest, row);
        highest = std::max(highest, row + 1);
    }
    if (highest < 0) return {1, 0};
    return {grid.bandOf(std::max<std::int64_t>(lowest, 0)),
            grid.bandOf(std::min<std::int64_t>(highest, grid.height() - 1))};
}

/// Lists for a cloud in the order of a scan, whose blocks lie in few bands each; for any other cloud, or a grid whose
/// tiles are not whole bands, no list at all.
template <int Colors>
BlockLists blockLists(const CloudReader<Colors>& cloud, const TileGrid& grid)
{
    if (grid.across() > 1) return {};
    std::vector<Span> spans(cloud.blocks());
    std::atomic<std::size_t> reads{0};  // only grows, so that the outcome does not hang on who gives up first
    const std::size_t mostReads = kMostReads * spans.size();
    parallelFor(tbb::blocked_range<std::size_t>(0, spans.size()), [&](const auto& range) {
        Position<Colors> positions[kBlock];
        for (std::size_t block = range.begin(); block != range.end() && reads <= mostReads; ++block) {
            spans[block] = spanOf(positions, cloud.read(block, positions), grid);
            reads += spans[block].bands();
        }
    });
    if (reads > mostReads) return {};

    BlockLists lists{std::vector<std::size_t>(grid.count() + 1), {}};
    for (const Span& span : spans)
        for (std::size_t band = span.first; band <= span.last; ++band) ++lists.begin[band];
    std::partial_sum(lists.begin.begin(), lists.begin.end(), lists.begin.begin());  // the ends; filled from behind
    lists.blocks.resize(reads);
    for (std::size_t block = spans.size(); block-- > 0;)
        for (std::size_t band = spans[block].first; band <= spans[block].last; ++band)
            lists.blocks[--lists.begin[band]] = block;
    return lists;
}

template <int Colors>
SortedPositions<Position<Colors>> sortByTile(const CloudReader<Colors>& cloud, const TileGrid& grid)
{
    const std::size_t pieces = std::clamp<std::size_t>(cloud.count() / (4 * grid.count() + 16 * kBlock), 1,
                                                       4 * static_cast<std::size_t>(threads()));
    return sortByTile<Position<Colors>>(grid, pieces, [&](std::size_t piece, const auto& use) {
        Position<Colors> positions[kBlock];
        const std::size_t end = cloud.blocks() * (piece + 1) / pieces;
        for (std::size_t block = cloud.blocks() * piece / pieces; block != end; ++block) {
            const Position<Colors>* last = positions + cloud.read(block, positions);
            for (const Position<Colors>* p = positions; p != last; ++p)
                if (isHeight(p->z)) use(*p);
        }
    });
}

template <int Colors>
void registerTiles(const CloudReader<Colors>& cloud, float threshold, std::size_t channels, NoxRangeImage* image)
{
    const TileGrid grid(image->Width(), image->Height(), Colors > 0 ? kTileCells / 2 : kTileCells, 8 * threads());
    const GaussianWeights weights;
    float* const heights = reinterpret_cast<float*>(image->Data());
    unsigned char* const colors = image->ColorData();

    // Every tile is summed and written by one task; feed(planes, tile) hands it its positions.
    const auto forTiles = [&](const auto& feed) {
        parallelFor(tbb::blocked_range<std::size_t>(0, grid.count(), 1), [&](const auto& range) {
            TilePlanes<Colors> planes(grid, threshold, weights);
            for (std::size_t tile = range.begin(); tile != range.end(); ++tile) {
                planes.start(grid.tile(tile));
                feed(planes, tile);
                planes.write(heights, colors, channels);
            }
        });
    };

    const BlockLists lists = blockLists(cloud, grid);
    if (!lists.begin.empty()) {
        forTiles([&](TilePlanes<Colors>& planes, std::size_t tile) {
            Position<Colors> positions[kBlock];
            for (std::size_t i = lists.begin[tile]; i != lists.begin[tile + 1]; ++i)
                planes.take(positions, cloud.read(lists.blocks[i], positions));
        });
    } else {
        const SortedPositions<Position<Colors>> sorted = sortByTile(cloud, grid);
        forTiles([&](TilePlanes<Colors>& planes, std::size_t tile) {
            planes.take(sorted.positions.get() + sorted.begin[tile], sorted.begin[tile + 1] - sorted.begin[tile]);
        });
    }
}

/// Whether there is memory for the grid, counted in whole hundreds of cells a side; small grids do not ask.
bool memoryCoversCells(int width, int height)
{
    const auto hundreds = static_cast<std::uint64_t>(width / 100) * static_cast<std::uint64_t>(height / 100);
    return hundreds <= 10000 || NOXEL::NoxAvailablePhysicalMemory() / 10000 >= 40 * hundreds;
}

}  // namespace

long registerPoints(const NoxPointCloud& cloud, const PixelFrame& frame, const NoxColorArray& colors,
                    NoxRangeImage* image)
{
    if (!memoryCoversCells(image->Width(), image->Height())) return NOXEL::code::cloudMemory;
    const float threshold =
        2.0f * std::max(static_cast<float>(image->ResolutionX()), static_cast<float>(image->ResolutionY()));
    if (!colors.Data()) {
        registerTiles<0>({cloud, frame, colors}, threshold, 0, image);
        return NOXEL::code::success;
    }

    if (colors.Length() != cloud.Length()) return NOXEL::code::colorCount;
    const auto channels = static_cast<std::size_t>(colors.Channel());
    image->SetColorSize(image->Width(), image->Height(), colors.Channel());
    switch (colorValues(colors.Channel())) {
        case 1: registerTiles<1>({cloud, frame, colors}, threshold, channels, image); break;
        case 3: registerTiles<3>({cloud, frame, colors}, threshold, channels, image); break;
        default: image->Matrix().setTo(Element<float>::invalid); image->ColorMatrix().setTo(0);
    }
    return NOXEL::code::success;
}

}  // namespace nox
