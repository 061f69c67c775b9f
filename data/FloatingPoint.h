#pragma once

#include <immintrin.h>

namespace nox {

/// A floating-point mode as long as the object lives; then the caller's again.
template <unsigned kMode>
class FloatingPoint
{
public:
    FloatingPoint() noexcept : callers_(_mm_getcsr()) { _mm_setcsr(kMode); }
    ~FloatingPoint() { _mm_setcsr(callers_); }
    FloatingPoint(const FloatingPoint&) = delete;
    FloatingPoint& operator=(const FloatingPoint&) = delete;

private:
    unsigned callers_;
};

/// Rounding to nearest, denormals kept and all exceptions masked. Every operation makes one first, so that foreign
/// modes reach no test and no pixel.
using DefaultFloatingPoint = FloatingPoint<0x1F80>;

/// The same, but denormals are 0 everywhere, as the kernels of a device have it.
using FlushingFloatingPoint = FloatingPoint<0x9FC0>;

}  // namespace nox
