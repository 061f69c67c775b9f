#include <Nox3DSampling.h>

#include <NoxPlatform.h>
#include <NoxResultCodes.h>

#include "data/Checked.h"
#include "data/ElementType.h"
#include "data/FloatingPoint.h"
#include "data/Memory.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>
#include <vector>

namespace NOXEL {

namespace {

using std::int64_t;

enum Method : int { nearest, linear, cubic, area, lanczos, methods };

/// Calls body(row) for all rows, on OpenCV's threads.
template <class Body>
void eachRow(int rows, const Body& body)
{
    cv::parallel_for_(cv::Range(0, rows), [&](const cv::Range& range) {
        for (int row = range.start; row < range.end; ++row) body(row);
    });
}

/// False for the invalid value, which is the lowest of its type, for a NaN and for the infinities.
template <class T>
bool isMeasured(T v)
{
    return v > nox::Element<T>::invalid && v <= std::numeric_limits<T>::max();
}

/// Rounded to the type and kept off its invalid value.
template <class T>
T measured(double v)
{
    constexpr bool isFloat = std::is_floating_point_v<T>;
    const T low =
        isFloat ? std::nextafter(nox::Element<T>::invalid, T(0)) : static_cast<T>(nox::Element<T>::invalid + 1);
    return nox::saturate<T>(std::clamp<double>(v, low, std::numeric_limits<T>::max()));
}

/// Sums over the pixels of a row that hold a measurement; columns count from the middle.
struct Sums
{
    double count = 0.0, column = 0.0, columnSquare = 0.0, height = 0.0, columnHeight = 0.0;
};

double fromMiddle(int i, int size) { return i - 0.5 * (size - 1); }

/// How the heights of an image rise: the plane of least squares.
struct Trend
{
    double perColumn = 0.0, perRow = 0.0;
};

Trend trendOf(const std::vector<Sums>& rows)
{
    double n = 0, c = 0, r = 0, h = 0, cc = 0, cr = 0, rr = 0, ch = 0, rh = 0;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const Sums& s = rows[i];
        const double row = fromMiddle(static_cast<int>(i), static_cast<int>(rows.size()));
        n += s.count, c += s.column, r += row * s.count, h += s.height;
        cc += s.columnSquare, cr += row * s.column, rr += row * row * s.count;
        ch += s.columnHeight, rh += row * s.height;
    }
    if (n == 0.0) return {};
    cc -= c * c / n, cr -= c * r / n, rr -= r * r / n, ch -= c * h / n, rh -= r * h / n;

    Trend trend;
    if (const double determinant = cc * rr - cr * cr; determinant > 1e-9 * cc * rr) {
        trend.perColumn = (ch * rr - rh * cr) / determinant;
        trend.perRow = (rh * cc - ch * cr) / determinant;
    } else if (cc > rr) {
        trend.perColumn = ch / cc;
    } else if (rr > 0.0) {
        trend.perRow = rh / rr;
    }
    return std::isfinite(trend.perColumn + trend.perRow) ? trend : Trend();
}

/// Weighted means of pixels. An area is that of the pixels that are covered; in a direction that grows its rule is the
/// linear one.
void resize(const cv::Mat& source, cv::Mat& target, int method)
{
    constexpr int rule[methods] = {cv::INTER_NEAREST, cv::INTER_LINEAR, cv::INTER_CUBIC, cv::INTER_AREA,
                                   cv::INTER_LANCZOS4};
    const bool widens = target.cols > source.cols, heightens = target.rows > source.rows;
    cv::Mat from = source;
    if (method == area && widens != heightens) {
        from = nox::newPlane(std::min(source.rows, target.rows), std::min(source.cols, target.cols), source.type());
        cv::resize(source, from, from.size(), 0, 0, cv::INTER_AREA);
    }
    cv::resize(from, target, target.size(), 0, 0,
               method == area && (widens || heightens) ? cv::INTER_LINEAR : rule[method]);
}

cv::Mat resized(const cv::Mat& source, cv::Size size, int method)
{
    cv::Mat target = nox::newPlane(size.height, size.width, source.type());
    resize(source, target, method);
    return target;
}

/// For every new pixel of a side the way, in old pixels, from the place that its mean stands for to its own: some at
/// the borders, where the last pixels are repeated, and a little wherever the weights lie uneven about the pixel.
std::vector<double> lag(int from, int to, int method)
{
    cv::Mat places = nox::newPlane(1, from, CV_64F), ones = nox::newPlane(1, from, CV_64F);
    for (int i = 0; i < from; ++i) places.at<double>(i) = fromMiddle(i, from);
    ones.setTo(1.0);
    const cv::Mat means = resized(places, {to, 1}, method), weights = resized(ones, {to, 1}, method);
    std::vector<double> result(static_cast<std::size_t>(to));
    for (int i = 0; i < to; ++i)
        result[static_cast<std::size_t>(i)] =
            fromMiddle(i, to) * from / to - means.at<double>(i) / weights.at<double>(i);
    return result;
}

/// Half of the weight and all of it, less what the rounding of sums of weights takes.
constexpr double enough = 0.5 - 1e-6, whole = 1.0 - 1e-6;

/// The heights' means over the means of a mask, which is 1 for a measurement and 0 for a hole. Where no hole is near,
/// a mean is moved along the trend of the heights to the pixel's own place, which keeps a plane that plane.
template <class T>
void resampleMeans(const cv::Mat& heights, const cv::Mat& colors, int method, NoxRangeImage* result)
{
    const int width = heights.cols, height = heights.rows;
    cv::Mat values = nox::newPlane(height, width, CV_64F), mask = nox::newPlane(height, width, CV_64F);
    std::vector<Sums> sums(static_cast<std::size_t>(height));
    eachRow(height, [&](int row) {
        const T* pixel = heights.ptr<T>(row);
        double *value = values.ptr<double>(row), *weight = mask.ptr<double>(row);
        Sums s;
        for (int i = 0; i < width; ++i) {
            const bool valid = isMeasured(pixel[i]);
            const double c = valid ? fromMiddle(i, width) : 0.0;
            value[i] = valid ? static_cast<double>(pixel[i]) : 0.0;
            weight[i] = valid ? 1.0 : 0.0;
            s.count += weight[i], s.column += c, s.columnSquare += c * c;
            s.height += value[i], s.columnHeight += c * value[i];
        }
        sums[static_cast<std::size_t>(row)] = s;
    });
    const Trend trend = trendOf(sums);

    cv::Mat& target = result->Matrix();
    const cv::Mat means = resized(values, target.size(), method), weights = resized(mask, target.size(), method);
    const std::vector<double> columnLag = lag(width, target.cols, method), rowLag = lag(height, target.rows, method);
    eachRow(target.rows, [&](int row) {
        const double *mean = means.ptr<double>(row), *weight = weights.ptr<double>(row);
        const double rise = rowLag[static_cast<std::size_t>(row)] * trend.perRow;
        T* pixel = target.ptr<T>(row);
        for (int i = 0; i < target.cols; ++i) {
            const double shift =
                weight[i] < whole ? 0.0 : rise + columnLag[static_cast<std::size_t>(i)] * trend.perColumn;
            pixel[i] = weight[i] >= enough ? measured<T>(mean[i] / weight[i] + shift) : nox::Element<T>::invalid;
        }
    });
    if (colors.empty()) return;

    const int channels = colors.channels();
    cv::Mat bytes = nox::newPlane(height, width, CV_32FC(channels));
    eachRow(height, [&](int row) {
        const unsigned char* color = colors.ptr(row);
        const double* weight = mask.ptr<double>(row);
        float* value = bytes.ptr<float>(row);
        for (int i = 0; i < width; ++i)
            for (int k = 0; k < channels; ++k) *value++ = weight[i] != 0.0 ? *color++ : (++color, 0.0f);
    });
    const cv::Mat colorMeans = resized(bytes, target.size(), method);
    eachRow(target.rows, [&](int row) {
        const float* mean = colorMeans.ptr<float>(row);
        const double* weight = weights.ptr<double>(row);
        unsigned char* color = result->ColorMatrix().ptr(row);
        for (int i = 0; i < target.cols; ++i)
            for (int k = 0; k < channels; ++k, ++mean)
                *color++ = weight[i] >= enough ? nox::saturate<unsigned char>(static_cast<double>(*mean) / weight[i])
                                               : static_cast<unsigned char>(0);
    });
}

/// The pixel whose area holds the centre of pixel i; of two that touch it there the later one.
int nearestPixel(int i, int from, int to) { return static_cast<int>((2 * int64_t{i} + 1) * from / (2 * int64_t{to})); }

/// In whole numbers: OpenCV's own rule counts in steps of 1/65536 pixel, too coarse for wide images.
template <class Bytes>
void takeNearest(const cv::Mat& source, cv::Mat& target, const std::vector<int>& columns, Bytes bytes)
{
    eachRow(target.rows, [&](int row) {
        const unsigned char* from = source.ptr(nearestPixel(row, source.rows, target.rows));
        unsigned char* to = target.ptr(row);
        for (const int column : columns) {
            std::memcpy(to, from + static_cast<std::size_t>(column) * bytes, bytes);
            to += bytes;
        }
    });
}

void takeNearest(const cv::Mat& source, cv::Mat& target)
{
    std::vector<int> columns(static_cast<std::size_t>(target.cols));
    for (int c = 0; c < target.cols; ++c)
        columns[static_cast<std::size_t>(c)] = nearestPixel(c, source.cols, target.cols);
    const auto take = [&](auto bytes) { takeNearest(source, target, columns, bytes); };
    switch (source.elemSize()) {  // the sizes that a copy is an instruction or two for
        case 1: return take(std::integral_constant<std::size_t, 1>{});
        case 2: return take(std::integral_constant<std::size_t, 2>{});
        case 3: return take(std::integral_constant<std::size_t, 3>{});
        case 4: return take(std::integral_constant<std::size_t, 4>{});
        case 8: return take(std::integral_constant<std::size_t, 8>{});
        default: return take(source.elemSize());
    }
}

/// Whether OpenCV can count the elements and the machine has the memory for the new planes and the work on them.
bool isFeasible(const NoxRangeImage& source, const cv::Mat& colors, int method, int width, int height)
{
    const double from = static_cast<double>(source.Width()) * source.Height(), to = static_cast<double>(width) * height;
    const int channels = std::max(colors.channels(), 1);
    if (std::max(from, to) * channels > std::numeric_limits<int>::max()) return false;
    double bytes = to * static_cast<double>(source.Matrix().elemSize() + colors.elemSize());
    if (method != nearest) bytes += (from + to) * (2 * sizeof(double) + (colors.empty() ? 0.0 : 4.0 * channels));
    constexpr double small = 64 << 20;  // every machine has that
    return bytes <= small || bytes <= static_cast<double>(NoxAvailablePhysicalMemory());
}

/// The numbers of the grid with the new pixels on the area of the old ones.
void scaleGrid(const NoxRangeImage& source, NoxRangeImage* target)
{
    const double x = static_cast<double>(target->Width()) / source.Width();
    const double y = static_cast<double>(target->Height()) / source.Height();
    const auto place = [](double old, double ratio) { return (old + 0.5) * ratio - 0.5; };
    target->SetInfo(source.ResolutionZ(), source.OffsetZ(), source.ResolutionX() / x, place(source.OffsetX(), x),
                    source.ResolutionY() / y, place(source.OffsetY(), y));
    if (source.Type() != 1) return;
    NoxVarArray parameters;
    parameters.SetSize(4);
    const auto old = [&](int index) { return source.GetParaValue(index).D(); };
    parameters[0] = NoxVar(place(old(0), x));
    parameters[1] = NoxVar(place(old(1), y));
    parameters[2] = NoxVar(old(2) / x);
    parameters[3] = NoxVar(old(3) / y);
    target->SetInfo(parameters);
}

}  // namespace

long Nox3DSampling::Resample(const NoxRangeImage& source, NoxRangeImage* target, int method, int width,
                             int height) const
{
    const nox::DefaultFloatingPoint mode;
    if (nox::pixelCount(source) == 0) return code::rangeImageEmpty;
    if (method < 0 || method >= methods) return code::argument1;
    if (width <= 0) return code::argument2;
    if (height <= 0) return code::argument3;

    const cv::Mat heights = source.Matrix();
    const bool colorsFit = source.ColorMatrix().size() == heights.size();
    const cv::Mat colors = colorsFit ? source.ColorMatrix() : cv::Mat();
    if (!isFeasible(source, colors, method, width, height)) return code::postureMemory;

    NoxRangeImage result(source);
    result.SetMatrix(nox::newPlane(height, width, heights.type()));
    if (colorsFit) result.SetColorSize(width, height, colors.channels());
    if (method == nearest) {
        takeNearest(heights, result.Matrix());
        if (colorsFit) takeNearest(colors, result.ColorMatrix());
    } else {
        nox::dispatch(source.DataType(), nox::Elements{},
                      [&](auto tag) { resampleMeans<typename decltype(tag)::type>(heights, colors, method, &result); });
    }
    scaleGrid(source, &result);
    *target = result;
    return code::success;
}

}  // namespace NOXEL
