#pragma once

#include "posture/Canvas.h"
#include "posture/Projection.h"

#include <algorithm>
#include <cstdint>
#include <limits>

namespace nox {

/// Eight neighbouring places before and behind the pose, which of them are points, and which count for the corner of
/// the image as it was.
struct EightPlaces
{
    Place<Float8> own, moved;
    Float8 isPoint, anchors;
};

/// Columns from `column` on.
inline Float8 eightColumns(int column)
{
    const __m128i first = _mm_add_epi32(_mm_set1_epi32(column), _mm_setr_epi32(0, 1, 2, 3));
    return floats(Int8{first, _mm_add_epi32(first, _mm_set1_epi32(4))});
}

/// Up to eight values, in place of those missing the invalid one.
template <class T>
Float8 upToEightFloats(const T* values, int count)
{
    if (count >= 8) return eightFloats(values);
    T padded[8];
    std::fill_n(padded, 8, Element<T>::invalid);
    std::copy_n(values, count, padded);
    return eightFloats(padded);
}

/// The pixels of an image, moved by its pose.
template <class T, class Places>
struct PosedImage
{
    Rows<T> rows;
    Places places;
    FloatPose pose;

    EightPlaces eight(int row, int column, int count) const
    {
        const T* pixels = rows[static_cast<std::size_t>(row)] + column;
        askForNextRow(pixels);
        const Float8 value = upToEightFloats(pixels, count);
        const Place<Float8> own = places(Float8(static_cast<float>(row)), eightColumns(column), value);
        const Place<Float8> moved = pose(own);
        const Float8 isPoint = FloatPose::isPoint(own, moved);
        return {own, moved, isPoint, Places::anchors(own, isPoint)};
    }

private:
    /// The strips that a tile reads lie below each other, too short for the processor to foresee the next. Behind the
    /// last row nothing is read.
    void askForNextRow(const T* pixels) const
    {
        const auto below = reinterpret_cast<std::uintptr_t>(pixels) + rows.step;
        _mm_prefetch(reinterpret_cast<const char*>(below), _MM_HINT_T0);  // NOLINT(performance-no-int-to-ptr)
    }
};

/// The cells of canvas planes that stand already.
struct PlanePoints
{
    Rows<float> x, y, z;

    EightPlaces eight(int row, int column, int count) const
    {
        const auto from = [&](const Rows<float>& plane) {
            return upToEightFloats(plane[static_cast<std::size_t>(row)] + column, count);
        };
        const Place<Float8> place{from(x), from(y), from(z)};
        return {place, place, isHeight(place.z), isHeight(place.z)};
    }
};

template <class Source>
void readStrip(Source source, int row, int column, int count, Strip& strip)
{
    const Float8 none(std::numeric_limits<float>::quiet_NaN());
    for (int i = 0; i < count; i += 8) {
        const EightPlaces eight = source.eight(row, column + i, count - i);
        _mm256_store_ps(strip.x + i, select(eight.isPoint, eight.moved.x, none).lanes);
        _mm256_store_ps(strip.y + i, eight.moved.y.lanes);
        _mm256_store_ps(strip.z + i, eight.moved.z.lanes);
    }
}

/// The first lane of eight that `reduce` brings down to one.
template <class Reduce>
float overLanes(Float8 a, const Reduce& reduce)
{
    a = reduce(a, Float8(_mm256_permute2f128_ps(a.lanes, a.lanes, 1)));
    a = reduce(a, Float8(_mm256_permute_ps(a.lanes, _MM_SHUFFLE(1, 0, 3, 2))));
    a = reduce(a, Float8(_mm256_permute_ps(a.lanes, _MM_SHUFFLE(2, 3, 0, 1))));
    return _mm256_cvtss_f32(a.lanes);
}

template <class Source>
Bounds measureStrip(Source source, int row, int column, int count)
{
    const Float8 over(Bounds().minX), under(Bounds().maxX);
    Float8 minX = over, minY = over, maxX = under, maxY = under, ownMinX = over, ownMinY = over;
    for (int i = 0; i < count; i += 8) {
        const EightPlaces eight = source.eight(row, column + i, count - i);
        minX = smaller(select(eight.isPoint, eight.moved.x, over), minX);
        minY = smaller(select(eight.isPoint, eight.moved.y, over), minY);
        maxX = larger(select(eight.isPoint, eight.moved.x, under), maxX);
        maxY = larger(select(eight.isPoint, eight.moved.y, under), maxY);
        ownMinX = smaller(select(eight.anchors, eight.own.x, over), ownMinX);
        ownMinY = smaller(select(eight.anchors, eight.own.y, over), ownMinY);
    }
    const auto smallest = [](Float8 a, Float8 b) { return smaller(a, b); };
    const auto largest = [](Float8 a, Float8 b) { return larger(a, b); };
    return {overLanes(minX, smallest), overLanes(minY, smallest),    overLanes(maxX, largest),
            overLanes(maxY, largest),  overLanes(ownMinX, smallest), overLanes(ownMinY, smallest)};
}

/// A source as a part of the canvas. Its pixels outlive it.
template <class Source>
CanvasPart canvasPart(int width, int height, const Source& source)
{
    return {width, height,
            [source](int row, int column, int count, Strip& strip) { readStrip(source, row, column, count, strip); },
            [source](int row, int column, int count) { return measureStrip(source, row, column, count); }};
}

}  // namespace nox
