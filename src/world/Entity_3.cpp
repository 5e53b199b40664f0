// Entity: object and inverse-object matrices.
#include "world/Entity.h"

namespace {

// Rows 0 to 2 hold the columns of R, so that p · M = R · p + translation.
void FillRotationRows(VUKMatrix* M, float yaw, float pitch, float roll) {
    float r[3][3];
    RotationMatrix(yaw, pitch, roll, r);
    for (int row = 0; row < 3; ++row) {
        for (int col = 0; col < 3; ++col) M->At(row, col) = r[col][row];
        M->At(row, 3) = 0.0f;
    }
}

void FillObject(VUKMatrix* M, const Entity& e) {
    FillRotationRows(M, e.GetYaw(), e.GetPitch(), e.GetRoll());
    M->m[12] = e.m_vPosition.x;
    M->m[13] = e.m_vPosition.y;
    M->m[14] = e.m_vPosition.z;
    M->m[15] = 1.0f;
}

void FillInverse(VUKMatrix* I, const Entity& e, const VUKVector& p) {
    FillRotationRows(I, -e.GetYaw(), -e.GetPitch(), -e.GetRoll());
    I->m[12] = -(p.x * I->m[0] + p.y * I->m[4] + p.z * I->m[8]);
    I->m[13] = -(p.x * I->m[1] + p.y * I->m[5] + p.z * I->m[9]);
    I->m[14] = -(p.x * I->m[2] + p.y * I->m[6] + p.z * I->m[10]);
    I->m[15] = 1.0f;
}

} // namespace

void Entity::GetObjectMatrix(VUKMatrix* M) const { FillObject(M, *this); }

void Entity::GetIObjectMatrix(VUKMatrix* I) const { FillInverse(I, *this, m_vPosition); }

void Entity::GetObjectAndIObjectMatrix(VUKMatrix* M, VUKMatrix* I) const {
    FillObject(M, *this);
    FillInverse(I, *this, m_vPosition);
}

void Entity::GetIObjectMatrix_WithPosOffset(VUKMatrix* I, const VUKVector* offset) const {
    FillInverse(I, *this, m_vPosition + *offset);
}
