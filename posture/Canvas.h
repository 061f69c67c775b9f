#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <vector>

namespace nox {

/// Up to 64 neighbouring places of a canvas row, a multiple of eight of them written. The x of what is no point is a
/// NaN, which lies in no grid.
struct Strip
{
    static constexpr int kLength = 64;

    alignas(32) float x[kLength];
    alignas(32) float y[kLength];
    alignas(32) float z[kLength];
};

/// A rectangle that holds points; without any its first side is above its last.
struct Bounds
{
    static constexpr float kNone = std::numeric_limits<float>::max();

    float minX = kNone, minY = kNone;
    float maxX = -std::numeric_limits<float>::infinity(), maxY = -std::numeric_limits<float>::infinity();
    float ownMinX = kNone, ownMinY = kNone;  ///< of the places before the pose
};

/// Places that stand side by side with others on the canvas: the pixels of one image.
struct CanvasPart
{
    int width;
    int height;
    /// Places of a row from a column on, at most a strip.
    std::function<void(int row, int column, int count, Strip& strip)> read;
    /// What `read` would give, measured only.
    std::function<Bounds(int row, int column, int count)> measure;
};

/// Points of several images in the order in which they are added up: row by row, in a row image by image, columns
/// ascending.
///
/// No plane stands behind it. The points are reckoned again each time that they are read, a strip at once, which takes
/// less time than fetching them from memory would.
class Canvas
{
public:
    explicit Canvas(std::vector<CanvasPart> parts);

    int rows() const { return rows_; }
    std::size_t strips() const { return static_cast<std::size_t>(rows_) * places_.size(); }

    /// How many places a strip has, counted or not as points; 0 below the last row of its image.
    int read(std::size_t strip, Strip& out) const;
    const Bounds& bounds(std::size_t strip) const { return bounds_[strip]; }

    /// The smallest coordinates of the first image, before the pose and behind it.
    Bounds corner() const;

private:
    struct StripPlace
    {
        std::size_t part;
        int column;
        int count;
    };

    std::vector<CanvasPart> parts_;
    std::vector<StripPlace> places_;  // of a row
    int rows_ = 0;
    std::vector<Bounds> bounds_;
};

}  // namespace nox
