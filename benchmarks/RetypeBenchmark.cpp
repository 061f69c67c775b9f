// Another element type, all pairs, against one plain cv::Mat::convertTo of the same pair into a matrix that stands
// (vsConvertTo, above 1 when the library is faster), against the copy limit for the bytes read and written (ofCopy),
// and against the bound that holds (ofBound): half of the copy limit, or for doubles, whose rule divides for each
// pixel, the divisions alone if they take longer. Best against best.
//   --benchmark_filter=Retype

#include <Nox3DDataConvert.h>

#include "benchmarks/Limits.h"
#include "data/ElementType.h"

#include <benchmark/benchmark.h>
#include <immintrin.h>
#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/parallel_for.h>
#include <opencv2/core.hpp>

#include <algorithm>
#include <limits>
#include <random>

namespace {

constexpr int kSide = 4096;
constexpr double kPixels = static_cast<double>(kSide) * kSide;

/// Random heights over the range that the fixed scales show, a tenth of them invalid at random places.
template <class T>
NoxRangeImage scan()
{
    NoxRangeImage image;
    image.SetSize(kSide, kSide, cv::DataType<T>::depth);
    image.SetInfo(sizeof(T) == 1 ? 0.01 : 0.001, std::is_unsigned_v<T> ? (std::numeric_limits<T>::max() + 1) / 2 : 0,
                  0.2, 11, 0.3, 13);
    std::mt19937 random(1);
    std::uniform_real_distribution<double> share(-1.0, 1.0);
    T* heights = reinterpret_cast<T*>(image.Data());
    for (long i = 0; i < static_cast<long>(kSide) * kSide; ++i) {
        const double height = 1.28 * share(random);
        const double number = std::is_integral_v<T> ? height / image.ResolutionZ() + image.OffsetZ() : height;
        heights[i] = share(random) < -0.8 ? nox::Element<T>::invalid : static_cast<T>(number);
    }
    return image;
}

/// Seconds for a division in double, four at once, on all threads allowed; the best of seven.
double division()
{
    constexpr int kRounds = 1 << 18;
    double best = 1e9;
    for (int run = 0; run < 7; ++run)
        best = std::min(best, nox_bench::seconds([] {
                            tbb::parallel_for(0, 16, [](int) {
                                __m256d sums[4] = {};
                                __m256d v = _mm256_set1_pd(1.7);
                                for (int i = 0; i < kRounds / 16; ++i) {
                                    benchmark::DoNotOptimize(v);
                                    for (__m256d& sum : sums)
                                        sum = _mm256_or_pd(sum, _mm256_div_pd(v, _mm256_add_pd(v, v)));
                                }
                                benchmark::DoNotOptimize(sums);
                            });
                        }));
    return best / (16.0 * kRounds);
}

template <class S, class D>
void Retype(benchmark::State& state)
{
    const int threads = static_cast<int>(state.range(0));
    const tbb::global_control limit(tbb::global_control::max_allowed_parallelism, static_cast<std::size_t>(threads));
    NoxRangeImage image = scan<S>(), result;
    cv::Mat converted;
    const int depth = cv::DataType<D>::depth;
    const auto run = [&] {
        if (NOXEL::Nox3DDataConvert().RangeImageDataTypeConvert(image, &result, depth) != 0)
            state.SkipWithError("refused");
    };
    const auto peer = [&] { image.Matrix().convertTo(converted, depth); };
    const double bytes = (sizeof(S) + sizeof(D)) * kPixels;
    const double best = nox_bench::race(state, bytes, threads, run, "vsConvertTo", peer);
    constexpr bool divides = std::is_same_v<S, double> && std::is_integral_v<D>;
    const double copy = bytes * 1e-9 / nox_bench::copyLimit(threads);
    state.counters["ofBound"] = std::max(2.0 * copy, divides ? kPixels * division() : 0.0) / best;
}

#define RETYPE(S, D) BENCHMARK_TEMPLATE(Retype, S, D)->ArgName("threads")->Arg(2)->Apply(timed);
#define RETYPE_FROM_8_OR_16(S, T) RETYPE(S, T) RETYPE(S, int) RETYPE(S, float) RETYPE(S, double)
#define RETYPE_FROM_WIDE(S) RETYPE(S, unsigned char) RETYPE(S, char) RETYPE(S, unsigned short)

void timed(benchmark::internal::Benchmark* benchmark) { benchmark->Unit(benchmark::kMillisecond)->UseManualTime(); }

RETYPE_FROM_8_OR_16(unsigned char, char)
RETYPE_FROM_8_OR_16(char, unsigned char)
RETYPE_FROM_8_OR_16(unsigned short, char)
RETYPE(unsigned char, unsigned short)
RETYPE(char, unsigned short)
RETYPE(unsigned short, unsigned char)
RETYPE(short, float)
RETYPE_FROM_WIDE(int)
RETYPE_FROM_WIDE(float)
RETYPE_FROM_WIDE(double)
RETYPE(int, float)
RETYPE(int, double)
RETYPE(float, int)
RETYPE(float, double)
RETYPE(double, int)
RETYPE(double, float)

}  // namespace
