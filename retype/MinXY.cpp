#include "retype/MinXY.h"

#include "frame/Parallel.h"

#include <immintrin.h>

#include <algorithm>
#include <limits>

namespace nox {

namespace {

constexpr float kNone = std::numeric_limits<float>::max();

struct BOX_SIMDMinXY
{
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

    void operator()(const tbb::blocked_range<int>& rows)
    {
        __m256 lowX = _mm256_set1_ps(minX), lowY = _mm256_set1_ps(minY);
        for (int row = rows.begin(); row != rows.end(); ++row) {
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

}  // namespace

long BOX_MinXY_SIMDNEW(cv::Mat& X, cv::Mat& Y, cv::Mat& Z, float* minX, float* minY, int width, int height)
{
    BOX_SIMDMinXY body(X, Y, Z, width);
    parallelReduce(tbb::blocked_range<int>(0, std::max(height, 0), 1), body);
    *minX = body.minX;
    *minY = body.minY;
    return 0;
}

}  // namespace nox
