#pragma once

#include <NoxMatrixArray.h>
#include <NoxRangeImage.h>
#include <NoxRangeImageArray.h>

#include "device/Runtime.h"

// Two conversions' heavy halves on a device. They run on the calling thread, step by step, and release every buffer
// before they return. Several may run at once. What memory they take on the host may throw.

namespace nox::device {

/// Heights of a grid from points: every point counts fully in up to four pixels, a pixel is the mean of its points.
/// Points of height 0 are passed over. Unlike on the host there is no top surface.
/// @param x, y, z  n floats each: columns and rows in pixels, heights
/// @param image    float, width x height, and with colours as many channels; every cell is written
/// @param colors   null, or a colour for each point; three channels at most are averaged, the others become 0
/// @return 0; 30602013; 30602014
long DevicePclToRange(const Runtime& runtime, const float* x, const float* y, const float* z, NoxRangeImage* image,
                      const unsigned char* colors, int channels, int n, int width, int height);

/// Moves range images by their poses and merges them into one grid, whose pixels are the means of what reaches them.
/// The corner of the first image's valid pixels stays where it was, and the others follow it. Pixels that reach no cell
/// of the canvas, and empty ones, take no part.
/// @param images    float, orthographic grids whatever their type says
/// @param matrices  a 4 x 4 pose of double for each
/// @param canvasColumns, canvasRows  room for all images side by side, and size of the grid that is summed; what the
///                                   result has beyond it is invalid
/// @param out       written at the end, when all went well
/// @return 0; 11100001 an image without pixels; 11200003 the images do not fit the canvas; 30602013; 30602014
long DeviceRangeMerge(const Runtime& runtime, const NoxRangeImageArray& images, const NoxMatrixArray& matrices,
                      float resolutionX, float resolutionY, int canvasColumns, int canvasRows, int outputWidth,
                      int outputHeight, NoxRangeImage* out);

}  // namespace nox::device
