// Posture correction: levelling against a plane and merging posed images.

#include <Nox3DDataConvert.h>
#include <Nox3DSampling.h>
#include <PostureBodies.h>

#include "data/Checked.h"
#include "data/ElementType.h"
#include "tests/support/Replacements.h"

#include <gtest/gtest.h>
#include <oneapi/tbb/global_control.h>
#include <opencv2/core.hpp>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr float kInvalid = std::numeric_limits<float>::lowest();
constexpr float kNone = std::numeric_limits<float>::max();

float* floats(const NoxRangeImage& image) { return reinterpret_cast<float*>(image.Data()); }
float at(const NoxRangeImage& image, int row, int column) { return floats(image)[row * image.Width() + column]; }

std::size_t cellOf(int row, int column, int width)
{
    return static_cast<std::size_t>(row) * static_cast<std::size_t>(width) + static_cast<std::size_t>(column);
}

struct Grid
{
    double resolutionX = 1, offsetX = 0, resolutionY = 1, offsetY = 0;
};

/// A float image of type 0 with height(row, column).
NoxRangeImage imageOf(int width, int height, const Grid& grid, const std::function<float(int, int)>& heightAt)
{
    NoxRangeImage image;
    image.SetSize(width, height, NoxDataType32F);
    image.SetInfo(1, 0, grid.resolutionX, grid.offsetX, grid.resolutionY, grid.offsetY);
    for (int row = 0; row < height; ++row)
        for (int column = 0; column < width; ++column) floats(image)[row * width + column] = heightAt(row, column);
    return image;
}

NoxMatrix poseOf(const cv::Matx44d& m) { return NoxMatrix(cv::Mat(m).clone()); }

NoxMatrixArray posesOf(const std::vector<cv::Matx44d>& poses)
{
    NoxMatrixArray array;
    for (const cv::Matx44d& pose : poses) array.Append(poseOf(pose));
    return array;
}

NoxRangeImageArray arrayOf(const std::vector<NoxRangeImage>& images)
{
    NoxRangeImageArray array;
    for (const NoxRangeImage& image : images) array.Append(image);
    return array;
}

const cv::Matx44d kIdentity = cv::Matx44d::eye();

/// Turns about z, then y, then x, and a move.
cv::Matx44d turned(double x, double y, double z, const cv::Vec3d& move)
{
    const cv::Matx33d rx(1, 0, 0, 0, std::cos(x), -std::sin(x), 0, std::sin(x), std::cos(x));
    const cv::Matx33d ry(std::cos(y), 0, std::sin(y), 0, 1, 0, -std::sin(y), 0, std::cos(y));
    const cv::Matx33d rz(std::cos(z), -std::sin(z), 0, std::sin(z), std::cos(z), 0, 0, 0, 1);
    const cv::Matx33d r = rx * ry * rz;
    return {r(0, 0), r(0, 1), r(0, 2), move[0], r(1, 0), r(1, 1), r(1, 2), move[1],
            r(2, 0), r(2, 1), r(2, 2), move[2], 0,       0,       0,       1};
}

struct Place
{
    float x = kNone, y = kNone, z = kInvalid;
};

/// What posture correction is to give, by plain loops: all points on a canvas, then the corner, the scaling and the
/// merge.
struct Canvas
{
    using OwnPlace = std::function<Place(const NoxRangeImage&, int row, int column)>;

    int rows = 0, columns = 0;
    std::vector<Place> own, moved;

    Canvas(const NoxRangeImageArray& images, const NoxMatrixArray& poses, const OwnPlace& ownPlace)
    {
        for (int i = 0; i < images.Length(); ++i) {
            rows = std::max(rows, images[i].Height());
            columns += images[i].Width();
        }
        own.resize(cellOf(rows, 0, columns));
        moved.resize(own.size());
        for (int i = 0, start = 0; i < images.Length(); start += images[i].Width(), ++i) {
            const NoxMatrix pose = poses[i];
            float m[12];
            for (int k = 0; k < 12; ++k) m[k] = static_cast<float>(pose.Matrix().ptr<double>()[k]);
            for (int row = 0; row < images[i].Height(); ++row) {
                for (int column = 0; column < images[i].Width(); ++column) {
                    const Place p = ownPlace(images[i], row, column);
                    const std::size_t cell = cellOf(row, start + column, columns);
                    own[cell] = p;
                    if (!(p.z > kInvalid)) continue;
                    moved[cell] = {p.x * m[0] + p.y * m[1] + p.z * m[2] + m[3],
                                   p.x * m[4] + p.y * m[5] + p.z * m[6] + m[7],
                                   p.x * m[8] + p.y * m[9] + p.z * m[10] + m[11]};
                }
            }
        }
    }

    static bool isPoint(float z) { return std::abs(z) < 1e8f; }

    /// Smallest coordinates of `places` in the first columns where `valid` is a point.
    Place corner(const std::vector<Place>& places, const std::vector<Place>& valid, int width, int height) const
    {
        Place corner;
        for (int row = 0; row < height; ++row) {
            for (int column = 0; column < width; ++column) {
                const std::size_t cell = cellOf(row, column, columns);
                if (!isPoint(valid[cell].z)) continue;
                if (places[cell].x < corner.x) corner.x = places[cell].x;
                if (places[cell].y < corner.y) corner.y = places[cell].y;
            }
        }
        return corner;
    }

    /// @param unit  of a cell's resolution, the one in which the offsets are told
    NoxRangeImage merged(float shiftX, float shiftY, float resolutionX, float resolutionY, int width, int height,
                         float unit = 1.0f) const
    {
        std::vector<float> sum(cellOf(height, 0, width)), count(sum.size());
        for (const Place& p : moved) {
            if (!isPoint(p.z)) continue;
            const std::int64_t row = nox::t32((p.x - shiftX) / resolutionY);
            const std::int64_t column = nox::t32((p.y - shiftY) / resolutionX);
            for (int k = 0; k < 4; ++k) {
                const std::int64_t r = row + k / 2, c = column + k % 2;
                if (r < 0 || r >= height || c < 0 || c >= width) continue;
                sum[static_cast<std::size_t>(r * width + c)] += p.z;
                count[static_cast<std::size_t>(r * width + c)] += 1.0f;
            }
        }
        const Grid grid{resolutionX, -shiftY / (resolutionX / unit), resolutionY, -shiftX / (resolutionY / unit)};
        return imageOf(width, height, grid, [&](int r, int c) {
            const std::size_t cell = cellOf(r, c, width);
            return count[cell] > 0 ? sum[cell] / count[cell] : kInvalid;
        });
    }
};

Place orthographicPlace(const NoxRangeImage& image, int row, int column)
{
    return {
        (static_cast<float>(row) - static_cast<float>(image.OffsetY())) * static_cast<float>(image.ResolutionY()),
        (static_cast<float>(column) - static_cast<float>(image.OffsetX())) * static_cast<float>(image.ResolutionX()),
        at(image, row, column)};
}

NoxRangeImage mergedPlainly(const NoxRangeImageArray& images, const NoxMatrixArray& poses, float resolutionX,
                            float resolutionY, int width, int height, float unit = 1.0f)
{
    const Canvas canvas(images, poses, orthographicPlace);
    const NoxRangeImage& first = images[0];
    const Place a = canvas.corner(canvas.own, canvas.moved, first.Width(), first.Height());
    const Place c = canvas.corner(canvas.moved, canvas.moved, first.Width(), first.Height());
    const auto shiftX = static_cast<float>(static_cast<double>(c.x - a.x) - first.OffsetY() * first.ResolutionY());
    const auto shiftY = static_cast<float>(static_cast<double>(c.y - a.y) - first.OffsetX() * first.ResolutionX());
    return canvas.merged(shiftX, shiftY, resolutionX, resolutionY, width, height, unit);
}

void expectSame(const NoxRangeImage& result, const NoxRangeImage& expected)
{
    ASSERT_EQ(result.Type(), 0);
    ASSERT_EQ(result.DataType(), NoxDataType32F);
    ASSERT_EQ(result.Width(), expected.Width());
    ASSERT_EQ(result.Height(), expected.Height());
    EXPECT_EQ(result.ResolutionX(), expected.ResolutionX());
    EXPECT_EQ(result.ResolutionY(), expected.ResolutionY());
    EXPECT_EQ(result.OffsetX(), expected.OffsetX());
    EXPECT_EQ(result.OffsetY(), expected.OffsetY());
    for (int i = 0; i < result.Width() * result.Height(); ++i)
        ASSERT_EQ(std::memcmp(floats(result) + i, floats(expected) + i, 4), 0)
            << "row " << i / result.Width() << " column " << i % result.Width() << ": " << floats(result)[i]
            << " instead of " << floats(expected)[i];
}

struct Request
{
    float resolutionX, resolutionY;
    int factor, method, width, height;
};

long correct(NoxRangeImageArray& images, NoxMatrixArray& poses, int reference, const Request& r, NoxRangeImage* result)
{
    return NOXEL::Nox3DDataConvert().RangeImagePostureCorrect(images, poses, reference, r.resolutionX, r.resolutionY,
                                                              r.factor, r.method, r.width, r.height, result);
}

TEST(Posture, TheMergeIsThatOfAllPointsInCanvasOrder)
{
    std::mt19937 random(7);
    const auto upTo = [&](double limit) { return std::uniform_real_distribution<>(-limit, limit)(random); };
    const auto whole = [&](int low, int high) { return std::uniform_int_distribution<>(low, high)(random); };
    for (int trial = 0; trial < 60; ++trial) {
        SCOPED_TRACE(trial);
        const int threads = trial % 3 == 0 ? 1 : trial % 3 == 1 ? 2 : 7;
        const tbb::global_control limit(tbb::global_control::max_allowed_parallelism,
                                        static_cast<std::size_t>(threads));
        const bool wild = trial % 5 == 4;  // heights that a tilt strews over the whole grid
        std::vector<NoxRangeImage> images;
        std::vector<cv::Matx44d> poses;
        for (int i = whole(1, 3); i > 0; --i) {
            const Grid grid{0.4 + 0.1 * whole(0, 5), upTo(30), 0.3 + 0.1 * whole(0, 5), upTo(40)};
            const double slope = upTo(0.2);
            images.push_back(imageOf(whole(1, 300), whole(1, 200), grid, [&](int row, int column) {
                const int kind = whole(0, 40);
                const float odd[] = {kInvalid, NAN, INFINITY, -1e8f, 9e7f};
                if (kind < 5) return odd[kind];
                return static_cast<float>(upTo(wild ? 150 : 0.5) + slope * (row + 0.5 * column));
            }));
            const double tilt = wild ? 1.5 : 0.5;
            poses.push_back(turned(upTo(tilt), upTo(tilt), upTo(3.2), {upTo(20), upTo(30), upTo(3)}));
        }
        NoxRangeImageArray array = arrayOf(images);
        NoxMatrixArray poseArray = posesOf(poses);
        const Request request{
            0.3f + 0.1f * static_cast<float>(whole(0, 9)), 0.7f, 1, whole(0, 5), whole(2, 700), whole(2, 600)};
        NoxRangeImage result;
        ASSERT_EQ(correct(array, poseArray, 0, request, &result), 0);
        expectSame(result, mergedPlainly(array, poseArray, request.resolutionX, request.resolutionY, request.width,
                                         request.height));
    }
}

template <class T>
void perspectiveImage(NoxRangeImage& image, std::mt19937& random)
{
    auto* pixels = reinterpret_cast<T*>(image.Data());
    for (int i = 0; i < image.Width() * image.Height(); ++i)
        pixels[i] = random() % 9 == 0 ? nox::Element<T>::invalid : static_cast<T>(random() % 100);
}

TEST(Posture, PerspectiveImagesOfEveryTypeMergeByTheirLinesOfSight)
{
    std::mt19937 random(3);
    for (int type = 0; type <= 6; ++type) {
        SCOPED_TRACE(type);
        const bool scaled = type < 5;
        const tbb::global_control limit(tbb::global_control::max_allowed_parallelism,
                                        static_cast<std::size_t>(1 + type % 3));
        NoxRangeImageArray images;
        for (int i = 0; i < 3; ++i) {
            NoxRangeImage image;
            image.SetSize(37 + 5 * i + type, 20 - 3 * i, type);
            image.SetType(1);
            image.SetInfo(0.25, 2, 1, 0, 1, 0);
            NoxVarArray parameters;
            parameters.SetSize(4);
            for (int k = 0; k < 4; ++k) parameters[k] = i == 0 && type % 2 ? -3.0 + k : 0.03 * (k + 1) + 0.01 * i;
            image.SetInfo(parameters);
            nox::dispatch(type, nox::Elements{},
                          [&](auto tag) { perspectiveImage<typename decltype(tag)::type>(image, random); });
            images.Append(image);
        }
        NoxMatrixArray poses =
            posesOf({turned(0.3, -0.2, 0.5, {1, 2, 3}), turned(-0.1, 0.4, 2, {4, 2, -3}), kIdentity});
        const Canvas canvas(images, poses, [&](const NoxRangeImage& image, int row, int column) {
            const auto p = [&](int k) { return static_cast<float>(image.GetParaValue(k).D()); };
            Place place;
            nox::dispatch(type, nox::Elements{}, [&](auto tag) {
                using T = typename decltype(tag)::type;
                const T value = reinterpret_cast<const T*>(image.Data())[row * image.Width() + column];
                if (value == nox::Element<T>::invalid) return;
                const float z = scaled ? (static_cast<float>(value) - 2.0f) * 0.25f : static_cast<float>(value);
                place = {(static_cast<float>(column) - p(0)) * p(2) * z, (static_cast<float>(row) - p(1)) * p(3) * z,
                         z};
            });
            return place;
        });
        const NoxRangeImage& first = images[0];
        const auto parameter = [&](int k) { return first.GetParaValue(k).D(); };
        const Place own = canvas.corner(canvas.own, canvas.own, first.Width(), first.Height());
        const Place moved = canvas.corner(canvas.moved, canvas.moved, first.Width(), first.Height());
        const auto shiftX = own.x >= 0 ? static_cast<float>((moved.x - own.x) - parameter(0) * parameter(2)) : moved.x;
        const auto shiftY = own.y >= 0 ? static_cast<float>((moved.y - own.y) - parameter(1) * parameter(3)) : moved.y;
        NoxRangeImage result;
        ASSERT_EQ(correct(images, poses, 0, {0.4f, 0.9f, 1, 3, 60, 45}, &result), 0);
        expectSame(result, canvas.merged(shiftX, shiftY, 0.4f, 0.9f, 60, 45));
        EXPECT_EQ(images.Length(), 3);
    }
}

TEST(Posture, TheStagesOneAfterTheOtherGiveWhatTheOperationGives)
{
    const Grid grid{0.5, 3, 0.25, -2};
    NoxRangeImageArray images =
        arrayOf({imageOf(21, 9, grid, [](int r, int c) { return 0.1f * static_cast<float>(r * c); }),
                 imageOf(13, 17, grid, [](int r, int c) { return r == c ? kInvalid : 2.f; })});
    NoxMatrixArray poses = posesOf({turned(0.2, 0.1, 0.3, {1, 2, 3}), turned(-0.1, 0.2, 1, {2, 1, 0})});
    cv::Mat x(17, 40, CV_32F, cv::Scalar(kNone)), y = x.clone(), z(17, 40, CV_32F, cv::Scalar(kInvalid));
    cv::Mat x0, y0, pose, sum, count;
    poses[0].Matrix().convertTo(pose, CV_32F);
    ASSERT_EQ(NOXEL::RangeToPlc_SIMD0(images[0], pose, x0, y0, x, y, z, 3, -2, 0.5f, 0.25f, 21, 9), 0);
    float a, b, c, d;
    NOXEL::BOX_MinXY_SIMD0(x0, y0, z, &a, &b, 21, 9);
    NOXEL::BOX_MinXY_SIMD0(x, y, z, &c, &d, 21, 9);
    const auto shiftX = static_cast<float>((c - a) + 2 * 0.25), shiftY = static_cast<float>((d - b) - 3 * 0.5);
    poses[1].Matrix().convertTo(pose, CV_32F);
    EXPECT_EQ(NOXEL::RangeToPlc_SIMD(images[1], pose, x, y, z, 3, -2, 0.5f, 0.25f, 28, 13, 17), 11200003);
    ASSERT_EQ(NOXEL::RangeToPlc_SIMD(images[1], pose, x, y, z, 3, -2, 0.5f, 0.25f, 21, 13, 17), 0);
    ASSERT_EQ(NOXEL::PclValToPixelAll(x, y, z, shiftX, shiftY, 0.3f, 0.6f, 40, 17), 0);
    ASSERT_EQ(NOXEL::AllAddSum_TBB(x, y, z, sum, count, 40, 17, 25, 31), 0);
    const Grid resultGrid{0.3f, -shiftY / 0.3f, 0.6f, -shiftX / 0.6f};
    const NoxRangeImage expected = imageOf(31, 25, resultGrid, [&](int r, int col) {
        return count.at<float>(r, col) > 0 ? sum.at<float>(r, col) / count.at<float>(r, col) : kInvalid;
    });
    NoxRangeImage result;
    ASSERT_EQ(correct(images, poses, 0, {0.3f, 0.6f, 1, 0, 31, 25}, &result), 0);
    expectSame(result, expected);

    NOXEL::PclAddToRangeTBB body(x, y, z, 40, 17, 25, 31);
    std::vector<float> sums(25 * 31), counts(25 * 31);
    EXPECT_EQ(body.get(sums.data(), counts.data()), 0);
    EXPECT_EQ(std::memcmp(sums.data(), sum.data, sums.size() * 4), 0);
    EXPECT_EQ(std::memcmp(counts.data(), count.data, counts.size() * 4), 0);
    NOXEL::PclAddToRangeTBB upper(x, y, z, 40, 17, 25, 31), lower(upper, tbb::split());
    upper(tbb::blocked_range<std::size_t>(0, 5));
    lower(tbb::blocked_range<std::size_t>(5, 17));
    upper.join(lower);
    EXPECT_EQ(std::memcmp(upper.countData, count.data, counts.size() * 4), 0);
    std::fill(sums.begin(), sums.end(), 0.0f);
    std::fill(counts.begin(), counts.end(), 0.0f);
    NOXEL::PclAddToRangeTBB1(x, y, z, 40, 25, 31, sums.data(), counts.data()).get(sums.data(), counts.data());
    EXPECT_EQ(std::memcmp(sums.data(), sum.data, sums.size() * 4), 0);
    EXPECT_EQ(std::memcmp(counts.data(), count.data, counts.size() * 4), 0);
    cv::Mat none;
    EXPECT_EQ(NOXEL::PclValToPixelAll(x, y, none, 0, 0, 1, 1, 1, 1), 11100001);
}

TEST(Posture, APointCountsInFourCells)
{
    const float xs[] = {2.7f, -0.5f, -1.0f, 4.0f, 1.0f, 1.0f, NAN, 1.0f}, ys[] = {3.2f, 0, 5, 1, 1, 1, 1, 3e9f};
    const float zs[] = {10, 20, 40, 80, NAN, 1e8f, 7, 7};
    const auto plane = [](const float* values) { return cv::Mat(1, 8, CV_32F, const_cast<float*>(values)).clone(); };
    cv::Mat x = plane(xs), y = plane(ys), z = plane(zs), sum, count;
    ASSERT_EQ(NOXEL::AllAddSum_TBB(x, y, z, sum, count, 8, 1, 5, 7), 0);
    const float expected[5][7] = {{20, 20, 0, 0, 0, 40, 40},
                                  {20, 20, 0, 0, 0, 0, 0},
                                  {0, 0, 0, 10, 10, 0, 0},
                                  {0, 0, 0, 10, 10, 0, 0},
                                  {0, 80, 80, 0, 0, 0, 0}};
    EXPECT_EQ(std::memcmp(sum.data, expected, sizeof expected), 0);
    EXPECT_EQ(cv::countNonZero(count), cv::countNonZero(sum));
}

TEST(Posture, APlaneLevelsFlatForNormalsAllRound)
{
    for (int k = 0; k < 16; ++k) {
        SCOPED_TRACE(k);
        const double around = k * CV_PI / 8, slope = std::tan(0.15 + 0.06 * k);
        const double sx = slope * std::cos(around), sy = slope * std::sin(around);
        const Grid grid{0.5, 7, 0.4, -5};
        NoxRangeImage image = imageOf(90, 70, grid, [&](int r, int c) {
            return static_cast<float>(30 + sx * (r + 5) * 0.4 + sy * (c - 7) * 0.5);
        });
        const float turn = k % 2 ? -2.0f : 3.0f;
        Nox3DPlane plane(NoxVector3d(1, 2, static_cast<float>(30 + sx + 2 * sy)),
                         NoxVector3d(static_cast<float>(-sx) * turn, static_cast<float>(-sy) * turn, turn));
        Nox3DPlane reversed(plane.Point(), NoxVector3d(-plane.Normal().X(), -plane.Normal().Y(), -turn));
        const auto level = [&](Nox3DPlane& to, NoxRangeImage* result) {
            return NOXEL::Nox3DDataConvert().RangeImagePostureCorrect(image, result, to, 0.7f, 0.6f, 1, 0, 200, 190);
        };
        NoxRangeImage result, fromReversed;
        ASSERT_EQ(level(plane, &result), 0);
        ASSERT_EQ(level(reversed, &fromReversed), 0);
        expectSame(fromReversed, result);
        EXPECT_GT(plane.Normal().Z(), 0);
        EXPECT_EQ(plane.Normal(), reversed.Normal());
        EXPECT_EQ(result.OffsetX(), 0);
        EXPECT_EQ(result.OffsetY(), 0);
        int valid = 0;
        for (int i = 0; i < 200 * 190; ++i) {
            if (floats(result)[i] == kInvalid) continue;
            ++valid;
            ASSERT_LT(std::abs(floats(result)[i]), 1e-4f) << i;
        }
        EXPECT_GT(valid, 90 * 70 * 0.5 * 0.4 / (0.7 * 0.6));  // a tilted plane is larger than its shadow
    }
}

TEST(Posture, TwoHalvesMergeIntoTheSurface)
{
    const auto height = [](int r, int c) {
        return std::sin(0.1f * static_cast<float>(r)) + 0.2f * static_cast<float>(c);
    };
    const Grid grid{0.5, 2, 0.25, 4};
    NoxRangeImageArray whole = arrayOf({imageOf(83, 40, grid, height)});
    NoxRangeImageArray halves = arrayOf(
        {imageOf(31, 40, grid, height), imageOf(52, 40, grid, [&](int r, int c) { return height(r, c + 31); })});
    cv::Matx44d beside = kIdentity;
    beside(1, 3) = 31 * 0.5;
    NoxMatrixArray one = posesOf({kIdentity}), two = posesOf({kIdentity, beside});
    NoxRangeImage expected, result;
    ASSERT_EQ(correct(whole, one, 0, {0.75f, 0.5f, 1, 0, 70, 33}, &expected), 0);
    ASSERT_EQ(correct(halves, two, 0, {0.75f, 0.5f, 1, 0, 70, 33}, &result), 0);
    expectSame(result, expected);
}

TEST(Posture, APoseMovesABumpWhereItBelongs)
{
    const Grid grid{0.5, 10, 0.4, -3};
    const auto bump = [](int r, int c) { return r == 33 && c == 71 ? 9.0f : 0.0f; };
    const cv::Matx44d poses[] = {turned(0, 0, CV_PI / 2, {5, -8, 1}), turned(0, 0, -2.2, {3, 4, 0}), kIdentity};
    for (const cv::Matx44d& pose : poses) {
        for (int reference = 0; reference <= 2; ++reference) {
            NoxRangeImageArray images = arrayOf({imageOf(120, 80, grid, bump), imageOf(4, 3, grid, bump)});
            NoxMatrixArray poseArray = posesOf({pose, turned(0, 0, 0.7, {1, 2, 0})});
            NoxRangeImage result;
            ASSERT_EQ(correct(images, poseArray, reference, {0.3f, 0.2f, 1, 0, 400, 500}, &result), 0);
            const cv::Matx44d inverse = reference == 0   ? kIdentity
                                        : reference == 1 ? pose.inv()
                                                         : turned(0, 0, 0.7, {1, 2, 0}).inv();
            const cv::Vec4d expected = inverse * pose * cv::Vec4d((33 + 3) * 0.4, (71 - 10) * 0.5, 9, 1);
            const int highest =
                static_cast<int>(std::max_element(floats(result), floats(result) + 400 * 500) - floats(result));
            EXPECT_NEAR((highest / 400 - result.OffsetY()) * 0.2, expected[0], 0.2) << reference;  // a cell
            EXPECT_NEAR((highest % 400 - result.OffsetX()) * 0.3, expected[1], 0.3) << reference;
        }
    }
}

TEST(Posture, HolesStayHolesWhateverThePoseMakesOfTheirMarker)
{
    cv::Matx44d shrinking = kIdentity;  // brings the marker among the heights
    shrinking(2, 2) = 1e-35;
    for (int width = 2; width <= 25; ++width) {
        const auto isHole = [&](int r, int c) { return r > 0 && c >= width - 1 - r; };
        NoxRangeImageArray images = arrayOf({imageOf(width, 9, Grid(), [&](int r, int c) {
            return isHole(r, c) ? kInvalid : 1e35f * static_cast<float>(r + c);
        })});
        NoxMatrixArray poses = posesOf({shrinking});
        NoxRangeImage result;
        ASSERT_EQ(correct(images, poses, 0, {1, 1, 1, 0, 27, 11}, &result), 0);
        for (int i = 0; i < 27 * 11; ++i) {
            bool isReached = false;
            for (int k = 0; k < 4; ++k) {
                const int r = i / 27 - k / 2, c = i % 27 - k % 2;
                isReached |= r >= 0 && r < 9 && c >= 0 && c < width && !isHole(r, c);
            }
            ASSERT_EQ(floats(result)[i] != kInvalid, isReached) << width << " cell " << i;
        }
    }
}

TEST(Posture, NothingButHolesGivesNothingButHoles)
{
    const Grid grid{0.5, 3, 0.25, -2};
    NoxRangeImageArray images = arrayOf({imageOf(9, 5, grid, [](int, int) { return kInvalid; })});
    NoxMatrixArray poses = posesOf({turned(0.2, 0.1, 0.3, {1, 2, 3})});
    NoxRangeImage result;
    ASSERT_EQ(correct(images, poses, 0, {0.5f, 0.5f, 1, 0, 7, 6}, &result), 0);
    expectSame(result, imageOf(7, 6, {0.5, 3, 0.5, -1}, [](int, int) { return kInvalid; }));
}

TEST(Posture, ReductionLeavesTheCallersPixels)
{
    const Grid grid{0.5, 3, 0.25, -2};
    const auto height = [](int r, int c) { return c == 5 ? kInvalid : 0.1f * static_cast<float>(r * r - c); };
    const NoxRangeImage original = imageOf(50, 41, grid, height), other = imageOf(33, 65, grid, height);
    NoxMatrixArray poses = posesOf({turned(0.2, 0.1, 0.3, {1, 2, 3}), turned(-0.1, 0.2, 1, {2, 1, 0})});
    NoxRangeImageArray reduced;
    for (const NoxRangeImage* image : {&original, &other}) {
        NoxRangeImage small;
        ASSERT_EQ(NOXEL::Nox3DSampling().Resample(*image, &small, 1, image->Width() / 3, image->Height() / 3), 0);
        reduced.Append(small);
    }
    for (const int method : {0, 3}) {
        SCOPED_TRACE(method);
        NoxRangeImageArray images = arrayOf({original, other});
        NoxRangeImage result, expected;
        ASSERT_EQ(correct(images, poses, 0, {0.4f, 0.6f, 3, method, 64, 50}, &result), 0);
        if (method == 0) {
            expected = mergedPlainly(reduced, poses, 0.4f, 0.6f, 64, 50);
        } else {
            NoxRangeImage coarse = mergedPlainly(reduced, poses, 0.4f * 3, 3 * 0.6f, 64 / 3, 50 / 3, 3.0f);
            ASSERT_EQ(NOXEL::Nox3DSampling().Resample(coarse, &expected, method - 1, 64, 50), 0);
        }
        expectSame(result, expected);
        expectSame(images[0], imageOf(50, 41, grid, height));
    }
    for (const int method : {0, 2}) {
        NoxRangeImageArray images = arrayOf({original, other});
        NoxRangeImage result;
        ASSERT_EQ(correct(images, poses, 0, {0.4f, 0.6f, 20, method, 64, 5}, &result), 0) << "larger than the output";
        EXPECT_EQ(result.Width(), 64);
        EXPECT_EQ(result.Height(), 5);
        EXPECT_EQ(correct(images, poses, 0, {0.4f, 0.6f, 42, method, 64, 50}, &result), method ? 30602021 : 11100001);
        EXPECT_EQ(correct(images, poses, 0, {0.4f, 0.6f, 35, method, 64, 50}, &result), 11100001) << "a later one";
        for (int i = 0; i < 2; ++i) images[i].SetType(1);
        EXPECT_EQ(correct(images, poses, 0, {0.4f, 0.6f, 35, method, 64, 50}, &result), 30602021);
    }
}

TEST(Posture, PerspectiveImagesAreReducedFirst)
{
    NoxRangeImageArray images, reduced;
    NoxVarArray parameters;
    parameters.SetSize(4);
    for (int k = 0; k < 4; ++k) parameters[k] = 0.004 * (k + 1);
    for (const int width : {41, 30}) {
        NoxRangeImage image =
            imageOf(width, 27, Grid(), [&](int r, int c) { return static_cast<float>(r + 2 * c + width); });
        NoxRangeImage small;
        image.SetType(1);
        image.SetInfo(parameters);
        images.Append(image);
        ASSERT_EQ(NOXEL::Nox3DSampling().Resample(image, &small, 1, width / 2, 27 / 2), 0);
        reduced.Append(small);
    }
    NoxMatrixArray poses = posesOf({turned(0.2, 0.1, 0.3, {1, 2, 3}), kIdentity});
    NoxRangeImage result, expected, coarse;
    ASSERT_EQ(correct(images, poses, 0, {0.5f, 0.75f, 2, 0, 60, 51}, &result), 0);
    ASSERT_EQ(correct(reduced, poses, 0, {0.5f, 0.75f, 1, 0, 60, 51}, &expected), 0);
    expectSame(result, expected);
    ASSERT_EQ(correct(images, poses, 0, {0.5f, 0.75f, 2, 4, 60, 51}, &result), 0);
    ASSERT_EQ(correct(reduced, poses, 0, {1.0f, 1.5f, 1, 0, 30, 25}, &coarse), 0);
    ASSERT_EQ(NOXEL::Nox3DSampling().Resample(coarse, &expected, 3, 60, 51), 0);
    expectSame(result, expected);
    EXPECT_EQ(images[0].Width(), 41);
}

TEST(Posture, IntegerHeightsAreConvertedFirst)
{
    NoxRangeImage image;
    image.SetSize(19, 12, NoxDataType16U);
    image.SetInfo(0.01, 100, 0.5, 1, 0.25, 2);
    for (int i = 0; i < 19 * 12; ++i)
        reinterpret_cast<unsigned short*>(image.Data())[i] = static_cast<unsigned short>(i);
    NoxRangeImage converted;
    ASSERT_EQ(NOXEL::Nox3DDataConvert().RangeImageDataTypeConvert(image, &converted, NoxDataType32F), 0);
    NoxRangeImageArray integers = arrayOf({image}), asFloats = arrayOf({converted});
    NoxMatrixArray poses = posesOf({turned(0.2, 0.1, 0.3, {1, 2, 3})});
    NoxRangeImage result, expected;
    ASSERT_EQ(correct(integers, poses, 0, {0.5f, 0.5f, 1, 0, 30, 20}, &result), 0);
    ASSERT_EQ(correct(asFloats, poses, 0, {0.5f, 0.5f, 1, 0, 30, 20}, &expected), 0);
    expectSame(result, expected);
}

/// Everything wrong at first; then one argument after the other is put right in the order of the tests.
struct Repair
{
    const char* rule;
    long code;
    std::function<void()> repair;
};

TEST(Posture, ArraysAreRefusedInOrder)
{
    NoxRangeImageArray images;
    NoxMatrixArray poses;
    NoxRangeImage result;
    Request r{NAN, 1000.5f, 0, 6, 1, 40001};
    int reference = -1;
    const NoxRangeImage image = imageOf(5, 4, Grid(), [](int, int) { return 1.0f; });
    NoxRangeImage second = image, strange = image;
    second.SetType(1);
    strange.SetType(2);
    const cv::Matx44d zero = cv::Matx44d::zeros();
    const Repair repairs[] = {
        {"reference below 0", 11200002, [&] { reference = 1; }},
        {"reference above n", 11200002, [&] { reference = 0; }},
        {"resolution X is NaN", 11200002, [&] { r.resolutionX = 1.5f; }},
        {"resolution X above the width", 11200002, [&] { r.resolutionX = 1; }},
        {"resolution Y above 1000", 11200003, [&] { r.resolutionY = 0; }},
        {"resolution Y is 0", 11200003, [&] { r.resolutionY = 1; }},
        {"factor 0", 11200005, [&] { r.factor = 101; }},
        {"factor 101", 11200005, [&] { r.factor = 1; }},
        {"method 6", 11200006, [&] { r.method = 0; }},
        {"width 1", 11200007, [&] { r.width = 9; }},
        {"height 40001", 11200008, [&] { r.height = 8; }},
        {"no image", 11100001,
         [&] {
             images = arrayOf({NoxRangeImage(), strange});
         }},
        {"first image empty", 11100001,
         [&] {
             images = arrayOf({image, strange});
         }},
        {"type 2", 11100029,
         [&] {
             images = arrayOf({image, second});
         }},
        {"types differ", 11100030,
         [&] {
             images = arrayOf({image, image});
         }},
        {"no pose", 11404001, [&] { poses.Append(NoxMatrix(cv::Mat::eye(3, 4, CV_64F))); }},
        {"one pose for two images", 30602015, [&] { poses.Append(poseOf(zero)); }},
        {"3 x 4", 11404001, [&] { poses.Replace(0, NoxMatrix(cv::Mat::eye(4, 4, CV_32F))); }},
        {"4 x 4 of float", 11404001, [&] { poses.Replace(0, poseOf(zero)); }},
        {"all zero", 30602020, [&] { poses.Replace(1, poseOf(kIdentity)); }},
    };
    for (const Repair& next : repairs) {
        result = image;
        EXPECT_EQ(correct(images, poses, reference, r, &result), next.code) << next.rule;
        EXPECT_EQ(result.Width(), 0) << next.rule;
        next.repair();
    }
    EXPECT_EQ(correct(images, poses, reference, r, &result), 0);
    images.Append(NoxRangeImage());
    poses.Append(poseOf(kIdentity));
    EXPECT_EQ(correct(images, poses, 3, r, &result), 11100001) << "a later image without pixels";
    EXPECT_EQ(correct(images, poses, 1, r, &images[0]), 11100001) << "the result is an image: it is cleared first";
}

TEST(Posture, PlanesAreRefusedInOrder)
{
    NoxRangeImage image, result;
    result.SetType(1);
    Nox3DPlane plane;
    Request r{0, -1, 101, -1, 40001, 1};
    const Repair repairs[] = {
        {"resolution X is 0", 11200002, [&] { r.resolutionX = 2; }},
        {"resolution Y below 0", 11200003, [&] { r.resolutionY = 1; }},
        {"factor 101", 11200004, [&] { r.factor = 5; }},
        {"method -1", 11200005, [&] { r.method = 5; }},
        {"width 40001", 11200006, [&] { r.width = 40; }},
        {"height 1", 11200007, [&] { r.height = 50000; }},
        {"no pixels", 11100001,
         [&] {
             image = imageOf(5, 4, Grid(), [](int, int) { return 1.0f; });
             image.SetType(2);
         }},
        {"factor above the height", 30602021, [&] { r.factor = 4; }},
        {"type 2", 11100029, [&] { image.SetType(0); }},
        {"no plane", 30602019, [&] { plane = Nox3DPlane(NoxVector3d(), NoxVector3d(0, 0, 1)); }},
        {"height 50000, by the array form", 11200008, [&] { r.height = 30; }},
    };
    const auto level = [&](NoxRangeImage* to) {
        return NOXEL::Nox3DDataConvert().RangeImagePostureCorrect(image, to, plane, r.resolutionX, r.resolutionY,
                                                                  r.factor, r.method, r.width, r.height);
    };
    for (const Repair& next : repairs) {
        EXPECT_EQ(level(&result), next.code) << next.rule;
        EXPECT_EQ(result.Type(), next.code == 30602019 || next.code == 11200008 ? 0 : 1) << next.rule;
        next.repair();
    }
    r.factor = 1;
    image.SetType(1);
    ASSERT_EQ(level(&result), 0);
    EXPECT_EQ(level(&image), 0) << "in place";
    expectSame(image, result);
}

TEST(Posture, MemoryGuardsCountGridsAsIfTheCanvasStood)
{
    const char* pieces = std::getenv("NOX_TEST_TBB");
    const int cpus = cv::getNumberOfCPUs();
    const int t = pieces && std::atoi(pieces) > 0 ? std::atoi(pieces) : std::max(1, cpus < 5 ? cpus / 2 : 4);
    const struct
    {
        const char* largest;
        int n, width, height, outputWidth, outputHeight;
    } rows[] = {{"the canvas", 1, 2048, 1024, 64, 64},
                {"output rows over canvas columns", 1, 2048, 8, 16, 2048},
                {"a grid for each image", 6, 8, 16, 2048, 1024}};
    for (const auto& row : rows) {
        const auto units = [](int grids, int h, int w) { return grids * (h / 1024.0) * (w / 1024.0); };
        const int columns = std::max(row.outputWidth, row.n * row.width);
        const double need =
            std::max({units(row.n + 1, row.outputHeight, row.outputWidth), units(6, row.height, columns),
                      units(3, row.outputHeight, columns), units(t + 1, row.outputHeight, row.outputWidth)});
        for (const int type : {0, 1}) {
            SCOPED_TRACE(row.largest + std::to_string(type));
            NoxRangeImage image = imageOf(row.width, row.height, Grid(), [](int, int) { return 1.0f; });
            image.SetType(type);
            NoxRangeImageArray images;
            NoxMatrixArray poses;
            for (int i = 0; i < row.n; ++i) {
                images.Append(image);
                poses.Append(poseOf(kIdentity));
            }
            const Request request{1, 1, 1, 0, row.outputWidth, row.outputHeight};
            NoxRangeImage result;
            {
                const replaced::MemoryScope memory(static_cast<unsigned long long>(std::ceil(need)) << 20);
                EXPECT_EQ(correct(images, poses, 0, request, &result), 0);
            }
            const replaced::MemoryScope memory((static_cast<unsigned long long>(std::ceil(need)) << 20) - 1);
            EXPECT_EQ(correct(images, poses, 0, request, &result), 30602016);
            const bool atOnce = need == units(row.n + 1, row.outputHeight, row.outputWidth);
            EXPECT_EQ(images.Length(), type == 0 || atOnce ? row.n : 0);
        }
    }
}

TEST(Posture, RecordsBracketTheConversion)
{
    NoxRangeImage image = imageOf(5, 4, Grid(), [](int, int) { return 1.0f; }), result;
    Nox3DPlane plane(NoxVector3d(), NoxVector3d(0, 0, 1));
    const auto level = [&] {
        return NOXEL::Nox3DDataConvert().RangeImagePostureCorrect(image, &result, plane, 1, 1, 1, 0, 9, 8);
    };
    for (const int type : {0, 1}) {
        image.SetType(type);
        const std::string name = "RangeImgPostureCorrect: ",
                          pipeline = "RangeImgPostureCorrect_CPU_TYPE" + std::to_string(type);
        const replaced::LogScope log;
        ASSERT_EQ(level(), 0);
        EXPECT_EQ(log.records(),
                  (std::vector<std::string>{name + "start-RangeImgPostureCorrect", name + "start-" + pipeline,
                                            name + "end-" + pipeline, name + "end-RangeImgPostureCorrect"}));
    }
    const replaced::LogScope throwing(true);
    EXPECT_EQ(level(), 11000013);
}

TEST(Posture, ShearsRaiseEveryElement)
{
    const NoxVector3d a(1, 2, 3), b(0.5f, -1, 2);
    NoxRangeImage source = imageOf(4, 3, {0.5, 7, 0.25, -2}, [](int, int) { return 0.0f; });
    const auto raised = [&](double x, double y) { return ((x - 1) * 0.5 + (y - 2) * -1.0) / 2 - 3 + 0.125; };
    const auto onGrid = [&](int r, int c) { return static_cast<float>(raised(c * 0.5 + 7, r * 0.25 - 2)); };

    NoxRangeImage listed = source.DeepCopy(), all = source.DeepCopy(), plain = source.DeepCopy(), out;
    const int indices[] = {6, -1, 12, 11};
    NOXEL::PlaneCorrectionTBB first;
    first.Set(&a, &b, indices, 4, 0.125, source, &listed);
    first(tbb::blocked_range<std::size_t>(0, 4));
    first.Get(&out);
    expectSame(out, imageOf(4, 3, {0.5, 7, 0.25, -2},
                            [&](int r, int c) { return r * 4 + c == 6 || r * 4 + c == 11 ? onGrid(r, c) : 0.0f; }));
    NOXEL::PlaneCorrectionTBB2 second;
    second.Set(&a, &b, 0.125, source, &all);
    second(tbb::blocked_range<std::size_t>(0, 12));
    expectSame(all, imageOf(4, 3, {0.5, 7, 0.25, -2}, onGrid));
    NOXEL::PlaneCorrectionTBB3 third;
    third.Set(&a, &b, 0, 0, 0, 0, 0.125, source, &plain);
    third(tbb::blocked_range2d<std::size_t, std::size_t>(0, 3, 0, 4));
    expectSame(plain,
               imageOf(4, 3, {0.5, 7, 0.25, -2}, [&](int r, int c) { return static_cast<float>(raised(c, r)); }));

    NoxRangeImage bytes;
    bytes.SetSize(2, 1, NoxDataType8U);
    bytes.Data()[0] = 3, bytes.Data()[1] = 0;
    second.Set(&a, &b, 260.9, bytes, &bytes);  // 0 and 1 across: heights 258.65 and 258.9
    second(tbb::blocked_range<std::size_t>(0, 2));
    EXPECT_EQ(bytes.Data()[0], 261 - 256);
    EXPECT_EQ(bytes.Data()[1], 258 - 256);
}

}  // namespace
