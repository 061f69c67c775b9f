#include <PostureBodies.h>

#include "data/Checked.h"
#include "data/ElementType.h"
#include "data/Memory.h"
#include "posture/Projection.h"

#include <algorithm>
#include <cstdint>
#include <type_traits>

namespace NOXEL {

namespace {

using Range = tbb::blocked_range<std::size_t>;

cv::Mat zeroGrid(int rows, int columns)
{
    cv::Mat grid = nox::newPlane(rows, columns, CV_32F);
    grid.setTo(0.0f);
    return grid;
}

/// Adds the points of canvas rows to the grids of a body.
template <class Body>
void addPoints(const Body& body, const Range& rows)
{
    const int columns = std::min({body.canvasColumns, body.x.cols, body.y.cols, body.z.cols});
    const auto last = std::min(rows.end(), static_cast<std::size_t>(std::min({body.x.rows, body.y.rows, body.z.rows})));
    const auto addOne = [&](std::int64_t column, std::int64_t row, float z) {
        if (column < 0 || column >= body.outputColumns || row < 0 || row >= body.outputRows) return;
        body.sumData[row * body.outputColumns + column] += z;
        body.countData[row * body.outputColumns + column] += 1.0f;
    };
    for (std::size_t r = rows.begin(); r < last; ++r) {
        const auto canvasRow = static_cast<int>(r);
        const float *x = body.x.template ptr<float>(canvasRow), *y = body.y.template ptr<float>(canvasRow);
        const float* z = body.z.template ptr<float>(canvasRow);
        for (int c = 0; c < columns; ++c) {
            if (!nox::isHeight(z[c])) continue;
            const std::int64_t column = nox::t32(y[c]), row = nox::t32(x[c]);
            addOne(column, row, z[c]);
            addOne(column + 1, row, z[c]);
            addOne(column, row + 1, z[c]);
            addOne(column + 1, row + 1, z[c]);
        }
    }
}

template <class Body>
int copyGrids(const Body& body, float* sumOut, float* countOut)
{
    const auto cells = static_cast<std::size_t>(nox::pixelCount(body.outputColumns, body.outputRows));
    if (sumOut != body.sumData) std::copy_n(body.sumData, cells, sumOut);
    if (countOut != body.countData) std::copy_n(body.countData, cells, countOut);
    return 0;
}

/// Adds `amount` in the element type, the low bits of the truncated sum where that is an integer one.
template <class T>
void raise(T& element, double amount)
{
    const double sum = static_cast<double>(element) + amount;
    if constexpr (std::is_integral_v<T>)
        element = static_cast<T>(nox::t64(sum));
    else
        element = static_cast<T>(sum);
}

/// Height of the plane above its reference at (x, y); the vectors' numbers are taken as `Number`.
template <class Number>
double heightAt(Number x, Number y, const NoxVector3d& a, const NoxVector3d& b, double offset)
{
    return static_cast<double>(((x - a.X()) * b.X() + (y - a.Y()) * b.Y()) / b.Z() - a.Z()) + offset;
}

/// Calls change(elements) with the destination's elements in their type, when it is as the source is.
template <class Change>
void changeElements(const NoxRangeImage& source, const NoxRangeImage& destination, const Change& change)
{
    if (source.Width() != destination.Width() || source.Height() != destination.Height() ||
        source.DataType() != destination.DataType())
        return;
    nox::dispatch(source.DataType(), nox::Elements{}, [&](auto tag) {
        using T = typename decltype(tag)::type;
        change(reinterpret_cast<T*>(destination.Data()));
    });
}

/// The height of the plane at a pixel of the source's grid.
double heightAtPixel(std::int64_t pixel, const NoxRangeImage& source, const NoxVector3d& a, const NoxVector3d& b,
                     double offset)
{
    const std::int64_t column = pixel % source.Width(), row = pixel / source.Width();
    const double x = static_cast<double>(column) * source.ResolutionX() + source.OffsetX();
    const double y = static_cast<double>(row) * source.ResolutionY() + source.OffsetY();
    return heightAt(x, y, a, b, offset);
}

}  // namespace

PclAddToRangeTBB::PclAddToRangeTBB(cv::Mat xPlane, cv::Mat yPlane, cv::Mat zPlane, int columns, int rows, int rowsOut,
                                   int columnsOut)
    : canvasColumns(columns),
      canvasRows(rows),
      outputRows(rowsOut),
      outputColumns(columnsOut),
      x(std::move(xPlane)),
      y(std::move(yPlane)),
      z(std::move(zPlane)),
      sum(zeroGrid(rowsOut, columnsOut)),
      count(zeroGrid(rowsOut, columnsOut)),
      sumData(sum.ptr<float>()),
      countData(count.ptr<float>())
{
}

PclAddToRangeTBB::PclAddToRangeTBB(PclAddToRangeTBB& other, tbb::split)
    : PclAddToRangeTBB(other.x, other.y, other.z, other.canvasColumns, other.canvasRows, other.outputRows,
                       other.outputColumns)
{
}

void PclAddToRangeTBB::operator()(const Range& rows) { addPoints(*this, rows); }

void PclAddToRangeTBB::join(const PclAddToRangeTBB& other) noexcept
{
    const auto cells = static_cast<std::size_t>(nox::pixelCount(outputColumns, outputRows));
    for (std::size_t i = 0; i < cells; ++i) sumData[i] += other.sumData[i];
    for (std::size_t i = 0; i < cells; ++i) countData[i] += other.countData[i];
}

int PclAddToRangeTBB::get(float* sumOut, float* countOut)
{
    addPoints(*this, {0, static_cast<std::size_t>(std::max(canvasRows, 0))});
    return copyGrids(*this, sumOut, countOut);
}

PclAddToRangeTBB1::PclAddToRangeTBB1(cv::Mat xPlane, cv::Mat yPlane, cv::Mat zPlane, int columns, int rowsOut,
                                     int columnsOut, float* sumGrid, float* countGrid)
    : canvasColumns(columns),
      outputRows(rowsOut),
      outputColumns(columnsOut),
      x(std::move(xPlane)),
      y(std::move(yPlane)),
      z(std::move(zPlane)),
      sumData(sumGrid),
      countData(countGrid)
{
}

PclAddToRangeTBB1::PclAddToRangeTBB1(PclAddToRangeTBB1& other, tbb::split) : PclAddToRangeTBB1(other) {}

void PclAddToRangeTBB1::operator()(const Range& rows) { addPoints(*this, rows); }

void PclAddToRangeTBB1::join(const PclAddToRangeTBB1& /*other*/) noexcept {}

int PclAddToRangeTBB1::get(float* sumOut, float* countOut)
{
    addPoints(*this, {0, static_cast<std::size_t>(z.rows)});
    return copyGrids(*this, sumOut, countOut);
}

void PlaneCorrectionTBB::Set(const NoxVector3d* point, const NoxVector3d* normal, const int* indices, int count,
                             double offset, const NoxRangeImage& source, NoxRangeImage* destination)
{
    a_ = *point;
    b_ = *normal;
    indices_ = indices;
    count_ = count;
    offset_ = offset;
    source_ = source;
    destination_ = *destination;
}

void PlaneCorrectionTBB::operator()(const Range& listed) const
{
    const std::int64_t pixels = nox::pixelCount(source_);
    const auto last = std::min(listed.end(), static_cast<std::size_t>(std::max(count_, 0)));
    changeElements(source_, destination_, [&](auto* elements) {
        for (std::size_t i = listed.begin(); i < last; ++i) {
            const std::int64_t pixel = indices_[i];
            if (pixel < 0 || pixel >= pixels) continue;
            raise(elements[pixel], heightAtPixel(pixel, source_, a_, b_, offset_));
        }
    });
}

void PlaneCorrectionTBB::Get(NoxRangeImage* out) const { *out = destination_.DeepCopy(); }

void PlaneCorrectionTBB2::Set(const NoxVector3d* point, const NoxVector3d* normal, double offset,
                              const NoxRangeImage& source, NoxRangeImage* destination)
{
    a_ = *point;
    b_ = *normal;
    offset_ = offset;
    source_ = source;
    destination_ = *destination;
}

void PlaneCorrectionTBB2::operator()(const Range& pixels) const
{
    const auto last = std::min(pixels.end(), static_cast<std::size_t>(nox::pixelCount(source_)));
    changeElements(source_, destination_, [&](auto* elements) {
        for (std::size_t i = pixels.begin(); i < last; ++i)
            raise(elements[i], heightAtPixel(static_cast<std::int64_t>(i), source_, a_, b_, offset_));
    });
}

void PlaneCorrectionTBB2::Get(NoxRangeImage* out) const { *out = destination_; }

void PlaneCorrectionTBB3::Set(const NoxVector3d* point, const NoxVector3d* normal, int /*first*/, int /*second*/,
                              int /*third*/, int /*fourth*/, double offset, const NoxRangeImage& source,
                              NoxRangeImage* destination)
{
    a_ = *point;
    b_ = *normal;
    offset_ = offset;
    source_ = source;
    destination_ = *destination;
}

void PlaneCorrectionTBB3::operator()(const tbb::blocked_range2d<std::size_t, std::size_t>& rectangle) const
{
    const auto width = static_cast<std::size_t>(std::max(source_.Width(), 0));
    const auto lastRow = std::min(rectangle.rows().end(), static_cast<std::size_t>(std::max(source_.Height(), 0)));
    const auto lastColumn = std::min(rectangle.cols().end(), width);
    changeElements(source_, destination_, [&](auto* elements) {
        for (std::size_t row = rectangle.rows().begin(); row < lastRow; ++row)
            for (std::size_t column = rectangle.cols().begin(); column < lastColumn; ++column)
                raise(elements[row * width + column],
                      heightAt(static_cast<float>(column), static_cast<float>(row), a_, b_, offset_));
    });
}

void PlaneCorrectionTBB3::Get(NoxRangeImage* /*out*/) const {}

}  // namespace NOXEL
