#pragma once

#include <immintrin.h>

namespace nox {

/// Rounding to nearest, denormals kept and all exceptions masked, as long as the object lives; then the caller's modes
/// again. Every operation makes one first, so that foreign modes reach no test and no pixel.
class DefaultFloatingPoint
{
public:
    DefaultFloatingPoint() noexcept : callers_(_mm_getcsr()) { _mm_setcsr(kDefault); }
    ~DefaultFloatingPoint() { _mm_setcsr(callers_); }
    DefaultFloatingPoint(const DefaultFloatingPoint&) = delete;
    DefaultFloatingPoint& operator=(const DefaultFloatingPoint&) = delete;

private:
    static constexpr unsigned kDefault = 0x1F80;
    unsigned callers_;
};

}  // namespace nox
