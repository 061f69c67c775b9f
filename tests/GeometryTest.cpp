#include "tests/support/Samples.h"

#include <MArray.h>
#include <MBox.h>
#include <MLineSegment.h>
#include <MMatrix3.h>
#include <MMatrix4.h>
#include <MVector4d.h>
#include <Nox3DUtil.h>

#include <Eigen/LU>

#include <cstdint>
#include <random>
#include <stdexcept>

namespace {

using namespace samples;
using namespace NOXEL3D;

TEST(Geometry, Validity)
{
    const std::tuple<const char*, float, float, float, bool, bool> rows[] = {
        {"numbers", 1, 2, 3, true, false},
        {"an infinity", 1, 2, kInfinity, true, false},
        {"a NaN", 0, 0, kNaN, false, true},
        {"the marker in z alone", 1, 2, kLargest, false, false},
        {"the lowest float", -kLargest, 0, 0, true, false},
    };
    for (const auto& [rule, x, y, z, valid, nan] : rows) {
        SCOPED_TRACE(rule);
        const MVector3f f(x, y, z);
        const MVector3d d(x, y, z);
        const MVector4d four(0, x, y, z);
        EXPECT_EQ(valid, f.isValid());
        EXPECT_EQ(valid, d.isValid());
        EXPECT_EQ(valid, four.isValid());
        EXPECT_EQ(nan, f.isNaN());
        EXPECT_EQ(nan, d.isNaN());
        EXPECT_EQ(!nan, d == d);
        EXPECT_EQ(nan, f != f);
        EXPECT_EQ(valid, MLineSegment(MVector3d(0, 0, 0), d).isValid());
    }
    MVector3d v(1, 2, 3);
    v.invalidate();
    EXPECT_EQ(MVector3d(kLargest, 2, 3), v);
    MLineSegment segment(MVector3d(1, 2, 3), MVector3d(4, 5, 6));
    segment.invalidate();
    EXPECT_TRUE(segment.start() == v && segment.end() == MVector3d(4, 5, 6));
}

template <class V>
void checkConstants()
{
    EXPECT_EQ(V(0, 0, 0), V::Zero);
    EXPECT_EQ(V(1, 0, 0), V::XUnit);
    EXPECT_EQ(V(0, 1, 0), V::YUnit);
    EXPECT_EQ(V(0, 0, 1), V::ZUnit);
    EXPECT_EQ(V(kLargest, kLargest, kLargest), V::Infinity);
    EXPECT_EQ(V::Infinity, V::Invalid);
    EXPECT_FALSE(V::Invalid.isValid());
    EXPECT_FALSE(V::Invalid.isNaN());
}

TEST(Geometry, ConstantsAndLayouts)
{
    checkConstants<MVector3f>();
    checkConstants<MVector3d>();
    std::uint64_t bits = 0;
    std::memcpy(&bits, &MVector3d::Invalid, sizeof(bits));
    EXPECT_EQ(0x47EFFFFFE0000000u, bits);
    EXPECT_EQ(4u, sizeof(MColor));
    EXPECT_EQ(48u, sizeof(MStatistics));

    const MVector3fArray points(2, MVector3f(1, 2, 3));
    EXPECT_EQ(2.0f, reinterpret_cast<const float*>(points.data())[4]);
    EXPECT_EQ(24, points.sizeInBytes());
}

TEST(Geometry, VectorArithmetic)
{
    const MVector3d a(2, 0, -4), b(1, 3, 5);
    EXPECT_EQ(MVector3d(-2, 0, 4), a.inverse());
    EXPECT_EQ(MVector3d(12, -14, 6), a.cross(b));
    EXPECT_EQ(-18.0, a.dot(b));
    EXPECT_EQ(MVector3d(2, 0, -20), a.schurProduct(b));
    EXPECT_EQ(MVector3d(2, 0, 4), a.abs());
    EXPECT_EQ(MVector3d(1, -3, -9), a - b);
    EXPECT_EQ(MVector3d(5, 3, -3), a * 2.0 + b * 1.0);
    EXPECT_EQ(91.0, a.squaredDistance(b));
    EXPECT_EQ(std::sqrt(20.0), a.norm());
    EXPECT_EQ(kInfinity, (b / 0.0).x());
    MVector3d c = a;
    c.invert();
    c += b;
    c -= MVector3d(0, 0, 9);
    c *= 3.0;
    c /= 2.0;
    EXPECT_EQ(MVector3d(-1.5, 4.5, 0), c);
    c = 4.0;
    EXPECT_EQ(MVector3d(4, 4, 4), c);
    EXPECT_EQ(70.0, MVector4d(1, 2, 3, 4).dot(MVector4d(5, 6, 7, 8)));
    EXPECT_EQ(MVector3d(1, 2, 3), MVector3d(MVector4d(1, 2, 3, 4)));

    // Float vectors sum in float, but scale in double.
    EXPECT_EQ(0.0, MVector3f(1e-30f, 0, 0).dot(MVector3f(1e-30f, 0, 0)));
    EXPECT_EQ(0.0, MVector3f(1, 1, -1).dot(MVector3f(1e8f, 1, 1e8f)));
    EXPECT_EQ(2.0f, (MVector3f(2e30f, 0, 0) * 1e-30).x());
    EXPECT_EQ(1e30f, (MVector3f(1, 0, 0) / 1e-30).x());
    EXPECT_EQ(static_cast<float>(3.0f * 0.1), (MVector3f(3, 0, 0) * 0.1).x());
    MVector3f f;
    f = MVector3d(0.1, 0.2, 0.3);
    EXPECT_EQ(MVector3f(0.1f, 0.2f, 0.3f), f);
    EXPECT_EQ(NoxVector3d(0.1f, 0.2f, 0.3f), MVector3d(0.1, 0.2, 0.3).toNox());
}

TEST(Geometry, MatricesAndBox)
{
    const MMatrix3 m3(1, 2, 3, 4, 5, 6, 7, 8, 10);
    EXPECT_EQ(MVector3d(14, 32, 53), m3 * MVector3d(1, 2, 3));
    EXPECT_EQ(MVector3d(30, 36, 45), m3.transposed() * MVector3d(1, 2, 3));
    // Reckoned in double: in float 1e8 + 1 would lose the 1.
    EXPECT_EQ(1.0f, (MMatrix3(1e8, 1, -1e8, 0, 0, 0, 0, 0, 0) * MVector3f(1, 1, 1)).x());
    EXPECT_EQ(1.0f, (MMatrix4(1e8, 1, 0, -1e8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1) * MVector3f(1, 1, 1)).x());

    // A quarter turn about z, then a shift.
    const MMatrix4 pose = MMatrix4::Pose(MVector3d(0, 1, 0), MVector3d(-1, 0, 0), MVector3d::ZUnit, MVector3d(5, 6, 7));
    EXPECT_EQ(MVector3d(3, 7, 10), pose * MVector3d(1, 2, 3));
    EXPECT_EQ(MVector3d(1, 2, 3), pose.rigidInverse() * MVector3d(3, 7, 10));
    EXPECT_EQ(5.0, pose.data()[3]);

    MBox box;
    box.setSize(MVector3d(2, 4, 6));
    box.setPose(pose);
    EXPECT_EQ(MVector3d(0, 1, 0), box.xDirection());
    EXPECT_EQ(MVector3d(7, 5, 4), box.minCorner());
    const MMatrix4 toCorner =
        MMatrix4::Pose(box.xDirection(), box.yDirection(), box.zDirection(), box.minCorner()).rigidInverse();
    EXPECT_EQ(MVector3d(1, 2, 3), toCorner * MVector3d(5, 6, 7)) << "the centre lies half an edge from the corner";
}

TEST(Geometry, ArraysOwnTheirElements)
{
    MVector3fArray points(3, MVector3f(1, 2, 3));
    MVector3fArray copy = points;
    copy[1] = MVector3f(4, 5, 6);
    EXPECT_EQ(MVector3f(1, 2, 3), points[1]);
    points.resize(2);
    points.resize(4);
    EXPECT_EQ(MVector3f(1, 2, 3), points[1]);
    EXPECT_EQ(MVector3f(0, 0, kLargest), points[3]);
    EXPECT_GE(points.capacity(), 4);
    points = copy;
    EXPECT_EQ(MVector3f(4, 5, 6), points[1]);
    points.init(points[1]);
    EXPECT_EQ(MVector3f(4, 5, 6), points[2]);
    EXPECT_TRUE(MDoubleArray().isEmpty());
    EXPECT_THROW(MDoubleArray(-1), std::length_error);
}

NoxVector3d turned(const NoxMatrix4& m, NoxVector3d v)
{
    NOXEL::Nox3DUtil().Transform(v, m);
    return v;
}

TEST(Nox3DUtil, EigenKeepsRowsAndColumns)
{
    const NOXEL::Nox3DUtil util;
    NoxMatrix4 m;
    for (int i = 0; i < 16; ++i) m.Data()[i] = i + 0.1;
    EXPECT_EQ(m.Value(1, 3), util.ToEigen(m)(1, 3));
    EXPECT_EQ(m, util.FromEigen(util.ToEigen(m)));
    const NoxMatrix3 m3(1, 2, 3, 4, 5, 6, 7, 8, 9);
    EXPECT_EQ(2.0, util.ToEigen(m3)(0, 1));
    EXPECT_EQ(m3, util.FromEigen(util.ToEigen(m3)));
    const Eigen::Matrix4f f = Eigen::Matrix4f::Constant(0.1f);
    EXPECT_EQ(static_cast<double>(0.1f), util.FromEigen(f).Value(2, 1));
    EXPECT_EQ(NoxVector3d(0.1f, 2, 3), util.FromEigen(util.ToEigen(NoxVector3d(0.1f, 2, 3))));
}

TEST(Nox3DUtil, GaussAndText)
{
    const NOXEL::Nox3DUtil util;
    EXPECT_EQ(1.0, util.Gauss(0, 3));
    EXPECT_EQ(std::exp(-2.0), util.Gauss(4, 2));
    EXPECT_EQ(-std::exp(-2.0), util.GaussDx(4, 2));
    EXPECT_TRUE(std::signbit(util.GaussDx(0, 2)));
    EXPECT_EQ(0.0, util.GaussDx(0, 2));
    EXPECT_EQ(L"", NOXEL::Nox3DUtil::toUnicode(""));
    EXPECT_EQ(L"range 3", NOXEL::Nox3DUtil::toUnicode("range 3"));
    EXPECT_EQ(std::wstring(L"a\0\0", 3), NOXEL::Nox3DUtil::toUnicode("a\xff\xff")) << "no character in the C locale";
}

TEST(Nox3DUtil, AxisRotationsAreRightHanded)
{
    const NOXEL::Nox3DUtil util;
    const auto close = [](const NoxVector3d& expected, const NoxVector3d& v) {
        const double difference[] = {expected.X() - v.X(), expected.Y() - v.Y(), expected.Z() - v.Z()};
        for (double d : difference) EXPECT_NEAR(0, d, 1e-6);
    };
    close({1, -3, 2}, turned(util.XRotation(90), {1, 2, 3}));
    close({3, 2, -1}, turned(util.YRotation(90), {1, 2, 3}));
    close({-2, 1, 3}, turned(util.ZRotation(90), {1, 2, 3}));
    close({0.8660254f, 0.5f, 0}, turned(util.ZRotation(30), {1, 0, 0}));
    EXPECT_EQ(NoxVector3d(5, 14, 25), turned(NoxMatrix4(1, 0, 0, 4, 0, 2, 0, 10, 0, 0, 3, 16, 0, 0, 0, 1), {1, 2, 3}));
}

/// `m` is a rotation that brings `from` onto the direction of `to`.
void expectRotation(const NoxMatrix4& m, const NoxVector3d& from, const NoxVector3d& to)
{
    const Eigen::Matrix<double, 4, 4> e = NOXEL::Nox3DUtil().ToEigen(m);
    const Eigen::Matrix<double, 3, 3> r = e.block<3, 3>(0, 0);
    EXPECT_LT((r * r.transpose() - Eigen::Matrix<double, 3, 3>::Identity()).cwiseAbs().maxCoeff(), 1e-12);
    EXPECT_GT(r.determinant(), 0.0);
    const NOXEL::Nox3DUtil util;
    const Eigen::Matrix<double, 3, 1> a = util.ToEigen(from), b = util.ToEigen(to);
    EXPECT_LT((r * a / a.norm() - b / b.norm()).norm(), 1e-12);
}

TEST(Nox3DUtil, VectorIntoVectorRotation)
{
    const NOXEL::Nox3DUtil util;
    std::mt19937 random(7);
    std::uniform_real_distribution<float> number(-2, 2);
    for (int i = 0; i < 1000; ++i) {
        const NoxVector3d a(number(random), number(random), number(random));
        const NoxVector3d b(number(random), number(random), number(random));
        expectRotation(util.M4VectorIntoVectorRotation(a, b, true), a, b);
        const NoxVector3d opposite(-3 * a.X(), -3 * a.Y(), -3 * a.Z());
        expectRotation(util.M4VectorIntoVectorRotation(a, opposite, true), a, opposite);
        const NoxVector3d nearly(-a.X(), -a.Y(), -a.Z() + 1e-7f);
        expectRotation(util.M4VectorIntoVectorRotation(a, nearly, true), a, nearly);
    }
    expectRotation(util.M4VectorIntoVectorRotation({0, 0, 1}, {0, 0, -1}, false), {0, 0, 1}, {0, 0, -1});
    expectRotation(util.M4VectorIntoVectorRotation({1e-30f, 0, 0}, {0, 1e30f, 0}, true), {1, 0, 0}, {0, 1, 0});
    const NoxMatrix4 identity(1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1);
    EXPECT_EQ(identity, util.M4VectorIntoVectorRotation({0, 0, 0}, {1, 2, 3}, true));
    // The smallest turn: what lies along the axis stays.
    EXPECT_EQ(NoxVector3d(0, 0, 1), turned(util.M4VectorIntoVectorRotation({1, 0, 0}, {-1, 1, 0}, true), {0, 0, 1}));
}

}  // namespace
