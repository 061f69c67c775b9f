#include "tests/support/Samples.h"

#include <RetypeBodies.h>

#include <cfloat>
#include <random>
#include <type_traits>

namespace {

using namespace samples;

// By data type: the scale on which heights are placed, and the number that tells an invalid pixel.
const double unit[] = {0.01, 0.01, 0.001, 0.001, 0.001, 1, 1}, zero[] = {127, 0, 32768, 0, 0, 0, 0};
const double none[] = {0, -128, 0, -32768, -2147483648.0, -FLT_MAX, -DBL_MAX};
const int keepingTheScale[] = {1, 10, 4, 14, 24, 56, 65};  // pairs, as digits: the numbers stay, or bytes are shifted

long long whole64(double x) { return x >= -0x1p63 && x < 0x1p63 ? static_cast<long long>(x) : INT64_MIN; }
int whole32(double x) { return x > -0x1p31 - 1 && x < 0x1p31 ? static_cast<int>(x) : INT32_MIN; }
unsigned low16(long long q) { return static_cast<unsigned short>(q); }
unsigned word(float x) { return x > 65535.0F ? 65535 : low16(whole64(x)); }
int byte(float x) { return x > 255.0F ? 255 : x < 1.0F ? 1 : whole32(x); }

/// What a pixel becomes, told one by one.
template <class S, class D>
double converted(S v, double resolution, double offset)
{
    constexpr int from = cv::DataType<S>::depth, to = cv::DataType<D>::depth;
    const bool real = from >= 5;
    if (v == static_cast<S>(none[from]) || std::isnan(static_cast<double>(v))) return none[to];
    const auto single = static_cast<float>(v), factor = static_cast<float>(resolution);
    const double height = real ? static_cast<double>(v) : (v - offset) * resolution;
    if (from == 0 && to == 2)
        return word(static_cast<float>((v - double(static_cast<float>(offset))) * factor / 0.001 + 32768.0));
    if (from == 2 && to == 0) {
        const float x = (single - static_cast<float>(offset)) * factor * 100.0F + 127.0F;
        return x > 255.0F ? 255 : x <= 0.0F ? 1 : whole32(x) & 255;
    }
    if (real && to == 0) return byte(from == 5 ? single / 0.01F + 127.0F : static_cast<float>(height / 0.01 + 127.0));
    if (from + to == 1) return static_cast<double>(static_cast<D>(static_cast<int>(v) + 128));
    if (to >= 5) return height;
    if (to == 4) return real ? whole32(height / 0.001) : static_cast<double>(v);
    if (to == 1) {
        const short q = static_cast<short>(low16(whole32(height / 0.01)));
        return q > 127 ? 127 : q < -127 ? -126 : q;
    }
    if (to == 0) return std::clamp(low16(whole64(height / 0.01 + 127)), 1U, 255U);
    const double x = height / 0.001 + 32768.0;
    return real ? low16(whole64(x)) : whole32(x) > 65535 ? 65535 : low16(whole32(x));
}

/// All values of the narrow types, of the others edges, decimal grids and noise.
template <class T>
NoxRangeImage everyValue(int width, int height, int type = 0)
{
    NoxRangeImage image;
    image.SetSize(width, height, cv::DataType<T>::depth);
    image.SetType(type);
    image.SetInfo(0.01, 127.0, 0.2, 11, 0.3, 13);
    if (type == 1) setParameters(image, {1.5, 2.5, 3.5, 4.5, 5.5, 6.5});
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
            const double edge = i % 9 ? edges[static_cast<std::size_t>(i) % std::size(edges)] : none[image.DataType()];
            pixels[i] = static_cast<T>(i % 3 ? noise : i % 4 ? i * 0.001 - 30.0 : edge);
        }
    }
    return image;
}

template <class S, class D>
void expectConverted(const NoxRangeImage& source, const NoxRangeImage& result)
{
    const int from = cv::DataType<S>::depth, to = cv::DataType<D>::depth;
    ASSERT_EQ(result.DataType(), to);
    ASSERT_EQ(result.Width(), source.Width());
    ASSERT_EQ(result.Height(), source.Height());
    const auto* in = reinterpret_cast<const S*>(source.Data());
    const auto* out = reinterpret_cast<const D*>(result.Data());
    for (int i = 0; i < source.Width() * source.Height(); ++i) {
        const D expected = static_cast<D>(converted<S, D>(in[i], source.ResolutionZ(), source.OffsetZ()));
        if (std::memcmp(out + i, &expected, sizeof(D)) != 0 && !(out[i] != out[i] && expected != expected))
            FAIL() << "pixel " << i << ", " << double(in[i]) << ": " << double(out[i]) << ", not " << double(expected);
    }
    const bool keeps = std::count(std::begin(keepingTheScale), std::end(keepingTheScale), from * 10 + to) != 0;
    const double z[] = {keeps ? source.ResolutionZ() : unit[to], keeps ? source.OffsetZ() : zero[to]};
    const double parameters[] = {1.5, 2.5, 3.5, 4.5, z[0], z[1]};
    EXPECT_TRUE(sameBits(gridOf(result), std::vector<double>{0.2, 11, 0.3, 13, z[0], z[1]}.data()));
    EXPECT_EQ(result.Type(), source.Type());
    for (int i = 0; i < 6 && source.Type() == 1; ++i) EXPECT_EQ(result.GetParaValue(i).D(), parameters[i]);
}

template <class D>
long convert(NoxRangeImage& source, NoxRangeImage* output)
{
    return NOXEL::Nox3DDataConvert().RangeImageDataTypeConvert(source, output, cv::DataType<D>::depth);
}

/// Calls f(source tag, target tag) for all 31 pairs.
template <class F>
void forPairs(const F& f)
{
    for (int from = 0; from <= 6; ++from)
        for (const int to : {0, 1, 2, 4, 5, 6}) {
            if (from == to || (from == 3 && to != 5)) continue;
            SCOPED_TRACE(testing::Message() << "from " << from << " to " << to);
            nox::dispatch(from, nox::Elements{}, [&](auto s) {
                nox::dispatch(to, nox::Elements{},
                              [&](auto d) { f(typename decltype(s)::type(), typename decltype(d)::type()); });
            });
        }
}

void expectAllPairs(int width, int height, int type, double resolution = 0.01, double offset = 127.0)
{
    forPairs([&](auto s, auto d) {
        NoxRangeImage source = everyValue<decltype(s)>(width, height, type), result;
        source.SetInfo(resolution, offset, 0.2, 11, 0.3, 13);
        ASSERT_EQ((convert<decltype(d)>(source, &result)), 0);
        expectConverted<decltype(s), decltype(d)>(source, result);
    });
}

TEST(Retype, EveryValueAndWidthOfAllPairs)
{
    const double scales[][2] = {{0.01, 127.0}, {0.001, 32768.0}, {0.37, -33.3}, {-1e6, 5.5}, {1e300, 0.1}, {NAN, 1.0}};
    for (const auto& scale : scales) expectAllPairs(37, 3600, 0, scale[0], scale[1]);
    for (int width = 1; width <= 40; ++width) expectAllPairs(width, 3, width % 2);
    expectAllPairs(1031, 1033, 0);                                        // outgrows the caches
    const double fineScales[][2] = {{0.001, 32768.0}, {0.0025, 4000.0}};  // with tables, and steps a height late
    for (const auto& scale : fineScales) expectAllPairs(1031, 512, 0, scale[0], scale[1]);
}

const struct
{
    const char* rule;
    int type, width, from, to;
    long code;
} refusals[] = {
    {"type before the data type", 2, 0, 5, 7, 11100029}, {"a negative type", -1, 4, 5, 0, 11100029},
    {"data type before the size", 0, 0, 5, 7, 11200001}, {"a negative data type", 0, 4, 5, -1, 11200001},
    {"size before the pair", 0, 0, 5, 5, 11100001},      {"the same type", 0, 4, 5, 5, 11100025},
    {"s16 to anything but float", 0, 4, 3, 6, 11100025}, {"s16 to u8", 0, 4, 3, 0, 11100025},
    {"s16 is no target", 0, 4, 5, 3, 11100025},
};

TEST(Retype, RefusesInOrderAndSilently)
{
    for (const auto& r : refusals) {
        SCOPED_TRACE(r.rule);
        const replaced::LogScope log;
        NoxRangeImage source, result;
        source.SetSize(r.width, 3, r.from);
        source.SetType(r.type);
        EXPECT_EQ(NOXEL::Nox3DDataConvert().RangeImageDataTypeConvert(source, &result, r.to), r.code);
        EXPECT_EQ(result.Width(), 0);
        EXPECT_TRUE(log.records().empty());
    }
}

TEST(Retype, BothStorageForms)
{
    forPairs([](auto s, auto d) {
        const int type = cv::DataType<decltype(d)>::depth;
        NoxRangeImage source = everyValue<decltype(s)>(37, 21, 1), shared = source, separate, misfit, overlaid;
        separate.SetSize(37, 21, type);
        misfit.SetSize(21, 37, type);
        overlaid.Matrix() = sizeof(d) > sizeof(s) ? source.Matrix() : cv::Mat(21, 37, type, source.Data());
        for (NoxRangeImage* output : {&shared, &separate}) output->SetColorSize(37, 21, 3);
        const NoxRangeImage before = source.DeepCopy(), sharer = separate;
        for (NoxRangeImage* output : {&separate, &misfit, &overlaid, &shared, &source}) {
            EXPECT_EQ(std::memcmp(source.Data(), before.Data(), before.Matrix().total() * sizeof(s)), 0);
            const std::string name = "RangeImageDataTypeConvert",
                              form = output == &shared || output == &source ? "_SameName" : "_DiffName";
            const replaced::LogScope log;
            ASSERT_EQ((convert<decltype(d)>(source, output)), 0);
            EXPECT_EQ(log.records(),
                      std::vector<std::string>({name + ": start-" + name + form, name + ": end-" + name}));
            expectConverted<decltype(s), decltype(d)>(before, *output);
        }
        EXPECT_EQ(shared.ColorData(), nullptr);
        EXPECT_EQ(separate.ColorData(), sharer.ColorData());
        EXPECT_EQ(separate.Data(), sharer.Data());
    });
}

/// Runs a body over two of three rows, each of all integers or of some floats, and compares with rule(value); the row
/// left out keeps its pixels.
template <class Body, class Rule>
void expectBody(double scale, double offset, const Rule& rule)
{
    using S = std::remove_cv_t<std::remove_pointer_t<decltype(Body::source)>>;
    using D = std::remove_pointer_t<decltype(Body::destination)>;
    using Number = decltype(Body::scale);
    const float floats[] = {0.0F, -2.0F, 2.0F, 0.5F, -FLT_MAX, NAN, INFINITY, -1.2F, 0.013F};
    const std::size_t width = sizeof(S) < 4 ? std::size_t{1} << 8 * sizeof(S) : std::size(floats);
    std::vector<S> heights(3 * width);
    for (std::size_t i = 0; i < heights.size(); ++i)
        heights[i] = sizeof(S) < 4 ? static_cast<S>(i) : static_cast<S>(floats[i % width]);
    std::vector<D> results(heights.size(), D(77));
    Body(heights.data(), results.data(), static_cast<int>(width), Number(scale), Number(offset))({1, 3});
    for (std::size_t i = 0; i < results.size(); ++i)
        ASSERT_EQ(results[i], i < width ? D(77) : static_cast<D>(rule(heights[i]))) << double(heights[i]);
}

TEST(RetypeBodies, ThoseForOnePair)
{
    using namespace NOXEL;
    expectBody<RangeImageConvertTBB_8Uto16U>(
        0.3, 127.4, [](int v) { return v ? word(static_cast<float>((v - 127.4) * 0.3 / 0.001 + 32768.0)) : 0; });
    const auto place = [](int v) { return (static_cast<float>(v) - 127.4F) * 0.3F; };
    expectBody<RangeImageConvertTBB_8Uto16U_SSE>(0.3, 127.4,
                                                 [&](int v) { return v ? word(place(v) * 1000.0F + 32768.0F) : 0; });
    expectBody<RangeImageConvertTBB_8Uto16U_AVX>(0.3, 127.4,
                                                 [&](int v) { return v ? word(place(v) / 0.001F + 32768.0F) : 0; });
    expectBody<RangeConvertTBB16Uto8U_TBBSSE>(0.01, 32768.3, [](int v) {
        return v ? std::nearbyint(std::clamp((static_cast<float>(v) - 32768.3F) * 0.01F + 127.0F, 0.0F, 255.0F)) : 0;
    });
    const auto pinned = [](float v) { return v == v && v != -FLT_MAX ? byte(v / 0.01F + 127.0F) : 0; };
    expectBody<RangeConvertTBB32Fto8U>(0.01, 127.0, pinned);
    expectBody<RangeConvertTBB32Fto8U_SSE>(0.01, 127.0, [&](float v) { return v != 0 ? pinned(v) : 0; });
}

TEST(RetypeBodies, TheGeneralOneTakesStridesAndItsOwnTypesOnly)
{
    const unsigned char heights[2][5] = {{1, 9, 200, 7, 7}, {9, 3, 0, 7, 7}};
    float results[2][4] = {{7, 7, 7, 7}, {7, 7, 7, 7}};
    NOXEL::RangeImageConverterTBBNew<unsigned char, float> body{0,   5,   heights[0], results[0], 3,     5, 4,
                                                                0.5, 1.0, 9.0,        -1.0,       0.001, 0};
    body({0, 2});
    body.destinationType = 6;
    body.resolution = 3.0;
    body({0, 2});
    const float expected[2][4] = {{0, -1, 99.5F, 7}, {-1, 1, -0.5F, 7}};
    EXPECT_EQ(std::memcmp(results, expected, sizeof results), 0);
}

TEST(RetypeBodies, TheFlatOneGoesByHeight)
{
    for (const int to : {0, 1, 2, 3, 4, 5, 6}) {
        NoxRangeImage source = everyValue<unsigned char>(3, 1), output, shown;
        source.Data()[1] = 147, source.Data()[2] = 255;  // after none 0.2 and 1.28
        NOXEL::RangeImageConverterTBB body;
        body.Set(to, &source, &output);
        body({0, 99});
        body.Get(&shown);
        const cv::Mat_<double> numbers = shown.Matrix();
        EXPECT_EQ(numbers(0), none[to]);
        EXPECT_NEAR(numbers(1), 0.2 / unit[to] + zero[to], 1e-7);
        EXPECT_NEAR(numbers(2), to == 1 ? 127 : 1.28 / unit[to] + zero[to], 1e-7);
        EXPECT_EQ(shown.OffsetZ(), zero[to]);
        EXPECT_EQ(shown.ResolutionZ(), unit[to]);
    }
}

}  // namespace
