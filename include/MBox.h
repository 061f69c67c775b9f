#pragma once

#include <MMatrix4.h>
#include <MVector3d.h>
#include <NoxExport.h>

namespace NOXEL3D {

/// An oriented box: the pose places its centre and axes, the size holds the full edge lengths.
class NOX_EXPORT MBox
{
public:
    /// A box without extent at the origin.
    MBox() noexcept : size_(0, 0, 0) {}

    void setSize(const MVector3d& size) noexcept { size_ = size; }
    void setPose(const MMatrix4& pose) noexcept
    {
        pose_ = pose;
        inverse_ = pose.rigidInverse();
    }

    const MVector3d& size() const noexcept { return size_; }
    const MMatrix4& pose() const noexcept { return pose_; }

    MVector3d xDirection() const noexcept { return pose_.column(0); }
    MVector3d yDirection() const noexcept { return pose_.column(1); }
    MVector3d zDirection() const noexcept { return pose_.column(2); }

    /// The corner half an edge below the centre along all three axes.
    MVector3d minCorner() const noexcept { return pose_ * (size_ * -0.5); }

private:
    MVector3d size_;
    MMatrix4 pose_;
    MMatrix4 inverse_;
};

}  // namespace NOXEL3D
