#include <Nox3DDataConvert.h>
#include <NoxFastLoggerPrivate.h>

#include "cloud_to_range/CloudToRange.h"
#include "frame/FloatingPoint.h"
#include "frame/Guards.h"
#include "frame/StaticConfig.h"
#include "range_to_cloud/RangeToCloud.h"

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
    return nox::guarded(code::cloudToRangeThrew,
                        [&] { return nox::cloudToRangeBySize(cloud, result, pose, width, height); });
}

long Nox3DDataConvert::PointCloudToRangeImage(NoxPointCloud& cloud, NoxRangeImage* result, NoxMatrix4& pose,
                                              double resolutionX, double resolutionY)
{
    const nox::DefaultFloatingPoint mode;
    result->SetType(0);
    if (const long refused = refusal(cloud, pose == NoxMatrix4(), resolutionX <= 0.0, resolutionY <= 0.0))
        return refused;  // a NaN resolution passes: it ends as a box that no grid fits
    return nox::guarded(code::cloudToRangeThrew, [&] {
        Records("PointCloudToRangeImage").write("start-pointCloudToRangeImage_CPU", __LINE__);
        return nox::cloudToRangeByResolution(cloud, result, pose, resolutionX, resolutionY);
    });
}

long Nox3DDataConvert::PointCloudToRangeImage(NoxPointCloud& cloud, NoxRangeImage* result, NoxVector3d& direction,
                                              double resolutionX, double resolutionY)
{
    const nox::DefaultFloatingPoint mode;
    result->SetType(0);
    if (const long refused = refusal(cloud, direction == NoxVector3d(), resolutionX <= 0.0, resolutionY <= 0.0))
        return refused;
    return nox::guarded(code::cloudToRangeThrew, [&] {
        return nox::cloudToRangeAlong(cloud, result, direction, static_cast<float>(resolutionX),
                                      static_cast<float>(resolutionY));
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

}  // namespace NOXEL

namespace nox {

const StaticConfig& facadeConfig() noexcept { return NOXEL::config; }

}  // namespace nox
