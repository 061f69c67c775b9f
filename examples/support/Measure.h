#pragma once

#include <Nox3DPlane.h>
#include <NoxPointCloud.h>

#include <chrono>
#include <utility>
#include <vector>

namespace example {

/// Milliseconds that a call takes.
template <class F>
double milliseconds(const F& call)
{
    const auto start = std::chrono::steady_clock::now();
    call();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

/// The points for which the condition holds.
template <class Condition>
NoxPointCloud select(const NoxPointCloud& cloud, const Condition& condition)
{
    NoxVector3dArray points;
    for (int i = 0; i < cloud.Length(); ++i) {
        const float* p = cloud.PointData() + 3 * i;
        if (const NoxVector3d point(p[0], p[1], p[2]); condition(point)) points.Append(point);
    }
    NoxPointCloud result;
    result.SetPoints(std::move(points));
    return result;
}

/// The plane with the least squares of the points' distances from it; its normal has a length of 1 and no z below 0.
Nox3DPlane fitPlane(const NoxPointCloud& points);

/// How far the point lies above the plane, whose normal has a length of 1.
double distance(const Nox3DPlane& plane, const NoxVector3d& point);

/// Distance of every point of `from` to the nearest point of `to`, in ascending order.
std::vector<float> distances(const NoxPointCloud& from, const NoxPointCloud& to);

/// The value below which `share` of the ascending values lie; they must not be empty.
float quantile(const std::vector<float>& ascending, double share);

/// Ends the program with the text of the code unless it is 0.
void require(long code);

}  // namespace example
