#include <gtest/gtest.h>

#include <cmath>

#include "world/Entity.h"
#include "world/VUKVector.h"

namespace {

constexpr float kHalfPi = 1.5707964f;

class Box : public Entity {
public:
    Box(VUKVector position, VUKVector size) {
        m_vPosition = position;
        m_vSize = size;
    }
};

void ExpectNear(const VUKVector& v, float x, float y, float z, float tolerance = 1e-5f) {
    EXPECT_NEAR(v.x, x, tolerance);
    EXPECT_NEAR(v.y, y, tolerance);
    EXPECT_NEAR(v.z, z, tolerance);
}

VUKVector Moved(float yaw, float pitch, float roll, VUKVector d) {
    Rotation r;
    r.m_fYaw = yaw;
    r.m_fPitch = pitch;
    r.m_fRoll = roll;
    VUKVector v;
    v.MoveWRTRotation(&d, &r);
    return v;
}

} // namespace

TEST(SizeReach, IsTheRadiusAroundTheBox) {
    EXPECT_FLOAT_EQ(VUKVector(2, 2, 2).SizeReach(), 1.7320508f);
    EXPECT_FLOAT_EQ(VUKVector(6, 8, 0).SizeReach(), 5.0f);
}

// ---- the rotation convention ----------------------------------------------------------------

TEST(RotationConvention, YawTurnsXTowardMinusZ) {
    ExpectNear(Moved(kHalfPi, 0, 0, {1, 0, 0}), 0, 0, -1);
    ExpectNear(Moved(kHalfPi, 0, 0, {0, 0, 1}), 1, 0, 0);
    ExpectNear(Moved(kHalfPi, 0, 0, {0, 1, 0}), 0, 1, 0);
}

TEST(RotationConvention, PitchTurnsYTowardPlusZ) {
    ExpectNear(Moved(0, kHalfPi, 0, {0, 1, 0}), 0, 0, 1);
    ExpectNear(Moved(0, kHalfPi, 0, {0, 0, 1}), 0, -1, 0);
    ExpectNear(Moved(0, kHalfPi, 0, {1, 0, 0}), 1, 0, 0);
}

TEST(RotationConvention, RollTurnsXTowardPlusY) {
    ExpectNear(Moved(0, 0, kHalfPi, {1, 0, 0}), 0, 1, 0);
    ExpectNear(Moved(0, 0, kHalfPi, {0, 1, 0}), -1, 0, 0);
}

TEST(RotationConvention, YawComesFirstThenPitchThenRoll) {
    // Rz(c) · Rx(b) · Ry(a) built from the three plane rotations in double precision.
    const double a = 0.7, b = -0.4, c = 1.1;
    const double ry[3][3] = {{std::cos(a), 0, std::sin(a)}, {0, 1, 0}, {-std::sin(a), 0, std::cos(a)}};
    const double rx[3][3] = {{1, 0, 0}, {0, std::cos(b), -std::sin(b)}, {0, std::sin(b), std::cos(b)}};
    const double rz[3][3] = {{std::cos(c), -std::sin(c), 0}, {std::sin(c), std::cos(c), 0}, {0, 0, 1}};
    double xy[3][3] = {}, zxy[3][3] = {};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            for (int k = 0; k < 3; ++k) xy[i][j] += rx[i][k] * ry[k][j];
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            for (int k = 0; k < 3; ++k) zxy[i][j] += rz[i][k] * xy[k][j];
    const VUKVector d(3, -2, 5);
    VUKVector v = Moved(float(a), float(b), float(c), d);
    EXPECT_NEAR(v.x, zxy[0][0] * 3 - zxy[0][1] * 2 + zxy[0][2] * 5, 1e-5);
    EXPECT_NEAR(v.y, zxy[1][0] * 3 - zxy[1][1] * 2 + zxy[1][2] * 5, 1e-5);
    EXPECT_NEAR(v.z, zxy[2][0] * 3 - zxy[2][1] * 2 + zxy[2][2] * 5, 1e-5);
}

TEST(RotationConvention, MoveAddsToTheVector) {
    Rotation r;
    r.m_fYaw = kHalfPi;
    VUKVector v(10, 20, 30);
    v.MoveWRTRotation(2, 0, 0, &r);
    ExpectNear(v, 10, 20, 28);
}

// ---- object matrices ---------------------------------------------------------------------

TEST(ObjectMatrix, RotatesThenTranslates) {
    Box e({10, 20, 30}, {1, 1, 1});
    e.SetYaw(kHalfPi);
    VUKMatrix M;
    e.GetObjectMatrix(&M);
    EXPECT_EQ(M.m[12], 10.0f);
    EXPECT_EQ(M.m[13], 20.0f);
    EXPECT_EQ(M.m[14], 30.0f);
    EXPECT_EQ(M.m[15], 1.0f);
    EXPECT_EQ(M.m[3], 0.0f);
    ExpectNear(M.TransformPoint({1, 0, 0}), 10, 20, 29);
    ExpectNear(M.TransformPoint({0, 0, 1}), 11, 20, 30);
}

TEST(ObjectMatrix, WithoutRotationIsATranslation) {
    Box e({-5, 7, 2}, {1, 1, 1});
    VUKMatrix M;
    e.GetObjectMatrix(&M);
    const float expected[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, -5, 7, 2, 1};
    for (int i = 0; i < 16; ++i) EXPECT_EQ(M.m[i], expected[i]) << i;
}

TEST(ObjectMatrix, InverseUndoesAYawOnlyEntity) {
    Box e({100, -40, 250}, {1, 1, 1});
    e.SetYaw(0.9f);
    VUKMatrix M, I;
    e.GetObjectMatrix(&M);
    e.GetIObjectMatrix(&I);
    VUKVector p(3.5f, -8.0f, 12.25f);
    ExpectNear(I.TransformPoint(M.TransformPoint(p)), p.x, p.y, p.z, 1e-3f);
}

TEST(ObjectMatrix, InverseUndoesAPitchOnlyEntity) {
    Box e({1, 2, 3}, {1, 1, 1});
    e.SetPitch(-0.6f);
    VUKMatrix M, I;
    e.GetObjectAndIObjectMatrix(&M, &I);
    VUKVector p(-4, 5, 6);
    ExpectNear(I.TransformPoint(M.TransformPoint(p)), -4, 5, 6, 1e-4f);
}

TEST(ObjectMatrix, InverseTakesThePositionToTheOriginWhateverTheAngles) {
    Box e({30, 60, -90}, {1, 1, 1});
    e.SetRotation(0.4f, 0.3f, -0.2f);
    VUKMatrix I;
    e.GetIObjectMatrix(&I);
    ExpectNear(I.TransformPoint(e.m_vPosition), 0, 0, 0, 1e-4f);
    // Its rotation rows are the object formula of the negated angles.
    float r[3][3];
    RotationMatrix(-0.4f, -0.3f, 0.2f, r);
    for (int row = 0; row < 3; ++row)
        for (int col = 0; col < 3; ++col) EXPECT_EQ(I.At(row, col), r[col][row]);
}

TEST(ObjectMatrix, CombinedCallAndOffsetVariantAgreeWithTheSingleCalls) {
    Box e({1, 2, 3}, {1, 1, 1});
    e.SetRotation(0.1f, 0.2f, 0.3f);
    VUKMatrix M1, I1, M2, I2;
    e.GetObjectMatrix(&M1);
    e.GetIObjectMatrix(&I1);
    e.GetObjectAndIObjectMatrix(&M2, &I2);
    for (int i = 0; i < 16; ++i) {
        EXPECT_EQ(M1.m[i], M2.m[i]);
        EXPECT_EQ(I1.m[i], I2.m[i]);
    }
    VUKVector offset(10, 0, -10);
    VUKMatrix IO;
    e.GetIObjectMatrix_WithPosOffset(&IO, &offset);
    ExpectNear(IO.TransformPoint({11, 2, -7}), 0, 0, 0, 1e-4f);
}

// ---- contact -------------------------------------------------------------------------------------

TEST(Contact, FacesThatMeetTouch) {
    Box a({0, 0, 0}, {1, 1, 1});
    Box b({1, 0, 0}, {1, 1, 1});
    EXPECT_TRUE(TouchTest(&a, &b));
    EXPECT_TRUE(TouchTest(&b, &a));
}

TEST(Contact, AGapOnAnyAxisSeparates) {
    Box a({0, 0, 0}, {1, 1, 1});
    Box x({1.0001f, 0, 0}, {1, 1, 1});
    Box y({0, -1.0001f, 0}, {1, 1, 1});
    Box z({0.5f, 0.5f, 1.0001f}, {1, 1, 1});
    EXPECT_FALSE(TouchTest(&a, &x));
    EXPECT_FALSE(TouchTest(&a, &y));
    EXPECT_FALSE(TouchTest(&a, &z));
}

TEST(Contact, RotationIsIgnored) {
    Box a({0, 0, 0}, {10, 1, 1});
    Box b({5.5f, 0, 0}, {1, 1, 1});
    a.SetYaw(kHalfPi);
    EXPECT_TRUE(TouchTest(&a, &b));
}
