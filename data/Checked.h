#pragma once

#include <immintrin.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "data/HostDevice.h"

namespace nox {

/// A float or double as an integer, truncated towards zero; the smallest integer for a NaN and for all that does not
/// fit, which is what the processor's convert instruction gives, in a vector loop as here. No other conversion from a
/// floating-point number to an integer stands in the project.
NOX_HD inline std::int32_t t32(float v)
{
#ifdef __CUDA_ARCH__  // its own conversion saturates, and makes a NaN 0
    return v >= -2147483648.0f && v < 2147483648.0f ? static_cast<std::int32_t>(v) : INT32_MIN;
#else
    return _mm_cvttss_si32(_mm_set_ss(v));
#endif
}
inline std::int32_t t32(double v) { return _mm_cvttsd_si32(_mm_set_sd(v)); }
inline std::int64_t t64(float v) { return _mm_cvttss_si64(_mm_set_ss(v)); }
inline std::int64_t t64(double v) { return _mm_cvttsd_si64(_mm_set_sd(v)); }

/// The value rounded to float and widened again.
inline double throughFloat(double v) { return static_cast<double>(static_cast<float>(v)); }

/// Rounds to nearest, halves to even, and saturates; a NaN or what does not fit in 32 bits gives the lowest value of
/// the type, which is its invalid value. Inside the 32-bit range it equals cv::saturate_cast. The floating-point types
/// take the value as it is.
template <class T>
T saturate(double v)
{
    if constexpr (std::is_floating_point_v<T>) {
        return static_cast<T>(v);
    } else {
        const std::int32_t rounded = _mm_cvtsd_si32(_mm_set_sd(v));
        const auto low = static_cast<std::int32_t>(std::numeric_limits<T>::lowest());
        const auto high = static_cast<std::int32_t>(std::numeric_limits<T>::max());
        return static_cast<T>(std::clamp(rounded, low, high));
    }
}

/// width x height without overflow; a side of 0 or less gives 0.
inline std::int64_t pixelCount(int width, int height)
{
    return width <= 0 || height <= 0 ? 0 : static_cast<std::int64_t>(width) * height;
}

template <class Grid>
std::int64_t pixelCount(const Grid& grid)
{
    return pixelCount(grid.Width(), grid.Height());
}

}  // namespace nox
