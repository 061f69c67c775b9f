#include "posture/Canvas.h"

#include "frame/Parallel.h"

#include <utility>

namespace nox {

Canvas::Canvas(std::vector<CanvasPart> parts) : parts_(std::move(parts))
{
    for (std::size_t part = 0; part < parts_.size(); ++part) {
        rows_ = std::max(rows_, parts_[part].height);
        for (int column = 0; column < parts_[part].width; column += Strip::kLength)
            places_.push_back({part, column, std::min(Strip::kLength, parts_[part].width - column)});
    }
    bounds_.resize(strips());
    forRows(rows_, 0, [&](const tbb::blocked_range<std::size_t>& rows) {
        for (std::size_t row = rows.begin(); row != rows.end(); ++row) {
            Bounds* bounds = bounds_.data() + row * places_.size();
            for (const StripPlace& place : places_) {
                const CanvasPart& part = parts_[place.part];
                if (static_cast<int>(row) < part.height)
                    *bounds = part.measure(static_cast<int>(row), place.column, place.count);
                ++bounds;
            }
        }
    });
}

int Canvas::read(std::size_t strip, Strip& out) const
{
    const auto row = static_cast<int>(strip / places_.size());
    const StripPlace& place = places_[strip % places_.size()];
    const CanvasPart& part = parts_[place.part];
    if (row >= part.height) return 0;
    part.read(row, place.column, place.count, out);
    return place.count;
}

Bounds Canvas::corner() const
{
    Bounds corner;
    for (std::size_t strip = 0; strip < bounds_.size(); ++strip) {
        if (places_[strip % places_.size()].part != 0) continue;
        const Bounds& b = bounds_[strip];
        corner.minX = std::min(corner.minX, b.minX);
        corner.minY = std::min(corner.minY, b.minY);
        corner.ownMinX = std::min(corner.ownMinX, b.ownMinX);
        corner.ownMinY = std::min(corner.ownMinY, b.ownMinY);
    }
    return corner;
}

}  // namespace nox
