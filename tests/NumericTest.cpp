// Add, replace, sum and extremes of flat arrays, by the class and by the bodies. The program runs with several values
// of the configuration's `tbb`, negative ones among them.

#include "tests/support/Samples.h"

#include <NoxConfig.h>
#include <tbbComputing.h>

#include <cstdint>
#include <numeric>
#include <type_traits>

namespace {

using namespace samples;

using Range = tbb::blocked_range<std::size_t>;

int configured()
{
    int pieces = 0;
    NOXEL::NoxGetStaticTBB(&pieces);
    return pieces;
}

template <class T>
std::vector<T> replaced(std::vector<T> data, T from)
{
    EXPECT_EQ(NOXEL::tbbComputing().ReplaceValueTBB(data.data(), static_cast<int>(data.size()), from, T(9)), 0);
    return data;
}

template <class T>
std::vector<T> extremes(std::vector<T> data)
{
    std::vector<T> found{T(7), T(7)};
    EXPECT_EQ(NOXEL::tbbComputing().MinMaxTBB(data.data(), static_cast<int>(data.size()), &found[0], &found[1]), 0);
    return found;
}

template <class T>
void checkByPlainLoops(int n, std::size_t offset)
{
    constexpr bool isInteger = std::is_integral_v<T>;
    constexpr T invalid = nox::Element<T>::invalid, addend = isInteger ? T(100) : T(0.75);
    const auto room = static_cast<std::size_t>(std::max(n, 0));
    const std::size_t end = configured() >= 0 ? offset + room : offset;
    std::vector<T> before(offset + room + 2);
    for (std::size_t i = 0; i < before.size(); ++i) {  // over the whole range of the integer types
        const auto bits = static_cast<std::uint32_t>(i % 40 + 1) * 2654435761u;
        before[i] = isInteger ? static_cast<T>(bits >> (32 - 8 * sizeof(T)) % 32)
                              : static_cast<T>(static_cast<std::int32_t>(bits >> 12)) / T(4) - T(9000);
        if (i % 40 == 5 || i % 40 == 31) before[i] = invalid;
    }
    const T from = before[offset + room / 2];
    std::vector<T> sums = before, others = before, data = before;
    T low = std::numeric_limits<T>::max(), high = std::numeric_limits<T>::lowest(), lowest = T(7), highest = T(7);
    std::conditional_t<isInteger, std::int64_t, double> total = 0;  // exact
    for (std::size_t i = offset; i < end; ++i) {
        const T v = before[i];
        sums[i] = static_cast<T>(isInteger ? static_cast<T>(static_cast<std::int64_t>(v) + 100) : v + addend);
        total += isInteger || v != invalid ? v : T(0);
        others[i] = v == from ? T(3) : v;
        if (v == invalid) continue;
        low = std::min(low, v), high = std::max(high, v);
    }
    NOXEL::tbbComputing numeric;
    EXPECT_EQ(numeric.MinMaxTBB(&data[offset], n, &lowest, &highest), 0);
    EXPECT_TRUE(lowest == low && highest == high);
    EXPECT_EQ(numeric.MinMaxTBB<T>(&data[offset], n, nullptr, nullptr), 0);
    EXPECT_EQ(numeric.AddTBB(&data[offset], n, addend), 0);
    EXPECT_TRUE(sameBits(sums, data.data())) << "add";
    data = before;
    EXPECT_EQ(numeric.ReplaceValueTBB(&data[offset], n, from, T(3)), 0);
    EXPECT_TRUE(sameBits(others, data.data())) << "replace";
    data = before;
    if (!isInteger) std::replace(data.begin(), data.end(), invalid, T(0));
    EXPECT_EQ(numeric.SumTBB(&data[offset], n), static_cast<T>(total));
    EXPECT_EQ(numeric.SumTBB<T>(nullptr, n), T(0));
}

/// At each place in a vector, with neighbours that have to stay.
TEST(Numeric, everyTypeAndLengthByPlainLoops)
{
    std::vector<int> lengths{std::numeric_limits<int>::min(), -1, 5000, 300007};
    for (int n = 0; n <= 40; ++n) lengths.push_back(n);
    for (int type = 0; type < 7; ++type)
        for (const int n : lengths)
            for (std::size_t offset = 0; offset < 3; ++offset) {
                SCOPED_TRACE(testing::Message() << "type " << type << ", " << n << " from " << offset);
                nox::dispatch(type, nox::Elements{},
                              [&](auto tag) { checkByPlainLoops<typename decltype(tag)::type>(n, offset); });
            }
}

TEST(Numeric, rulesOfSingleValues)
{
    if (configured() < 0) GTEST_SKIP() << "no loop runs";
    int top = 2147483647;
    EXPECT_EQ(NOXEL::tbbComputing().AddTBB(&top, 1, 1), 0);
    EXPECT_EQ(top, -2147483647 - 1);
    Floats large{3e38f, 3e38f, -3e38f};
    EXPECT_EQ(NOXEL::tbbComputing().SumTBB(large.data(), 3), 3e38f) << "rounded once";

    EXPECT_EQ(extremes<int>({top}), (std::vector<int>{2147483647, top})) << "none is valid";
    EXPECT_EQ(extremes<float>({kNaN, 1.5f, kNaN, 2.5f}), (Floats{1.5f, 2.5f})) << "a NaN is passed over";
    EXPECT_EQ(extremes<float>({kInfinity}), (Floats{kLargest, kInfinity})) << "no minimum above the start";
    EXPECT_EQ(extremes<float>({-kInfinity, 2.0f}), (Floats{-kInfinity, 2.0f}));
    for (const float first : {0.0f, -0.0f}) {
        Floats zeros(70000, -0.0f);
        zeros[60000] = 0.0f;
        zeros[0] = first;
        EXPECT_TRUE(sameBits(Floats{first, first}, extremes(zeros).data())) << "the first zero counts";
    }
    EXPECT_EQ(replaced<float>({0x1.5798eep-27f, 0x1.5798f0p-27f, -5e-9f}, 0), (Floats{9, 0x1.5798f0p-27f, 9}));
    EXPECT_EQ(replaced<double>({2.0, 9e-9, 1e-8, -9e-9}, 0), (std::vector<double>{2, 9, 1e-8, 9}));
    for (const float from : {kInfinity, kNaN})
        EXPECT_TRUE(sameBits(Floats{kNaN, kInfinity, -0.0f}, replaced<float>({kNaN, kInfinity, -0.0f}, from).data()))
            << "near nothing";
}

TEST(Numeric, thresholdByMode)
{
    const auto threshold = [](int mode, float high, float low) {
        Floats data{1, 2, 5, 6, kNaN};
        const NOXEL::ThresholdBody<float> body(data.data(), mode, high, low, 8);
        body(Range(0, 2));
        body(Range(2, data.size()));
        return data;
    };
    EXPECT_TRUE(sameBits(Floats{8, 2, 5, 8, kNaN}, threshold(1, 5, 2).data())) << "the limits and NaN are inside";
    EXPECT_TRUE(sameBits(Floats{1, 8, 8, 6, 8}, threshold(0, 5, 2).data()));
    EXPECT_TRUE(sameBits(Floats{1, 2, 5, 6, kNaN}, threshold(2, 5, 2).data())) << "no such mode";
    EXPECT_TRUE(sameBits(Floats{8, 8, 8, 8, kNaN}, threshold(1, 2, 5).data())) << "limits upside down";
}

TEST(Numeric, bodiesGoOnAndJoin)
{
    float data[] = {16777216.0f, 1.0f, 1.0f, -5.0f, 2.0f};
    NOXEL::SumBody<float> left(data), other{data, 7.0f}, right(other, tbb::split());
    left(Range(0, 3));
    EXPECT_EQ(left.sum, 16777218.0f) << "a range is summed in double";
    for (std::size_t i = 0; i < 3; ++i) right(Range(i, i + 1));
    EXPECT_EQ(right.sum, 16777216.0f) << "and each range rounded";
    left.join(right);
    EXPECT_EQ(left.sum, 33554432.0f) << "joined in float: not 33554434";

    NOXEL::MinMaxBody<float> first{data, 0.5f, 1.5f}, second(first, tbb::split());
    first(Range(1, 3));
    EXPECT_EQ((Floats{first.min, first.max, second.min, second.max}), (Floats{0.5f, 1.5f, kLargest, -kLargest}));
    second(Range(3, 5));
    first.join(second);
    first.join(NOXEL::MinMaxBody<float>(data));
    EXPECT_EQ((Floats{first.min, first.max}), (Floats{-5.0f, 2.0f}));

    std::vector<int> many(5000000, 2147483645);
    many.back() = -3;
    double expected = 0.0;
    for (const int value : many) expected += value;
    NOXEL::SumBody<int> body(many.data());
    body(Range(0, many.size()));
    EXPECT_EQ(body.sum, static_cast<int>(static_cast<std::int64_t>(expected))) << "beyond 53 bits one by one";
}

TEST(Numeric, onePieceIsSummedInOrder)
{
    if (configured() != 1) GTEST_SKIP() << "several pieces, or none";
    std::vector<double> data(300001);
    for (std::size_t i = 0; i < data.size(); ++i) data[i] = std::sin(static_cast<double>(i));
    const double inOrder = std::accumulate(data.begin(), data.end(), 0.0);
    EXPECT_EQ(NOXEL::tbbComputing().SumTBB(data.data(), static_cast<int>(data.size())), inOrder);
}

}  // namespace
