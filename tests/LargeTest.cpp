// Images of more than 2^31 bytes and, in bytes, of more than 2^31 pixels. Needs 16 GiB of free memory; no part of
// ctest, scripts/check.sh runs it.

#include "tests/support/Samples.h"

#include <NoxPlatform.h>

namespace {

using namespace samples;

constexpr int kSide = 46400;       // of bytes: 2,152,960,000
constexpr int kFloatSide = 23300;  // of floats: as many bytes

class Large : public testing::Test
{
protected:
    void SetUp() override
    {
        if (NOXEL::NoxAvailablePhysicalMemory() < (16ULL << 30)) GTEST_SKIP() << "not enough memory";
    }

    std::vector<int> lastGrays() const
    {
        const unsigned char* end = image_.ImageData() + image_.Matrix().total();
        return {end[-3], end[-2], end[-1]};
    }

    NOXEL::Nox3DDataConvert convert_;
    NoxPointCloud cloud_;
    NoxImage image_;
    NoxRangeImage range_;
    double scale_ = 0, offset_ = 0, *none_ = nullptr;
};

TEST_F(Large, Points)
{
    constexpr int side = 16500;  // of doubles
    range_.SetSize(side, side, NoxDataType64F);
    range_.Matrix().setTo(-std::numeric_limits<double>::max());
    range_.Matrix().at<double>(0, 1) = 7;
    range_.Matrix().at<double>(side - 1, side - 2) = 9;
    ASSERT_EQ(0, convert_.RangeImageToPointCloud(range_, &cloud_));
    ASSERT_EQ(2, cloud_.Length());
    EXPECT_TRUE(sameBits(Floats{0, 1, 7, side - 1, side - 2, 9}, cloud_.PointData()));

    range_.SetSize(kSide, kSide, NoxDataType8U);
    const bool covered = NOXEL::NoxAvailablePhysicalMemory() >= 24ULL * kSide * kSide;
    EXPECT_EQ(covered ? 30602009 : 30602012, convert_.RangeImageToPointCloud(range_, &cloud_)) << "more than 2^31";
}

TEST_F(Large, Grays)
{
    range_.SetSize(kSide, kSide, NoxDataType8U);
    range_.Matrix().setTo(100);
    range_.Matrix().at<unsigned char>(kSide - 1, kSide - 2) = 60;
    range_.Matrix().at<unsigned char>(kSide - 1, kSide - 1) = 180;
    NoxROI all;
    Nox3DPlane level;
    ASSERT_EQ(0, convert_.RangeImageToImage(range_, all, &image_, 0, 0, &scale_, &offset_, none_, none_, none_, none_,
                                            none_, none_));
    EXPECT_EQ((std::vector<int>{85, 1, 255}), lastGrays());
    ASSERT_EQ(0, convert_.RangeImageToImage(range_, all, &image_, 0, 0, level, 0.0, 200.0, 0, 100, &scale_, &offset_,
                                            none_, none_, none_, none_, none_, none_));
    EXPECT_EQ((std::vector<int>{50, 30, 90}), lastGrays());
    ASSERT_EQ(0, convert_.RangeImageToImageAuto(range_, &image_, 0, none_, none_, none_, none_, none_, none_));
    EXPECT_EQ((std::vector<int>{100, 60, 180}), lastGrays());
    ASSERT_EQ(0, convert_.RangeImageToImageByChunk(range_, &image_, 0, kSide, kSide, 100.0, 100.0));
    EXPECT_EQ((std::vector<int>{128, 77, 229}), lastGrays()) << "one tile, mean 100";
}

TEST_F(Large, Heights)
{
    image_.SetSize(kSide, kSide, NoxImageType8U);
    image_.Matrix().setTo(3);
    image_.Matrix().at<unsigned char>(kSide - 1, kSide - 1) = 5;
    ASSERT_EQ(0, convert_.ImageToRangeImage(image_, &range_, NoxDataType8U, 2, 1, 1, 0, 1, 0, 1, 0));
    EXPECT_EQ(11, range_.Matrix().at<unsigned char>(kSide - 1, kSide - 1));
    ASSERT_EQ(0, convert_.ImageToRangeImageAuto(image_, &range_, NoxDataType16U, 1, 0, 1, 0, 1, 0));
    EXPECT_EQ(1291, range_.Matrix().at<unsigned short>(kSide - 1, kSide - 1));
}

TEST_F(Large, Grids)
{
    const float corner = kFloatSide - 1;
    cloud_ = cloudOf({{1, 1, 1}, {corner, corner, 5}, {2, 1, 3}});
    NoxMatrix4 pose(1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1);
    const bool covered = NOXEL::NoxAvailablePhysicalMemory() >= 40ULL * kFloatSide * kFloatSide;
    ASSERT_EQ(covered ? 0 : 30602012, convert_.PointCloudToRangeImage(cloud_, &range_, pose, kFloatSide, kFloatSide));
    EXPECT_TRUE(!covered || range_.Matrix().at<float>(kFloatSide - 1, kFloatSide - 1) == 5.0f);
    ASSERT_EQ(0, convert_.PointCloudToRangeImage(cloud_, &range_, 1, kFloatSide, kFloatSide, 1, 1, 0, 0));
    EXPECT_EQ(5.0f, range_.Matrix().at<float>(kFloatSide - 1, kFloatSide - 1));

    const int beyond = 400000;  // 640 GB of floats
    EXPECT_EQ(30602012, convert_.PointCloudToRangeImage(cloud_, &range_, pose, beyond, beyond));
    EXPECT_EQ(30602012, convert_.PointCloudToRangeImage(cloud_, &range_, pose, 0.05, 0.05));
    EXPECT_EQ(30602010, convert_.PointCloudToRangeImage(cloud_, &range_, 1, beyond, beyond, 1, 1, 0, 0));
    EXPECT_EQ(kFloatSide, range_.Width()) << "as it was";
}

}  // namespace
