#include <Nox3DSurfaceMeasurement.h>

#include <NoxROIDataConvert.h>
#include <NoxResultCodes.h>

#include "data/ElementType.h"
#include "data/Lanes.h"

#include <immintrin.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace NOXEL {

namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();

/// Smallest, largest, sum and number of heights, those not finite passed over. Pixel k of a run goes to lane k mod 8:
/// nothing but the runs decides about the order of the sums.
class Statistics
{
public:
    /// Takes a multiple of eight.
    void add(const float* heights, int count)
    {
        for (int i = 0; i < count; i += 8) add(_mm256_loadu_ps(heights + i));
    }

    std::int64_t count() const { return count_; }
    double low() const
    {
        float lane[8];
        _mm256_storeu_ps(lane, low_);
        return *std::min_element(lane, lane + 8);
    }
    double high() const
    {
        float lane[8];
        _mm256_storeu_ps(lane, high_);
        return *std::max_element(lane, lane + 8);
    }
    double mean() const
    {
        double lane[4];
        _mm256_storeu_pd(lane, _mm256_add_pd(front_, back_));
        return ((lane[0] + lane[1]) + (lane[2] + lane[3])) / static_cast<double>(count_);
    }

private:
    void add(__m256 height)
    {
        const __m256 sign = _mm256_set1_ps(-0.0f), largest = _mm256_set1_ps(std::numeric_limits<float>::max());
        const __m256 part = _mm256_cmp_ps(_mm256_andnot_ps(sign, height), largest, _CMP_LE_OQ);
        low_ = _mm256_min_ps(low_, nox::select(part, height, _mm256_set1_ps(infinity)));
        high_ = _mm256_max_ps(high_, nox::select(part, height, _mm256_set1_ps(-infinity)));
        const __m256 summand = _mm256_and_ps(height, part);
        front_ = _mm256_add_pd(front_, _mm256_cvtps_pd(_mm256_castps256_ps128(summand)));
        back_ = _mm256_add_pd(back_, _mm256_cvtps_pd(_mm256_extractf128_ps(summand, 1)));
        count_ += _mm_popcnt_u32(static_cast<unsigned>(_mm256_movemask_ps(part)));
    }

    __m256 low_ = _mm256_set1_ps(infinity), high_ = _mm256_set1_ps(-infinity);
    __m256d front_ = _mm256_setzero_pd(), back_ = _mm256_setzero_pd();
    std::int64_t count_ = 0;
};

/// z of the pixels' points; not finite for an invalid pixel.
template <class T>
class Depth
{
public:
    explicit Depth(const NoxRangeImage& image)
    {
        if (nox::isScaled<T> || (std::is_same_v<T, float> && image.Type() == 1)) {
            resolution_ = static_cast<float>(image.ResolutionZ());
            offset_ = static_cast<float>(image.OffsetZ());
        }
    }

    /// The depths of `count` pixels, and infinities up to the next multiple of eight; tells that multiple.
    int read(const T* pixels, int count, float* depths) const
    {
        int i = 0;
        for (; i <= count - 4; i += 4) _mm_storeu_ps(depths + i, four(nox::fourDoubles(pixels + i)));
        if (i < count) _mm_storeu_ps(depths + i, four(nox::fourDoubles(pixels + i, count - i)));
        const int padded = (count + 7) / 8 * 8;
        std::fill(depths + count, depths + padded, infinity);
        return padded;
    }

private:
    __m128 four(nox::Double4 value) const
    {
        const __m256d v = value.lanes;
        const __m256d isMarker = _mm256_cmp_pd(v, _mm256_set1_pd(nox::Element<T>::invalid), _CMP_EQ_OQ);
        const __m128 depth = _mm256_cvtpd_ps(nox::select(isMarker, _mm256_set1_pd(infinity), v));
        return _mm_mul_ps(_mm_sub_ps(depth, _mm_set1_ps(offset_)), _mm_set1_ps(resolution_));
    }

    float resolution_ = 1.0f, offset_ = 0.0f;
};

/// Distance of the point at (row, column) and a depth from a plane.
class Distance
{
public:
    Distance(const NoxRangeImage& image, const Nox3DPlane& plane)
        : image_(image), point_(plane.Point()), x_(plane.Normal().X()), y_(plane.Normal().Y()), z_(plane.Normal().Z())
    {
        const double length = std::hypot(x_, y_, z_);
        x_ /= length;
        y_ /= length;
        z_ /= length;
        if (image.Type() == 1)
            for (int i = 0; i < 4; ++i) p_[i] = image.GetParaValue(i).D();
    }

    float operator()(int row, int column, float depth) const
    {
        const bool perspective = image_.Type() == 1;
        const double x =
            perspective ? (column - p_[0]) * depth * p_[2] : (row - image_.OffsetY()) * image_.ResolutionY();
        const double y =
            perspective ? (row - p_[1]) * depth * p_[3] : (column - image_.OffsetX()) * image_.ResolutionX();
        return static_cast<float>((x - point_.X()) * x_ + (y - point_.Y()) * y_ + (depth - point_.Z()) * z_);
    }

private:
    const NoxRangeImage& image_;
    NoxVector3d point_;
    double x_, y_, z_, p_[4] = {};
};

}  // namespace

long Nox3DSurfaceMeasurement::HeightIntensity(const NoxRangeImage& image, const NoxROI& region, const Nox3DPlane& plane,
                                              int, int, double, double, int, int, double* lowest, double* highest,
                                              int* count, double* mean, double*, double*, double*, double*,
                                              NoxVector3d*, NoxVector3d*) const
{
    std::vector<NoxRun> runs;
    NoxROIDataConvert().ROItoRun(region, &runs, image.Width(), image.Height(), nullptr);

    Statistics statistics;
    nox::dispatch(image.DataType(), nox::Elements{}, [&](auto tag) {
        using T = typename decltype(tag)::type;
        const auto* pixels = reinterpret_cast<const T*>(image.Data());
        const Depth<T> depth(image);
        const bool fromPlane = plane.IsValid();
        const Distance distance(image, plane);
        constexpr int size = 512;
        float heights[size];
        for (const NoxRun& run : runs) {
            const T* row = pixels + static_cast<std::ptrdiff_t>(run.row) * image.Width();
            for (std::int64_t first = run.first; first <= run.last; first += size) {
                const int column = static_cast<int>(first);
                const int length = std::min(size, run.last - column + 1);
                const int padded = depth.read(row + column, length, heights);
                for (int i = 0; fromPlane && i < length; ++i) heights[i] = distance(run.row, column + i, heights[i]);
                statistics.add(heights, padded);
            }
        }
    });
    if (statistics.count() == 0) return code::rangeImageEmpty;

    if (lowest) *lowest = statistics.low();
    if (highest) *highest = statistics.high();
    if (count) *count = static_cast<int>(std::min<std::int64_t>(statistics.count(), std::numeric_limits<int>::max()));
    if (mean) *mean = statistics.mean();
    return code::success;
}

}  // namespace NOXEL
