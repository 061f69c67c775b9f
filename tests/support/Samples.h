#pragma once

#include <Nox3DDataConvert.h>

#include "data/ElementType.h"
#include "tests/support/Replacements.h"

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

/// What most tests take: containers made of numbers, and what containers show as numbers.
namespace samples {

using Floats = std::vector<float>;

constexpr float kLargest = std::numeric_limits<float>::max();
constexpr float kNone = -kLargest;  ///< the invalid height of float images
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

template <class T>
T* pixels(const NoxRangeImage& image)
{
    return reinterpret_cast<T*>(image.Data());
}

template <class T>
std::vector<T> pixelsOf(const NoxRangeImage& image)
{
    return {pixels<T>(image), pixels<T>(image) + image.Matrix().total()};
}

inline Floats heightsOf(const NoxRangeImage& image) { return pixelsOf<float>(image); }

/// An image of that element type with value(row, column).
template <class T, class Value>
NoxRangeImage imageOf(int width, int height, const Value& value)
{
    NoxRangeImage image;
    image.SetSize(width, height, cv::DataType<T>::depth);
    for (int i = 0; i < width * height; ++i) pixels<T>(image)[i] = static_cast<T>(value(i / width, i % width));
    return image;
}

inline void setParameters(NoxRangeImage& image, const std::vector<double>& numbers)
{
    NoxVarArray parameters;
    parameters.SetSize(static_cast<int>(numbers.size()));
    for (std::size_t i = 0; i < numbers.size(); ++i) parameters[static_cast<int>(i)] = numbers[i];
    image.SetInfo(parameters);
}

/// Resolution and offset of x, of y and of z.
inline std::vector<double> gridOf(const NoxRangeImage& image)
{
    return {image.ResolutionX(), image.OffsetX(),     image.ResolutionY(),
            image.OffsetY(),     image.ResolutionZ(), image.OffsetZ()};
}

/// An array container of those items.
template <class Array>
Array arrayOf(const std::vector<std::decay_t<decltype(std::declval<const Array&>()[0])>>& items)
{
    Array array;
    for (const auto& item : items) array.Append(item);
    return array;
}

/// Points and, of so many channels, the colour of each.
inline NoxPointCloud cloudOf(const std::vector<NoxVector3d>& points, const std::vector<unsigned char>& bytes = {},
                             int channels = 1)
{
    NoxColorArray colors;
    colors.SetSize(static_cast<int>(bytes.size()) / channels, 1, channels);
    std::copy(bytes.begin(), bytes.end(), colors.Matrix().data);
    NoxPointCloud cloud;
    cloud.SetPoints(arrayOf<NoxVector3dArray>(points));
    cloud.SetColors(colors);
    return cloud;
}

/// Calls test(Tag<T>) for every element type.
template <class Test>
void forEachElement(const Test& test)
{
    for (int dataType = 0; dataType < 7; ++dataType) {
        SCOPED_TRACE(testing::Message() << "data type " << dataType);
        nox::dispatch(dataType, nox::Elements{}, test);
    }
}

/// Equal bytes: tells a NaN and the sign of a zero.
template <class T>
bool sameBits(const std::vector<T>& expected, const void* actual)
{
    return expected.empty() || std::memcmp(expected.data(), actual, expected.size() * sizeof(T)) == 0;
}

}  // namespace samples
