#pragma once

#include <NoxSharedMat.h>

#include <opencv2/core.hpp>

#include <cstddef>
#include <stdexcept>

namespace nox {

/// The OpenCV type for a depth code and a channel count, both checked.
inline int matType(int depth, int channels)
{
    if (depth < CV_8U || depth > CV_64F) throw std::invalid_argument("no such element type");
    if (channels < 1 || channels > CV_CN_MAX) throw std::invalid_argument("no such channel count");
    return CV_MAKETYPE(depth, channels);
}

/// The same matrix with elements of its own, from the project's memory.
inline NoxSharedMat deepCopy(const NoxSharedMat& source)
{
    NoxSharedMat copy;
    copy.create(source->rows, source->cols, source->type());
    source->copyTo(*copy);  // size and type are right already, so the memory stays
    return copy;
}

/// A signed index or size as the standard containers take it: a negative one becomes too large for any of them.
inline std::size_t place(int index) { return static_cast<std::size_t>(index); }

}  // namespace nox
