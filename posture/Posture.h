#pragma once

#include <Nox3DPlane.h>
#include <NoxMatrixArray.h>
#include <NoxRangeImage.h>
#include <NoxRangeImageArray.h>

namespace nox {

/// What a caller asks of posture correction besides images and poses, and the canvas that the guards reckon with: as
/// wide as all images side by side and as the result, as high as the highest image.
struct PostureRequest
{
    float resolutionX, resolutionY;
    int samplingFactor, samplingMethod;
    int outputWidth, outputHeight;
    int canvasColumns = 0, canvasRows = 0;
};

/// The tests of a pose array for n images, in their order; 0 when all pass.
long refusalOfPoses(const NoxMatrixArray& poses, int n);
/// Whether no pose has a number other than 0.
bool areZero(const NoxMatrixArray& poses);

/// Sizes the canvas and asks for memory, then makes the poses that the images are moved by.
/// @param referenceIndex  0: as they are; k: relative to that of image k - 1
/// @return 0; 30602016
long preparePosture(const NoxRangeImageArray& images, const NoxMatrixArray& poses, int referenceIndex,
                    PostureRequest* request, NoxMatrixArray* workingPoses);

/// The same images with float heights, sharing pixels where they are float already.
/// @return 0, or the code of the conversion that failed
long withFloatHeights(const NoxRangeImageArray& images, NoxRangeImageArray* floats);

/// The pipelines behind RangeImgPostureCorrect_CPU_TYPE0 and RangeImgPostureCorrect_CPU_TYPE1.
long mergeOrthographic(NoxRangeImageArray& images, const NoxMatrixArray& poses, const PostureRequest& request,
                       NoxRangeImage* result);
long mergePerspective(NoxRangeImageArray& images, const NoxMatrixArray& poses, const PostureRequest& request,
                      NoxRangeImage* result);

/// The pose that turns a plane level and puts it to z = 0, without a turn about z. A normal that points down is turned
/// round in the plane itself.
NoxMatrix levellingPose(Nox3DPlane& plane);

}  // namespace nox
