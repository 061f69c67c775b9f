#pragma once

#include <NoxPlatform.h>

namespace nox {

/// The measure of the guards: grids, counted in units of 2^20 cells.
inline float gridUnits(int grids, int rows, int columns)
{
    return static_cast<float>(grids) * (static_cast<float>(rows) / 1024.0f) * (static_cast<float>(columns) / 1024.0f);
}

/// Whether that many units are more than the mebibytes that are available. A coarse measure, from one byte a cell on:
/// what is really taken is asked for apart from it.
inline bool exceedsMemory(float units)
{
    const unsigned long long mebibytes = NOXEL::NoxAvailablePhysicalMemory() / 1024 / 1024;
    return units > static_cast<float>(mebibytes);
}

/// The guard of a merge: one grid for each of its pieces and one for the whole.
bool mergeExceedsMemory(int rows, int columns);

}  // namespace nox
