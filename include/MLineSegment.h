#pragma once

#include <MVector3d.h>
#include <NoxExport.h>

namespace NOXEL3D {

/// A segment from start to end.
class NOX_EXPORT MLineSegment
{
public:
    /// Both ends at the origin.
    MLineSegment() noexcept : start_(0, 0, 0), end_(0, 0, 0) {}
    MLineSegment(const MVector3d& start, const MVector3d& end) noexcept : start_(start), end_(end) {}

    const MVector3d& start() const noexcept { return start_; }
    const MVector3d& end() const noexcept { return end_; }
    void setStart(const MVector3d& start) noexcept { start_ = start; }
    void setEnd(const MVector3d& end) noexcept { end_ = end; }

    /// No component of either end is the marker or a NaN.
    bool isValid() const noexcept { return start_.isValid() && end_.isValid(); }
    /// Marks x of start and leaves the rest.
    void invalidate() noexcept { start_.invalidate(); }

private:
    MVector3d start_;
    MVector3d end_;
};

}  // namespace NOXEL3D
