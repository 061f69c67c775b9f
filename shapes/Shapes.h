#pragma once

#include <Nox3DShape.h>
#include <NoxROI.h>

namespace nox {

/// The conversions behind Nox3DDataConvert::ROITo3DShape and Nox3DShapeToROI, with their tests and their catch-alls.
long roiTo3DShape(const NoxROI& roi, Nox3DShape* shape, double zHigh, double zLow, double resolutionX, double offsetX,
                  double resolutionY, double offsetY);
long shapeToROI(const Nox3DShape& shape, NoxROI* roi);

}  // namespace nox
