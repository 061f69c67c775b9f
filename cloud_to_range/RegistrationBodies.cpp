#include <CloudToRangeBodies.h>

#include "cloud_to_range/RegistrationRule.h"
#include "data/MatContainer.h"
#include "data/Memory.h"

namespace NOXEL {

namespace {

using Range = tbb::blocked_range<std::size_t>;

cv::Mat zeroPlane(int rows, int columns, int channels)
{
    cv::Mat plane = nox::newPlane(rows, columns, nox::matType(CV_32F, channels));
    plane.setTo(0.0);
    return plane;
}

float* dataOf(const cv::Mat& plane) { return reinterpret_cast<float*>(plane.data); }

void add(cv::Mat& plane, const cv::Mat& other) noexcept
{
    float* to = dataOf(plane);
    const float* from = dataOf(other);
    const std::size_t count = plane.total() * static_cast<std::size_t>(plane.channels());
    for (std::size_t i = 0; i < count; ++i) to[i] += from[i];
}

/// Spreads a range of points over the planes of a body; colour(i) gives the values of point i.
template <int Colors, class Body, class Color>
void registerRange(Body& body, const Range& range, float* colorSums, std::size_t stride, const Color& color)
{
    for (std::size_t i = range.begin(); i != range.end(); ++i) {
        const NOXEL3D::MVector3f p = body.points[i];
        if (!nox::isHeight(p.z())) continue;
        const std::array<float, Colors> values = color(i);
        nox::forReachedCells(p.x(), p.y(), body.width, body.height, [&](auto column, auto row, float r2) {
            const auto c = static_cast<std::size_t>(row * body.width + column);
            nox::Cells<float, Colors> cell{body.weightedSumData[c], body.weightsData[c], body.referenceData[c], {}};
            std::copy_n(colorSums + c * stride, Colors, cell.color.data());
            cell.take(p.z(), nox::weightAt(r2), values, body.threshold);
            body.weightedSumData[c] = cell.sum;
            body.weightsData[c] = cell.weight;
            body.referenceData[c] = cell.reference;
            std::copy_n(cell.color.data(), Colors, colorSums + c * stride);
        });
    }
}

template <int Colors>
void registerColored(PCtoRIRegisterPointWithColorNew& body, const Range& range)
{
    const auto stride = static_cast<std::size_t>(body.channels);
    registerRange<Colors>(body, range, body.weightedColorData, stride, [&](std::size_t i) {
        std::array<float, Colors> values;
        std::copy_n(body.colors + i * stride, Colors, values.data());
        return values;
    });
}

}  // namespace

PCtoRIRegisterPointNew::PCtoRIRegisterPointNew(int columns, int rows, NOXEL3D::MVector3f* positions,
                                               double heightThreshold)
    : width(columns),
      height(rows),
      points(positions),
      threshold(heightThreshold),
      weightedSum(zeroPlane(rows, columns, 1)),
      weights(zeroPlane(rows, columns, 1)),
      reference(nox::newPlane(rows, columns, CV_32F)),
      weightedSumData(dataOf(weightedSum)),
      weightsData(dataOf(weights)),
      referenceData(dataOf(reference))
{
}

PCtoRIRegisterPointNew::PCtoRIRegisterPointNew(const PCtoRIRegisterPointNew& other, tbb::split)
    : PCtoRIRegisterPointNew(other.width, other.height, other.points, other.threshold)
{
}

void PCtoRIRegisterPointNew::operator()(const Range& range)
{
    reference.setTo(nox::kNoReference);
    registerRange<0>(*this, range, nullptr, 0, [](std::size_t) { return std::array<float, 0>{}; });
}

void PCtoRIRegisterPointNew::join(const PCtoRIRegisterPointNew& other) noexcept
{
    add(weightedSum, other.weightedSum);
    add(weights, other.weights);
    add(reference, other.reference);
}

PCtoRIRegisterPointWithColorNew::PCtoRIRegisterPointWithColorNew(int columns, int rows, NOXEL3D::MVector3f* positions,
                                                                 float heightThreshold, unsigned char* colorBytes,
                                                                 int colorChannels)
    : width(columns),
      height(rows),
      points(positions),
      threshold(heightThreshold),
      colors(colorBytes),
      channels(colorChannels),
      weightedSum(zeroPlane(rows, columns, 1)),
      weights(zeroPlane(rows, columns, 1)),
      reference(nox::newPlane(rows, columns, CV_32F)),
      weightedColor(zeroPlane(rows, columns, std::max(colorChannels, 1))),
      weightedSumData(dataOf(weightedSum)),
      weightsData(dataOf(weights)),
      referenceData(dataOf(reference)),
      weightedColorData(dataOf(weightedColor))
{
}

PCtoRIRegisterPointWithColorNew::PCtoRIRegisterPointWithColorNew(const PCtoRIRegisterPointWithColorNew& other,
                                                                 tbb::split)
    : PCtoRIRegisterPointWithColorNew(other.width, other.height, other.points, other.threshold, other.colors,
                                      other.channels)
{
}

void PCtoRIRegisterPointWithColorNew::operator()(const Range& range)
{
    reference.setTo(nox::kNoReference);
    switch (nox::colorValues(channels)) {
        case 1: return registerColored<1>(*this, range);
        case 3: return registerColored<3>(*this, range);
    }
}

void PCtoRIRegisterPointWithColorNew::join(const PCtoRIRegisterPointWithColorNew& other) noexcept
{
    add(weightedSum, other.weightedSum);
    add(weights, other.weights);
    add(reference, other.reference);
    add(weightedColor, other.weightedColor);
}

void PointCloudToRangeImageReplaceValueNew::operator()(const Range& rows) const
{
    const auto columns = static_cast<std::size_t>(std::max(width, 0));
    for (std::size_t row = rows.begin(); row != rows.end(); ++row) {
        const float* sum = weightedSum->ptr<float>(static_cast<int>(row));
        const float* weight = weights->ptr<float>(static_cast<int>(row));
        float* out = image + row * columns;
        for (std::size_t i = 0; i < columns; ++i) out[i] = nox::meanOrInvalid(sum[i], weight[i]);
    }
}

void PointCloudToRangeImageReplaceValueWithColorNew::operator()(const Range& rows) const
{
    const int values = nox::colorValues(channels);
    if (values == 0) return;
    const auto columns = static_cast<std::size_t>(std::max(width, 0));
    const auto stride = static_cast<std::size_t>(channels);
    for (std::size_t row = rows.begin(); row != rows.end(); ++row) {
        const float* sum = weightedSum->ptr<float>(static_cast<int>(row));
        const float* weight = weights->ptr<float>(static_cast<int>(row));
        const float* colorSum = weightedColor->ptr<float>(static_cast<int>(row));
        float* out = image + row * columns;
        unsigned char* color = colors + row * columns * stride;
        for (std::size_t i = 0; i < columns; ++i, colorSum += stride, color += stride) {
            const bool reached = weight[i] > 0.0f;
            if (reached) out[i] = sum[i] / weight[i];
            for (int k = 0; k < values; ++k) color[k] = reached ? nox::meanColor(colorSum[k], weight[i]) : 0;
        }
    }
}

}  // namespace NOXEL
