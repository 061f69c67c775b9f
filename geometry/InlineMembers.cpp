// Copies of the inline members for programs that look for them by name; a program that is compiled with the headers
// brings its own. It is compiled without inlining and with inline members visible (CMakeLists.txt). Everywhere else
// they are hidden: no arithmetic of the libraries gives way to that of a program with another instruction set.

#include <MArray.h>
#include <MBox.h>
#include <MColor.h>
#include <MLineSegment.h>
#include <MMatrix3.h>
#include <MMatrix4.h>
#include <MVector3d.h>
#include <MVector3f.h>
#include <MVector4d.h>
#include <Nox3DUtil.h>

#include <new>
#include <tuple>

namespace NOXEL3D {

template class MVectorBase<MVector3f, float, 3>;
template class MVectorBase<MVector3d, double, 3>;
template class MVectorBase<MVector4d, double, 4>;
template class MVector3Base<MVector3f, float>;
template class MVector3Base<MVector3d, double>;
template class MArray<double>;
template class MArray<bool>;
template class MArray<MColor>;
template class MArray<MVector3f>;
template class MArray<MVector3d>;

namespace {

using Matrix3TimesFloats = MVector3f (MMatrix3::*)(const MVector3f&) const noexcept;
using Matrix3TimesDoubles = MVector3d (MMatrix3::*)(const MVector3d&) const noexcept;
using Matrix4TimesFloats = MVector3f (MMatrix4::*)(const MVector3f&) const noexcept;
using Matrix4TimesDoubles = MVector3d (MMatrix4::*)(const MVector3d&) const noexcept;

[[gnu::used]] const auto members = std::make_tuple(
    static_cast<MVector3f& (MVector3f::*)(float) noexcept>(&MVector3f::operator=),
    static_cast<MVector3f& (MVector3f::*)(const MVector3d&) noexcept>(&MVector3f::operator=),
    static_cast<MVector3d& (MVector3d::*)(double) noexcept>(&MVector3d::operator=), &MVector3d::squaredNorm,
    &MVector3d::norm, &MVector3d::squaredDistance, &MVector3d::distance, &MVector3d::toVector3f,
    &MVector3d::operator MVector3f, &MVector3d::toNox,
    static_cast<MVector4d& (MVector4d::*)(double) noexcept>(&MVector4d::operator=), &MVector4d::w, &MVector4d::setW,
    &MVector4d::setValues, &MVector4d::toVector3d, &MVector4d::operator MVector3d,
    static_cast<double* (MMatrix3::*)() noexcept>(&MMatrix3::data),
    static_cast<const double* (MMatrix3::*)() const noexcept>(&MMatrix3::data),
    static_cast<Matrix3TimesFloats>(&MMatrix3::operator*), static_cast<Matrix3TimesDoubles>(&MMatrix3::operator*),
    &MMatrix3::transposed, static_cast<double* (MMatrix4::*)() noexcept>(&MMatrix4::data),
    static_cast<const double* (MMatrix4::*)() const noexcept>(&MMatrix4::data),
    static_cast<Matrix4TimesFloats>(&MMatrix4::operator*), static_cast<Matrix4TimesDoubles>(&MMatrix4::operator*),
    &MMatrix4::rigidInverse, &MMatrix4::Pose, &MMatrix4::column, &MBox::setSize, &MBox::setPose, &MBox::size,
    &MBox::pose, &MBox::xDirection, &MBox::yDirection, &MBox::zDirection, &MBox::minCorner, &MLineSegment::start,
    &MLineSegment::end, &MLineSegment::setStart, &MLineSegment::setEnd, &MLineSegment::isValid,
    &MLineSegment::invalidate, &MColor::value, &MVector3fArray::resize, &NOXEL::Nox3DUtil::Gauss,
    &NOXEL::Nox3DUtil::GaussDx);

template <class T, class... Arguments>
void construct(void* place, const Arguments&... arguments)
{
    new (place) T(arguments...);
}

[[gnu::used]] void constructors(void* place, const MVector3f& f, const MVector3d& v, double d)
{
    construct<MVector3f>(place);
    construct<MVector3f>(place, 1.0f, 2.0f, 3.0f);
    construct<MVector3d>(place);
    construct<MVector3d>(place, d, d, d);
    construct<MVector3d>(place, f);
    construct<MVector4d>(place);
    construct<MVector4d>(place, d, d, d, d);
    construct<MMatrix3>(place);
    construct<MMatrix3>(place, d, d, d, d, d, d, d, d, d);
    construct<MMatrix4>(place);
    construct<MMatrix4>(place, d, d, d, d, d, d, d, d, d, d, d, d, d, d, d, d);
    construct<MBox>(place);
    construct<MLineSegment>(place);
    construct<MLineSegment>(place, v, v);
    construct<MColor>(place, 1, 2, 3, 4);
}

}  // namespace

}  // namespace NOXEL3D
