#pragma once

#include <NoxRangeImage.h>

#include "data/ElementType.h"
#include "data/Lanes.h"
#include "range_to_cloud/PixelRules.h"

#include <limits>
#include <type_traits>

// From a pixel to a point in the common frame, written once for a single float and for eight lanes.

namespace nox {

/// What a coordinate and a height of a place without a point hold.
inline constexpr float kNoCoordinate = std::numeric_limits<float>::max();
inline constexpr float kNoHeight = Element<float>::invalid;

template <class V>
struct Place
{
    V x, y, z;
};

/// Pixels of an orthographic image: x comes from the row and y from the column, and the height is what is stored.
struct OrthographicPlaces
{
    float resolutionX, resolutionY, offsetX, offsetY;

    template <class V>
    Place<V> operator()(V row, V column, V value) const
    {
        return {scaled(row, V(offsetY), V(resolutionY)), scaled(column, V(offsetX), V(resolutionX)), value};
    }

    /// Whether a place counts for the corner of the image as it was: where its point counts.
    template <class V, class Mask>
    static Mask anchors(const Place<V>& /*own*/, Mask isPoint)
    {
        return isPoint;
    }
};

/// Pixels of a perspective image: lines of sight through an optical centre, x from the column and y from the row.
struct PerspectivePlaces
{
    PerspectiveInFloat rule;
    float invalid;

    template <class V>
    Place<V> operator()(V row, V column, V value) const
    {
        const V depth = rule.depth(value);
        return {rule.x(column, depth), rule.y(row, depth), select(value == V(invalid), V(kNoHeight), depth)};
    }

    /// Where its own depth is one.
    template <class V, class Mask>
    static Mask anchors(const Place<V>& own, Mask /*isPoint*/)
    {
        return isHeight(own.z);
    }
};

/// @param p0, p1, p2, p3  the image's parameters; height resolution and offset are those of its grid
template <class T>
PerspectivePlaces perspectivePlaces(const NoxRangeImage& image, float p0, float p1, float p2, float p3)
{
    const float resolutionZ = isScaled<T> ? static_cast<float>(image.ResolutionZ()) : 1.0f;
    const float offsetZ = isScaled<T> ? static_cast<float>(image.OffsetZ()) : 0.0f;
    float invalid = -std::numeric_limits<float>::infinity();  // which the invalid double becomes
    if constexpr (!std::is_same_v<T, double>) invalid = static_cast<float>(Element<T>::invalid);
    return {{p2, p3, resolutionZ, p0, p1, offsetZ}, invalid};
}

/// The first three rows of a pose in single precision, acting on columns (x, y, z, 1).
struct FloatPose
{
    float m[12];

    template <class V>
    Place<V> operator()(const Place<V>& p) const
    {
        return {p.x * V(m[0]) + p.y * V(m[1]) + p.z * V(m[2]) + V(m[3]),
                p.x * V(m[4]) + p.y * V(m[5]) + p.z * V(m[6]) + V(m[7]),
                p.x * V(m[8]) + p.y * V(m[9]) + p.z * V(m[10]) + V(m[11])};
    }

    /// Whether a moved place is a point: its height is one, and its pixel was no marker, whatever the pose does to
    /// that.
    template <class V>
    static auto isPoint(const Place<V>& own, const Place<V>& moved)
    {
        return both(own.z > V(kNoHeight), isHeight(moved.z));
    }
};

}  // namespace nox
