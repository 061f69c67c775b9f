#include "tests/support/Samples.h"

#include <RangeImagePtr.h>

#include <cstdint>
#include <stdexcept>
#include <thread>
#include <type_traits>

namespace {

using namespace samples;

/// 3 wide, 2 high, 16-bit, all pixels 7; colours of 3 channels, all 9.
NoxRangeImage filled()
{
    NoxRangeImage image;
    image.SetSize(3, 2, NoxDataType16U);
    image.SetColorSize(3, 2, 3);
    image.Matrix() = 7;
    image.ColorMatrix().setTo(cv::Scalar::all(9));
    image.SetType(1);
    image.SetInfo(5, 6, 1, 2, 3, 4);
    setParameters(image, {10, 11, 12, 13, 14, 15});
    return image;
}

int pixel(const NoxRangeImage& image) { return pixels<unsigned short>(image)[5]; }

TEST(Containers, FirstMemberPointsToTheMatrix)
{
    const auto first = [](const auto& container) {
        void* pointer = nullptr;
        std::memcpy(&pointer, &container, sizeof(pointer));
        EXPECT_EQ(&container.Matrix(), pointer);
    };
    first(filled());
    first(NoxImage());
    first(NoxColorArray());
    first(NoxMatrix(cv::Mat::eye(4, 4, CV_64F)));
}

TEST(Containers, CopyShowsAllAndSharesPixels)
{
    NoxRangeImage copy;
    {
        NoxRangeImage image = filled();
        copy = image;
        EXPECT_EQ(&image.Matrix(), &copy.Matrix());
        image.Matrix() = 8;
        image.ColorData()[17] = 1;
    }
    EXPECT_EQ(8, pixel(copy));
    EXPECT_EQ(1, copy.ColorData()[17]);
    EXPECT_EQ(3, copy.Width());
    EXPECT_EQ(2, copy.Height());
    EXPECT_EQ(2, copy.DataType());
    EXPECT_EQ(1, copy.Type());
    EXPECT_EQ(std::vector<double>({1, 2, 3, 4, 5, 6}), gridOf(copy));
    for (int i = 0; i < 6; ++i) EXPECT_EQ(10.0 + i, copy.GetParaValue(i).D());
    EXPECT_THROW(copy.GetParaValue(6), std::out_of_range);

    NoxRangeImage deep = copy.DeepCopy();
    deep.Matrix() = 3;
    deep.ColorData()[17] = 4;
    EXPECT_EQ(8, pixel(copy));
    EXPECT_EQ(1, copy.ColorData()[17]);
    const NoxColorArray colors = copy.DeepCopyColors();
    copy.ColorData()[17] = 5;
    EXPECT_EQ(6, colors.Length());
    EXPECT_EQ(3, colors.Channel());
    EXPECT_EQ(1, colors.Data()[17]);
}

TEST(Containers, SizingLeavesSharersAndKeepsWhatIsNotPixels)
{
    const std::tuple<const char*, int, int, int, bool> rows[] = {{"the same grid", 3, 2, 2, true},
                                                                 {"another element type", 3, 2, 5, true},
                                                                 {"as many pixels, another grid", 2, 3, 2, false},
                                                                 {"empty", 0, 0, 2, false}};
    for (const auto& [rule, width, height, dataType, keepsColors] : rows) {
        SCOPED_TRACE(rule);
        NoxRangeImage image = filled();
        NoxRangeImageArray array;
        array.Append(image);
        array[0].SetSize(width, height, dataType);
        if (array[0].Data()) std::fill_n(array[0].Data(), 12, std::uint8_t{1});
        if (keepsColors) array[0].SetColorSize(3, 2, 3), array[0].ColorData()[0] = 1;
        EXPECT_EQ(7, pixel(image));
        EXPECT_EQ(9, image.ColorData()[0]);
        EXPECT_EQ(width, array[0].Width());
        EXPECT_EQ(keepsColors, array[0].ColorData() != nullptr);
        EXPECT_EQ(1, array[0].Type());
        EXPECT_EQ(6.0, array[0].OffsetZ());

        const cv::Mat header = image.Matrix();  // somebody who works on the matrix itself is a sharer too
        image.SetSize(3, 2, 2);
        EXPECT_NE(header.data, image.Data());
    }
    NoxRangeImage alone = filled();
    const cv::Mat& matrix = alone.Matrix();
    const unsigned char* pixels = alone.Data();
    alone.SetSize(3, 2, 2);
    EXPECT_EQ(pixels, alone.Data()) << "memory that nobody else sees is used again";
    alone.SetSize(3, 2, 5);
    EXPECT_EQ(&matrix, &alone.Matrix()) << "and the matrix object stays";
    EXPECT_EQ(5, matrix.type());
    EXPECT_EQ(9, alone.ColorData()[0]);
    alone.Clear();
    EXPECT_EQ(nullptr, alone.Data());
    EXPECT_EQ(0, alone.Type());
}

TEST(Containers, ArraysHoldObjectsOfTheirOwn)
{
    NoxMatrix pose(cv::Mat::eye(4, 4, CV_64F));
    NoxMatrixArray poses;
    NoxRangeImage image = filled();
    NoxRangeImageArray images;
    for (int i = 0; i < 2; ++i) {
        pose.Matrix().at<double>(2, 3) = i;
        poses.Append(pose);
        images.Append(image);
        image.Matrix() = cv::Mat(4, 5, CV_32FC1, cv::Scalar(i));
    }
    EXPECT_EQ(0.0, poses[0].Matrix().at<double>(2, 3));
    EXPECT_EQ(1.0, poses[1].Matrix().at<double>(2, 3));
    EXPECT_EQ(3, images[0].Width());
    EXPECT_EQ(7, pixel(images[0]));
    EXPECT_EQ(5, images[1].Width());
}

TEST(Containers, DeliveryReachesNoSharer)
{
    const cv::Mat wide(4, 5, CV_16UC1, cv::Scalar(2));
    const auto check = [&](auto target, const auto& pixels) {
        target.SetMatrix(cv::Mat(2, 3, CV_16UC1, cv::Scalar(7)));
        const auto sharer = target;
        target.SetMatrix(wide(cv::Rect(1, 1, 3, 2)));  // rows with gaps are packed
        EXPECT_TRUE(target.Matrix().isContinuous());
        EXPECT_EQ(2, pixels(target)[5]);
        EXPECT_EQ(7, pixels(sharer)[5]);
    };
    using Pixels = const unsigned short*;
    check(NoxRangeImage(), [](const auto& i) { return reinterpret_cast<Pixels>(i.Data()); });
    check(NoxImage(), [](const auto& i) { return reinterpret_cast<Pixels>(i.ImageData()); });
    check(NoxMatrix(), [](const auto& m) { return reinterpret_cast<Pixels>(m.MatrixData()); });
}

TEST(Containers, BadSizesThrowAndChangeNothing)
{
    NoxRangeImage image = filled();
    NoxColorArray colors;
    colors.SetSize(2, 1, 3);
    NoxVector3dArray points;
    points.Append({1, 2, 3});
    NoxVarArray parameters;
    EXPECT_THROW(image.SetSize(-1, 2, 2), std::length_error);
    EXPECT_THROW(image.SetSize(2, -1, 2), std::length_error);
    EXPECT_THROW(image.SetSize(INT_MAX, INT_MAX, 6), std::length_error);
    EXPECT_THROW(image.SetSize(3, 2, 7), std::invalid_argument);
    EXPECT_THROW(image.SetSize(3, 2, -1), std::invalid_argument);
    EXPECT_THROW(image.SetColorSize(3, -2, 3), std::length_error);
    EXPECT_THROW(image.SetColorSize(3, 2, 0), std::invalid_argument);
    EXPECT_THROW(image.SetColorSize(3, 2, 513), std::invalid_argument);
    EXPECT_EQ(7, pixel(image));
    EXPECT_EQ(9, image.ColorData()[17]);
    EXPECT_THROW(colors.SetSize(-1, 1, 3), std::length_error);
    EXPECT_THROW(colors.SetSize(2, 2, 3), std::invalid_argument);
    EXPECT_EQ(2, colors.Length());
    EXPECT_THROW(points.SetSize(-1), std::length_error);
    EXPECT_THROW(points[1], std::out_of_range);
    EXPECT_THROW(points[-1], std::out_of_range);
    EXPECT_EQ(NoxVector3d(1, 2, 3), points[0]);
    EXPECT_THROW(parameters.SetSize(-1), std::length_error);
    EXPECT_THROW(NoxRangeImageArray()[0], std::out_of_range);
    EXPECT_THROW(NoxMatrixArray()[0], std::out_of_range);
    EXPECT_THROW(NoxMatrix4().Value(4, 0), std::out_of_range);
}

TEST(Containers, ArraysKeepTheirElements)
{
    NoxVector3dArray points;
    for (int i = 0; i < 20; ++i) points.Append(i == 0 ? NoxVector3d(0, 1, 2) : points[i - 1]);
    points.Replace(4, {4, 5, 6});
    points.SetSize(5);
    const NoxVector3dArray copy = points;
    points.Replace(4, {7, 8, 9});
    points.SetSize(30);
    EXPECT_EQ(5, copy.Length());
    EXPECT_EQ(NoxVector3d(4, 5, 6), copy[4]);
    EXPECT_EQ(NoxVector3d(0, 1, 2), points[3]);
    EXPECT_EQ(8.0f, points.Data()[13]);
    EXPECT_EQ(nullptr, NoxVector3dArray().Data());
    EXPECT_EQ(nullptr, NoxColorArray().Data());

    NoxMatrixArray poses;
    poses.Append(NoxMatrix(cv::Mat::zeros(3, 4, CV_64F)));
    poses.Replace(0, NoxMatrix(cv::Mat::eye(4, 4, CV_64F)));
    EXPECT_EQ(4, poses[0].Rows());
    EXPECT_EQ(1, poses.Length());
}

TEST(Containers, CloudLivesOnWithoutItsSources)
{
    NoxPointCloud cloud;
    EXPECT_EQ(nullptr, cloud.PointData());
    {
        NoxVector3dArray points;
        points.Append({1, 2, 3});
        NoxColorArray colors;
        colors.SetSize(1, 1, 4);
        std::fill_n(colors.Data(), 4, std::uint8_t{5});
        cloud.SetPoints(points);
        cloud.SetColors(colors);
        points.Replace(0, {9, 9, 9});
        colors.Data()[3] = 9;
    }
    EXPECT_EQ(3.0f, cloud.PointData()[2]);
    EXPECT_EQ(5, cloud.ColorData()[3]);
    const NoxColorArray deep = cloud.DeepCopyColors();
    cloud.ColorData()[3] = 6;
    EXPECT_EQ(5, deep.Data()[3]);
    cloud.SetColors(NoxColorArray());
    EXPECT_EQ(nullptr, cloud.ColorData());
    EXPECT_EQ(1, cloud.Length());
}

TEST(Containers, OneImageIsReadAndCopiedFromManyThreads)
{
    const NoxRangeImage image = filled();
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&image, t] {
            for (int i = 0; i < 2000; ++i) {
                NoxRangeImage copy = image;
                EXPECT_EQ(7, pixel(copy));
                if (t % 2 == 0) copy.SetSize(3, 2, 2), copy.Matrix() = 1;
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(7, pixel(image));
    NoxRangeImage last = image;
    EXPECT_EQ(image.Data(), last.Data());
}

TEST(Containers, RangeImagePtrServesAllTypes)
{
    forEachElement([](auto tag) {
        using T = typename decltype(tag)::type;
        using Limits = std::numeric_limits<T>;
        const NoxRangeImage image = imageOf<T>(3, 2, [](int, int) { return 1; });
        NOXEL::RangeImagePtr pointer(image);
        EXPECT_TRUE(pointer.isValid(5));
        pointer.inValidate(5);
        EXPECT_EQ(nox::Element<T>::invalid, pixels<T>(image)[5]);
        EXPECT_FALSE(pointer.isValid(5));
        const double invalid = static_cast<double>(nox::Element<T>::invalid);
        EXPECT_EQ(invalid, pointer.GetValue(5));
        const bool integer = std::is_integral_v<T>;
        const double low = std::max(-1e9, static_cast<double>(Limits::lowest())),
                     high = std::min(1e9, static_cast<double>(Limits::max()));
        const double in[] = {2.5, 3.5, -1e9, 1e9, 3e9, kNaN};
        const double out[] = {integer ? 2 : 2.5, integer ? 4 : 3.5, low, high, integer ? invalid : 3e9, invalid};
        for (int i = 0; i < (integer ? 6 : 5); ++i) {
            pointer.ReplaceValue(0, in[i]);
            EXPECT_EQ(out[i], pointer.GetValue(0)) << in[i];
        }
        EXPECT_EQ(1.0, pointer.GetValue(1));
        for (int outside : {-1, 6}) EXPECT_THROW(pointer.ReplaceValue(outside, 0), std::out_of_range);
    });
}

}  // namespace
