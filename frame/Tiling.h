#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "data/Checked.h"

namespace nox {

/// A rectangle of cells of the grid.
struct Tile
{
    std::int64_t firstColumn;
    std::int64_t firstRow;
    std::int64_t columns;
    std::int64_t rows;

    bool holds(std::int64_t column, std::int64_t row) const
    {
        return firstColumn <= column && column < firstColumn + columns && firstRow <= row && row < firstRow + rows;
    }
};

/// The grid cut into tiles: bands of whole rows, and of very long rows pieces. Sides are powers of two.
class TileGrid
{
public:
    /// @param cells    about the most cells of a tile
    /// @param atLeast  the number of tiles wanted, as long as they do not get thin
    /// @param longestRow  of the grid that is not cut into pieces of 2^columnShift cells
    TileGrid(int width, int height, std::int64_t cells, std::int64_t atLeast, int longestRow = 16384,
             int columnShift = 12)
        : width_(width), height_(height), columnShift_(width <= longestRow ? 31 : columnShift)
    {
        const std::int64_t columns = std::min<std::int64_t>(width, std::int64_t{1} << columnShift_);
        while (rowShift_ < 30 && (columns << (rowShift_ + 1)) <= cells) ++rowShift_;
        while (rowShift_ > kThinRowShift && static_cast<std::int64_t>(count()) < atLeast) --rowShift_;
    }

    int width() const { return static_cast<int>(width_); }
    int height() const { return static_cast<int>(height_); }
    std::size_t across() const { return static_cast<std::size_t>(((width_ - 1) >> columnShift_) + 1); }
    std::size_t down() const { return static_cast<std::size_t>(((height_ - 1) >> rowShift_) + 1); }
    std::size_t count() const { return across() * down(); }

    Tile tile(std::size_t i) const
    {
        const auto firstColumn = static_cast<std::int64_t>(i % across()) << columnShift_;
        const auto firstRow = static_cast<std::int64_t>(i / across()) << rowShift_;
        return {firstColumn, firstRow, std::min<std::int64_t>(std::int64_t{1} << columnShift_, width_ - firstColumn),
                std::min<std::int64_t>(std::int64_t{1} << rowShift_, height_ - firstRow)};
    }

    /// Cells of the largest tile and one line more all round.
    std::size_t mostCellsWithRim() const
    {
        const Tile first = tile(0);
        return static_cast<std::size_t>((first.columns + 2) * (first.rows + 2));
    }

    /// Band of tiles in which a row of the grid lies.
    std::size_t bandOf(std::int64_t row) const { return static_cast<std::size_t>(row >> rowShift_); }

    /// Place of a column's tile in its band.
    std::size_t pieceOf(std::int64_t column) const { return static_cast<std::size_t>(column >> columnShift_); }

    /// Calls visit(tile number) for each tile with a cell that the position may reach.
    template <class Visit>
    void forReachedTiles(float x, float y, const Visit& visit) const
    {
        const std::int64_t y0 = t32(y);
        if (y0 < -1 || y0 >= height_) return;
        const std::size_t above = bandOf(std::max<std::int64_t>(y0, 0));
        const std::size_t below = bandOf(std::min(y0 + 1, height_ - 1));
        forReachedInBand(above, x, visit);
        if (below != above) forReachedInBand(below, x, visit);
    }

private:
    template <class Visit>
    void forReachedInBand(std::size_t band, float x, const Visit& visit) const
    {
        if (across() == 1) return visit(band);
        const std::int64_t x0 = t32(x);
        if (x0 < -1 || x0 >= width_) return;
        const std::int64_t left = std::max<std::int64_t>(x0, 0) >> columnShift_;
        const std::int64_t right = std::min(x0 + 1, width_ - 1) >> columnShift_;
        for (std::int64_t column = left; column <= right; ++column)
            visit(band * across() + static_cast<std::size_t>(column));
    }

    static constexpr int kThinRowShift = 2;

    std::int64_t width_;
    std::int64_t height_;
    int columnShift_;
    int rowShift_ = 0;
};

}  // namespace nox
