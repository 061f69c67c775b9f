#include <Nox3DDataConvert.h>
#include <Nox3DDataConvertAlg.h>
#include <NoxFastLoggerPrivate.h>

#include "cloud_to_range/CloudToRange.h"
#include "cloud_to_range/Registration.h"
#include "data/Checked.h"
#include "data/FloatingPoint.h"
#include "device/PostureRoute.h"
#include "device/Routes.h"
#include "frame/Guards.h"
#include "frame/StaticConfig.h"
#include "posture/Posture.h"
#include "range_to_cloud/RangeToCloud.h"
#include "shapes/Shapes.h"

#include <algorithm>
#include <cmath>

namespace NOXEL {

namespace {

const nox::StaticConfig config = nox::StaticConfig::read();

/// The operation's local logger, bound to the name under which its records go.
class Records
{
public:
    explicit Records(const char* function) : function_(function) {}
    void write(const char* message, int line) { logger_.Log(message, "Nox3DDataConvert", function_, line); }

private:
    NoxFastLoggerPrivate logger_;
    const char* function_;
};

/// The tests that the forms with an unordered cloud share, in their order; 0 when all pass.
long refusal(const NoxPointCloud& cloud, bool frameRefused, bool firstRefused, bool secondRefused)
{
    if (cloud.Length() == 0) return code::pointCloudEmpty;
    if (frameRefused) return code::argument1;
    if (firstRefused) return code::argument2;
    if (secondRefused) return code::argument3;
    return code::success;
}

/// Grids of posture correction are cells of a size above 0 and not larger than 1000 or the grid's own number of them.
bool isRefusedResolution(float resolution, int cells)
{
    return !(resolution > 0.0f) || resolution > 1000.0f || resolution > static_cast<float>(cells);
}

bool isWithin(int value, int low, int high) { return low <= value && value <= high; }

/// The tests of posture correction of an array, in their order.
long refusalOfPosture(const NoxRangeImageArray& images, const NoxMatrixArray& poses, int referenceIndex,
                      const nox::PostureRequest& request)
{
    const int n = images.Length();
    if (!isWithin(referenceIndex, 0, n)) return code::argument2;
    if (isRefusedResolution(request.resolutionX, request.outputWidth)) return code::argument2;
    if (isRefusedResolution(request.resolutionY, request.outputHeight)) return code::argument3;
    if (!isWithin(request.samplingFactor, 1, 100)) return code::argument5;
    if (!isWithin(request.samplingMethod, 0, 5)) return code::argument6;
    if (!isWithin(request.outputWidth, 2, 40000)) return code::argument7;
    if (!isWithin(request.outputHeight, 2, 40000)) return code::argument8;
    if (n == 0 || nox::pixelCount(images[0]) == 0) return code::rangeImageEmpty;
    for (int i = 0; i < n; ++i)
        if (!isWithin(images[i].Type(), 0, 1)) return code::rangeImageType;
    for (int i = 0; i < n; ++i)
        if (images[i].Type() != images[0].Type()) return code::imageTypesDiffer;
    if (const long refused = nox::refusalOfPoses(poses, n)) return refused;
    return nox::areZero(poses) ? code::posesZero : code::success;
}

/// Runs convert(registration) on the device for a large cloud, where the configuration has one, else on the host. What
/// the device form throws reaches the caller.
template <class Convert>
long onDeviceOrHost(const NoxPointCloud& cloud, const Convert& convert)
{
    constexpr int mostPointsOfHost = 0x100000;
    if (config.gpu && cloud.Length() > mostPointsOfHost) return convert(nox::registerPointsOnDevice);
    return nox::guarded(code::cloudToRangeThrew, [&] { return convert(nox::registerPoints); });
}

bool isImageType(int imageType) { return imageType == NoxImageType8U || imageType == NoxImageType16U; }

/// Kinds of regions without an area of pixels.
bool isRefusedRegion(const NoxROI& roi)
{
    const int kind = roi.ROIType();
    return kind == 5 || kind == 7 || kind == 9 || kind == 10;
}

/// The tests that both forms of the conversion to gray in a region begin with; 0 when all pass.
long refusal(const NoxRangeImage& range, const NoxROI& roi, const NoxImage* image, int imageType)
{
    if (nox::pixelCount(range) == 0) return code::rangeImageEmpty;
    if (!isImageType(imageType)) return code::argument1;
    if (isRefusedRegion(roi)) return code::regionOrShapeKind;
    return image ? code::success : code::argument1;
}

/// The six optional outputs that hand on the grid of the source.
struct GridOutputs
{
    double *resolutionX, *offsetX, *resolutionY, *offsetY, *resolutionZ, *offsetZ;

    void write(const NoxRangeImage& range) const
    {
        put(resolutionX, range.ResolutionX());
        put(resolutionY, range.ResolutionY());
        put(resolutionZ, range.ResolutionZ());
        put(offsetX, range.OffsetX());
        put(offsetY, range.OffsetY());
        put(offsetZ, range.OffsetZ());
    }

private:
    static void put(double* output, double value)
    {
        if (output) *output = value;
    }
};

}  // namespace

struct Nox3DDataConvert::Implementation
{
};

Nox3DDataConvert::Nox3DDataConvert() : implementation_(new Implementation) {}

Nox3DDataConvert::~Nox3DDataConvert() { delete implementation_; }

long Nox3DDataConvert::RangeImageToPointCloud(NoxRangeImage& image, NoxPointCloud* cloud)
{
    const nox::DefaultFloatingPoint mode;
    return nox::rangeImageToPointCloud(image, cloud);
}

long Nox3DDataConvert::PointCloudToRangeImage(NoxPointCloud& cloud, NoxRangeImage* result, NoxMatrix4& pose, int width,
                                              int height)
{
    const nox::DefaultFloatingPoint mode;
    result->SetType(0);
    if (const long refused = refusal(cloud, pose == NoxMatrix4(), width < 2, height < 2)) return refused;
    return onDeviceOrHost(cloud, [&](nox::Registration registration) {
        return nox::cloudToRangeBySize(cloud, result, pose, width, height, registration);
    });
}

long Nox3DDataConvert::PointCloudToRangeImage(NoxPointCloud& cloud, NoxRangeImage* result, NoxMatrix4& pose,
                                              double resolutionX, double resolutionY)
{
    const nox::DefaultFloatingPoint mode;
    result->SetType(0);
    if (const long refused = refusal(cloud, pose == NoxMatrix4(), resolutionX <= 0.0, resolutionY <= 0.0))
        return refused;  // a NaN resolution passes: it ends as a box that no grid fits
    return onDeviceOrHost(cloud, [&](nox::Registration registration) {
        Records("PointCloudToRangeImage")
            .write(registration == nox::registerPoints ? "start-pointCloudToRangeImage_CPU"
                                                       : "start-pointCloudToRangeImage_CUDA",
                   __LINE__);
        return nox::cloudToRangeByResolution(cloud, result, pose, resolutionX, resolutionY, registration);
    });
}

long Nox3DDataConvert::PointCloudToRangeImage(NoxPointCloud& cloud, NoxRangeImage* result, NoxVector3d& direction,
                                              double resolutionX, double resolutionY)
{
    const nox::DefaultFloatingPoint mode;
    result->SetType(0);
    if (const long refused = refusal(cloud, direction == NoxVector3d(), resolutionX <= 0.0, resolutionY <= 0.0))
        return refused;
    return onDeviceOrHost(cloud, [&](nox::Registration registration) {
        return nox::cloudToRangeAlong(cloud, result, direction, static_cast<float>(resolutionX),
                                      static_cast<float>(resolutionY), registration);
    });
}

long Nox3DDataConvert::PointCloudToRangeImage(NoxPointCloud& cloud, NoxRangeImage* result, int method, int width,
                                              int height, double firstResolution, double secondResolution,
                                              double offsetX, double offsetY)
{
    const nox::DefaultFloatingPoint mode;
    if (cloud.Length() == 0) return code::pointCloudEmpty;
    if (method != 0 && method != 1) return code::argument1;
    if (width < 1) return code::argument2;
    if (height < 1) return code::argument3;
    if (firstResolution <= 0.0) return code::argument4;
    if (secondResolution <= 0.0) return code::argument5;
    const nox::OrderedGrid grid{width, height, firstResolution, secondResolution, offsetX, offsetY};
    return nox::guarded(code::cloudToRangeThrew, [&] {
        Records records("PointCloudToRangeImage");
        if (method == 0) {
            records.write("start-pointCloudToRangeImage_OrdenMethod0", __LINE__);
            return nox::pointCloudToRangeImage(cloud, result, grid);
        }
        records.write("start-pointCloudToRangeImage_OrdenMethod1", __LINE__);
        return nox::pointCloudToRangeImageOrden(cloud, result, grid);
    });
}

long Nox3DDataConvert::RangeImagePostureCorrect(NoxRangeImage& image, NoxRangeImage* result, Nox3DPlane& plane,
                                                float resolutionX, float resolutionY, int samplingFactor,
                                                int samplingMethod, int outputWidth, int outputHeight)
{
    const nox::DefaultFloatingPoint mode;
    if (isRefusedResolution(resolutionX, outputWidth)) return code::argument2;
    if (isRefusedResolution(resolutionY, outputHeight)) return code::argument3;
    if (!isWithin(samplingFactor, 1, 100)) return code::argument4;
    if (!isWithin(samplingMethod, 0, 5)) return code::argument5;
    if (!isWithin(outputWidth, 2, 40000)) return code::argument6;
    if (outputHeight < 2) return code::argument7;
    if (nox::pixelCount(image) == 0) return code::rangeImageEmpty;
    if (image.Width() < samplingFactor || image.Height() < samplingFactor) return code::sampledToNothing;
    if (image.Type() > 1) return code::rangeImageType;
    return nox::guarded(code::postureThrew, [&] {
        NoxRangeImageArray images;
        images.Append(image);  // before the result changes, which may be the image itself
        result->SetType(0);
        Records records("RangeImgPostureCorrect");
        records.write("start-RangeImgPostureCorrect", __LINE__);
        if (!plane.IsValid()) return code::planeInvalid;
        NoxMatrixArray poses;
        poses.Append(nox::levellingPose(plane));
        const long done = RangeImagePostureCorrect(images, poses, 0, resolutionX, resolutionY, samplingFactor,
                                                   samplingMethod, outputWidth, outputHeight, result);
        result->SetInfo(1.0, 0.0, resolutionX, 0.0, resolutionY, 0.0);
        records.write("end-RangeImgPostureCorrect", __LINE__);
        return done;
    });
}

long Nox3DDataConvert::RangeImagePostureCorrect(NoxRangeImageArray& images, NoxMatrixArray& poses, int referenceIndex,
                                                float resolutionX, float resolutionY, int samplingFactor,
                                                int samplingMethod, int outputWidth, int outputHeight,
                                                NoxRangeImage* result)
{
    const nox::DefaultFloatingPoint mode;
    nox::PostureRequest request{resolutionX, resolutionY, samplingFactor, samplingMethod, outputWidth, outputHeight};
    return nox::guarded(code::postureThrew, [&] {
        result->Clear();
        if (const long refused = refusalOfPosture(images, poses, referenceIndex, request)) return refused;
        NoxMatrixArray workingPoses;
        if (const long failed = nox::preparePosture(images, poses, referenceIndex, &request, &workingPoses))
            return failed;
        Records records("RangeImgPostureCorrect");
        if (images[0].Type() == 1 && !config.gpu) {
            records.write("start-RangeImgPostureCorrect_CPU_TYPE1", __LINE__);
            const long done = nox::mergePerspective(images, workingPoses, request, result);
            records.write("end-RangeImgPostureCorrect_CPU_TYPE1", __LINE__);
            return done;
        }
        NoxRangeImageArray floats;
        if (const long failed = nox::withFloatHeights(images, &floats)) return failed;
        if (config.gpu) {
            records.write("start-RangeImgPostureCorrect_GPU", __LINE__);
            if (const long failed = nox::mergeOnDevice(floats, workingPoses, request, result)) return failed;
            records.write("end-RangeImgPostureCorrect_GPU", __LINE__);
            return code::success;
        }
        records.write("start-RangeImgPostureCorrect_CPU_TYPE0", __LINE__);
        const long done = nox::mergeOrthographic(floats, workingPoses, request, result);
        records.write("end-RangeImgPostureCorrect_CPU_TYPE0", __LINE__);
        return done;
    });
}

long Nox3DDataConvert::RangeImageToImage(NoxRangeImage& range, NoxROI& roi, NoxImage* image, int imageType,
                                         int background, double* grayScale, double* grayOffset, double* resolutionX,
                                         double* offsetX, double* resolutionY, double* offsetY, double* resolutionZ,
                                         double* offsetZ)
{
    const nox::DefaultFloatingPoint mode;
    if (const long refused = refusal(range, roi, image, imageType)) return refused;
    if (background < 0 || background > 255) return code::argument2;
    GridOutputs{resolutionX, offsetX, resolutionY, offsetY, resolutionZ, offsetZ}.write(range);
    return nox::guarded(code::rangeToImageThrew, [&] {
        return Nox3DDataConvertAlg().NoxRangeImageToImage(range, roi, image, imageType, background, grayScale,
                                                          grayOffset);
    });
}

long Nox3DDataConvert::RangeImageToImage(NoxRangeImage& range, NoxROI& roi, NoxImage* image, int imageType,
                                         int background, Nox3DPlane& plane, double low, double high, int lowGray,
                                         int highGray, double* grayScale, double* grayLow, double* resolutionX,
                                         double* offsetX, double* resolutionY, double* offsetY, double* resolutionZ,
                                         double* offsetZ)
{
    const nox::DefaultFloatingPoint mode;
    if (const long refused = refusal(range, roi, image, imageType)) return refused;
    if (!(low < high) || high - low < 1e-8) return code::argument4;
    const auto grays = static_cast<int>(static_cast<unsigned>(highGray) - static_cast<unsigned>(lowGray));
    if (grays < 1) return code::argument6;
    const int top = imageType == NoxImageType8U ? 255 : 65535;
    lowGray = std::clamp(lowGray, 0, top);
    highGray = std::clamp(highGray, 0, top);
    if (lowGray >= highGray) return code::argument6;
    GridOutputs{resolutionX, offsetX, resolutionY, offsetY, resolutionZ, offsetZ}.write(range);
    return nox::guarded(code::rangeToImagePlaneThrew, [&] {
        if (range.DataType() < NoxDataType32F) {  // the integer types store height steps
            low = range.OffsetZ() + low / range.ResolutionZ();
            high = range.OffsetZ() + high / range.ResolutionZ();
        }
        const bool usePlane = plane.IsValid();
        const Nox3DPlane flat(NoxVector3d(0, 0, 0), NoxVector3d(0, 0, 1));
        return Nox3DDataConvertAlg().NoxRangeImageToImage(range, roi, image, imageType, background,
                                                          usePlane ? plane : flat, usePlane, low, high, lowGray,
                                                          highGray, grayScale, grayLow);
    });
}

long Nox3DDataConvert::RangeImageToImageAuto(NoxRangeImage& range, NoxImage* image, int imageType, double* resolutionX,
                                             double* offsetX, double* resolutionY, double* offsetY, double* resolutionZ,
                                             double* offsetZ)
{
    const nox::DefaultFloatingPoint mode;
    if (nox::pixelCount(range) == 0) return code::rangeImageEmpty;
    if (!isImageType(imageType) || !image) return code::argument1;
    GridOutputs{resolutionX, offsetX, resolutionY, offsetY, resolutionZ, offsetZ}.write(range);
    return nox::guarded(code::rangeToImageThrew,
                        [&] { return Nox3DDataConvertAlg().NoxRangeImageToImageAuto(range, image, imageType); });
}

long Nox3DDataConvert::RangeImageToImageByChunk(NoxRangeImage& range, NoxImage* image, int imageType, int tileWidth,
                                                int tileHeight, double above, double below)
{
    const nox::DefaultFloatingPoint mode;
    if (nox::pixelCount(range) == 0) return code::rangeImageEmpty;
    if (!isImageType(imageType) || !image) return code::argument1;
    if (tileWidth <= 0) return code::argument2;
    if (tileHeight <= 0) return code::argument3;
    if (std::isnan(above)) return code::argument4;
    if (!(below >= -above)) return code::argument5;
    return nox::guarded(code::rangeToImageThrew, [&] {
        return Nox3DDataConvertAlg().NoxRangeImageToImageByChunk(range, image, imageType, tileWidth, tileHeight, above,
                                                                 below);
    });
}

long Nox3DDataConvert::ImageToRangeImage(NoxImage& image, NoxRangeImage* range, int dataType, double grayScale,
                                         double grayOffset, double resolutionX, double offsetX, double resolutionY,
                                         double offsetY, double resolutionZ, double offsetZ)
{
    const nox::DefaultFloatingPoint mode;
    range->SetType(0);
    if (image.Channels() != 1) return code::sourceImageChannels;
    if (nox::pixelCount(image) == 0) return code::sourceImageEmpty;
    if (static_cast<unsigned>(dataType) > 6) return code::argument1;
    if (grayScale <= 0.0) return code::argument2;  // a NaN passes these four
    if (resolutionX <= 0.0) return code::argument4;
    if (resolutionY <= 0.0) return code::argument6;
    if (resolutionZ <= 0.0) return code::argument8;
    return nox::guarded(code::imageToRangeThrew, [&] {
        range->SetInfo(resolutionZ, offsetZ, resolutionX, offsetX, resolutionY, offsetY);
        return Nox3DDataConvertAlg().NoxImageToRangeImage(image, range, dataType, grayScale, grayOffset);
    });
}

long Nox3DDataConvert::ImageToRangeImageAuto(NoxImage& image, NoxRangeImage* range, int dataType, double resolutionX,
                                             double offsetX, double resolutionY, double offsetY, double resolutionZ,
                                             double offsetZ)
{
    const nox::DefaultFloatingPoint mode;
    range->SetType(0);
    if (image.Channels() != 1) return code::sourceImageChannels;
    if (nox::pixelCount(image) == 0) return code::sourceImageEmpty;
    if (dataType == 1 || static_cast<unsigned>(dataType) > 6) return code::argument1;
    if (resolutionX <= 0.0) return code::argument2;
    if (resolutionY <= 0.0) return code::argument4;
    if (resolutionZ <= 0.0) return code::argument6;
    return nox::guarded(code::imageToRangeAutoThrew, [&] {
        range->SetInfo(resolutionZ, offsetZ, resolutionX, offsetX, resolutionY, offsetY);
        return Nox3DDataConvertAlg().NoxImageToRangeImageAuto(image, range, dataType);
    });
}

long Nox3DDataConvert::RangeImageDataTypeConvert(NoxRangeImage& source, NoxRangeImage* output, int dataType)
{
    const nox::DefaultFloatingPoint mode;
    if (source.Type() != 0 && source.Type() != 1) return code::rangeImageType;
    if (static_cast<unsigned>(dataType) > 6) return code::argument1;
    if (nox::pixelCount(source) == 0) return code::rangeImageEmpty;
    if (source.DataType() == dataType) return code::notServed;
    if (source.DataType() == NoxDataType16S && dataType != NoxDataType32F) return code::notServed;
    if (dataType == NoxDataType16S) return code::notServed;
    return nox::guarded(code::dataTypeConvertThrew, [&] {
        Records records("RangeImageDataTypeConvert");
        const bool shared = &source.Matrix() == &output->Matrix();
        records.write(shared ? "start-RangeImageDataTypeConvert_SameName" : "start-RangeImageDataTypeConvert_DiffName",
                      __LINE__);
        Nox3DDataConvertAlg alg;
        const long result = shared ? alg.NoxRangeImageDataTypeConvertShared(source, output, dataType)
                                   : alg.NoxRangeImageDataTypeConvert(source, output, dataType);
        records.write("end-RangeImageDataTypeConvert", __LINE__);
        return result;
    });
}

long Nox3DDataConvert::RangeImageTypeConvert(NoxRangeImage& source, NoxRangeImage* output, double referenceDistance,
                                             int method)
{
    const nox::DefaultFloatingPoint mode;
    if (nox::pixelCount(source) == 0) return code::rangeImageEmpty;
    if (source.Type() != 0 && source.Type() != 1) return code::rangeImageType;
    if (source.Type() == 0) return code::notServed;
    if (method < 0) return code::argument2;
    Records records("RangeImageTypeConvert");
    records.write("start-RangeImageTypeConvert", __LINE__);
    const long result = Nox3DDataConvertAlg().NoxRangeImageTypeConvert(source, output, &referenceDistance, method,
                                                                       source.Width(), source.Height());
    records.write("end-RangeImageTypeConvert", __LINE__);
    return result;
}

long Nox3DDataConvert::ROITo3DShape(NoxROI& roi, Nox3DShape* shape, double zHigh, double zLow, double resolutionX,
                                    double offsetX, double resolutionY, double offsetY)
{
    const nox::DefaultFloatingPoint mode;
    return nox::roiTo3DShape(roi, shape, zHigh, zLow, resolutionX, offsetX, resolutionY, offsetY);
}

long Nox3DDataConvert::Nox3DShapeToROI(Nox3DShape& shape, NoxROI* roi)
{
    const nox::DefaultFloatingPoint mode;
    return nox::shapeToROI(shape, roi);
}

}  // namespace NOXEL

namespace nox {

const StaticConfig& facadeConfig() noexcept { return NOXEL::config; }

}  // namespace nox
