#pragma once

#include <Nox3DPlane.h>
#include <Nox3DShape.h>
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
#include <NoxROI.h>
#include <NoxRangeImage.h>
#include <NoxRangeImageArray.h>
#include <NoxResultCodes.h>
#include <NoxVar.h>
#include <NoxVarArray.h>
#include <NoxVector3d.h>
#include <NoxVector3dArray.h>

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
    /// @param cloud   points and, where it has some, one colour for each
    /// @param result  float, type 0, ResolutionZ 1; unchanged on failure but for its type, which is 0 in any case
    /// @param pose    row by row; the all-zero matrix is refused
    /// @param width, height  cells, at least 2; the cell size follows from the box
    /// @return 0; 11100002, 11200001 to 11200003 in this order; 30602017 no usable bounding box; 30602012 too little
    /// memory or a grid too large; 30602023 not one colour for each point; 30602010 an exception; 30602013 and 30602014
    /// where a device fails
    long PointCloudToRangeImage(NoxPointCloud& cloud, NoxRangeImage* result, NoxMatrix4& pose, int width, int height);

    /// The same with the cell size given, in units of the cloud; width and height of the grid follow from the box.
    /// @param cloud, result, pose  as with width and height
    /// @param resolutionX, resolutionY  along columns and rows, above 0
    /// @return as with width and height, but 30602024 where there is no usable bounding box
    long PointCloudToRangeImage(NoxPointCloud& cloud, NoxRangeImage* result, NoxMatrix4& pose, double resolutionX,
                                double resolutionY);

    /// The same, seen along a direction, which becomes the third row of the frame as it is given; the cell sizes are
    /// rounded to float.
    /// @param cloud, result  as with a pose
    /// @param direction  not (0, 0, 0)
    /// @param resolutionX, resolutionY  along columns and rows, above 0
    /// @return as with pose and resolutions
    long PointCloudToRangeImage(NoxPointCloud& cloud, NoxRangeImage* result, NoxVector3d& direction, double resolutionX,
                                double resolutionY);

    /// A cloud in grid order: point i belongs to row i / width and column i mod width.
    ///
    /// Method 0 copies the z of the points to the cells in order; ResolutionX of the result is the second resolution,
    /// ResolutionY the first. Method 1 bins each point by its coordinates, column = y / firstResolution + offsetX and
    /// row = x / secondResolution + offsetY, into the 2 x 2 cells at and above its row, keeping the mean of the heights
    /// within 3 x max(resolution) of the highest; a point with x or y exactly 0 is none. ResolutionX is the first
    /// resolution, ResolutionY the second. Colours are carried by method 1 only. The result's type is not touched.
    /// @param cloud   in the order of the grid
    /// @param result  float; unchanged by a refusal
    /// @param method  0 or 1
    /// @param width, height  cells, at least 1
    /// @param firstResolution, secondResolution  above 0
    /// @param offsetX, offsetY  in cells
    /// @return 0; 11100002, 11200001 to 11200005 in this order; 30602010 an exception, too little memory or fewer
    /// colours than points
    long PointCloudToRangeImage(NoxPointCloud& cloud, NoxRangeImage* result, int method, int width, int height,
                                double firstResolution, double secondResolution, double offsetX, double offsetY);

    /// Levels an image: turns it so that the plane becomes z = 0, without a turn about z, and writes the heights above
    /// the plane to a new grid. One call of the array form with one pose, after which the offsets of the result are 0;
    /// what is told there of resolutions, sampling and cells holds here.
    /// @param image   type 0 or 1, any element type
    /// @param result  float, type 0, ResolutionZ 1; may be the image itself. Unchanged by the first nine refusals
    /// @param plane   in the coordinates of the image's points; a normal that points down is turned round in place, so
    /// one plane does not serve two calls at once
    /// @param resolutionX, resolutionY, samplingFactor, samplingMethod, outputWidth  as in the array form
    /// @param outputHeight  at least 2; above 40000 the array form refuses it
    /// @return 0; 11200002 to 11200007 in the order of the arguments; 11100001 no pixels; 30602021 the image is smaller
    /// than samplingFactor; 11100029 type above 1; 30602019 the plane is not valid; 11000013 an exception; else as the
    /// array form
    long RangeImagePostureCorrect(NoxRangeImage& image, NoxRangeImage* result, Nox3DPlane& plane, float resolutionX,
                                  float resolutionY, int samplingFactor, int samplingMethod, int outputWidth,
                                  int outputHeight);

    /// Moves the pixels of images through a pose each into one frame and merges them into one grid.
    ///
    /// A pixel's point (NoxRangeImage; of integer images of type 0 after a conversion to float, of type 1 in single
    /// precision) is moved by its pose; x of the outcome gives the row of the grid and y the column. It counts fully in
    /// the cell that its position truncates to and in those at the right, below and across; a cell holds the mean of
    /// the heights that reach it. Invalid pixels take no part, nor do heights from 1e8 on. The grid lies so that the
    /// smallest corner of the first image's valid pixels keeps its pixel position, scaled to the new resolutions; the
    /// offsets of the result tell the frame, unless samplingFactor is above 1.
    ///
    /// The outcome does not depend on the number of threads. About one byte for each cell of all images side by side
    /// and of the result has to be available several times over, or the call is refused.
    /// @param images  of one type, any element type; with type 1 emptied when memory is short, never changed otherwise
    /// @param poses   4 x 4 doubles for each image, acting on columns (x, y, z, 1); the last row is not used
    /// @param referenceIndex  0: poses as they are; k: relative to that of image k - 1, whose own frame is the result's
    /// @param resolutionX, resolutionY  cell size along columns and rows, above 0, not above 1000 or the number of
    /// columns or rows
    /// @param samplingFactor  1 to 100; above 1 the images are first reduced by it
    /// @param samplingMethod  0: the grid is reckoned at its full size; 1 to 5, with samplingFactor above 1: at 1 /
    /// samplingFactor of it and then resampled with method samplingMethod - 1 (Nox3DSampling)
    /// @param outputWidth, outputHeight  2 to 40000
    /// @param result  float, type 0, ResolutionZ 1; cleared at once, so it must not be one of the images
    /// @return 0; 11200002 referenceIndex or resolutionX, 11200003 resolutionY, 11200005 to 11200008 the arguments
    /// behind; 11100001 no images, the first or, in type 0, a later one without pixels or reduced to none; 11100029 a
    /// type other than 0 and 1; 11100030 types differ; 11404001 no poses or one that is not 4 x 4 doubles; 30602015 not
    /// one pose for each image; 30602020 only zero poses, in this order; 30602016 too little memory; 30602021 with
    /// samplingFactor above 1, an image smaller than that (in type 0 the first, with a samplingMethod); 30602022 an
    /// exception in the merge; 11000013 any other; 30602013 and 30602014 where a device fails; the code of a conversion
    /// or resampling that failed
    long RangeImagePostureCorrect(NoxRangeImageArray& images, NoxMatrixArray& poses, int referenceIndex,
                                  float resolutionX, float resolutionY, int samplingFactor, int samplingMethod,
                                  int outputWidth, int outputHeight, NoxRangeImage* result);

    /// Stretches the heights inside a region over the gray scale: the lowest becomes gray 1 and the highest the top
    /// gray, 255 or 65535, truncated between them. Gray 0 stands for an invalid pixel and for a NaN.
    ///
    /// The scale is measured inside the region for 8-bit and unsigned 16-bit heights, over the whole image for the
    /// other types, a minimum above 1e15 counting as 1e15 and a maximum below -1e15 as -1e15. Where unsigned heights
    /// are all one, or none is valid, the scale is 1 to the highest value of their type. Where others are all one,
    /// every pixel of the image, background included, is that height rounded and saturated, or 0 where none is valid.
    /// height = (gray - 1) * grayScale + grayOffset, in stored units.
    ///
    /// With `efficiency` 1 an image of the right size and type is written in place, and all that share its pixels see
    /// it; never where it shares them with `range`.
    /// @param range       any type and element type; its `Type()` is not looked at
    /// @param roi         kind 3 is the whole image
    /// @param image       unchanged on failure, but for the background in pixels that are written in place
    /// @param imageType   a NoxImageType
    /// @param background  gray of the pixels outside the region, 0 to 255
    /// @param grayScale, grayOffset  heights per gray, and the height of gray 1; of a single height 0 and NaN. In
    /// stored units
    /// @param resolutionX, offsetX, resolutionY, offsetY, resolutionZ, offsetZ  those of `range`
    /// @return 0; 11100001, 11200001 the image type, 11000002 a region of kind 5, 7, 9 or 10, 11200001 no image,
    /// 11200002 in this order; 30602003 an exception
    long RangeImageToImage(NoxRangeImage& range, NoxROI& roi, NoxImage* image, int imageType, int background,
                           double* grayScale, double* grayOffset, double* resolutionX, double* offsetX,
                           double* resolutionY, double* offsetY, double* resolutionZ, double* offsetZ);

    /// Maps a band of heights to a band of grays, truncated; heights beyond it take the gray of that end. With a valid
    /// plane the height above the plane along its normal is mapped, so that a tilted surface comes out flat.
    ///
    /// Invalid pixels, NaN and what is beyond 1e15 become gray 0. In the plane's coordinates a pixel stands at
    /// x = row * ResolutionY + OffsetY, y = column * ResolutionX + OffsetX for 8-bit images and at
    /// x = (row - OffsetY) * ResolutionY, y = (column - OffsetX) * ResolutionX for 16-bit ones.
    /// height = (gray - lowGray) * grayScale + grayLow, in stored units.
    /// @param range, roi, image, imageType  as above
    /// @param background  clamped to the image's grays
    /// @param plane       not used unless `IsValid()`
    /// @param low, high   world heights for the integer element types, stored values for float and double
    /// @param lowGray, highGray  clamped to the image's grays
    /// @param grayScale, grayLow  heights per gray, and the height of `lowGray`, in stored units
    /// @param resolutionX, offsetX, resolutionY, offsetY, resolutionZ, offsetZ  those of `range`
    /// @return 0; 11100001, 11200001 the image type, 11000002, 11200001 no image, 11200004 a band not above 1e-8,
    /// 11200006 an empty gray band, before or after clamping, in this order; 30602004 an exception. All else as above
    long RangeImageToImage(NoxRangeImage& range, NoxROI& roi, NoxImage* image, int imageType, int background,
                           Nox3DPlane& plane, double low, double high, int lowGray, int highGray, double* grayScale,
                           double* grayLow, double* resolutionX, double* offsetX, double* resolutionY, double* offsetY,
                           double* resolutionZ, double* offsetZ);

    /// Maps heights to grays by a fixed rule for each pair of types, so that the same stored value always gives the
    /// same gray. Gray 0 stands for an invalid pixel and for a NaN.
    ///
    /// Integer heights are spread over the grays from 1 on: the same depth keeps its steps, the others are scaled.
    /// Float and double heights show a band about 0: height / 0.01 + 127 for 8 bit, height / 0.001 + 32768 for 16 bit,
    /// truncated, saturated at 0 and at the top gray. Resolution and offset of the heights play no part.
    /// @param range, image, imageType  as in RangeImageToImage
    /// @param resolutionX, offsetX, resolutionY, offsetY, resolutionZ, offsetZ  those of `range`
    /// @return 0; 11100001, 11200001 the image type or no image; 30602003 an exception. All else as in
    /// RangeImageToImage
    long RangeImageToImageAuto(NoxRangeImage& range, NoxImage* image, int imageType, double* resolutionX,
                               double* offsetX, double* resolutionY, double* offsetY, double* resolutionZ,
                               double* offsetZ);

    /// Maps the heights of each tile to grays by a band about the tile's mean, for surfaces whose level drifts: from
    /// mean - `below`, gray 1, to mean + `above`, the top gray, truncated; heights beyond take the gray of that end. A
    /// limit beyond the ends of the element type is moved there.
    ///
    /// The last tiles take what is left of the image, but a single row or column left over stays gray 0, as do invalid
    /// pixels, NaN and heights beyond 1e15.
    /// @param range, image, imageType  as in RangeImageToImage
    /// @param tileWidth, tileHeight  in pixels, above 0
    /// @param above, below  in stored units; one may be negative as long as the band has its ends in order
    /// @return 0; 11100001, 11200001 the image type or no image, 11200002 to 11200005 in the order of the arguments;
    /// 30602003 an exception. All else as in RangeImageToImage
    long RangeImageToImageByChunk(NoxRangeImage& range, NoxImage* image, int imageType, int tileWidth, int tileHeight,
                                  double above, double below);

    /// Maps grays to heights with a scale and an offset; the way back from the stretch of RangeImageToImage.
    ///
    /// A gray that is not 0 becomes gray x grayScale + grayOffset, in double; gray 0 becomes the invalid value of the
    /// element type. Into float the number is rounded once. Into an integer type it is rounded to nearest, halves to
    /// even, and saturated, with the lowest value of the type for a NaN and beyond 32 bits; 16-bit grays into the
    /// signed 8-bit type are instead truncated, and the low 8 bits stay. So a valid gray may end on the invalid value.
    /// @param image  one channel, 8 or 16 bit
    /// @param range  gets new pixels and the six grid numbers; a colour plane stays when it fits the grid. Its type
    /// becomes 0 in any case; else unchanged by a refusal
    /// @param dataType  a NoxDataType
    /// @param grayScale, resolutionX, resolutionY, resolutionZ  above 0; a NaN passes
    /// @param grayOffset  in stored units
    /// @param offsetX, offsetY, offsetZ  not tested
    /// @return 0; 11000005, 11000001, 11200001, 11200002, 11200004, 11200006, 11200008 in this order; 30602005 an
    /// exception, too little memory or another depth of the image: the pixels as they were, the grid numbers set
    long ImageToRangeImage(NoxImage& image, NoxRangeImage* range, int dataType, double grayScale, double grayOffset,
                           double resolutionX, double offsetX, double resolutionY, double offsetY, double resolutionZ,
                           double offsetZ);

    /// Maps grays to heights by a fixed rule for each pair of types; the way back from RangeImageToImageAuto.
    ///
    /// | heights | of 8-bit grays | of 16-bit grays |
    /// |---|---|---|
    /// | u8 | the gray | gray x 0.0038758507 + 1 in float, truncated, at most 255 |
    /// | u16 | gray x 258.00787 + 1 in float, truncated, at most 65535 | the gray |
    /// | s16, s32 | (gray - 1) x 65534 / 254 - 32767 in double, truncated | gray - 32768 |
    /// | float, double | (gray - 128) x 0.01 in double | (gray - 32768) x 0.001 in double |
    ///
    /// Gray 0 becomes the invalid value, but 0 from 8-bit grays into s16 and s32, and -32768 from 16-bit grays into
    /// s32.
    ///
    /// With the configuration's `efficiency` 1 the heights are written into the pixels that `range` has, which its
    /// sharers see too, when grid and element type fit and no byte of the image lies there.
    /// @param image, range  as in ImageToRangeImage
    /// @param dataType  a NoxDataType other than 1
    /// @param resolutionX, resolutionY, resolutionZ  above 0; a NaN passes
    /// @param offsetX, offsetY, offsetZ  not tested
    /// @return 0; 11000005, 11000001, 11200001, 11200002, 11200004, 11200006 in this order; 30602007 as 30602005 in
    /// ImageToRangeImage
    long ImageToRangeImageAuto(NoxImage& image, NoxRangeImage* range, int dataType, double resolutionX, double offsetX,
                               double resolutionY, double offsetY, double resolutionZ, double offsetZ);

    /// Changes the element type and keeps what the pixels mean; invalid pixels stay invalid, and a NaN becomes one.
    ///
    /// Integer targets have a scale of their own, on which heights are placed: unsigned 8 bit 0.01 with the zero at
    /// 127, signed 8 bit 0.01, unsigned 16 bit 0.001 with the zero at 32768, and signed 32 bit, from float and double,
    /// 0.001; the image's ResolutionZ and OffsetZ tell it. Float and double take the height itself, with 1 and 0. From
    /// a narrower integer type to signed 32 bit, between the 8-bit types, which move by 128, and between float and
    /// double the numbers keep the scale that they have. RetypeBodies.h gives the rule of each pair: numbers are
    /// truncated, and what lies beyond the scale is pinned to its ends or wraps, as the pair has it; 16 bits from float
    /// and double wrap.
    ///
    /// Type, resolutions and offsets X and Y are those of the source; so are the parameters 0 to 3 of a type 1 image,
    /// whose 4 and 5 become ResolutionZ and OffsetZ. Colours are not carried over.
    /// @param source  type 0 or 1
    /// @param output  may be the source. One on the source's storage gets pixels of its own and no colour plane, and
    /// other images there keep the pixels. A separate one keeps a colour plane that fits, and its pixels are written
    /// in place where grid and element type fit: images that share them see the result.
    /// @param dataType  a NoxDataType other than the source's and than signed 16 bit; signed 16 bit goes to float only
    /// @return 0; 11100029 a type other than 0 and 1; 11200001 no such data type; 11100001 no pixels; 11100025 a pair
    /// that is not served; 30602008 an exception, the one of a logger included
    long RangeImageDataTypeConvert(NoxRangeImage& source, NoxRangeImage* output, int dataType);

    /// Turns a perspective image into an orthographic one, in float with ResolutionZ 1 and OffsetZ 0: the height of a
    /// pixel is the reference distance less its depth. The depth is (value - OffsetZ) * ResolutionZ, for double images
    /// the value; the parameters 0 to 3 place the pixels.
    ///
    /// Method 0 leaves the pixels where they are and gives them one size, that of a pixel at the mean depth. Method 1
    /// moves each to its place on a grid as fine as the nearest pixels, keeps the top surface there and brings the grid
    /// back to the size of the image. In both the pixels with the smallest x or y, and those in line with the optical
    /// centre by column or row, leave no height.
    /// @param source  type 1, any element type
    /// @param output  may be the source; unchanged when the call is refused or throws
    /// @param referenceDistance  the depth whose height is 0
    /// @param method  0 or 1
    /// @return 0; 11100001 no pixels, or none valid; 11100029 a type other than 0 and 1; 11100025 a type 0 image;
    /// 11200002 method; 30602016 the grid of method 1 does not fit in memory; or the code of Nox3DSampling::Resample,
    /// `output` then holds the grid. Exceptions pass to the caller.
    long RangeImageTypeConvert(NoxRangeImage& source, NoxRangeImage* output, double referenceDistance, int method);

    /// Lifts a region drawn on a range image of type 0 into the space of that image: to a flat shape when the two
    /// heights are the same (closer than 1e-10), else to the solid between them. World x comes from the row and world y
    /// from the column, both less the offset and times the resolution; lengths and radii go through the same shift and
    /// scale, so an offset shortens them too. Numbers are reckoned in double and rounded to float.
    ///
    /// Rectangles become a rectangle or box, a circle a circle or cylinder, a ring a torus or tube, a polygon a polygon
    /// or a prism of lines, an ellipse an ellipse or elliptic cylinder, a line a line or a rectangle standing on it,
    /// its direction cut to whole degrees, a point a point or a vertical line.
    /// @param roi  in image terms, x along the columns
    /// @param shape  unchanged on any failure
    /// @param zHigh, zLow  world heights, -65535 to 65535
    /// @param resolutionX, offsetX, resolutionY, offsetY  of the image; resolutions above 0
    /// @return 0; 11200002 zLow above zHigh, or one of them beyond 65535 either way; 11200003 resolutionX; 11200005
    /// resolutionY; 11000002 the whole image, which has no shape; 30602001 an exception
    long ROITo3DShape(NoxROI& roi, Nox3DShape* shape, double zHigh, double zLow, double resolutionX, double offsetX,
                      double resolutionY, double offsetY);

    /// Projects a shape straight down and gives its outline in world units, region x along world y and region y along
    /// world x. What stands on edge becomes a line; a plane becomes a line or a large rectangle round the origin.
    ///
    /// Rotations turn the points of an outline about the origin of the space, not about the shape's centre. A tilt
    /// shortens the sides of a rectangle twice, once by the turned corners and once by the cosine; the corners of a box
    /// come in the order of its construction, which may cross itself. Lifting and projecting do not undo each other.
    /// @param shape  in world units
    /// @param roi  unchanged on any failure
    /// @return 0; 11000002 no shape, or a cylinder of either kind, torus, tube or line set; 30602002 an exception, or a
    /// polygon without corners
    long Nox3DShapeToROI(Nox3DShape& shape, NoxROI* roi);

private:
    struct Implementation;
    Implementation* implementation_;
};

}  // namespace NOXEL
