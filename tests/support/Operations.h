#pragma once

#include <Nox3DDataConvert.h>
#include <NoxRun.h>

#include <vector>

/// All operations in one table, so that what must hold for each of them is tested for each of them.
namespace trust {

/// What the operations read: containers and numbers that suit all of them.
struct Inputs
{
    NoxRangeImage range;
    NoxRangeImageArray ranges;  ///< `range` and another one, with a pose each
    NoxMatrixArray poses;
    NoxPointCloud cloud;
    NoxImage image;
    NoxROI roi;
    Nox3DShape shape;
    Nox3DPlane plane;
    std::vector<double> waves;  ///< whose sum depends on the order
    NoxMatrix4 pose{0.9, 0.1, 0, 5, -0.1, 0.9, 0, 6, 0, 0, 1, 7, 0, 0, 0, 1};
    NoxVector3d direction{0.1f, -0.2f, 1.0f};
    int width = 23, height = 31, imageType = NoxImageType8U, background = 7, lowGray = 10, highGray = 200;
    int tileWidth = 16, tileHeight = 11, dataType = NoxDataType32F, newDataType = NoxDataType32F;
    int samplingFactor = 1, samplingMethod = 0, method = 0;
    double resolutionX = 0.625, resolutionY = 0.875, resolutionZ = 0.5, offsetX = 3.5, offsetY = -1.25, offsetZ = 2.0;
    double low = 25.0, high = 45.0, above = 12.0, below = 9.0, grayScale = 0.7, grayOffset = -3.0;
};

/// What they write.
struct Outputs
{
    NoxRangeImage range;
    NoxPointCloud cloud;
    NoxImage image;
    NoxROI roi;
    Nox3DShape shape;
    std::vector<NoxRun> runs;
    double numbers[8] = {};
};

using Bytes = std::vector<unsigned char>;

struct Operation
{
    const char* name;
    long (*call)(Inputs& in, Outputs& out);
    std::vector<long> exceptionCodes;  ///< one of them is what a failed allocation ends in
    bool mayThrow;                     ///< or in an exception
    bool keepsOutput;                  ///< a failure leaves what the outputs show as it was
    int bytesAsked;                    ///< of memory for each pixel (8U to 8U, float); 0: tested elsewhere
};

const std::vector<Operation>& operations();

/// Heights of that type, a quarter of them invalid, and a cloud and an image of as many points and grays. `rich` is the
/// second case: type 1, colours, 16-bit grays, other kinds of region and shape.
Inputs someInputs(int width, int height, int dataType, bool rich);

/// Outputs that hold something already.
Outputs someOutputs();

/// Everything that the outputs show, as bytes; without `numbers` the containers only.
Bytes bytesOf(const Outputs& out, bool numbers = true);

}  // namespace trust
