#pragma once

#include <NoxExport.h>
#include <NoxROI.h>
#include <NoxRun.h>

#include <vector>

namespace NOXEL {

/// Turns regions into other forms. Stateless; safe from any thread.
class NOX_EXPORT NoxROIDataConvert
{
public:
    /// The pixels of a grid whose centres lie in the region or on its outline (the geometry stands at NoxROI), as runs
    /// that ascend by row and column and neither overlap nor touch.
    ///
    /// A line gives the pixels whose centres it meets. A region outside the grid, with a negative length or with a NaN
    /// has no pixels. Numbers beyond 1e60 count as 1e60. The work grows with the rows that the region covers inside the
    /// grid, for a polygon with the edges in each of them, not with the size of the region.
    /// @param runs   replaced
    /// @param width, height  of the grid in pixels; a side of 0 or less gives no runs
    /// @param extra  not used, may be null
    /// @return 0. Throws std::bad_alloc, `runs` then undefined.
    long ROItoRun(const NoxROI& roi, std::vector<NoxRun>* runs, int width, int height, int* extra) const;
};

}  // namespace NOXEL
