#include <Nox3DDataConvert.h>
#include <RetypeBodies.h>

#include "data/ElementType.h"
#include "tests/support/Replacements.h"

#include <gtest/gtest.h>
#include <opencv2/core.hpp>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {

using NOXEL::Nox3DDataConvert;

long long whole64(double x) { return x >= -0x1p63 && x < 0x1p63 ? static_cast<long long>(x) : INT64_MIN; }
int whole32(double x) { return x > -0x1p31 - 1 && x < 0x1p31 ? static_cast<int>(x) : INT32_MIN; }
unsigned low16(long long q) { return static_cast<unsigned short>(q); }

template <class T>
T invalidOf()
{
    return std::is_unsigned_v<T> ? T(0) : std::numeric_limits<T>::lowest();
}

/// What a pixel becomes, told one by one.
template <class S, class D>
D converted(S v, double resolution, double offset)
{
    constexpr int from = cv::DataType<S>::depth, to = cv::DataType<D>::depth;
    const bool real = from >= 5;
    if (v == invalidOf<S>() || std::isnan(static_cast<double>(v))) return invalidOf<D>();
    const double height = real ? static_cast<double>(v) : (v - offset) * resolution;
    if (from == 0 && to == 2) {
        const double factor = static_cast<float>(resolution), zero = static_cast<float>(offset);
        const auto x = static_cast<float>((v - zero) * factor / 0.001 + 32768.0);
        return static_cast<D>(x > 65535.0F ? 65535 : low16(whole64(x)));
    }
    if (from == 2 && to == 0) {
        const auto factor = static_cast<float>(resolution), zero = static_cast<float>(offset);
        const float x = (static_cast<float>(v) - zero) * factor * 100.0F + 127.0F;
        return static_cast<D>(x > 255.0F ? 255 : x <= 0.0F ? 1 : whole32(x) & 255);
    }
    if (real && to == 0) {
        const auto single = static_cast<float>(v);
        const float x = from == 5 ? single / 0.01F + 127.0F : static_cast<float>(height / 0.01 + 127.0);
        return static_cast<D>(x > 255.0F ? 255 : x < 1.0F ? 1 : whole32(x));
    }
    if (from + to == 1) return static_cast<D>(static_cast<unsigned char>(static_cast<int>(v) + 128));
    if (to >= 5) return static_cast<D>(height);
    if (to == 4) return real ? static_cast<D>(whole32(height / 0.001)) : static_cast<D>(v);
    if (to == 1) {
        const short q = static_cast<short>(low16(whole32(height / 0.01)));
        return static_cast<D>(q > 127 ? 127 : q < -127 ? -126 : q);
    }
    if (to == 0) {
        const unsigned q = low16(whole64(height / 0.01 + 127));
        return static_cast<D>(q > 255 ? 255 : q == 0 ? 1 : q);
    }
    const double x = height / 0.001 + 32768.0;
    return static_cast<D>(real ? low16(whole64(x)) : whole32(x) > 65535 ? 65535 : low16(whole32(x)));
}

/// All values of the narrow types, of the others edges, decimal grids and noise.
template <class T>
NoxRangeImage imageOf(int width, int height)
{
    NoxRangeImage image;
    image.SetSize(width, height, cv::DataType<T>::depth);
    image.SetInfo(0.01, 127.0, 0.2, 11, 0.3, 13);
    T* pixels = reinterpret_cast<T*>(image.Data());
    std::mt19937_64 random(1);
    const double edges[] = {0.0,      -0.0,      2.0,   -2.0,   1.28, -1.26,  -1.27,   40.0,  32.767,  655.36,
                            -655.37,  1e-40,     2.1e6, -3e6,   2e7,  -2.2e7, 1e17,    -1e30, NAN,     1e300,
                            INFINITY, -INFINITY, -1e-8, -1e300, 1.0,  0.001,  -32.768, -1.0,  1048.57, 1e-9};
    for (int i = 0; i < width * height; ++i) {
        if (sizeof(T) <= 2) {
            pixels[i] = static_cast<T>(i * 7);
        } else if (std::is_integral_v<T>) {
            const auto bits = static_cast<int>(random());
            pixels[i] = static_cast<T>(i % 3 ? bits >> (i % 29) : i % 7 ? i * 10 - 30000 : INT32_MIN + i % 2);
        } else {
            const double noise = static_cast<double>(static_cast<int>(random())) * std::pow(2.0, -i % 40);
            const double edge = i % 9 ? edges[i % std::size(edges)] : invalidOf<T>();
            pixels[i] = static_cast<T>(i % 3 ? noise : i % 4 ? i * 0.001 - 30.0 : edge);
        }
    }
    return image;
}

template <class S, class D>
void expectConverted(const NoxRangeImage& source, const NoxRangeImage& result)
{
    ASSERT_EQ(result.DataType(), int{cv::DataType<D>::depth});
    ASSERT_EQ(result.Width(), source.Width());
    ASSERT_EQ(result.Height(), source.Height());
    const S* from = reinterpret_cast<const S*>(source.Data());
    const D* to = reinterpret_cast<const D*>(result.Data());
    for (int i = 0; i < source.Width() * source.Height(); ++i) {
        const D expected = converted<S, D>(from[i], source.ResolutionZ(), source.OffsetZ());
        if (std::memcmp(to + i, &expected, sizeof(D)) != 0 && !(to[i] != to[i] && expected != expected))
            FAIL() << "pixel " << i << ", " << double(from[i]) << ": " << double(to[i]) << ", not " << double(expected);
    }
}

bool isServed(int from, int to) { return from != to && to != 3 && (from != 3 || to == 5); }

/// Calls f(source tag, target tag) for all 31 pairs.
template <class F>
void forPairs(const F& f)
{
    int pairs = 0;
    for (int from = 0; from <= 6; ++from)
        for (int to = 0; to <= 6; ++to) {
            if (!isServed(from, to)) continue;
            SCOPED_TRACE("from " + std::to_string(from) + " to " + std::to_string(to));
            ++pairs;
            nox::dispatch(from, nox::Elements{}, [&](auto s) {
                nox::dispatch(to, nox::Elements{},
                              [&](auto d) { f(typename decltype(s)::type(), typename decltype(d)::type()); });
            });
        }
    EXPECT_EQ(pairs, 31);
}

template <class D>
long convert(NoxRangeImage& source, NoxRangeImage* output)
{
    return Nox3DDataConvert().RangeImageDataTypeConvert(source, output, cv::DataType<D>::depth);
}

const double scales[][2] = {{0.01, 127.0}, {0.001, 32768.0}, {0.37, -33.3}, {-1e6, 5.5}, {1e300, 0.1}, {NAN, 1.0}};

TEST(Retype, EveryValueOfAllPairs)
{
    for (const auto& scale : scales)
        forPairs([&](auto s, auto d) {
            NoxRangeImage source = imageOf<decltype(s)>(37, 3600), result;
            source.SetInfo(scale[0], scale[1], 0.2, 11, 0.3, 13);
            ASSERT_EQ((convert<decltype(d)>(source, &result)), 0);
            expectConverted<decltype(s), decltype(d)>(source, result);
        });
}

TEST(Retype, ImagesLargerThanTheCaches)
{
    forPairs([](auto s, auto d) {
        if (sizeof(d) < 4) return;
        NoxRangeImage source = imageOf<decltype(s)>(1031, 1033), result;
        ASSERT_EQ((convert<decltype(d)>(source, &result)), 0);
        expectConverted<decltype(s), decltype(d)>(source, result);
    });
}

TEST(Retype, EveryWidth)
{
    for (int width = 1; width <= 40; ++width)
        forPairs([&](auto s, auto d) {
            NoxRangeImage source = imageOf<decltype(s)>(width, 3), result;
            ASSERT_EQ((convert<decltype(d)>(source, &result)), 0);
            expectConverted<decltype(s), decltype(d)>(source, result);
        });
}

struct Known
{
    const char* rule;
    int from;
    double value, resolution, offset;
    int to;
    double result, newResolution, newOffset;
};

const Known known[] = {
    {"bytes move by 128", 0, 1, 0.5, 3, 1, -127, 0.5, 3},
    {"and so does the marker", 0, 0, 0.5, 3, 1, -128, 0.5, 3},
    {"back again", 1, -127, 0.5, 3, 0, 1, 0.5, 3},
    {"u8 to u16", 0, 130, 0.01, 127, 2, 32798, 0.001, 32768},
    {"u8 to s32 keeps the numbers", 0, 130, 0.5, 3, 4, 130, 0.5, 3},
    {"u8 to float gives heights", 0, 130, 0.5, 3, 5, 63.5, 1, 0},
    {"s8 to u16", 1, -4, 0.01, 0, 2, 32728, 0.001, 32768},
    {"s8 to u16, too high", 1, 100, 1, 0, 2, 65535, 0.001, 32768},
    {"s8 to u16, low bits below", 1, -100, 1, 0, 2, -100000 + 32768 + 131072, 0.001, 32768},
    {"u16 to u8", 2, 32868, 0.001, 32768, 0, 137, 0.01, 127},
    {"u16 to u8, between 0 and 1", 2, 31500, 0.001, 32768, 0, 0, 0.01, 127},
    {"u16 to u8, below 0", 2, 31000, 0.001, 32768, 0, 1, 0.01, 127},
    {"u16 to s8", 2, 31000, 0.001, 32000, 1, -100, 0.01, 0},
    {"s16 to float", 3, -300, 0.5, 10, 5, -155, 1, 0},
    {"s16 marker", 3, -32768, 0.5, 10, 5, -3.4028234663852886e38, 1, 0},
    {"s32 to u8, too high", 4, 2000, 0.001, 0, 0, 255, 0.01, 127},
    {"s32 to u8, below wraps", 4, -2000, 0.001, 0, 0, 255, 0.01, 127},
    {"s32 to u8, exactly 0", 4, -127, 0.01, 0, 0, 1, 0.01, 127},
    {"s32 to u8, 64 bits", 4, 1, 65536.0 * 65536.0 * 0.01, 0, 0, 127, 0.01, 127},
    {"s32 to s8", 4, 700, 0.001, 0, 1, 70, 0.01, 0},
    {"s32 to double", 4, 700, 0.5, 100, 6, 300, 1, 0},
    {"float to u8, height 0", 5, 0, 7, 7, 0, 127, 0.01, 127},
    {"float to u8, too high", 5, 2, 7, 7, 0, 255, 0.01, 127},
    {"float to u8, too low", 5, -2, 7, 7, 0, 1, 0.01, 127},
    {"float to u8, marker", 5, -3.4028234663852886e38, 7, 7, 0, 0, 0.01, 127},
    {"float to u8, NaN", 5, NAN, 7, 7, 0, 0, 0.01, 127},
    {"float to u16, low bits", 5, 40, 7, 7, 2, 7232, 0.001, 32768},
    {"float to s32", 5, -1.5, 7, 7, 4, -1500, 0.001, 0},
    {"float to s32, beyond", 5, 1e9, 7, 7, 4, -2147483648.0, 0.001, 0},
    {"float to double keeps the numbers", 5, 1.5, 7, 8, 6, 1.5, 7, 8},
    {"double to u8, too low", 6, -2, 7, 7, 0, 1, 0.01, 127},
    {"double to s8, too high", 6, 2, 7, 7, 1, 127, 0.01, 0},
    {"double to s8, too low", 6, -2, 7, 7, 1, -126, 0.01, 0},
    {"double to s8, exactly -127", 6, -1.27, 7, 7, 1, -127, 0.01, 0},
    {"double to s8, 16 bits", 6, 655.37, 7, 7, 1, 1, 0.01, 0},
    {"double to float rounds", 6, 0.1, 7, 8, 5, 0.1F, 7, 8},
};

TEST(Retype, KnownValuesAndTheNewScale)
{
    for (const Known& k : known) {
        SCOPED_TRACE(k.rule);
        NoxRangeImage source, result;
        source.SetSize(1, 1, k.from);
        source.Matrix().setTo(k.value);
        source.SetInfo(k.resolution, k.offset, 0.2, 11, 0.3, 13);
        ASSERT_EQ(Nox3DDataConvert().RangeImageDataTypeConvert(source, &result, k.to), 0);
        cv::Mat number;
        result.Matrix().convertTo(number, CV_64F);
        EXPECT_EQ(number.at<double>(0, 0), k.result);
        EXPECT_EQ(std::vector<double>({result.ResolutionZ(), result.OffsetZ(), result.ResolutionX(), result.OffsetX(),
                                       result.ResolutionY(), result.OffsetY()}),
                  std::vector<double>({k.newResolution, k.newOffset, 0.2, 11, 0.3, 13}));
        EXPECT_EQ(result.Type(), 0);
    }
}

struct Refusal
{
    const char* rule;
    int type, width, from, to;
    long code;
};

const Refusal refusals[] = {
    {"type before the data type", 2, 0, 5, 7, 11100029}, {"a negative type", -1, 4, 5, 0, 11100029},
    {"data type before the size", 0, 0, 5, 7, 11200001}, {"a negative data type", 0, 4, 5, -1, 11200001},
    {"size before the pair", 0, 0, 5, 5, 11100001},      {"the same type", 0, 4, 5, 5, 11100025},
    {"s16 to anything but float", 0, 4, 3, 6, 11100025}, {"s16 to u8", 0, 4, 3, 0, 11100025},
    {"s16 is no target", 0, 4, 5, 3, 11100025},
};

TEST(Retype, RefusesInOrderAndSilently)
{
    for (const Refusal& r : refusals) {
        SCOPED_TRACE(r.rule);
        const replaced::LogScope log;
        NoxRangeImage source, result;
        source.SetSize(r.width, 3, r.from);
        source.SetType(r.type);
        EXPECT_EQ(Nox3DDataConvert().RangeImageDataTypeConvert(source, &result, r.to), r.code);
        EXPECT_EQ(result.Width(), 0);
        EXPECT_TRUE(log.records().empty());
    }
}

const std::string function = "RangeImageDataTypeConvert: ";

TEST(Retype, SharedStorageGetsPixelsOfItsOwn)
{
    forPairs([](auto s, auto d) {
        NoxRangeImage source = imageOf<decltype(s)>(37, 21), output = source;
        const NoxRangeImage before = source.DeepCopy();
        output.SetColorSize(37, 21, 3);
        const replaced::LogScope log;
        ASSERT_EQ((convert<decltype(d)>(source, &output)), 0);
        EXPECT_EQ(log.records(), std::vector<std::string>({function + "start-RangeImageDataTypeConvert_SameName",
                                                           function + "end-RangeImageDataTypeConvert"}));
        expectConverted<decltype(s), decltype(d)>(before, output);
        EXPECT_EQ(output.ColorData(), nullptr);
        EXPECT_EQ(std::memcmp(source.Data(), before.Data(), before.Matrix().total() * sizeof(s)), 0);

        ASSERT_EQ((convert<decltype(d)>(source, &source)), 0);
        expectConverted<decltype(s), decltype(d)>(before, source);
    });
}

TEST(Retype, SeparateOutputKeepsItsColoursAndItsPixelsWhereTheyFit)
{
    NoxRangeImage source = imageOf<unsigned short>(37, 21), output;
    source.SetColorSize(37, 21, 3);
    output.SetSize(37, 21, 5);
    output.SetColorSize(37, 21, 4);
    const NoxRangeImage sharer = output;
    const replaced::LogScope log;
    ASSERT_EQ(convert<float>(source, &output), 0);
    EXPECT_EQ(log.records(), std::vector<std::string>({function + "start-RangeImageDataTypeConvert_DiffName",
                                                       function + "end-RangeImageDataTypeConvert"}));
    EXPECT_EQ(output.Data(), sharer.Data());
    EXPECT_EQ(output.ColorData(), sharer.ColorData());
    expectConverted<unsigned short, float>(source, sharer);

    ASSERT_EQ(convert<double>(source, &output), 0);
    EXPECT_NE(output.Data(), sharer.Data());
    expectConverted<unsigned short, float>(source, sharer);
}

TEST(Retype, OutputOnTheMemoryOfTheSource)
{
    NoxRangeImage source = imageOf<float>(37, 21), output;
    output.Matrix() = cv::Mat(21, 37, CV_32S, source.Data());
    const NoxRangeImage before = source.DeepCopy();
    ASSERT_EQ(convert<int>(source, &output), 0);
    expectConverted<float, int>(before, output);
    EXPECT_EQ(std::memcmp(source.Data(), before.Data(), 4 * 37 * 21), 0);
    output.SetMatrix(source.Matrix());  // another object on the same buffer
    ASSERT_EQ(convert<double>(source, &output), 0);
    expectConverted<float, double>(before, output);
}

TEST(Retype, PerspectiveImagesKeepTheirParametersButForTheScale)
{
    for (const bool shared : {false, true}) {
        NoxRangeImage source = imageOf<unsigned short>(5, 4);
        NoxVarArray parameters;
        parameters.SetSize(6);
        for (int i = 0; i < 6; ++i) parameters[i] = 1.5 + i;
        source.SetInfo(parameters);
        source.SetType(1);
        NoxRangeImage output = source;
        if (!shared) output.Clear();
        ASSERT_EQ(convert<char>(source, &output), 0);
        EXPECT_EQ(output.Type(), 1);
        const double expected[] = {1.5, 2.5, 3.5, 4.5, 0.01, 0.0};
        for (int i = 0; i < 6; ++i) EXPECT_EQ(output.GetParaValue(i).D(), expected[i]);
        EXPECT_EQ(output.ResolutionZ(), 0.01);
    }
}

TEST(Retype, FailuresLeaveTheOutput)
{
    NoxRangeImage source = imageOf<unsigned char>(3001, 3000), output;
    const replaced::MemoryScope memory(8ULL * 3001 * 3000 - 1);
    for (NoxRangeImage* target : {&output, &source}) {
        const replaced::LogScope log;
        EXPECT_EQ(convert<double>(source, target), 30602008);
        EXPECT_EQ(log.records().size(), 1U);
    }
    const replaced::LogScope throwing(true);
    EXPECT_EQ(convert<float>(source, &output), 30602008);
    EXPECT_EQ(output.Width(), 0);
    EXPECT_EQ(source.DataType(), 0);
}

/// Runs a body over two of three rows and compares with rule(value); the row left out keeps its pixels.
template <class Body, class S, class D, class Number, class Rule>
void expectBody(std::vector<S> heights, D /*type*/, Number scale, Number offset, const Rule& rule)
{
    const auto width = heights.size();
    for (int copies = 1; copies < 3; ++copies) heights.insert(heights.end(), heights.begin(), heights.begin() + width);
    std::vector<D> results(heights.size(), D(77));
    Body(heights.data(), results.data(), static_cast<int>(width), scale, offset)({1, 3});
    for (std::size_t i = 0; i < results.size(); ++i)
        ASSERT_EQ(results[i], i < width ? D(77) : rule(heights[i])) << double(heights[i]);
}

TEST(RetypeBodies, ThoseForOnePair)
{
    using namespace NOXEL;
    std::vector<unsigned char> bytes(256);
    for (int i = 0; i < 256; ++i) bytes[i] = static_cast<unsigned char>(i);
    std::vector<unsigned short> words(65536);
    for (int i = 0; i < 65536; ++i) words[i] = static_cast<unsigned short>(i);
    const std::vector<float> floats{0.0F, -2.0F, 2.0F, 0.5F, -3.4028235e38F, NAN, INFINITY, -1.2F, 0.013F};
    const auto word = [](float x) { return static_cast<unsigned short>(x > 65535.0F ? 65535 : low16(whole64(x))); };
    const auto byte = [](float x) { return static_cast<unsigned char>(x > 255.0F ? 255 : x < 1.0F ? 1 : whole32(x)); };
    const unsigned char u8{};
    const unsigned short u16{};
    expectBody<RangeImageConvertTBB_8Uto16U>(bytes, u16, 0.3, 127.4, [&](int v) {
        return v ? word(static_cast<float>((v - 127.4) * 0.3 / 0.001 + 32768.0)) : u16;
    });
    expectBody<RangeImageConvertTBB_8Uto16U_SSE>(bytes, u16, 0.3, 127.4, [&](int v) {
        return v ? word((static_cast<float>(v) - 127.4F) * 0.3F * 1000.0F + 32768.0F) : u16;
    });
    expectBody<RangeImageConvertTBB_8Uto16U_AVX>(bytes, u16, 0.3, 127.4, [&](int v) {
        return v ? word((static_cast<float>(v) - 127.4F) * 0.3F / 0.001F + 32768.0F) : u16;
    });
    expectBody<RangeConvertTBB16Uto8U_TBBSSE>(words, u8, 0.01F, 32768.3F, [&](int v) {
        const float x = (static_cast<float>(v) - 32768.3F) * 0.01F + 127.0F;
        return v ? static_cast<unsigned char>(std::nearbyint(std::clamp(x, 0.0F, 255.0F))) : u8;
    });
    const auto valid = [](float v) { return v == v && v != -3.4028235e38F; };
    expectBody<RangeConvertTBB32Fto8U>(floats, u8, 0.01F, 127.0F,
                                       [&](float v) { return valid(v) ? byte(v / 0.01F + 127.0F) : u8; });
    expectBody<RangeConvertTBB32Fto8U_SSE>(floats, u8, 0.01F, 127.0F,
                                           [&](float v) { return valid(v) && v != 0 ? byte(v / 0.01F + 127.0F) : u8; });
}

TEST(RetypeBodies, TheGeneralOneTakesStridesAndItsOwnTypesOnly)
{
    const unsigned char heights[2][5] = {{1, 9, 200, 7, 7}, {9, 3, 0, 7, 7}};
    float results[2][4] = {{7, 7, 7, 7}, {7, 7, 7, 7}};
    NOXEL::RangeImageConverterTBBNew<unsigned char, float> body{0,   5,   heights[0], results[0], 3,     5, 4,
                                                                0.5, 1.0, 9.0,        -1.0,       0.001, 0};
    body({0, 2});
    const float expected[2][4] = {{0, -1, 99.5F, 7}, {-1, 1, -0.5F, 7}};
    EXPECT_EQ(std::memcmp(results, expected, sizeof results), 0);
    body.destinationType = 6;
    body.resolution = 3.0;
    body({0, 2});
    EXPECT_EQ(std::memcmp(results, expected, sizeof results), 0);
}

TEST(RetypeBodies, TheFlatOneGoesByHeight)
{
    for (const int to : {0, 1, 2, 3, 4, 5, 6}) {
        NoxRangeImage source = imageOf<unsigned char>(3, 1), output, shown;
        const unsigned char heights[] = {0, 147, 255};  // none, 0.2 and 1.28
        std::copy_n(heights, 3, source.Data());
        NOXEL::RangeImageConverterTBB body;
        body.Set(to, &source, &output);
        body({0, 99});
        body.Get(&shown);
        cv::Mat numbers;
        shown.Matrix().convertTo(numbers, CV_64F);
        const double zero[] = {127, 0, 32768, 0, 0, 0, 0}, unit[] = {0.01, 0.01, 0.001, 0.001, 0.001, 1, 1};
        const double none[] = {0, -128, 0, -32768, -2147483648.0, -3.4028234663852886e38, -1.7976931348623157e308};
        EXPECT_EQ(numbers.at<double>(0), none[to]);
        EXPECT_NEAR(numbers.at<double>(1), 0.2 / unit[to] + zero[to], 1e-7);
        EXPECT_NEAR(numbers.at<double>(2), to == 1 ? 127 : 1.28 / unit[to] + zero[to], 1e-7);
        EXPECT_EQ(shown.OffsetZ(), zero[to]);
        EXPECT_EQ(shown.ResolutionZ(), unit[to]);
    }
}

}  // namespace
