#pragma once

#include <NoxPointCloud.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <utility>

namespace nox_bench {

/// A rough surface over side x side cells of 1 x 1, one point somewhere in each, row by row or shuffled.
inline NoxPointCloud surface(int side, bool shuffled)
{
    NoxVector3dArray points;
    points.SetSize(side * side);
    std::mt19937 random(1);
    std::uniform_real_distribution<float> share(0.0f, 0.9f);
    NoxVector3d* next = &points[0];
    for (int row = 0; row < side; ++row)
        for (int column = 0; column < side; ++column)
            *next++ = NoxVector3d(static_cast<float>(row) + share(random), static_cast<float>(column) + share(random),
                                  10.0f * std::sin(0.01f * static_cast<float>(row)) + share(random));
    if (shuffled) std::shuffle(&points[0], next, random);
    NoxPointCloud cloud;
    cloud.SetPoints(std::move(points));
    return cloud;
}

}  // namespace nox_bench
