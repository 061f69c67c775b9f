#pragma once

/// A point of an image in double: x along the columns, y along the rows.
class NoxPoint
{
public:
    constexpr NoxPoint() noexcept = default;
    constexpr NoxPoint(double x, double y) noexcept : x_(x), y_(y) {}

    constexpr double X() const noexcept { return x_; }
    constexpr double Y() const noexcept { return y_; }

private:
    double x_ = 0.0, y_ = 0.0;
};
