#include "Measure.h"

#include <NoxResultCodes.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <nanoflann.hpp>
#include <opencv2/core.hpp>
#include <stdexcept>
#include <string>

namespace example {

namespace {

struct Points  // as the search tree wants to see a cloud
{
    const NoxPointCloud& cloud;

    std::size_t kdtree_get_point_count() const { return static_cast<std::size_t>(cloud.Length()); }
    float kdtree_get_pt(std::size_t i, std::size_t axis) const { return cloud.PointData()[3 * i + axis]; }
    template <class Box>
    bool kdtree_get_bbox(Box&) const
    {
        return false;
    }
};

}  // namespace

Nox3DPlane fitPlane(const NoxPointCloud& points)
{
    cv::Mat rows;
    cv::Mat(points.Length(), 3, CV_32F, points.PointData()).convertTo(rows, CV_64F);
    const cv::PCA axes(rows, {}, cv::PCA::DATA_AS_ROW);
    const cv::Mat1d centre = axes.mean, normal = axes.eigenvectors.row(2);  // of the least spread
    const double up = normal(2) < 0 ? -1 : 1;
    const auto vector = [](const cv::Mat1d& v, double factor) {
        return NoxVector3d(static_cast<float>(factor * v(0)), static_cast<float>(factor * v(1)),
                           static_cast<float>(factor * v(2)));
    };
    return Nox3DPlane(vector(centre, 1), vector(normal, up));
}

double distance(const Nox3DPlane& plane, const NoxVector3d& point)
{
    const NoxVector3d &p = plane.Point(), &n = plane.Normal();
    return static_cast<double>(n.X()) * static_cast<double>(point.X() - p.X()) +
           static_cast<double>(n.Y()) * static_cast<double>(point.Y() - p.Y()) +
           static_cast<double>(n.Z()) * static_cast<double>(point.Z() - p.Z());
}

std::vector<float> distances(const NoxPointCloud& from, const NoxPointCloud& to)
{
    using Tree =
        nanoflann::KDTreeSingleIndexAdaptor<nanoflann::L2_Simple_Adaptor<float, Points>, Points, 3, std::uint32_t>;
    const Points points{to};
    Tree tree(3, points);
    tree.buildIndex();

    std::vector<float> found(static_cast<std::size_t>(from.Length()));
    for (std::size_t i = 0; i < found.size(); ++i) {
        std::uint32_t nearest = 0;
        float squared = 0.0f;
        tree.knnSearch(from.PointData() + 3 * i, 1, &nearest, &squared);
        found[i] = std::sqrt(squared);
    }
    std::sort(found.begin(), found.end());
    return found;
}

float quantile(const std::vector<float>& ascending, double share)
{
    return ascending[static_cast<std::size_t>(share * static_cast<double>(ascending.size() - 1))];
}

void require(long code)
{
    if (code != 0) throw std::runtime_error(std::to_string(code) + ", " + NOXEL::NoxResultText(code));
}

}  // namespace example
