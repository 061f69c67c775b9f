#include <RangeToCloudBodies.h>

#include "range_to_cloud/PixelRules.h"

#include <limits>

namespace {

using RowRange = tbb::blocked_range<std::size_t>;

/// The grid that the fields of a type 0 body tell.
template <class T, class Body>
nox::Orthographic<T> grid(const Body& body, T invalid)
{
    return {body.resolutionX, body.resolutionY, body.offsetX, body.offsetY, body.resolutionZ, body.offsetZ, invalid};
}

template <class T, class Body>
nox::Perspective<T> lines(const Body& body)
{
    const double* p = body.parameter;
    return {p[0], p[1], p[2], p[3], p[4], p[5]};
}

template <class T>
nox::Rows<T> rowsOf(const cv::Mat& mat, int width)
{
    return {mat.data, mat.step[0], width};
}

/// Appends to the body's points behind its shared count.
template <class T, class Body, class Rule, class Points, class Colors>
void append(const Body& body, const RowRange& range, const nox::Rows<T>& rows, const Rule& rule, Points points,
            Colors colors)
{
    const auto count = static_cast<std::size_t>(*body.count);
    *body.count = static_cast<int>(nox::appendRows(range, rows, rule, points, colors, count));
}

template <class T, class Body, class Rule, class Points>
void appendColored(const Body& body, const RowRange& range, const nox::Rows<T>& rows, const Rule& rule, Points points)
{
    if (!nox::WithColors::serves(body.channels)) return;
    append(body, range, rows, rule, points, nox::WithColors{body.sourceColors, body.colors, body.channels});
}

}  // namespace

namespace NOXEL {

void RangeImageToPointCloud_TBB_8U::operator()(const RowRange& range) const
{
    append(*this, range, nox::packedRows(source, width), grid<unsigned char>(*this, 0), nox::IntoTriples{points},
           nox::WithoutColors{});
}

void RangeImageToPointCloud_TBB_8UWithColor::operator()(const RowRange& range) const
{
    appendColored(*this, range, nox::packedRows(source, width), grid<unsigned char>(*this, 0),
                  nox::IntoTriples{points});
}

void RangeImageToPointCloud_TBBSSE_8U::operator()(const RowRange& range) const
{
    constexpr int lanes = 16;
    constexpr float leftOut = std::numeric_limits<float>::max();
    const auto rows = nox::packedRows(source, width);
    const auto rule = grid<unsigned char>(*this, 0);
    const nox::IntoTriples into{points};
    auto place = static_cast<std::size_t>(*count);
    for (std::size_t row = range.begin(); row != range.end(); ++row) {
        const float rowX = rule.x(row);
        int column = 0;
        for (; column < width - lanes; column += lanes) {
            const unsigned char* pixels = rows[row] + column;
            float x[lanes], y[lanes], z[lanes];
            for (int lane = 0; lane < lanes; ++lane) {
                const bool valid = rule.keeps(pixels[lane]);
                x[lane] = valid ? rowX : leftOut;
                y[lane] = valid ? rule.y(column + lane) : leftOut;
                z[lane] = valid ? rule.z(pixels[lane]) : leftOut;
            }
            for (int lane = 0; lane < lanes; ++lane)
                if (leftOut - x[lane] > 1e-6) into(place++, {x[lane], y[lane], z[lane]});
        }
        place = nox::appendRow(rows, row, column, rule, into, nox::WithoutColors{}, place);
    }
    *count = static_cast<int>(place);
}

template <class T>
void RangeImageToPointCloudByTBB<T>::operator()(const RowRange& range) const
{
    append(*this, range, rowsOf<T>(*mat, width), grid<T>(*this, invalid), nox::IntoArray{points}, nox::WithoutColors{});
}

template <class T>
void RangeImageToPointCloudByTBBWithColor<T>::operator()(const RowRange& range) const
{
    appendColored(*this, range, rowsOf<T>(*this->mat, this->width), grid<T>(*this, this->invalid),
                  nox::IntoArray{this->points});
}

template <class T, class D>
void RangeImageToPointCloud_TBB_TYPE1<T, D>::operator()(const RowRange& range) const
{
    append(*this, range, nox::packedRows(source, width), lines<T>(*this), nox::IntoTriples{points},
           nox::WithoutColors{});
}

template <class T, class D>
void RangeImageToPointCloud_TBB_TYPE1WithColor<T, D>::operator()(const RowRange& range) const
{
    appendColored(*this, range, nox::packedRows(source, width), lines<T>(*this), nox::IntoTriples{points});
}

#define NOX_BODIES(T)                                           \
    template struct RangeImageToPointCloudByTBB<T>;             \
    template struct RangeImageToPointCloudByTBBWithColor<T>;    \
    template struct RangeImageToPointCloud_TBB_TYPE1<T, float>; \
    template struct RangeImageToPointCloud_TBB_TYPE1WithColor<T, float>;
NOX_FOR_EACH_ELEMENT(NOX_BODIES)
#undef NOX_BODIES

}  // namespace NOXEL

template <class T>
void RangeImageToPointCloudTBB1<T>::operator()(const RowRange& range) const
{
    const auto rows = nox::packedRows(source, width);
    const nox::PerspectiveInFloat rule{scaleX, scaleY, resolutionZ, centreColumn, centreRow, offsetZ};
    for (std::size_t row = range.begin(); row != range.end(); ++row) {
        const T* heights = rows[row];
        const auto plane = [row](const cv::Mat& mat) { return reinterpret_cast<float*>(mat.data + row * mat.step[0]); };
        float *xs = plane(x), *ys = plane(y), *zs = plane(z);
        for (int column = 0; column < width; ++column) {
            const auto height = static_cast<float>(heights[column]);
            if (height == invalid) continue;
            const float depth = rule.depth(height);
            xs[column] = rule.x(static_cast<float>(column), depth);
            ys[column] = rule.y(static_cast<float>(row), depth);
            zs[column] = depth;
        }
    }
}

#define NOX_BODY(T) template struct RangeImageToPointCloudTBB1<T>;
NOX_FOR_EACH_ELEMENT(NOX_BODY)
#undef NOX_BODY
