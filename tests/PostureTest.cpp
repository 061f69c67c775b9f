// Posture correction: levelling against a plane and merging posed images.

#include "tests/support/Samples.h"

#include <Nox3DSampling.h>
#include <PostureBodies.h>

#include "data/Checked.h"

#include <opencv2/core/affine.hpp>

#include <cstdlib>
#include <functional>
#include <random>

namespace {

using namespace samples;
using Range = tbb::blocked_range<std::size_t>;

struct Grid
{
    double resolutionX, offsetX, resolutionY, offsetY;
};

constexpr Grid kGrid{0.5, 3, 0.25, -2}, kUnitGrid{1, 0, 1, 0};

/// A float image of type 0 with height(row, column).
template <class Height>
NoxRangeImage imageOf(int width, int height, const Grid& grid, const Height& heightAt)
{
    NoxRangeImage image = samples::imageOf<float>(width, height, heightAt);
    image.SetInfo(1, 0, grid.resolutionX, grid.offsetX, grid.resolutionY, grid.offsetY);
    return image;
}

NoxRangeImage flatImage()
{
    return imageOf(5, 4, kUnitGrid, [](int, int) { return 1.0f; });
}

void setPerspective(NoxRangeImage& image, const std::vector<double>& parameters)
{
    image.SetType(1);
    setParameters(image, parameters);
}

/// A turn about an axis by its length, and a move.
cv::Matx44d turned(double x, double y, double z, const cv::Vec3d& move)
{
    return cv::Affine3d(cv::Vec3d(x, y, z), move).matrix;
}

const cv::Matx44d kIdentity = cv::Matx44d::eye();
const cv::Matx44d kFirstPose = turned(0.2, 0.1, 0.3, {1, 2, 3}), kSecondPose = turned(-0.1, 0.2, 1, {2, 1, 0});

NoxMatrix poseOf(const cv::Matx44d& m) { return NoxMatrix(cv::Mat(m).clone()); }

/// Images and the pose of each.
struct Scene
{
    NoxRangeImageArray images;
    NoxMatrixArray poses;

    Scene() = default;
    Scene(const NoxRangeImage& image, const cv::Matx44d& pose) { add(image, pose); }
    void add(const NoxRangeImage& image, const cv::Matx44d& pose)
    {
        images.Append(image);
        poses.Append(poseOf(pose));
    }
};

struct Request
{
    float resolutionX, resolutionY;
    int factor, method, width, height;
};

long correct(Scene& scene, const Request& r, NoxRangeImage* result, int reference = 0)
{
    return NOXEL::Nox3DDataConvert().RangeImagePostureCorrect(scene.images, scene.poses, reference, r.resolutionX,
                                                              r.resolutionY, r.factor, r.method, r.width, r.height,
                                                              result);
}

NoxRangeImage corrected(Scene scene, const Request& request, int reference = 0)
{
    NoxRangeImage result;
    EXPECT_EQ(correct(scene, request, &result, reference), 0);
    return result;
}

long level(NoxRangeImage& image, Nox3DPlane& plane, const Request& r, NoxRangeImage* result)
{
    return NOXEL::Nox3DDataConvert().RangeImagePostureCorrect(image, result, plane, r.resolutionX, r.resolutionY,
                                                              r.factor, r.method, r.width, r.height);
}

using Place = cv::Vec3f;

const Place kNowhere(kLargest, kLargest, kNone);

bool isPoint(const Place& p) { return std::abs(p[2]) < 1e8f; }
void lower(Place& corner, const Place& p) { corner = {std::min(corner[0], p[0]), std::min(corner[1], p[1]), 0}; }

Place placeOf(const NoxRangeImage& image, int row, int column)
{
    const auto number = [](auto value) { return static_cast<float>(value); };
    const int pixel = row * image.Width() + column;
    if (image.Type() == 0)
        return {(number(row) - number(image.OffsetY())) * number(image.ResolutionY()),
                (number(column) - number(image.OffsetX())) * number(image.ResolutionX()), pixels<float>(image)[pixel]};
    const auto p = [&](int k) { return number(image.GetParaValue(k).D()); };
    Place place = kNowhere;
    nox::dispatch(image.DataType(), nox::Elements{}, [&](auto tag) {
        using T = typename decltype(tag)::type;
        const T value = reinterpret_cast<const T*>(image.Data())[pixel];
        if (value == nox::Element<T>::invalid) return;
        float z = number(value);
        if (std::is_integral_v<T>) z = (z - number(image.OffsetZ())) * number(image.ResolutionZ());
        place = {(number(column) - p(0)) * p(2) * z, (number(row) - p(1)) * p(3) * z, z};
    });
    return place;
}

/// What posture correction is to give for images that are reduced already: by plain loops all points, row by row across
/// the images, the corner of the first image, the scaling and the merge.
NoxRangeImage mergedPlainly(const Scene& scene, const Request& r)
{
    const NoxRangeImage& first = scene.images[0];
    const bool isPerspective = first.Type() == 1;
    std::vector<Place> points;
    Place own = kNowhere, moved = kNowhere;  // corners
    for (int row = 0; row < 300; ++row) {
        for (int i = 0; i < scene.images.Length(); ++i) {
            const cv::Matx44f m = scene.poses[i].Matrix();
            for (int column = 0; row < scene.images[i].Height() && column < scene.images[i].Width(); ++column) {
                const Place p = placeOf(scene.images[i], row, column);
                if (!(p[2] > kNone)) continue;
                Place q;
                for (int k = 0; k < 3; ++k) q[k] = p[0] * m(k, 0) + p[1] * m(k, 1) + p[2] * m(k, 2) + m(k, 3);
                if (i == 0 && isPoint(isPerspective ? p : q)) lower(own, p);
                if (i == 0 && isPoint(q)) lower(moved, q);
                if (isPoint(q)) points.push_back(q);
            }
        }
    }
    const auto p = [&](int k) { return first.GetParaValue(k).D(); };
    const auto shift = [&](float from, float to, double pixels) {
        return isPerspective && from < 0 ? to : static_cast<float>(static_cast<double>(to - from) - pixels);
    };
    const float shiftX = shift(own[0], moved[0], isPerspective ? p(0) * p(2) : first.OffsetY() * first.ResolutionY());
    const float shiftY = shift(own[1], moved[1], isPerspective ? p(1) * p(3) : first.OffsetX() * first.ResolutionX());
    const int factor = r.method > 0 ? r.factor : 1, width = r.width / factor, height = r.height / factor;
    const auto unit = static_cast<float>(factor);
    const float resolutionX = r.resolutionX * unit, resolutionY = r.resolutionY * unit;
    std::vector<float> sum(static_cast<std::size_t>(width * height)), count(sum.size());
    for (const Place& q : points) {
        const std::int64_t row = nox::t32((q[0] - shiftX) / resolutionY),
                           column = nox::t32((q[1] - shiftY) / resolutionX);
        for (int k = 0; k < 4; ++k) {
            const std::int64_t y = row + k / 2, x = column + k % 2;
            if (y < 0 || y >= height || x < 0 || x >= width) continue;
            sum[static_cast<std::size_t>(y * width + x)] += q[2];
            count[static_cast<std::size_t>(y * width + x)] += 1.0f;
        }
    }
    const Grid grid{resolutionX, -shiftY / (isPerspective ? resolutionX : r.resolutionX), resolutionY,
                    -shiftX / (isPerspective ? resolutionY : r.resolutionY)};
    NoxRangeImage result = imageOf(width, height, grid, [&](int y, int x) {
        const auto cell = static_cast<std::size_t>(y * width + x);
        return count[cell] > 0 ? sum[cell] / count[cell] : kNone;
    });
    if (factor > 1) NOXEL::Nox3DSampling().Resample(result, &result, r.method - 1, r.width, r.height);
    return result;
}

std::vector<double> formatOf(const NoxRangeImage& i)
{
    return {double(i.Type()), double(i.DataType()), double(i.Width()), double(i.Height()),
            i.ResolutionX(),  i.ResolutionY(),      i.OffsetX(),       i.OffsetY()};
}

void expectSame(const NoxRangeImage& result, const NoxRangeImage& expected)
{
    ASSERT_EQ(formatOf(result), formatOf(expected));
    for (int i = 0; i < result.Width() * result.Height(); ++i)
        ASSERT_EQ(std::memcmp(pixels<float>(result) + i, pixels<float>(expected) + i, 4), 0)
            << i << " of " << result.Width() << ": " << pixels<float>(result)[i] << " instead of "
            << pixels<float>(expected)[i];
}

TEST(Posture, TheMergeIsThatOfAllPointsInCanvasOrder)
{
    std::mt19937 random(7);
    const auto upTo = [&](double limit) { return std::uniform_real_distribution<>(-limit, limit)(random); };
    const auto whole = [&](int low, int high) { return std::uniform_int_distribution<>(low, high)(random); };
    for (int trial = 0; trial < 105; ++trial) {
        const int type = trial % 2, dataType = trial % 3 ? NoxDataType32F : trial % 7;
        SCOPED_TRACE(std::to_string(trial) + " of type " + std::to_string(type) + ", " + std::to_string(dataType));
        const bool wild = trial % 5 == 4;  // heights that a tilt strews over the whole grid
        const double tilt = wild ? 1.5 : 0.5;
        Scene scene, asFloats;  // integers of type 0 are converted first
        for (int i = whole(1, 3); i > 0; --i) {
            const double slope = upTo(0.2);
            NoxRangeImage image, plain;
            image.SetSize(whole(1, 300), whole(1, 200), dataType);
            image.SetInfo(0.25, 2, 0.4 + 0.1 * whole(0, 5), upTo(30), 0.3 + 0.1 * whole(0, 5), upTo(40));
            if (type == 1) setPerspective(image, {upTo(9), upTo(9), 0.02 * whole(1, 4), 0.03 * whole(1, 5)});
            nox::dispatch(dataType, nox::Elements{}, [&](auto tag) {
                using T = typename decltype(tag)::type;
                for (int k = 0; k < image.Width() * image.Height(); ++k) {
                    const double odd[] = {NAN, INFINITY, -1e8, 9e7, 0};
                    const int kind = whole(-1, 40);
                    T& pixel = reinterpret_cast<T*>(image.Data())[k];
                    if (std::is_integral_v<T> || kind < 0)
                        pixel = kind < 5 ? nox::Element<T>::invalid : static_cast<T>(whole(0, 99));
                    else
                        pixel = static_cast<T>(kind < 5 ? odd[kind] : upTo(wild ? 150 : 0.5) + slope * (k % 97));
                }
            });
            scene.add(image, turned(upTo(tilt), upTo(tilt), upTo(3.2), {upTo(20), upTo(30), upTo(3)}));
            plain = image;
            if (type == 0 && dataType != NoxDataType32F)
                NOXEL::Nox3DDataConvert().RangeImageDataTypeConvert(image, &plain, NoxDataType32F);
            asFloats.images.Append(plain);
        }
        asFloats.poses = scene.poses;
        const float resolutionX = 0.3f + 0.1f * static_cast<float>(whole(0, 9));
        const Request request{resolutionX, 0.7f, 1, whole(0, 5), whole(2, 700), whole(2, 600)};
        expectSame(corrected(scene, request), mergedPlainly(asFloats, request));
    }
}

/// Canvas planes, and the stages that end on them.
struct Stages
{
    cv::Mat x = cv::Mat(17, 40, CV_32F, cv::Scalar(kLargest)), y = x.clone(), z{17, 40, CV_32F, cv::Scalar(kNone)};
    cv::Mat pose;

    const cv::Mat& setPose(const Scene& scene, int i)
    {
        scene.poses[i].Matrix().convertTo(pose, CV_32F);
        return pose;
    }

    /// On 25 rows x 31 columns of 0.6 x 0.3.
    NoxRangeImage merged(float shiftX, float shiftY)
    {
        cv::Mat sum, count;
        EXPECT_EQ(NOXEL::PclValToPixelAll(x, y, z, shiftX, shiftY, 0.3f, 0.6f, 40, 17), 0);
        EXPECT_EQ(NOXEL::AllAddSum_TBB(x, y, z, sum, count, 40, 17, 25, 31), 0);
        return imageOf(31, 25, {0.3f, -shiftY / 0.3f, 0.6f, -shiftX / 0.6f}, [&](int row, int column) {
            const float points = count.at<float>(row, column);
            return points > 0 ? sum.at<float>(row, column) / points : kNone;
        });
    }
};

TEST(Posture, TheStagesOneAfterTheOtherGiveWhatTheOperationGives)
{
    Scene scene(imageOf(21, 9, kGrid, [](int r, int c) { return 0.1f * static_cast<float>(r * c); }), kFirstPose);
    scene.add(imageOf(13, 17, kGrid, [](int r, int c) { return r == c ? kNone : 2.f; }), kSecondPose);
    Stages s;
    cv::Mat x0, y0, none;
    s.setPose(scene, 0);
    const auto first = [&](int height) {
        return NOXEL::RangeToPlc_SIMD0(scene.images[0], s.pose, x0, y0, s.x, s.y, s.z, 3, -2, 0.5f, 0.25f, 21, height);
    };
    ASSERT_EQ(first(0), 0);
    EXPECT_EQ(x0.rows, 0);
    ASSERT_EQ(first(9), 0);
    float a, b, c, d;
    NOXEL::BOX_MinXY_SIMD0(x0, y0, s.z, &a, &b, 21, 9);
    NOXEL::BOX_MinXY_SIMD0(s.x, s.y, s.z, &c, &d, 21, 9);
    s.setPose(scene, 1);
    const auto second = [&](int column) {
        return NOXEL::RangeToPlc_SIMD(scene.images[1], s.pose, s.x, s.y, s.z, 3, -2, 0.5f, 0.25f, column, 13, 17);
    };
    EXPECT_EQ(second(28), 11200003);
    ASSERT_EQ(second(21), 0);
    EXPECT_EQ(NOXEL::PclValToPixelAll(s.x, s.y, none, 0, 0, 1, 1, 1, 1), 11100001);
    const NoxRangeImage merged =
        s.merged(static_cast<float>((c - a) + 2 * 0.25), static_cast<float>((d - b) - 3 * 0.5));
    expectSame(corrected(scene, {0.3f, 0.6f, 1, 0, 31, 25}), merged);
}

TEST(Posture, TheStagesOfPerspectiveImagesToo)
{
    for (const float centreColumn : {-2.0f, 8.0f}) {  // the smallest x above 0, below it
        const auto centre = [&](int i) { return centreColumn + static_cast<float>(i); };
        Scene scene(samples::imageOf<unsigned short>(21, 9, [](int r, int c) { return (r * c) % 7; }), kFirstPose);
        scene.add(samples::imageOf<double>(13, 17, [](int r, int c) { return r == c ? -INFINITY : 4; }), kSecondPose);
        for (int i : {0, 1}) {
            scene.images[i].SetInfo(0.5, -18, 1, 0, 1, 0);
            setPerspective(scene.images[i], {centre(i), -3, 0.02, 0.03});
        }
        Stages s;
        float a, b, c, d;
        const auto stage = [&](int i, int column, float* x0, float* y0, float* x, float* y) {
            s.setPose(scene, i);
            return NOXEL::RangeToPlcType1_OutPutMinBox(scene.images[i], s.pose, s.x, s.y, s.z, centre(i), -3, 0.02f,
                                                       0.03f, column, x0, y0, x, y);
        };
        ASSERT_EQ(stage(0, 0, &a, &b, &c, &d), 0);
        EXPECT_EQ(a<0, centreColumn> 0);
        EXPECT_GT(b, 0);
        EXPECT_EQ(stage(1, 28, nullptr, nullptr, nullptr, nullptr), 11200003);
        ASSERT_EQ(stage(1, 21, nullptr, nullptr, nullptr, nullptr), 0);
        const float shiftX = a < 0 ? c : static_cast<float>(double(c - a) - double(centreColumn) * 0.02);
        expectSame(corrected(scene, {0.3f, 0.6f, 1, 0, 31, 25}),
                   s.merged(shiftX, static_cast<float>(double(d - b) + 3 * 0.03)));
    }
}

TEST(Posture, ImagesBesideEachOtherHaveToFitTheCanvas)
{
    for (const auto pipeline : {&NOXEL::RangeImgPostureCorrect_CPU_TYPE0, &NOXEL::RangeImgPostureCorrect_CPU_TYPE1}) {
        Scene scene(flatImage(), kIdentity);
        scene.add(flatImage(), kSecondPose);
        NoxRangeImage result;
        const auto onCanvas = [&](int columns, int rows) {
            return pipeline(scene.images, scene.poses, 1, 1, 1, 0, columns, rows, 8, 9, &result);
        };
        EXPECT_EQ(onCanvas(9, 4), 11200003);
        EXPECT_EQ(onCanvas(10, 3), 11200003);
        EXPECT_EQ(onCanvas(10, 4), 0);
    }
}

TEST(Posture, APointCountsInFourCells)
{
    float xs[] = {2.7f, -0.5f, -1.0f, 4.0f, 1.0f, 1.0f, NAN, 1.0f}, ys[] = {3.2f, 0, 5, 1, 1, 1, 1, 3e9f};
    float zs[] = {10, 20, 40, 80, NAN, 1e8f, 7, 7};
    const float expected[5][7] = {{20, 20, 0, 0, 0, 40, 40},
                                  {20, 20, 0, 0, 0, 0, 0},
                                  {0, 0, 0, 10, 10, 0, 0},
                                  {0, 0, 0, 10, 10, 0, 0},
                                  {0, 80, 80, 0, 0, 0, 0}};
    const auto expectSums = [&](const char* way, const cv::Mat& sums, const cv::Mat& counts) {
        EXPECT_EQ(std::memcmp(sums.data, expected, sizeof expected), 0) << way;
        EXPECT_EQ(cv::countNonZero((sums != 0) != (counts == 1)), 0) << way;
    };
    cv::Mat x(4, 2, CV_32F, xs), y(4, 2, CV_32F, ys), z(4, 2, CV_32F, zs), sum, count;
    ASSERT_EQ(NOXEL::AllAddSum_TBB(x, y, z, sum, count, 2, 4, 5, 7), 0);
    expectSums("the stage", sum, count);
    cv::Mat sums(5, 7, CV_32F), counts(5, 7, CV_32F), sums1(5, 7, CV_32F, 0.0), counts1(5, 7, CV_32F, 0.0);
    EXPECT_EQ(NOXEL::PclAddToRangeTBB(x, y, z, 2, 4, 5, 7).get(sums.ptr<float>(), counts.ptr<float>()), 0);
    expectSums("a body", sums, counts);
    auto *s = sums1.ptr<float>(), *c = counts1.ptr<float>();
    NOXEL::PclAddToRangeTBB1(x, y, z, 2, 5, 7, s, c).get(s, c);
    expectSums("grids of the caller", sums1, counts1);
    NOXEL::PclAddToRangeTBB upper(x, y, z, 2, 4, 5, 7), lower(upper, tbb::split());
    upper(Range(1, 4));
    lower(Range(0, 1));
    upper.join(lower);
    expectSums("two bodies", upper.sum, upper.count);
}

TEST(Posture, APlaneLevelsFlatForNormalsAllRound)
{
    for (int k = 0; k < 32; ++k) {
        SCOPED_TRACE(k);
        const double around = k * CV_PI / 8, slope = std::tan(0.15 + 0.06 * (k % 16));
        const double sx = slope * std::cos(around), sy = slope * std::sin(around), turn = k < 16 ? 3 : -2;
        NoxRangeImage result, image = imageOf(90, 70, {0.5, 7, 0.4, -5}, [&](int r, int c) {
                                  return static_cast<float>(30 + sx * (r + 5) * 0.4 + sy * (c - 7) * 0.5);
                              });
        Nox3DPlane plane(
            NoxVector3d(1, 2, static_cast<float>(30 + sx + 2 * sy)),
            NoxVector3d(static_cast<float>(-sx * turn), static_cast<float>(-sy * turn), static_cast<float>(turn)));
        ASSERT_EQ(level(image, plane, {0.7f, 0.6f, 1, 0, 200, 190}, &result), 0);
        EXPECT_GT(plane.Normal().Z(), 0) << "it is turned up";
        EXPECT_EQ(std::abs(result.OffsetX()) + std::abs(result.OffsetY()), 0);
        int valid = 0;
        for (int i = 0; i < 200 * 190; ++i) {
            if (pixels<float>(result)[i] == kNone) continue;
            ++valid;
            ASSERT_LT(std::abs(pixels<float>(result)[i]), 1e-4f) << i;
        }
        EXPECT_GT(valid, 90 * 70 * 0.5 * 0.4 / (0.7 * 0.6));  // a tilted plane is larger than its shadow
    }
}

TEST(Posture, AReferenceMakesThePosesRelative)
{
    const auto height = [](int r, int c) {
        return std::sin(0.1f * static_cast<float>(r)) + 0.2f * static_cast<float>(c);
    };
    const NoxRangeImage wide = imageOf(31, 20, kGrid, height), high = imageOf(13, 40, kGrid, height);
    const cv::Matx44d turn(0, -1, 0, 5, 1, 0, 0, -8, 0, 0, 1, 3, 0, 0, 0, 1);  // quarters have exact inverses
    const cv::Matx44d back(0, 1, 0, -2, -1, 0, 0, 7, 0, 0, 1, 1, 0, 0, 0, 1);
    Scene scene(wide, turn), toFirst(wide, kIdentity), toSecond(wide, back.inv() * turn);
    scene.add(high, back), toFirst.add(high, turn.inv() * back), toSecond.add(high, kIdentity);
    const Request request{0.3f, 0.2f, 1, 0, 90, 110};
    expectSame(corrected(scene, request, 1), corrected(toFirst, request));
    expectSame(corrected(scene, request, 2), corrected(toSecond, request));
}

TEST(Posture, HolesStayHolesWhateverThePoseMakesOfTheirMarker)
{
    cv::Matx44d shrinking = kIdentity;  // brings the marker among the heights
    shrinking(2, 2) = 1e-35;
    for (int width = 2; width <= 25; ++width) {
        const auto isHole = [&](int r, int c) { return r > 0 && c >= width - 1 - r; };
        const auto height = [&](int r, int c) { return isHole(r, c) ? kNone : 1e35f * static_cast<float>(r + c); };
        const Scene scene(imageOf(width, 9, kGrid, height), shrinking);
        const Request request{0.5f, 0.25f, 1, 0, 27, 11};
        expectSame(corrected(scene, request), mergedPlainly(scene, request));
    }
    const auto hole = [](int, int) { return kNone; };
    expectSame(corrected(Scene(imageOf(9, 5, kGrid, hole), kFirstPose), {0.5f, 0.5f, 1, 0, 7, 6}),
               imageOf(7, 6, {0.5, 3, 0.5, -1}, hole));
}

TEST(Posture, ReductionLeavesTheCallersPixels)
{
    const auto height = [](int r, int c) { return c == 5 ? kNone : 0.1f * static_cast<float>(r * r - c); };
    for (const int type : {0, 1}) {
        Scene scene(imageOf(50, 41, kGrid, height), kFirstPose), reduced;
        scene.add(imageOf(33, 65, kGrid, height), kSecondPose);
        for (int i = 0; i < 2; ++i) {
            NoxRangeImage& image = scene.images[i];
            if (type == 1) setPerspective(image, {0.004, 0.008, 0.012, 0.016});
            NoxRangeImage small;
            ASSERT_EQ(NOXEL::Nox3DSampling().Resample(image, &small, 1, image.Width() / 3, image.Height() / 3), 0);
            reduced.add(small, i == 0 ? kFirstPose : kSecondPose);
        }
        const NoxRangeImage original = scene.images[0].DeepCopy();
        for (const int method : {0, 2, 3}) {
            SCOPED_TRACE(std::to_string(type) + " method " + std::to_string(method));
            NoxRangeImage result;
            const auto correctAt = [&](int factor, int outputHeight) {
                return correct(scene, {0.4f, 0.6f, factor, method, 64, outputHeight}, &result);
            };
            ASSERT_EQ(correctAt(3, 50), 0);
            expectSame(result, mergedPlainly(reduced, {0.4f, 0.6f, 3, method, 64, 50}));
            expectSame(scene.images[0], original);
            ASSERT_EQ(correctAt(20, 5), 0) << "larger than the output";
            EXPECT_EQ(result.Width(), 64);
            EXPECT_EQ(result.Height(), 5);
            ASSERT_EQ(correctAt(20, 20), 0);
            EXPECT_TRUE(method == 0 || sameBits(std::vector<float>(pixels<float>(result), pixels<float>(result) + 64),
                                                pixels<float>(result) + 19 * 64))
                << "one row of cells";
            EXPECT_EQ(correctAt(42, 50), method || type ? 30602021 : 11100001);
            EXPECT_EQ(correctAt(35, 50), type ? 30602021 : 11100001) << "a later one";
        }
    }
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
    Scene scene;
    NoxRangeImage result;
    Request r{NAN, 1000.5f, 0, 6, 1, 40001};
    int reference = -1;
    const NoxRangeImage image = flatImage();
    NoxRangeImage second = image, strange = image;
    second.SetType(1);
    strange.SetType(2);
    const cv::Matx44d zero = cv::Matx44d::zeros();
    const auto show = [&](const NoxRangeImage& a, const NoxRangeImage& b) {
        scene.images.Clear();
        scene.images.Append(a);
        scene.images.Append(b);
    };
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
        {"no image", 11100001, [&] { show(NoxRangeImage(), strange); }},
        {"first image empty", 11100001, [&] { show(image, strange); }},
        {"type 2", 11100029, [&] { show(image, second); }},
        {"types differ", 11100030, [&] { show(image, image); }},
        {"no pose", 11404001, [&] { scene.poses.Append(NoxMatrix(cv::Mat::eye(3, 4, CV_64F))); }},
        {"one pose for two images", 30602015, [&] { scene.poses.Append(poseOf(zero)); }},
        {"3 x 4", 11404001, [&] { scene.poses.Replace(0, NoxMatrix(cv::Mat::eye(4, 4, CV_32F))); }},
        {"4 x 4 of float", 11404001, [&] { scene.poses.Replace(0, poseOf(zero)); }},
        {"all zero", 30602020, [&] { scene.poses.Replace(1, poseOf(kIdentity)); }},
    };
    for (const Repair& next : repairs) {
        result = image;
        EXPECT_EQ(correct(scene, r, &result, reference), next.code) << next.rule;
        EXPECT_EQ(result.Width(), 0) << next.rule;
        next.repair();
    }
    EXPECT_EQ(correct(scene, r, &result), 0);
    scene.add(NoxRangeImage(), kIdentity);
    EXPECT_EQ(correct(scene, r, &result, 3), 11100001) << "a later image without pixels";
    EXPECT_EQ(correct(scene, r, &scene.images[0], 1), 11100001) << "the result is an image: it is cleared first";
}

TEST(Posture, PlanesAreRefusedInOrder)
{
    NoxRangeImage image, result, strange = flatImage();
    result.SetType(1);
    strange.SetType(2);
    Nox3DPlane plane;
    Request r{0, -1, 101, -1, 40001, 1};
    const Repair repairs[] = {
        {"resolution X is 0", 11200002, [&] { r.resolutionX = 2; }},
        {"resolution Y below 0", 11200003, [&] { r.resolutionY = 1; }},
        {"factor 101", 11200004, [&] { r.factor = 5; }},
        {"method -1", 11200005, [&] { r.method = 5; }},
        {"width 40001", 11200006, [&] { r.width = 40; }},
        {"height 1", 11200007, [&] { r.height = 50000; }},
        {"no pixels", 11100001, [&] { image = strange; }},
        {"factor above the height", 30602021, [&] { r.factor = 4; }},
        {"type 2", 11100029, [&] { image.SetType(0); }},
        {"no plane", 30602019, [&] { plane = Nox3DPlane(NoxVector3d(), NoxVector3d(0, 0, 1)); }},
        {"height 50000, by the array form", 11200008, [&] { r = {2, 1, 1, 5, 40, 30}; }},
    };
    for (const Repair& next : repairs) {
        EXPECT_EQ(level(image, plane, r, &result), next.code) << next.rule;
        EXPECT_EQ(result.Type(), next.code == 30602019 || next.code == 11200008 ? 0 : 1) << next.rule;
        next.repair();
    }
    image.SetType(1);
    ASSERT_EQ(level(image, plane, r, &result), 0);
    EXPECT_EQ(level(image, plane, r, &image), 0) << "in place";
    expectSame(image, result);
}

TEST(Posture, MemoryGuardsCountGridsAsIfTheCanvasStood)
{
    const char* pieces = std::getenv("NOX_TEST_TBB");
    const int mergeGrids = 1 + (pieces && std::atoi(pieces) > 0 ? std::atoi(pieces) : 4);  // 4 at most by themselves
    const std::tuple<int, int, int, int, int, int> rows[] = {
        {1, 2048, 1024, 64, 64, 6 * 2},
        {1, 2048, 8, 16, 2048, 3 * 4},  // rows of the output, columns of the canvas
        {6, 8, 16, 2048, 1024, std::max(6 + 1, mergeGrids) * 2}};
    for (const auto& [n, width, height, outputWidth, outputHeight, mebibytes] : rows) {
        for (const int type : {0, 1}) {
            SCOPED_TRACE(std::to_string(width) + " wide, type " + std::to_string(type));
            NoxRangeImage image = imageOf(width, height, kUnitGrid, [](int, int) { return 1.0f; }), result;
            image.SetType(type);
            Scene scene;
            for (int i = 0; i < n; ++i) scene.add(image, kIdentity);
            for (const bool isShort : {false, true}) {
                const replaced::MemoryScope memory((static_cast<unsigned long long>(mebibytes) << 20) - isShort);
                EXPECT_EQ(correct(scene, {1, 1, 1, 0, outputWidth, outputHeight}, &result), isShort ? 30602016 : 0);
            }
            EXPECT_EQ(scene.images.Length(), type == 0 || mebibytes == 14 ? n : 0);
        }
    }
}

TEST(Posture, HeightsThatCannotBeConvertedForLackOfMemoryAreTold)
{
    NoxRangeImage image, result;
    image.SetSize(4200, 4100, NoxDataType8U);
    image.Matrix().setTo(1);
    Scene scene;
    scene.add(image, kIdentity);
    const replaced::MemoryScope memory(5ULL << 20);
    EXPECT_EQ(correct(scene, {1, 1, 1, 0, 4, 3}, &result), 30602016);
}

TEST(Posture, RecordsBracketTheConversion)
{
    NoxRangeImage image = flatImage(), result;
    Nox3DPlane plane(NoxVector3d(), NoxVector3d(0, 0, 1));
    const Request request{1, 1, 1, 0, 9, 8};
    for (const int type : {0, 1}) {
        image.SetType(type);
        const std::string start = "RangeImgPostureCorrect: start-RangeImgPostureCorrect",
                          end = "RangeImgPostureCorrect: end-RangeImgPostureCorrect",
                          pipeline = "_CPU_TYPE" + std::to_string(type);
        const replaced::LogScope log;
        ASSERT_EQ(level(image, plane, request, &result), 0);
        EXPECT_EQ(log.records(), (std::vector<std::string>{start, start + pipeline, end + pipeline, end}));
    }
}

TEST(Posture, ShearsRaiseEveryElement)
{
    const NoxVector3d a(1, 2, 3), b(0.5f, -1, 2);
    const NoxRangeImage source = imageOf(4, 3, kGrid, [](int, int) { return 0.0f; });
    const auto raised = [](double x, double y) {
        return static_cast<float>(((x - 1) * 0.5 + (y - 2) * -1.0) / 2 - 3 + 0.125);
    };
    const auto onGrid = [&](int r, int c) { return raised(c * 0.5 + 3, r * 0.25 - 2); };
    const auto isListed = [](int r, int c) { return (r == 1 && c == 2) || (r == 2 && c == 3); };

    NoxRangeImage listed = source.DeepCopy(), all = source.DeepCopy(), plain = source.DeepCopy(), out, bytes;
    const int indices[] = {6, -1, 12, 11};
    NOXEL::PlaneCorrectionTBB first;
    first.Set(&a, &b, indices, 4, 0.125, source, &listed);
    first(Range(0, 4));
    first.Get(&out);
    expectSame(out, imageOf(4, 3, kGrid, [&](int r, int c) { return isListed(r, c) ? onGrid(r, c) : 0.0f; }));
    NOXEL::PlaneCorrectionTBB2 second;
    second.Set(&a, &b, 0.125, source, &all);
    second(Range(0, 12));
    expectSame(all, imageOf(4, 3, kGrid, onGrid));
    NOXEL::PlaneCorrectionTBB3 third;
    third.Set(&a, &b, 0, 0, 0, 0, 0.125, source, &plain);
    third(tbb::blocked_range2d<std::size_t, std::size_t>(0, 3, 0, 4));
    expectSame(plain, imageOf(4, 3, kGrid, [&](int r, int c) { return raised(c, r); }));

    bytes.SetSize(2, 1, NoxDataType8U);
    bytes.Data()[0] = 3, bytes.Data()[1] = 0;
    second.Set(&a, &b, 260.9, bytes, &bytes);  // 0 and 1 across: heights 258.65 and 258.9
    second(Range(0, 2));
    EXPECT_EQ(bytes.Data()[0], 261 - 256);
    EXPECT_EQ(bytes.Data()[1], 258 - 256);
}

}  // namespace
