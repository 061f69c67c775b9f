#pragma once

#include "posture/Canvas.h"
#include "posture/SumTile.h"

#include <opencv2/core/mat.hpp>

namespace nox {

/// The mean of the points in each cell of `heights`, all of whose cells are written, -3.4028235e38 where none are.
/// Every point counts fully in the cell that its position truncates to and in those below, right and across.
///
/// The outcome is that of all points added one after the other in the order of the canvas, bit for bit, whatever the
/// number of threads: the grid is cut into tiles that fit a core's cache, and each tile takes the points that reach it
/// in that order.
/// @throws std::bad_alloc
void mergePoints(const Canvas& canvas, const GridMap& map, cv::Mat& heights);

/// The same, giving sums and counts.
void mergePoints(const Canvas& canvas, const GridMap& map, cv::Mat& sums, cv::Mat& counts);

}  // namespace nox
