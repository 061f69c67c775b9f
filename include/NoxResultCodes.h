#pragma once

#include <NoxExport.h>

/// Every result code of the conversions: name, number, meaning. 112000NN counts the arguments behind the source and
/// result containers, the first of them being 1.
// clang-format off
#define NOX_RESULT_CODES(CODE)                                                                                         \
    CODE(success,                       0, "success")                                                                  \
    CODE(sourceImageEmpty,       11000001, "the source image is empty")                                                \
    CODE(regionOrShapeKind,      11000002, "region or shape of a kind that the operation does not take")               \
    CODE(sourceImageChannels,    11000005, "the source image has more than one channel")                               \
    CODE(postureThrew,           11000013, "an exception during posture correction")                                   \
    CODE(rangeImageEmpty,        11100001, "the source range image, or the first image of the array, is empty")        \
    CODE(pointCloudEmpty,        11100002, "the source point cloud has no points")                                     \
    CODE(notServed,              11100025, "the conversion asked for is not needed or not served")                     \
    CODE(rangeImageType,         11100029, "the range image's type is not 0 or 1, or a type 1 parameter is not above 0") \
    CODE(imageTypesDiffer,       11100030, "the images of the array differ in type")                                   \
    CODE(argument1,              11200001, "argument 1 is refused")                                                    \
    CODE(argument2,              11200002, "argument 2 is refused")                                                    \
    CODE(argument3,              11200003, "argument 3 is refused")                                                    \
    CODE(argument4,              11200004, "argument 4 is refused")                                                    \
    CODE(argument5,              11200005, "argument 5 is refused")                                                    \
    CODE(argument6,              11200006, "argument 6 is refused")                                                    \
    CODE(argument7,              11200007, "argument 7 is refused")                                                    \
    CODE(argument8,              11200008, "argument 8 is refused")                                                    \
    CODE(poseShape,              11404001, "the pose array is empty, or a pose is not 4 rows by 4 columns")            \
    CODE(roiToShapeThrew,        30602001, "an exception in ROITo3DShape")                                             \
    CODE(shapeToRoiThrew,        30602002, "an exception in Nox3DShapeToROI")                                          \
    CODE(rangeToImageThrew,      30602003, "an exception in RangeImageToImage with a region, or in RangeImageToImageAuto") \
    CODE(rangeToImagePlaneThrew, 30602004, "an exception in RangeImageToImage with a plane")                           \
    CODE(imageToRangeThrew,      30602005, "an exception in ImageToRangeImage")                                        \
    CODE(imageToRangeAutoThrew,  30602007, "an exception in ImageToRangeImageAuto")                                    \
    CODE(dataTypeConvertThrew,   30602008, "an exception in RangeImageDataTypeConvert")                                \
    CODE(cloudSizingThrew,       30602009, "an exception while RangeImageToPointCloud sized its outputs")              \
    CODE(cloudToRangeThrew,      30602010, "an exception in PointCloudToRangeImage")                                   \
    CODE(cloudMemory,            30602012, "not enough available physical memory for the job")                         \
    CODE(deviceMemory,           30602013, "device memory could not be allocated or filled")                           \
    CODE(deviceLaunch,           30602014, "a kernel launch or a device copy failed")                                  \
    CODE(poseCount,              30602015, "the number of poses differs from the number of images")                    \
    CODE(postureMemory,          30602016, "not enough available physical memory for the job")                         \
    CODE(boxBySize,              30602017, "the cloud has no usable bounding box (grid by size)")                      \
    CODE(planeInvalid,           30602019, "the plane is not valid")                                                   \
    CODE(posesZero,              30602020, "the pose array holds nothing but zero matrices")                           \
    CODE(sampledToNothing,       30602021, "an image is smaller than samplingFactor, or reduced to nothing by it")     \
    CODE(mergeThrew,             30602022, "an exception in the merge of the host paths")                              \
    CODE(colorCount,             30602023, "the colour array does not have one colour for each point")                 \
    CODE(boxByResolution,        30602024, "the cloud has no usable bounding box (grid by resolution)")
// clang-format on

namespace NOXEL {

namespace code {
#define NOX_DECLARE_CODE(name, number, meaning) inline constexpr long name = number;
NOX_RESULT_CODES(NOX_DECLARE_CODE)
#undef NOX_DECLARE_CODE
}  // namespace code

/// The meaning of a result code, in English; for a number that is none "unknown result code". Never null.
NOX_EXPORT const char* NoxResultText(long code) noexcept;

}  // namespace NOXEL
