// Heights of a landscape become gray pictures in four ways, and grays become heights again.
// Usage: terrain_to_gray <terrain.png> <output folder>

#include <Nox3DDataConvert.h>

#include <cstdio>
#include <exception>
#include <filesystem>
#include <opencv2/imgproc.hpp>

#include "support/Measure.h"
#include "support/Pictures.h"

namespace {

constexpr int k8Bit = NoxImageType8U, kBackground = 0;

/// A panel of the joined picture.
cv::Mat panel(const NoxImage& image, const char* caption)
{
    cv::Mat small;
    cv::resize(image.Matrix(), small, {}, 0.62, 0.62, cv::INTER_AREA);
    cv::rectangle(small, {0, 0, small.cols, 18}, 24, cv::FILLED);
    cv::putText(small, caption, {6, 13}, cv::FONT_HERSHEY_SIMPLEX, 0.4, 225, 1, cv::LINE_AA);
    cv::copyMakeBorder(small, small, 4, 4, 4, 4, cv::BORDER_CONSTANT, 24);
    return small;
}

/// By the fixed rule to 8 or 16 bit and back. Its band is a few units wide, so the unit is the kilometre here, and 0
/// the middle height.
NoxImage thereAndBack(const NoxRangeImage& terrain, int imageType)
{
    NoxRangeImage image = terrain, returned;
    cv::Mat kilometres;
    example::heights(terrain).convertTo(kilometres, CV_32F, 1e-3, -0.656);
    image.SetMatrix(kilometres);
    image.SetInfo(1, 0, terrain.ResolutionX(), 0, terrain.ResolutionY(), 0);

    NoxImage gray;
    NOXEL::Nox3DDataConvert convert;
    double resolutionX = 0, offsetX = 0, resolutionY = 0, offsetY = 0, resolutionZ = 0, offsetZ = 0;
    example::require(convert.RangeImageToImageAuto(image, &gray, imageType, &resolutionX, &offsetX, &resolutionY,
                                                   &offsetY, &resolutionZ, &offsetZ));
    example::require(convert.ImageToRangeImageAuto(gray, &returned, NoxDataType32F, resolutionX, offsetX, resolutionY,
                                                   offsetY, resolutionZ, offsetZ));

    double least = 0, most = 0;
    cv::minMaxLoc(kilometres - example::heights(returned), &least, &most);
    std::printf("fixed rule, %2d bit   a gray is %2d m; heights come back %.2f to %.2f m too low\n",
                imageType == k8Bit ? 8 : 16, imageType == k8Bit ? 10 : 1, 1e3 * least, 1e3 * most);
    return gray;
}

void run(const std::filesystem::path& file, const std::filesystem::path& out)
{
    NoxRangeImage terrain = example::readTerrain(file);
    NOXEL::Nox3DDataConvert convert;
    double scale = 0, offset = 0;
    NoxROI all, valley;
    valley.GenCircle(NoxPoint(338, 238), 62);

    NoxImage whole, region, plane, tiles;
    const auto stretch = [&](const char* name, NoxROI& roi, NoxImage* image) {
        example::require(convert.RangeImageToImage(terrain, roi, image, k8Bit, kBackground, &scale, &offset, nullptr,
                                                   nullptr, nullptr, nullptr, nullptr, nullptr));
        const double lowest = (offset - terrain.OffsetZ()) * terrain.ResolutionZ();
        std::printf("%s a gray is %.2f m; gray 1 is %.0f m, gray 255 is %.0f m\n", name, scale * terrain.ResolutionZ(),
                    lowest, lowest + 254 * scale * terrain.ResolutionZ());
    };
    stretch("whole image         ", all, &whole);
    stretch("valley only         ", valley, &region);

    NoxPointCloud points;
    example::require(convert.RangeImageToPointCloud(terrain, &points));
    Nox3DPlane slope = example::fitPlane(points);
    const double band = 400;  // metres to either side of the plane
    example::require(convert.RangeImageToImage(terrain, all, &plane, k8Bit, kBackground, slope, -band, band, 1, 255,
                                               &scale, &offset, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr));
    std::printf(
        "about a plane        a gray is %.2f m; the plane falls by %.0f m from west to east\n",
        scale * terrain.ResolutionZ(),
        static_cast<double>(-slope.Normal().Y() / slope.Normal().Z()) * -terrain.Width() * terrain.ResolutionX());

    const NoxImage fixed = thereAndBack(terrain, k8Bit);
    thereAndBack(terrain, NoxImageType16U);

    const int tile = 43;
    const double around = 220;  // metres to either side of the mean of a tile
    example::require(convert.RangeImageToImageByChunk(terrain, &tiles, k8Bit, tile, tile,
                                                      around / terrain.ResolutionZ(), around / terrain.ResolutionZ()));
    std::printf("tiles of %d x %d     a gray is %.2f m about the mean of each tile\n", tile, tile, 2 * around / 254);

    example::writePicture(out / "terrain_whole.png", whole.Matrix());
    example::writePicture(out / "terrain_region.png", region.Matrix());
    example::writePicture(out / "terrain_plane.png", plane.Matrix());
    example::writePicture(out / "terrain_fixed.png", fixed.Matrix());
    example::writePicture(out / "terrain_tiles.png", tiles.Matrix());
    cv::Mat left, right, both;
    cv::vconcat(panel(whole, "whole image"), panel(plane, "about a plane"), left);
    cv::vconcat(panel(region, "valley only"), panel(tiles, "tiles"), right);
    cv::hconcat(left, right, both);
    example::writePicture(out / "terrain_gray.png", both);
}

}  // namespace

int main(int count, char** arguments)
{
    if (count != 3) {
        std::fprintf(stderr, "usage: terrain_to_gray <terrain.png> <output folder>\n");
        return 2;
    }
    try {
        run(arguments[1], arguments[2]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "terrain_to_gray: %s\n", error.what());
        return 1;
    }
    return 0;
}
