// Heights to grays against the copy limit for the bytes of their passes, and against OpenCV on the same buffers.
//   --benchmark_filter=Stretch|Fixed

#include <Nox3DDataConvert.h>

#include "benchmarks/Limits.h"
#include "data/ElementType.h"
#include "data/Memory.h"

#include <benchmark/benchmark.h>
#include <oneapi/tbb/global_control.h>

#include <random>

namespace {

constexpr int kSide = 4096;

/// Random heights over the range that the fixed rules show, a tenth of them invalid at random places.
template <class T>
NoxRangeImage scan()
{
    NoxRangeImage image;
    image.SetSize(kSide, kSide, cv::DataType<T>::depth);
    std::mt19937 random(1);
    std::uniform_real_distribution<double> share(0.0, 1.0);
    T* heights = reinterpret_cast<T*>(image.Data());
    for (long i = 0; i < static_cast<long>(kSide) * kSide; ++i) {
        const double height =
            std::is_integral_v<T> ? double(std::numeric_limits<T>::max()) * share(random) : 2.5 * share(random) - 1.25;
        heights[i] = share(random) < 0.1 ? nox::Element<T>::invalid : static_cast<T>(height);
    }
    return image;
}

tbb::global_control threads(int count)
{
    return {tbb::global_control::max_allowed_parallelism, static_cast<std::size_t>(count)};
}

double bytesOf(std::size_t perPixel) { return static_cast<double>(perPixel) * kSide * kSide; }

/// The region as an argument: 0 the whole image, 1 the same pixels as a rectangle.
template <class T, class U>
void Stretch(benchmark::State& state)
{
    const auto limit = threads(static_cast<int>(state.range(1)));
    NoxRangeImage range = scan<T>();
    NoxROI roi;
    if (state.range(0) == 1) roi.GenRect1(NoxPoint(0, 0), NoxPoint(kSide, kSide));
    NoxImage image;
    NOXEL::Nox3DDataConvert convert;
    for (auto _ : state)
        if (convert.RangeImageToImage(range, roi, &image, cv::DataType<U>::depth, 9, nullptr, nullptr, nullptr, nullptr,
                                      nullptr, nullptr, nullptr, nullptr) != 0)
            state.SkipWithError("refused");
    nox_bench::reportShare(state, bytesOf(2 * sizeof(T) + sizeof(U)), static_cast<int>(state.range(1)));
}

/// minMaxLoc under a mask of the valid pixels, convertTo, and 0 for the others.
template <class T, class U>
void StretchByOpenCV(benchmark::State& state)
{
    NoxRangeImage range = scan<T>();
    const cv::Mat& heights = range.Matrix();
    cv::Mat valid, invalid, grays = nox::newPlane(kSide, kSide, cv::DataType<U>::depth);
    const double top = std::numeric_limits<U>::max();
    for (auto _ : state) {
        double low, high;
        cv::compare(heights, static_cast<double>(nox::Element<T>::invalid), valid, cv::CMP_NE);
        cv::minMaxLoc(heights, &low, &high, nullptr, nullptr, valid);
        const double scale = (top - 1.0) / (high - low);
        heights.convertTo(grays, grays.type(), scale, 1.0 - low * scale);
        cv::bitwise_not(valid, invalid);
        grays.setTo(0, invalid);
    }
    nox_bench::reportShare(state, bytesOf(2 * sizeof(T) + sizeof(U)), 2);
}

template <class T, class U>
void Fixed(benchmark::State& state)
{
    const auto limit = threads(static_cast<int>(state.range(0)));
    NoxRangeImage range = scan<T>();
    NoxImage image;
    NOXEL::Nox3DDataConvert convert;
    for (auto _ : state)
        if (convert.RangeImageToImageAuto(range, &image, cv::DataType<U>::depth, nullptr, nullptr, nullptr, nullptr,
                                          nullptr, nullptr) != 0)
            state.SkipWithError("refused");
    nox_bench::reportShare(state, bytesOf(sizeof(T) + sizeof(U)), static_cast<int>(state.range(0)));
}

/// One plain convertTo, into a matrix that stands.
template <class T, class U>
void FixedByOpenCV(benchmark::State& state)
{
    NoxRangeImage range = scan<T>();
    cv::Mat grays = nox::newPlane(kSide, kSide, cv::DataType<U>::depth);
    const bool same = std::is_same_v<T, U>;
    for (auto _ : state) range.Matrix().convertTo(grays, grays.type(), same ? 1.0 : 0.5, same ? 0.0 : 1.0);
    nox_bench::reportShare(state, bytesOf(sizeof(T) + sizeof(U)), 2);
}

void timed(benchmark::internal::Benchmark* benchmark) { benchmark->Unit(benchmark::kMillisecond)->UseRealTime(); }

#define STRETCH(T, U)                                                                                             \
    BENCHMARK_TEMPLATE(Stretch, T, U)->ArgNames({"region", "threads"})->ArgsProduct({{0, 1}, {2}})->Apply(timed); \
    BENCHMARK_TEMPLATE(StretchByOpenCV, T, U)->Apply(timed);
#define FIXED(T, U)                                                            \
    BENCHMARK_TEMPLATE(Fixed, T, U)->ArgName("threads")->Arg(2)->Apply(timed); \
    BENCHMARK_TEMPLATE(FixedByOpenCV, T, U)->Apply(timed);
#define BOTH_DEPTHS(T)      \
    FIXED(T, unsigned char) \
    FIXED(T, unsigned short)

STRETCH(float, unsigned char)
STRETCH(float, unsigned short)
STRETCH(unsigned short, unsigned char)
STRETCH(unsigned short, unsigned short)
STRETCH(short, unsigned char)
STRETCH(unsigned char, unsigned char)
STRETCH(int, unsigned char)
STRETCH(double, unsigned char)
NOX_FOR_EACH_ELEMENT(BOTH_DEPTHS)

}  // namespace
