#pragma once

#include <NoxVector3d.h>
#include <NoxVector3dArray.h>

#include "data/ElementType.h"

#include <oneapi/tbb/blocked_range.h>

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace nox {

/// A grid step in world units, for one float or for lanes of them.
template <class V>
V scaled(V place, V offset, V resolution)
{
    return (place - offset) * resolution;
}

/// Type 0: x comes from the row and y from the column; a NaN is no measurement.
template <class T>
struct Orthographic
{
    float resolutionX, resolutionY, offsetX, offsetY, resolutionZ, offsetZ;
    T invalid = Element<T>::invalid;

    /// Further than 1e-6 from the invalid value. With the element type's own this is Element<T>::clears.
    bool keeps(T value) const
    {
        if constexpr (isScaled<T>)
            return value != invalid;
        else
            return std::abs(static_cast<float>(value - invalid)) > 1e-6;
    }

    float x(std::size_t row) const { return scaled(static_cast<float>(row), offsetY, resolutionY); }
    float y(int column) const { return scaled(static_cast<float>(column), offsetX, resolutionX); }
    float z(T value) const
    {
        const auto height = static_cast<float>(value);
        return isScaled<T> ? scaled(height, offsetZ, resolutionZ) : height;
    }

    NoxVector3d point(std::size_t row, int column, T value) const { return {x(row), y(column), z(value)}; }
};

/// Type 1: lines of sight through an optical centre; x comes from the column and y from the row, and a NaN is kept.
template <class T>
struct Perspective
{
    double centreColumn, centreRow, scaleX, scaleY, resolutionZ, offsetZ;

    bool keeps(T value) const { return !Element<T>::isMarker(value); }

    NoxVector3d point(std::size_t row, int column, T value) const
    {
        const auto z = static_cast<float>((static_cast<double>(value) - offsetZ) * resolutionZ);
        return {static_cast<float>((column - centreColumn) * static_cast<double>(z) * scaleX),
                static_cast<float>((static_cast<double>(row) - centreRow) * static_cast<double>(z) * scaleY), z};
    }
};

/// The same in single precision, for one float or for lanes of them.
struct PerspectiveInFloat
{
    float scaleX, scaleY, resolutionZ, centreColumn, centreRow, offsetZ;

    template <class V>
    V depth(V value) const
    {
        return scaled(value, V(offsetZ), V(resolutionZ));
    }
    template <class V>
    V x(V column, V depth) const
    {
        return scaled(column, V(centreColumn), V(scaleX)) * depth;
    }
    template <class V>
    V y(V row, V depth) const
    {
        return scaled(row, V(centreRow), V(scaleY)) * depth;
    }
};

/// Rows of heights, `step` bytes apart.
template <class T>
struct Rows
{
    const unsigned char* first;
    std::size_t step;
    int width;

    const T* operator[](std::size_t row) const { return reinterpret_cast<const T*>(first + row * step); }
};

template <class T>
Rows<T> packedRows(const T* first, int width)
{
    return {reinterpret_cast<const unsigned char*>(first), static_cast<std::size_t>(width) * sizeof(T), width};
}

/// Points in plain x y z triples.
struct IntoTriples
{
    float* points;

    void operator()(std::size_t place, const NoxVector3d& point) const
    {
        points[place * 3] = point.X();
        points[place * 3 + 1] = point.Y();
        points[place * 3 + 2] = point.Z();
    }
};

/// Points in an array that checks every place.
struct IntoArray
{
    NoxVector3dArray* points;

    void operator()(std::size_t place, const NoxVector3d& point) const
    {
        points->Replace(static_cast<int>(place), point);
    }
};

struct WithoutColors
{
    void operator()(std::size_t /*place*/, std::size_t /*pixel*/) const {}
};

/// Colours of 1 (gray), 3 or 4 bytes a pixel become four bytes a point, the last of them 255.
struct WithColors
{
    const unsigned char* source;
    unsigned char* destination;
    int channels;

    static bool serves(int channels) { return channels == 1 || channels == 3 || channels == 4; }

    void operator()(std::size_t place, std::size_t pixel) const
    {
        const unsigned char* from = source + pixel * static_cast<std::size_t>(channels);
        const int next = channels == 1 ? 0 : 1;
        const unsigned char color[4] = {from[0], from[next], from[2 * next], 255};
        std::copy_n(color, 4, destination + place * 4);
    }
};

/// Appends what the valid pixels of one row give, from a column on, behind the first `count` points.
/// @return the new count
template <class T, class Rule, class Points, class Colors>
std::size_t appendRow(const Rows<T>& rows, std::size_t row, int column, Rule rule, Points points, Colors colors,
                      std::size_t count)
{
    const T* values = rows[row];
    const std::size_t firstPixel = row * static_cast<std::size_t>(rows.width);
    for (; column < rows.width; ++column) {
        if (!rule.keeps(values[column])) continue;
        points(count, rule.point(row, column, values[column]));
        colors(count, firstPixel + static_cast<std::size_t>(column));
        ++count;
    }
    return count;
}

template <class T, class Rule, class Points, class Colors>
std::size_t appendRows(const tbb::blocked_range<std::size_t>& range, const Rows<T>& rows, const Rule& rule,
                       Points points, Colors colors, std::size_t count)
{
    for (std::size_t row = range.begin(); row != range.end(); ++row)
        count = appendRow(rows, row, 0, rule, points, colors, count);
    return count;
}

}  // namespace nox
