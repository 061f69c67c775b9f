#pragma once

#include "data/Memory.h"
#include "frame/Guards.h"
#include "frame/StaticConfig.h"

#include <cstddef>
#include <cstdint>
#include <functional>

namespace nox {

/// Whether two packed matrices share a byte.
inline bool overlap(const cv::Mat& a, const cv::Mat& b)
{
    const std::less<const unsigned char*> before;
    return before(a.data, b.data + b.total() * b.elemSize()) && before(b.data, a.data + a.total() * a.elemSize());
}

/// Whether the plane that the output has can take the result for `source`: size and depth fit, and it shares no memory
/// with the source.
inline bool takesResult(const cv::Mat& source, const cv::Mat& existing, int depth)
{
    return existing.size() == source.size() && existing.type() == depth && !overlap(source, existing);
}

/// A plane of one channel for the size of `source`. Asks for the memory first where it is worth the question: an
/// overcommitting system would grant what it can't give.
inline cv::Mat newPlaneFor(const cv::Mat& source, int depth)
{
    requireMemory(static_cast<std::uint64_t>(source.total()) * CV_ELEM_SIZE1(depth));
    return newPlane(source.rows, source.cols, depth);
}

/// The plane that a conversion of `source` writes: in efficiency mode the one that the output has, when it fits and
/// shares no memory with the source; else a new one.
inline cv::Mat outputPlane(const cv::Mat& source, const cv::Mat& existing, int depth, const StaticConfig& config)
{
    return config.efficiency == 1 && takesResult(source, existing, depth) ? existing : newPlaneFor(source, depth);
}

}  // namespace nox
