#pragma once

#include <Nox3DPlane.h>
#include <NoxColorArray.h>
#include <NoxDataType.h>
#include <NoxExport.h>
#include <NoxImage.h>
#include <NoxMatrix.h>
#include <NoxMatrix3.h>
#include <NoxMatrix4.h>
#include <NoxMatrixArray.h>
#include <NoxPoint.h>
#include <NoxPointCloud.h>
#include <NoxRangeImage.h>
#include <NoxRangeImageArray.h>
#include <NoxResultCodes.h>
#include <NoxVar.h>
#include <NoxVarArray.h>
#include <NoxVector3d.h>
#include <NoxVector3dArray.h>

class NoxROI;
class Nox3DShape;

namespace NOXEL {

/// The conversions between point clouds, range images, gray images, regions and 3-D shapes.
///
/// Every operation is a blocking call that returns a result code (NoxResultCodes.h): 0, or the code of the first test
/// that its arguments fail, or of what went wrong later. An input is a reference and only read; an output is a pointer
/// and must not be null unless the operation says so. A `double*` is an optional output, null skips it. No reference to
/// a container is kept after a call.
///
/// An instance has no working state, so one may serve any number of calls and threads. Several threads may call at once
/// on separate containers; containers that share pixels are not separate for writing. The caller's floating-point modes
/// do not reach the results and are restored.
class NOX_EXPORT Nox3DDataConvert
{
public:
    Nox3DDataConvert();
    ~Nox3DDataConvert();
    Nox3DDataConvert(const Nox3DDataConvert&) = delete;
    Nox3DDataConvert& operator=(const Nox3DDataConvert&) = delete;

    /// One point for each valid pixel, in row-major order, and one RGBA colour a point when the image carries colours.
    ///
    /// The point of a pixel is given by the formulas at NoxRangeImage: in type 0, in float, x comes from the row and y
    /// from the column; in type 1, in double, x comes from the column. Invalid pixels leave no trace. A NaN pixel is
    /// dropped in type 0 and gives a NaN point in type 1. Colours of 1 channel are copied to R, G and B, of 3 and 4
    /// channels as they stand; alpha is always 255; with any other channel count the cloud is empty. Without colours in
    /// the image the cloud's colours are not touched.
    /// @param image  type 0 or 1, any element type
    /// @param cloud  unchanged on any failure
    /// @return 0; 11100029 a type 1 image with a parameter 0 to 3 not above 0, or a type other than 0 and 1; 11100001
    /// no pixels; 30602012 more than 300000000 pixels and less than 24 bytes of memory for each; 30602009 the outputs
    /// could not be sized. Exceptions of a later step pass to the caller.
    long RangeImageToPointCloud(NoxRangeImage& image, NoxPointCloud* cloud);

    /// Spreads an unordered cloud over a grid of width x height cells laid over its bounding box.
    ///
    /// The frame of the grid is the pose's rotation with its first two rows exchanged, so that with the identity the
    /// columns run along the cloud's y and the rows along its x, as in every type 0 image; the pose's translation is
    /// not read. Every point reaches the four cells round its position with the weight exp(-2 r^2), r in cells; a cell
    /// keeps the weighted mean of the points within 2 x max(resolution) of its highest. Heights are the cloud's own z.
    /// Colours follow with the same weights. The outcome does not depend on the number of threads.
    /// @param result  float, type 0, ResolutionZ 1; unchanged on failure but for its type, which is 0 in any case
    /// @param pose    row by row; the all-zero matrix is refused
    /// @param width, height  cells, at least 2; the cell size follows from the box
    /// @return 0; 11100002, 11200001 to 11200003 in this order; 30602017 no usable bounding box; 30602012 too little
    /// memory or a grid too large; 30602023 not one colour for each point; 30602010 an exception
    long PointCloudToRangeImage(NoxPointCloud& cloud, NoxRangeImage* result, NoxMatrix4& pose, int width, int height);

    /// The same with the cell size given, in units of the cloud; width and height of the grid follow from the box.
    /// @param resolutionX, resolutionY  along columns and rows, above 0
    /// @return as with width and height, but 30602024 where there is no usable bounding box
    long PointCloudToRangeImage(NoxPointCloud& cloud, NoxRangeImage* result, NoxMatrix4& pose, double resolutionX,
                                double resolutionY);

    /// The same, seen along a direction, which becomes the third row of the frame as it is given; the cell sizes are
    /// rounded to float.
    /// @param direction  not (0, 0, 0)
    long PointCloudToRangeImage(NoxPointCloud& cloud, NoxRangeImage* result, NoxVector3d& direction, double resolutionX,
                                double resolutionY);

    /// A cloud in grid order: point i belongs to row i / width and column i mod width.
    ///
    /// Method 0 copies the z of the points to the cells in order; ResolutionX of the result is the second resolution,
    /// ResolutionY the first. Method 1 bins each point by its coordinates, column = y / firstResolution + offsetX and
    /// row = x / secondResolution + offsetY, into the 2 x 2 cells at and above its row, keeping the mean of the heights
    /// within 3 x max(resolution) of the highest; a point with x or y exactly 0 is none. ResolutionX is the first
    /// resolution, ResolutionY the second. Colours are carried by method 1 only. The result's type is not touched.
    /// @param method  0 or 1
    /// @param width, height  cells, at least 1
    /// @param firstResolution, secondResolution  above 0
    /// @param offsetX, offsetY  in cells
    /// @return 0; 11100002, 11200001 to 11200005 in this order; 30602010 an exception, too little memory or fewer
    /// colours than points
    long PointCloudToRangeImage(NoxPointCloud& cloud, NoxRangeImage* result, int method, int width, int height,
                                double firstResolution, double secondResolution, double offsetX, double offsetY);

    /// Levels an image against a plane. Not defined yet.
    long RangeImagePostureCorrect(NoxRangeImage& image, NoxRangeImage* result, Nox3DPlane& plane, float resolutionX,
                                  float resolutionY, int samplingFactor, int samplingMethod, int outputWidth,
                                  int outputHeight);

    /// Moves images through their poses and merges them into one grid. Not defined yet.
    long RangeImagePostureCorrect(NoxRangeImageArray& images, NoxMatrixArray& poses, int referenceIndex,
                                  float resolutionX, float resolutionY, int samplingFactor, int samplingMethod,
                                  int outputWidth, int outputHeight, NoxRangeImage* result);

    /// Stretches the heights inside a region over the gray scale. Not defined yet.
    long RangeImageToImage(NoxRangeImage& range, NoxROI& roi, NoxImage* image, int imageType, int background,
                           double* grayScale, double* grayOffset, double* resolutionX, double* offsetX,
                           double* resolutionY, double* offsetY, double* resolutionZ, double* offsetZ);

    /// Maps a band of heights, relative to a plane, to a band of grays. Not defined yet.
    long RangeImageToImage(NoxRangeImage& range, NoxROI& roi, NoxImage* image, int imageType, int background,
                           Nox3DPlane& plane, double low, double high, int lowGray, int highGray, double* grayScale,
                           double* grayLow, double* resolutionX, double* offsetX, double* resolutionY, double* offsetY,
                           double* resolutionZ, double* offsetZ);

    /// Maps heights to grays by a fixed rule for each pair of types. Not defined yet.
    long RangeImageToImageAuto(NoxRangeImage& range, NoxImage* image, int imageType, double* resolutionX,
                               double* offsetX, double* resolutionY, double* offsetY, double* resolutionZ,
                               double* offsetZ);

    /// Maps grays to heights with a scale and an offset. Not defined yet.
    long ImageToRangeImage(NoxImage& image, NoxRangeImage* range, int dataType, double grayScale, double grayOffset,
                           double resolutionX, double offsetX, double resolutionY, double offsetY, double resolutionZ,
                           double offsetZ);

    /// Maps grays to heights by a fixed rule for each pair of types. Not defined yet.
    long ImageToRangeImageAuto(NoxImage& image, NoxRangeImage* range, int dataType, double resolutionX, double offsetX,
                               double resolutionY, double offsetY, double resolutionZ, double offsetZ);

    /// Changes the element type. Not defined yet.
    long RangeImageDataTypeConvert(NoxRangeImage& source, NoxRangeImage* output, int dataType);

    /// Turns a perspective image into an orthographic one. Not defined yet.
    long RangeImageTypeConvert(NoxRangeImage& source, NoxRangeImage* output, double referenceDistance, int method);

    /// Lifts a region to a 3-D shape. Not defined yet.
    long ROITo3DShape(NoxROI& roi, Nox3DShape* shape, double zHigh, double zLow, double resolutionX, double offsetX,
                      double resolutionY, double offsetY);

    /// Projects a 3-D shape to a region. Not defined yet.
    long Nox3DShapeToROI(Nox3DShape& shape, NoxROI* roi);

private:
    struct Implementation;
    Implementation* implementation_;
};

}  // namespace NOXEL
