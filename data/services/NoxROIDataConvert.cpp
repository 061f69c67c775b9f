#include <NoxROIDataConvert.h>

#include "data/Checked.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <utility>

namespace NOXEL {

namespace {

using std::int64_t;

constexpr double pi = 3.14159265358979323846;

/// Columns or rows, both ends included; empty when the last stands before the first.
struct Span
{
    int64_t first, last;
};

Span common(Span a, Span b) { return {std::max(a.first, b.first), std::min(a.last, b.last)}; }

bool anyNaN(std::initializer_list<double> numbers)
{
    return std::any_of(numbers.begin(), numbers.end(), [](double v) { return std::isnan(v); });
}

/// Brings a number to where the products of four of them are finite. No grid reaches that far.
double tamed(double v) { return std::clamp(v, -1e60, 1e60); }

NoxPoint tamed(const NoxPoint& p) { return {tamed(p.X()), tamed(p.Y())}; }

/// The whole numbers from `low` to `high` that lie in 0 .. size - 1; neither is a NaN.
Span clipped(double low, double high, int size)
{
    return {nox::t64(std::ceil(std::clamp(low, 0.0, static_cast<double>(size)))),
            nox::t64(std::floor(std::clamp(high, -1.0, size - 1.0)))};
}

/// The unit vector of an angle, x along the columns and y up. Exact for the axes, and exactly on the diagonals.
struct Direction
{
    double x, y;

    explicit Direction(double degrees)
    {
        const double angle = std::fmod(degrees, 360.0);
        const double quarters = std::round(angle / 90.0);
        const double rest = angle - 90.0 * quarters;
        const double c = std::cos(rest * (pi / 180.0));
        const double s = std::abs(rest) == 45.0 ? std::copysign(c, rest) : std::sin(rest * (pi / 180.0));
        x = c;
        y = s;
        for (int turns = nox::t32(quarters) & 3; turns > 0; --turns) {
            const double before = x;
            x = -y;
            y = before;
        }
    }
};

/// The last column of `range` that is inside, or the one before the range when none is. The columns inside come first.
/// The guess may be wrong, or a NaN: the answer is that of the predicate alone.
template <class Inside>
int64_t lastInside(double guess, Span range, const Inside& inside)
{
    int64_t in = range.first - 1, out = range.last + 1;
    const auto probe = [&](int64_t column) {
        if (in < column && column < out) (inside(static_cast<double>(column)) ? in : out) = column;
    };
    if (range.first <= range.last) {
        const int64_t nearby = std::clamp(nox::t64(std::floor(guess)), range.first, range.last);
        probe(nearby);
        probe(in == nearby ? nearby + 1 : nearby - 1);
    }
    while (out - in > 1) probe(in + (out - in) / 2);  // NOLINT(bugprone-infinite-loop): the probe moves one of them
    return in;
}

/// Collects the spans of one row after another as runs.
class Raster
{
public:
    Raster(std::vector<NoxRun>* runs, int width, int height) : runs_(*runs), width_(width), height_(height)
    {
        runs_.clear();
    }

    Span columns() const { return {0, width_ - 1}; }
    Span columns(double low, double high) const { return clipped(low, high, width_); }

    /// Calls `row(r)` for the rows of the grid from `low` to `high`; it adds the spans of that row in any order.
    template <class Row>
    void eachRow(double low, double high, const Row& row)
    {
        const Span rows = clipped(low, high, height_);
        if (rows.first <= rows.last) runs_.reserve(runs_.size() + static_cast<std::size_t>(rows.last - rows.first + 1));
        for (int64_t r = rows.first; r <= rows.last; ++r) {
            spans_.clear();
            row(static_cast<double>(r));
            finish(r);
        }
    }

    void add(Span span)
    {
        if (span.first <= span.last) spans_.push_back(span);
    }

    /// Columns that lie inside a convex figure, which is there or nearest in column `middle` of this row and would
    /// reach `half` to both sides of it.
    template <class Inside>
    Span convex(double middle, double half, const Inside& inside) const
    {
        const int64_t left = columns(-1.0, middle).last;
        const auto outside = [&](double column) { return !inside(column); };
        return {lastInside(middle - half, {0, left}, outside) + 1,
                lastInside(middle + half, {left + 1, width_ - 1}, inside)};
    }

    /// Columns with slope * (column - origin) + constant >= 0.
    Span halfPlane(double slope, double origin, double constant) const
    {
        const auto inside = [&](double column) { return slope * (column - origin) + constant >= 0.0; };
        const auto outside = [&](double column) { return !inside(column); };
        const double guess = origin - constant / slope;
        if (slope > 0.0) return {lastInside(guess, columns(), outside) + 1, width_ - 1};
        if (slope < 0.0) return {0, lastInside(guess, columns(), inside)};
        return {0, constant >= 0.0 ? width_ - 1 : -1};
    }

private:
    void finish(int64_t row)
    {
        std::sort(spans_.begin(), spans_.end(), [](Span a, Span b) { return a.first < b.first; });
        for (std::size_t i = 0; i < spans_.size();) {
            Span joined = spans_[i];
            while (++i < spans_.size() && spans_[i].first <= joined.last + 1)
                joined.last = std::max(joined.last, spans_[i].last);
            runs_.emplace_back(static_cast<std::int32_t>(row), static_cast<std::int32_t>(joined.first),
                               static_cast<std::int32_t>(joined.last));
        }
    }

    std::vector<NoxRun>& runs_;
    std::vector<Span> spans_;
    int width_, height_;
};

void rasterRect1(Raster& raster, const NoxPoint& a, const NoxPoint& b)
{
    if (anyNaN({a.X(), a.Y(), b.X(), b.Y()})) return;
    const Span columns = raster.columns(std::min(a.X(), b.X()), std::max(a.X(), b.X()));
    raster.eachRow(std::min(a.Y(), b.Y()), std::max(a.Y(), b.Y()), [&](double) { raster.add(columns); });
}

/// The columns of a row that lie in a circle; the open one leaves its outline out.
Span circleColumns(const Raster& raster, const NoxPoint& centre, double radius, double row, bool open)
{
    const double dy = row - centre.Y(), square = radius * radius;
    return raster.convex(centre.X(), std::sqrt(square - dy * dy), [&](double column) {
        const double dx = column - centre.X(), distance = dx * dx + dy * dy;
        return open ? distance < square : distance <= square;
    });
}

void rasterCircle(Raster& raster, const NoxPoint& anywhere, double anyRadius)
{
    if (anyNaN({anywhere.X(), anywhere.Y(), anyRadius}) || anyRadius < 0.0) return;
    const NoxPoint centre = tamed(anywhere);
    const double radius = tamed(anyRadius);
    raster.eachRow(centre.Y() - radius - 1.0, centre.Y() + radius + 1.0,
                   [&](double row) { raster.add(circleColumns(raster, centre, radius, row, false)); });
}

void rasterTorus(Raster& raster, const NoxPoint& anywhere, double radius1, double radius2, double start, double sweep)
{
    if (anyNaN({anywhere.X(), anywhere.Y(), radius1, radius2, start, sweep}) || radius1 < 0.0 || radius2 < 0.0) return;
    const NoxPoint centre = tamed(anywhere);
    const double outer = tamed(std::max(radius1, radius2)), inner = tamed(std::min(radius1, radius2));
    start = tamed(start);
    sweep = std::clamp(sweep, -360.0, 360.0);
    if (sweep < 0.0) start += sweep;
    sweep = std::abs(sweep);
    const Direction from(start), to(start + sweep);

    const auto addSector = [&](Span columns, double up) {
        if (sweep >= 360.0) return raster.add(columns);
        const Span leftOfFrom = raster.halfPlane(-from.y, centre.X(), from.x * up);
        const Span rightOfTo = raster.halfPlane(to.y, centre.X(), -to.x * up);
        if (sweep > 180.0) {
            raster.add(common(columns, leftOfFrom));
            raster.add(common(columns, rightOfTo));
            return;
        }
        if (sweep < 90.0)  // without an angle between them the two half planes would let the opposite ray through
            columns = common(columns, raster.halfPlane(from.x, centre.X(), from.y * up));
        raster.add(common(columns, common(leftOfFrom, rightOfTo)));
    };

    raster.eachRow(centre.Y() - outer - 1.0, centre.Y() + outer + 1.0, [&](double row) {
        const Span ring = circleColumns(raster, centre, outer, row, false);
        const Span hole = circleColumns(raster, centre, inner, row, true);
        const double up = centre.Y() - row;
        if (hole.first > hole.last) return addSector(ring, up);
        addSector({ring.first, hole.first - 1}, up);
        addSector({hole.last + 1, ring.last}, up);
    });
}

void rasterRect2(Raster& raster, const NoxPoint& anywhere, double length1, double length2, double angle)
{
    if (anyNaN({anywhere.X(), anywhere.Y(), length1, length2, angle}) || length1 < 0.0 || length2 < 0.0) return;
    const NoxPoint centre = tamed(anywhere);
    const double half1 = tamed(length1) * 0.5, half2 = tamed(length2) * 0.5;
    const double reach = std::hypot(half1, half2) + 1.0;
    const Direction along(tamed(angle));
    raster.eachRow(centre.Y() - reach, centre.Y() + reach, [&](double row) {
        const double up = centre.Y() - row;
        const auto band = [&](double slope, double constant, double half) {
            return common(raster.halfPlane(slope, centre.X(), half + constant),
                          raster.halfPlane(-slope, centre.X(), half - constant));
        };
        raster.add(common(band(along.x, along.y * up, half1), band(-along.y, along.x * up, half2)));
    });
}

void rasterEllipse(Raster& raster, const NoxPoint& anywhere, double radius1, double radius2, double angle)
{
    if (anyNaN({anywhere.X(), anywhere.Y(), radius1, radius2, angle}) || radius1 < 0.0 || radius2 < 0.0) return;
    const NoxPoint centre = tamed(anywhere);
    radius1 = tamed(radius1);
    radius2 = tamed(radius2);
    const double reach = std::max(radius1, radius2) + 1.0;
    const Direction along(tamed(angle));

    // Both coordinates along the axes, multiplied by the other radius, are linear in the column: the ellipse is a
    // circle of radius1 * radius2 in them, and (px, py) the step from one column to the next.
    const double px = radius2 * along.x, py = -radius1 * along.y, step = px * px + py * py;
    const double radius = radius1 * radius2;
    raster.eachRow(centre.Y() - reach, centre.Y() + reach, [&](double row) {
        const double up = centre.Y() - row;
        const double qx = radius2 * along.y * up, qy = radius1 * along.x * up;
        const double middle = step > 0.0 ? centre.X() - (px * qx + py * qy) / step : centre.X();
        const double half = radius * std::sqrt(step - up * up) / step;
        raster.add(raster.convex(middle, half, [&](double column) {
            const double dx = column - centre.X();
            const double u = along.x * dx + along.y * up, v = along.x * up - along.y * dx;
            if (std::abs(u) > radius1 || std::abs(v) > radius2) return false;  // decides where a radius is 0
            return u * radius2 * (u * radius2) + v * radius1 * (v * radius1) <= radius * radius;
        }));
    });
}

/// One edge of an outline, its end of lower y first.
struct Edge
{
    double x, y, bottom, dx, dy;

    Edge(const NoxPoint& from, const NoxPoint& to)
    {
        const bool down = from.Y() <= to.Y();
        const NoxPoint &low = down ? from : to, &high = down ? to : from;
        x = low.X();
        y = low.Y();
        bottom = high.Y();
        dx = high.X() - x;
        dy = bottom - y;
    }

    /// Negative left of the edge, 0 on it; never falls from one column to the next.
    double side(double column, double row) const { return (column - x) * dy - (row - y) * dx; }
};

/// The rows from above to below with the edges that reach them. A column is inside when an odd number of edges passes
/// left of it; whole numbers alone decide, so nothing depends on how close two edges come.
class Outline
{
public:
    Outline(Raster& raster, std::vector<Edge> edges) : raster_(raster), edges_(std::move(edges))
    {
        std::sort(edges_.begin(), edges_.end(), [](const Edge& a, const Edge& b) { return a.y < b.y; });
    }

    void fill()
    {
        double bottom = edges_.front().bottom;
        for (const Edge& edge : edges_) bottom = std::max(bottom, edge.bottom);
        raster_.eachRow(edges_.front().y, bottom, [&](double row) { addRow(row); });
    }

private:
    void addRow(double row)
    {
        for (; next_ < edges_.size() && edges_[next_].y <= row; ++next_) active_.push_back(edges_[next_]);
        active_.erase(std::remove_if(active_.begin(), active_.end(), [&](const Edge& e) { return e.bottom < row; }),
                      active_.end());
        crossings_.clear();
        for (const Edge& edge : active_) addEdge(edge, row);
        std::sort(crossings_.begin(), crossings_.end());
        for (std::size_t i = 0; i + 1 < crossings_.size(); i += 2) raster_.add({crossings_[i] + 1, crossings_[i + 1]});
    }

    /// Adds the part of the edge itself, and notes behind which column it passes unless it only ends here.
    void addEdge(const Edge& edge, double row)
    {
        if (edge.dy == 0.0) {
            raster_.add(raster_.columns(std::min(edge.x, edge.x + edge.dx), std::max(edge.x, edge.x + edge.dx)));
            return;
        }
        const double guess = edge.x + (row - edge.y) / edge.dy * edge.dx;
        const int64_t column = lastInside(guess, raster_.columns(), [&](double c) { return edge.side(c, row) <= 0.0; });
        if (edge.side(static_cast<double>(column), row) == 0.0)
            raster_.add(common({column, column}, raster_.columns()));
        if (row < edge.bottom) crossings_.push_back(column);
    }

    Raster& raster_;
    std::vector<Edge> edges_, active_;
    std::vector<int64_t> crossings_;
    std::size_t next_ = 0;
};

void rasterPolygon(Raster& raster, const NoxPointArray& points)
{
    std::vector<Edge> edges;
    edges.reserve(static_cast<std::size_t>(points.Length()));
    for (int i = 0; i < points.Length(); ++i) {
        const NoxPoint from = points[i], to = points[i + 1 < points.Length() ? i + 1 : 0];
        if (anyNaN({from.X(), from.Y()})) return;
        edges.emplace_back(tamed(from), tamed(to));
    }
    if (!edges.empty()) Outline(raster, std::move(edges)).fill();
}

}  // namespace

long NoxROIDataConvert::ROItoRun(const NoxROI& roi, std::vector<NoxRun>* runs, int width, int height,
                                 int* /*extra*/) const
{
    Raster raster(runs, std::max(width, 0), std::max(height, 0));
    NoxPoint a, b;
    NoxPointArray points;
    double first = 0.0, second = 0.0, third = 0.0, fourth = 0.0;
    if (roi.GetRect1(&a, &b)) {
        rasterRect1(raster, a, b);
    } else if (roi.GetCircle(&a, &first)) {
        rasterCircle(raster, a, first);
    } else if (roi.GetTorus(&a, &first, &second, &third, &fourth)) {
        rasterTorus(raster, a, first, second, third, fourth);
    } else if (roi.GetRect2(&a, &first, &second, &third)) {
        rasterRect2(raster, a, first, second, third);
    } else if (roi.GetEllipse(&a, &first, &second, &third)) {
        rasterEllipse(raster, a, first, second, third);
    } else if (roi.GetPolygon(&points)) {
        rasterPolygon(raster, points);
    } else if (roi.GetPoint(&a)) {
        rasterRect1(raster, a, a);
    } else if (roi.GetLine(&a, &b)) {
        points.Append(a);
        points.Append(b);
        rasterPolygon(raster, points);
    } else {
        rasterRect1(raster, NoxPoint(0, 0), NoxPoint(width, height));
    }
    return 0;
}

}  // namespace NOXEL
