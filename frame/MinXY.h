#pragma once

#include "frame/Parallel.h"

#include <immintrin.h>
#include <opencv2/core.hpp>

#include <algorithm>
#include <cstddef>
#include <limits>

namespace nox {

/// Reduction over rows to the smallest X and the smallest Y, each by itself, of the pixels whose Z is below 1e8 in
/// absolute value; largest floats where there are none. The planes are CV_32F and at least `width` wide; a NaN in X or
/// Y is passed over.
struct BOX_SIMDMinXY
{
    static constexpr float kNone = std::numeric_limits<float>::max();

    const cv::Mat &x, &y, &z;
    int width;
    float minX = kNone, minY = kNone;

    BOX_SIMDMinXY(const cv::Mat& xs, const cv::Mat& ys, const cv::Mat& zs, int columns)
        : x(xs), y(ys), z(zs), width(columns)
    {
    }
    BOX_SIMDMinXY(const BOX_SIMDMinXY& other, tbb::split /*tag*/)
        : BOX_SIMDMinXY(other.x, other.y, other.z, other.width)
    {
    }

    void operator()(const tbb::blocked_range<std::size_t>& rows)
    {
        __m256 lowX = _mm256_set1_ps(minX), lowY = _mm256_set1_ps(minY);
        for (auto row = static_cast<int>(rows.begin()); row != static_cast<int>(rows.end()); ++row) {
            const float *xs = x.ptr<float>(row), *ys = y.ptr<float>(row), *zs = z.ptr<float>(row);
            int i = 0;
            for (; i <= width - 8; i += 8) {
                lowX = lower(lowX, _mm256_loadu_ps(xs + i), _mm256_loadu_ps(zs + i));
                lowY = lower(lowY, _mm256_loadu_ps(ys + i), _mm256_loadu_ps(zs + i));
            }
            for (; i < width; ++i) {
                lowX = lower(lowX, _mm256_set1_ps(xs[i]), _mm256_set1_ps(zs[i]));
                lowY = lower(lowY, _mm256_set1_ps(ys[i]), _mm256_set1_ps(zs[i]));
            }
        }
        minX = lowest(lowX);
        minY = lowest(lowY);
    }

    void join(const BOX_SIMDMinXY& other) noexcept
    {
        minX = std::min(minX, other.minX);
        minY = std::min(minY, other.minY);
    }

private:
    static __m256 lower(__m256 low, __m256 values, __m256 heights)
    {
        const __m256 magnitude = _mm256_andnot_ps(_mm256_set1_ps(-0.0f), heights);
        const __m256 counts = _mm256_cmp_ps(magnitude, _mm256_set1_ps(1e8f), _CMP_LT_OQ);
        const __m256 others = _mm256_andnot_ps(counts, _mm256_set1_ps(kNone));
        return _mm256_min_ps(_mm256_or_ps(_mm256_and_ps(counts, values), others), low);  // of a NaN and `low`, `low`
    }

    static float lowest(__m256 lanes)
    {
        float values[8];
        _mm256_storeu_ps(values, lanes);
        return *std::min_element(values, values + 8);
    }
};

/// The two smallest coordinates of a block of the planes, as far as these go.
inline void minXY(const cv::Mat& x, const cv::Mat& y, const cv::Mat& z, float* minX, float* minY, int width, int height)
{
    BOX_SIMDMinXY body(x, y, z, std::min({width, x.cols, y.cols, z.cols}));
    const int rows = std::max(std::min({height, x.rows, y.rows, z.rows}), 0);
    parallelReduce(tbb::blocked_range<std::size_t>(0, static_cast<std::size_t>(rows), 1), body);
    *minX = body.minX;
    *minY = body.minY;
}

}  // namespace nox
