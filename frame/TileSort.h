#pragma once

#include "data/Memory.h"
#include "frame/Guards.h"
#include "frame/Parallel.h"
#include "frame/Tiling.h"

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace nox {

/// Positions sorted by tile, those of a tile in the order in which they came; one that several tiles share stands in
/// each.
template <class Position>
struct SortedPositions
{
    std::vector<std::size_t> begin;  // of each tile in `positions`, and the end of the last
    Scratch<Position> positions;
};

/// Sorts positions, floats x along the columns and y along the rows, by the tiles that they may reach.
/// @param pieces     parts of the positions that are read in parallel, twice
/// @param forPiece   forPiece(piece, use) calls use(position) for those of a piece in order
/// @throws std::bad_alloc
template <class Position, class ForPiece>
SortedPositions<Position> sortByTile(const TileGrid& grid, std::size_t pieces, const ForPiece& forPiece)
{
    const std::size_t tiles = grid.count();
    std::vector<std::size_t> places(pieces * tiles);  // each piece has a place of its own in every tile
    const auto forPositions = [&](const auto& use) {
        parallelFor(tbb::blocked_range<std::size_t>(0, pieces, 1), [&](const auto& range) {
            for (std::size_t piece = range.begin(); piece != range.end(); ++piece) {
                std::size_t* place = places.data() + piece * tiles;
                forPiece(piece, [&](const Position& position) {
                    grid.forReachedTiles(position.x, position.y, [&](std::size_t tile) { use(position, place[tile]); });
                });
            }
        });
    };

    forPositions([](const Position&, std::size_t& place) { ++place; });
    SortedPositions<Position> sorted{std::vector<std::size_t>(tiles + 1), nullptr};
    std::size_t total = 0;
    for (std::size_t tile = 0; tile < tiles; ++tile) {
        sorted.begin[tile] = total;
        for (std::size_t piece = 0; piece < pieces; ++piece)
            total += std::exchange(places[piece * tiles + tile], total);
    }
    sorted.begin[tiles] = total;
    requireMemory(static_cast<std::uint64_t>(total) * sizeof(Position));
    sorted.positions = newScratch<Position>(total);
    Position* const out = sorted.positions.get();
    forPositions([out](const Position& position, std::size_t& place) { out[place++] = position; });
    return sorted;
}

}  // namespace nox
