// Add, replace, sum and extremes of flat arrays, by the class and by the bodies. The program runs with several values
// of the configuration's `tbb`, negative ones among them.

#include <NoxConfig.h>
#include <tbbComputing.h>

#include "data/ElementType.h"

#include <gtest/gtest.h>
#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/parallel_for.h>
#include <xmmintrin.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <vector>

namespace {

using Range = tbb::blocked_range<std::size_t>;

constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kMarker = -3.4028235e38f;

int configured()
{
    int pieces = 0;
    NOXEL::NoxGetStaticTBB(&pieces);
    return pieces;
}

template <class T>
std::vector<T> added(std::vector<T> data, T value)
{
    EXPECT_EQ(NOXEL::tbbComputing().AddTBB(data.data(), static_cast<int>(data.size()), value), 0);
    return data;
}

template <class T>
std::vector<T> replaced(std::vector<T> data, T from, T to)
{
    EXPECT_EQ(NOXEL::tbbComputing().ReplaceValueTBB(data.data(), static_cast<int>(data.size()), from, to), 0);
    return data;
}

template <class T>
T sum(std::vector<T> data)
{
    return NOXEL::tbbComputing().SumTBB(data.data(), static_cast<int>(data.size()));
}

template <class T>
std::vector<T> extremes(std::vector<T> data)
{
    std::vector<T> found{T(7), T(7)};
    EXPECT_EQ(NOXEL::tbbComputing().MinMaxTBB(data.data(), static_cast<int>(data.size()), &found[0], &found[1]), 0);
    return found;
}

template <class T>
std::vector<T> threshold(std::vector<T> data, int mode, T high, T low)
{
    tbb::parallel_for(Range(0, data.size()), NOXEL::ThresholdBody<T>(data.data(), mode, high, low, T(0)));
    return data;
}

/// Equal bytes: tells a NaN and the sign of a zero.
template <class T>
bool same(const std::vector<T>& a, const std::vector<T>& b)
{
    return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(T)) == 0);
}

template <class T>
class NumericOf : public testing::Test
{
};
using ElementTypes = testing::Types<unsigned char, char, unsigned short, short, int, float, double>;
TYPED_TEST_SUITE(NumericOf, ElementTypes, );  // with no namer of its own

/// Values over the whole range of the integer types, 40 to the period, two of them invalid and two NaN and infinite.
template <class T>
std::vector<T> numbers(std::size_t count)
{
    std::vector<T> all(count);
    for (std::size_t i = 0; i < count; ++i) {
        const auto bits = static_cast<std::uint32_t>(i % 40 + 1) * 2654435761u;
        all[i] = std::is_integral_v<T> ? static_cast<T>(bits >> (32 - 8 * sizeof(T)) % 32)
                                       : static_cast<T>(static_cast<std::int32_t>(bits >> 12)) / T(4) - T(9000);
        if (i % 40 == 5 || i % 40 == 31) all[i] = nox::Element<T>::invalid;
    }
    return all;
}

/// Each length at each place in a vector, with neighbours that have to stay.
TYPED_TEST(NumericOf, EveryLengthByPlainLoops)
{
    using T = TypeParam;
    const bool runs = configured() >= 0;
    const T addend = std::is_integral_v<T> ? T(100) : T(0.75);
    for (std::size_t length = 0; length <= 42; ++length)
        for (std::size_t offset = 0; offset < 3; ++offset) {
            const std::size_t count = length == 41 ? 5000 : length == 42 ? 300007 : length;
            const std::vector<T> before = numbers<T>(offset + count + 2);
            const T from = before[offset + count / 2];
            std::vector<T> sums = before, others = before, data = before;
            T low = std::numeric_limits<T>::max(), high = std::numeric_limits<T>::lowest();
            std::conditional_t<std::is_integral_v<T>, std::int64_t, double> total = 0;  // exact
            for (std::size_t i = offset; runs && i < offset + count; ++i) {
                const T v = before[i];
                if constexpr (std::is_integral_v<T>)
                    sums[i] = static_cast<T>(static_cast<std::int64_t>(v) + 100);
                else
                    sums[i] = v + addend;
                total += std::is_integral_v<T> || v != nox::Element<T>::invalid ? v : T(0);
                others[i] = v == from ? T(3) : v;
                if (v == nox::Element<T>::invalid) continue;
                low = v < low ? v : low;
                high = v > high ? v : high;
            }
            NOXEL::tbbComputing numeric;
            const int n = static_cast<int>(count);
            T lowest = T(7), highest = T(7);
            numeric.MinMaxTBB(&data[offset], n, &lowest, &highest);
            EXPECT_EQ(lowest, low) << count << " from " << offset;
            EXPECT_EQ(highest, high) << count << " from " << offset;
            numeric.AddTBB(&data[offset], n, addend);
            EXPECT_TRUE(same(data, sums)) << "add " << count << " from " << offset;
            data = before;
            numeric.ReplaceValueTBB(&data[offset], n, from, T(3));
            EXPECT_TRUE(same(data, others)) << "replace " << count << " from " << offset;
            data = before;
            for (T& v : data) v = !std::is_integral_v<T> && v == nox::Element<T>::invalid ? T(0) : v;
            EXPECT_EQ(numeric.SumTBB(&data[offset], n), static_cast<T>(total)) << count << " from " << offset;
        }
}

TYPED_TEST(NumericOf, NoElementsNoLoop)
{
    using T = TypeParam;
    NOXEL::tbbComputing numeric;
    T data[] = {T(5), T(6)}, low = T(7), high = T(7);
    for (int n : {0, -1, std::numeric_limits<int>::min()}) {
        EXPECT_EQ(numeric.AddTBB(data, n, T(1)), 0);
        EXPECT_EQ(numeric.ReplaceValueTBB(data, n, T(5), T(1)), 0);
        EXPECT_EQ(numeric.SumTBB(data, n), T(0));
        EXPECT_EQ(numeric.MinMaxTBB(data, n, &low, &high), 0);
        EXPECT_EQ(low, std::numeric_limits<T>::max());
        EXPECT_EQ(high, std::numeric_limits<T>::lowest());
    }
    EXPECT_EQ(data[0], T(5));
    EXPECT_EQ(numeric.SumTBB<T>(nullptr, 3), T(0));
    EXPECT_EQ(numeric.MinMaxTBB<T>(data, 2, nullptr, nullptr), 0);
}

TEST(Numeric, RulesOfSingleValues)
{
    if (configured() < 0) GTEST_SKIP() << "no loop runs";
    using V = std::vector<float>;
    EXPECT_EQ(added<unsigned char>({100}, 200), std::vector<unsigned char>{44});
    EXPECT_EQ(added<int>({2147483647}, 1), std::vector<int>{-2147483647 - 1});
    EXPECT_EQ(sum<char>({100, 100}), -56);
    EXPECT_EQ(sum(std::vector<unsigned char>(300, 1)), 44);
    EXPECT_EQ(sum<int>({2147483647, 2147483647, 5}), 3);
    EXPECT_EQ(sum<float>({3e38f, 3e38f, -3e38f}), 3e38f) << "rounded once";

    EXPECT_EQ(extremes<int>({-2147483647 - 1}), (std::vector<int>{2147483647, -2147483647 - 1}));
    EXPECT_EQ(extremes<unsigned short>({0, 5, 9}), (std::vector<unsigned short>{5, 9}));
    EXPECT_EQ(extremes<float>({1.5f, kMarker, -2.5f}), (V{-2.5f, 1.5f}));
    EXPECT_EQ(extremes<float>({kNaN, 1.5f, kNaN, 2.5f}), (V{1.5f, 2.5f})) << "a NaN is passed over";
    EXPECT_EQ(extremes<float>({kInf}), (V{3.4028235e38f, kInf})) << "no minimum above the start";
    EXPECT_EQ(extremes<float>({-kInf, 2.0f}), (V{-kInf, 2.0f}));
    EXPECT_TRUE(same(extremes<float>({0.0f, -0.0f}), V{0.0f, 0.0f})) << "the first zero counts";
    V zeros(70000, -0.0f);
    zeros[0] = zeros[60000] = 0.0f;
    EXPECT_TRUE(same(extremes(zeros), V{0.0f, 0.0f}));
    zeros[0] = -0.0f;
    EXPECT_TRUE(same(extremes(zeros), V{-0.0f, -0.0f}));

    EXPECT_EQ(replaced<float>({1.0f, 1.0000001f, 1.000000001f}, 1.0f, 9.0f), (V{9.0f, 1.0000001f, 9.0f}));
    EXPECT_EQ(replaced<float>({0x1.5798eep-27f, 0x1.5798f0p-27f, -5e-9f}, 0.0f, 9.0f),
              (V{9.0f, 0x1.5798f0p-27f, 9.0f}));
    EXPECT_EQ(replaced<double>({2.0, 9e-9, 1e-8, -9e-9}, 0.0, 5.0), (std::vector<double>{2.0, 5.0, 1e-8, 5.0}));
    EXPECT_TRUE(same(replaced<float>({kNaN, kInf, -0.0f}, kInf, 9.0f), V{kNaN, kInf, -0.0f})) << "inf - inf is no 0";
    EXPECT_TRUE(same(replaced<float>({kNaN, kInf, -0.0f}, kNaN, 9.0f), V{kNaN, kInf, -0.0f}));
    EXPECT_EQ(replaced<int>({-2147483647 - 1, 2147483647}, 2147483647, 4), (std::vector<int>{-2147483647 - 1, 4}));
}

TEST(Numeric, ThresholdByMode)
{
    using V = std::vector<int>;
    EXPECT_EQ(threshold<int>({1, 3, 7}, 1, 5, 2), (V{0, 3, 0}));
    EXPECT_EQ(threshold<int>({1, 3, 7}, 0, 5, 2), (V{1, 0, 7}));
    EXPECT_EQ(threshold<int>({2, 5, 6}, 1, 5, 2), (V{2, 5, 0})) << "the limits are inside";
    EXPECT_EQ(threshold<int>({1, 3, 7}, 2, 5, 2), (V{1, 3, 7})) << "no such mode";
    EXPECT_EQ(threshold<int>({1, 3, 7}, 1, 2, 5), (V{0, 0, 0})) << "limits upside down";
    EXPECT_TRUE(same(threshold<float>({kNaN, 9.0f}, 1, 5, 2), {kNaN, 0.0f})) << "a NaN is inside";
    EXPECT_EQ(threshold<float>({kNaN, 9.0f}, 0, 5, 2), (std::vector<float>{0.0f, 9.0f}));
}

TEST(Numeric, BodiesGoOnAndJoin)
{
    float data[] = {16777216.0f, 1.0f, 1.0f, -5.0f, 2.0f};
    NOXEL::SumBody<float> left(data), other{data, 7.0f}, right(other, tbb::split());
    left(Range(0, 3));
    EXPECT_EQ(left.sum, 16777218.0f) << "a range is summed in double";
    right(Range(0, 1));
    right(Range(1, 2));
    right(Range(2, 3));
    EXPECT_EQ(right.sum, 16777216.0f) << "and each range rounded";
    left.join(right);
    EXPECT_EQ(left.sum, 33554432.0f) << "joined in float: not 33554434";

    NOXEL::MinMaxBody<float> first{data, 0.5f, 1.5f}, second(first, tbb::split());
    EXPECT_EQ(second.min, 3.4028235e38f);
    EXPECT_EQ(second.max, kMarker);
    first(Range(1, 3));
    EXPECT_EQ(first.min, 0.5f);
    EXPECT_EQ(first.max, 1.5f);
    second(Range(3, 5));
    first.join(second);
    first.join(NOXEL::MinMaxBody<float>(data));
    EXPECT_EQ(first.min, -5.0f);
    EXPECT_EQ(first.max, 2.0f);
}

/// Sums beyond 53 bits are those of doubles added one by one.
TEST(Numeric, LongRangesOfLargeIntegers)
{
    std::vector<int> data(5000000, 2147483645);
    data[4999999] = -3;
    double expected = 0.0;
    for (int value : data) expected += value;
    NOXEL::SumBody<int> body(data.data());
    body(Range(0, data.size()));
    EXPECT_EQ(body.sum, static_cast<int>(static_cast<std::int64_t>(expected)));
}

TEST(Numeric, SumsForAnyNumberOfThreads)
{
    std::vector<double> data(3000001);
    std::vector<float> floats(data.size());
    for (std::size_t i = 0; i < data.size(); ++i) {
        data[i] = std::sin(static_cast<double>(i)) * std::exp2(static_cast<double>(i % 61));
        floats[i] = static_cast<float>(data[i]);
    }
    const double all = sum(data);
    const float allFloats = sum(floats);
    for (std::size_t threads : {1, 2, 5}) {
        const tbb::global_control control(tbb::global_control::max_allowed_parallelism, threads);
        EXPECT_EQ(sum(data), all) << threads;
        EXPECT_EQ(sum(floats), allFloats) << threads;
    }
    if (configured() != 1) return;
    double inOrder = 0.0;
    for (double value : data) inOrder += value;
    EXPECT_EQ(all, inOrder) << "one piece is summed in order";
}

TEST(Numeric, ForeignFloatingPointModesStayOutside)
{
    if (configured() < 0) GTEST_SKIP() << "no loop runs";
    _MM_SET_ROUNDING_MODE(_MM_ROUND_UP);
    const float small = added<float>({1.0f}, 1e-10f)[0];
    const std::vector<float> many = added(std::vector<float>(100000, 1.0f), 1e-10f);
    EXPECT_EQ(_MM_GET_ROUNDING_MODE(), static_cast<unsigned>(_MM_ROUND_UP));
    _MM_SET_ROUNDING_MODE(_MM_ROUND_NEAREST);
    EXPECT_EQ(small, 1.0f);
    EXPECT_EQ(many, std::vector<float>(100000, 1.0f));
}

}  // namespace
