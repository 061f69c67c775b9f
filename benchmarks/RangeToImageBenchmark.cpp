// Heights to grays against the copy limit for the bytes of their passes, and against OpenCV on the same buffers or, for
// a region, against the whole image, best against best (counters above 1 when the conversion named is faster).
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

constexpr int kThreads = 2;

long stretch(NoxRangeImage& range, NoxROI& roi, NoxImage* image, int imageType)
{
    return NOXEL::Nox3DDataConvert().RangeImageToImage(range, roi, image, imageType, 9, nullptr, nullptr, nullptr,
                                                       nullptr, nullptr, nullptr, nullptr, nullptr);
}

/// Against minMaxLoc under a mask of the valid pixels, convertTo, and 0 for the others.
template <class T, class U>
void Stretch(benchmark::State& state)
{
    const auto limit = threads(kThreads);
    NoxRangeImage range = scan<T>();
    NoxROI whole;
    NoxImage image;
    const auto run = [&] {
        if (stretch(range, whole, &image, cv::DataType<U>::depth) != 0) state.SkipWithError("refused");
    };
    const cv::Mat& heights = range.Matrix();
    cv::Mat valid, invalid, grays = nox::newPlane(kSide, kSide, cv::DataType<U>::depth);
    const double top = std::numeric_limits<U>::max();
    const auto peer = [&] {
        double low, high;
        cv::compare(heights, static_cast<double>(nox::Element<T>::invalid), valid, cv::CMP_NE);
        cv::minMaxLoc(heights, &low, &high, nullptr, nullptr, valid);
        const double scale = (top - 1.0) / (high - low);
        heights.convertTo(grays, grays.type(), scale, 1.0 - low * scale);
        cv::bitwise_not(valid, invalid);
        grays.setTo(0, invalid);
    };
    nox_bench::race(state, bytesOf(2 * sizeof(T) + sizeof(U)), kThreads, run, "vsOpenCV", peer);
}

/// All pixels as a rectangle (0) or inside a circle (1), against the region of the kind whole image.
template <class T, class U>
void StretchRegion(benchmark::State& state)
{
    const auto limit = threads(kThreads);
    NoxRangeImage range = scan<T>();
    NoxROI roi, whole;
    if (state.range(0) == 0)
        roi.GenRect1(NoxPoint(0, 0), NoxPoint(kSide, kSide));
    else
        roi.GenCircle(NoxPoint(kSide / 2, kSide / 2), kSide);
    NoxImage image, ofWhole;
    const auto run = [&] { stretch(range, roi, &image, cv::DataType<U>::depth); };
    const auto peer = [&] { stretch(range, whole, &ofWhole, cv::DataType<U>::depth); };
    nox_bench::race(state, bytesOf(2 * sizeof(T) + sizeof(U)), kThreads, run, "vsWhole", peer);
    if (cv::norm(image.Matrix(), ofWhole.Matrix(), cv::NORM_INF) != 0.0) state.SkipWithError("other pixels");
}

/// Against one plain convertTo, into a matrix that stands.
template <class T, class U>
void Fixed(benchmark::State& state)
{
    const auto limit = threads(kThreads);
    NoxRangeImage range = scan<T>();
    NoxImage image;
    NOXEL::Nox3DDataConvert convert;
    const auto run = [&] {
        if (convert.RangeImageToImageAuto(range, &image, cv::DataType<U>::depth, nullptr, nullptr, nullptr, nullptr,
                                          nullptr, nullptr) != 0)
            state.SkipWithError("refused");
    };
    cv::Mat grays = nox::newPlane(kSide, kSide, cv::DataType<U>::depth);
    const bool same = std::is_same_v<T, U>;
    const auto peer = [&] { range.Matrix().convertTo(grays, grays.type(), same ? 1.0 : 0.5, same ? 0.0 : 1.0); };
    nox_bench::race(state, bytesOf(sizeof(T) + sizeof(U)), kThreads, run, "vsConvertTo", peer);
}

void timed(benchmark::internal::Benchmark* benchmark) { benchmark->Unit(benchmark::kMillisecond)->UseManualTime(); }

#define STRETCH(T, U)                                \
    BENCHMARK_TEMPLATE(Stretch, T, U)->Apply(timed); \
    BENCHMARK_TEMPLATE(StretchRegion, T, U)->ArgName("region")->DenseRange(0, 1)->Apply(timed);
#define BOTH_DEPTHS(T)                                         \
    BENCHMARK_TEMPLATE(Fixed, T, unsigned char)->Apply(timed); \
    BENCHMARK_TEMPLATE(Fixed, T, unsigned short)->Apply(timed);

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
