#pragma once

#include <NoxRun.h>

#include "data/Checked.h"
#include "data/Lanes.h"

#include <cmath>

namespace nox {

/// A band of stored heights and the grays that it is mapped to.
struct Band
{
    double low, high, range, grays;
    int lowGray, highGray;

    template <class U>
    U gray(double height) const
    {
        if (height < low) return static_cast<U>(lowGray);
        if (height > high) return static_cast<U>(highGray);
        return static_cast<U>(t64((height - low) / range * grays + lowGray));
    }
};

/// How near to the invalid value a height counts as invalid, by the depth of the image.
template <class U>
inline constexpr double limitTolerance = sizeof(U) == 1 ? 1e-6 : 1e-10;

/// Beyond this a height is no measurement.
inline constexpr double kFarthest = 1e15;

/// Whether a height lies off the measurable range or at the invalid value.
template <class U>
bool isNone(double height, double invalid)
{
    return std::abs(height) > kFarthest || std::abs(invalid - height) < limitTolerance<U>;
}

/// Without a plane.
template <class T, class U>
struct LimitRule
{
    Band band;
    double invalid;

    U operator()(T pixel) const
    {
        const auto height = static_cast<double>(pixel);
        return height == invalid || isNone<U>(height, invalid) ? U(0) : band.gray<U>(height);
    }
};

/// LimitRule for the element types that no table serves, eight heights a step. Heights beyond the band are moved to its
/// ends, whose grays come out exact.
template <class T, class U>
struct LimitLanes : LimitRule<T, U>
{
    /// A band that is empty after its limits became stored units is for the single rule.
    static bool serves(const LimitRule<T, U>& rule)
    {
        return rule.band.range > 0.0 && std::isfinite(rule.band.low) && std::isfinite(rule.band.range);
    }

    void eight(const T* from, U* to) const { store(to, truncated(four(from), four(from + 4))); }

private:
    Double4 four(const T* from) const
    {
        const Band& limits = this->band;
        const Double4 height = fourDoubles(from);
        const Double4 near = _mm256_cmp_pd(magnitude(height).lanes, _mm256_set1_pd(kFarthest), _CMP_LE_OQ);
        const Double4 clear = _mm256_cmp_pd(magnitude(Double4(this->invalid) - height).lanes,
                                            _mm256_set1_pd(limitTolerance<U>), _CMP_GE_OQ);
        const Double4 inside = larger(smaller(height, Double4(limits.high)), Double4(limits.low));
        const Double4 share = (inside - Double4(limits.low)) / Double4(limits.range);
        return where(near, where(clear, share * Double4(limits.grays) + Double4(double(limits.lowGray))));
    }
};

/// With a plane: the height above it along its normal, brought back to stored units. The grid position of a pixel is
/// formed in one way for 8-bit grays and in another for 16-bit ones.
template <class T, class U>
struct PlaneRule
{
    Band band;
    double invalid, resolutionX, resolutionY, resolutionZ, offsetX, offsetY, offsetZ;
    float pointX, pointY, pointZ, normalX, normalY, normalZ;
    float slope;  ///< of heights along z: the factor from them to distances along the normal

    template <class Body>
    PlaneRule(const Band& heights, const Body& body)
        : band(heights),
          invalid(body.invalid),
          resolutionX(body.resolutionX),
          resolutionY(body.resolutionY),
          resolutionZ(body.resolutionZ),
          offsetX(body.offsetX),
          offsetY(body.offsetY),
          offsetZ(body.offsetZ),
          pointX(body.point.X()),
          pointY(body.point.Y()),
          pointZ(body.point.Z()),
          normalX(body.normal.X()),
          normalY(body.normal.Y()),
          normalZ(body.normal.Z()),
          slope(body.normalZ)
    {
    }

    void mapRun(const T* from, U* to, int count, const NoxRun& run) const
    {
        const PlaneRule rule = *this;  // a store of bytes might change the object itself
        const float along = (place(run.row, offsetY, resolutionY) - pointX) * normalX;  // world x comes from the row
        for (int i = 0; i < count; ++i) to[i] = rule.gray(static_cast<double>(from[i]), along, run.first + i);
    }

private:
    static float place(int index, double offset, double resolution)
    {
        return static_cast<float>(sizeof(U) == 1 ? index * resolution + offset : (index - offset) * resolution);
    }

    U gray(double stored, float along, int column) const
    {
        if (stored == invalid) return 0;
        if (sizeof(U) == 1 && isNone<U>(stored, invalid)) return 0;
        const float rise = (along + (place(column, offsetX, resolutionX) - pointY) * normalY) / normalZ;
        const float planeHeight = pointZ - rise;
        const double world = (stored - offsetZ) * resolutionZ;
        const auto height = static_cast<float>(
            (world - static_cast<double>(planeHeight)) * static_cast<double>(slope) / resolutionZ + offsetZ);
        if (!std::isfinite(height)) return 0;
        if (sizeof(U) == 2 && isNone<U>(static_cast<double>(height), invalid)) return 0;
        return band.gray<U>(static_cast<double>(height));
    }
};

}  // namespace nox
