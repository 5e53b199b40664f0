#include "world/VUKVector.h"

#include <cmath>

#include "world/Entity.h"

float VUKVector::SizeReach() const {
    float hx = x * 0.5f, hy = y * 0.5f, hz = z * 0.5f;
    return std::sqrt(hx * hx + hy * hy + hz * hz);
}

void RotationMatrix(float yaw, float pitch, float roll, float r[3][3]) {
    const float sa = std::sin(yaw), ca = std::cos(yaw);
    const float sb = std::sin(pitch), cb = std::cos(pitch);
    const float sc = std::sin(roll), cc = std::cos(roll);
    r[0][0] = ca * cc - sa * sb * sc;
    r[0][1] = -cb * sc;
    r[0][2] = sa * cc + ca * sb * sc;
    r[1][0] = sa * sb * cc + ca * sc;
    r[1][1] = cb * cc;
    r[1][2] = sa * sc - ca * sb * cc;
    r[2][0] = -sa * cb;
    r[2][1] = sb;
    r[2][2] = ca * cb;
}

void VUKVector::MoveWRTRotation(float dx, float dy, float dz, const Rotation* rot) {
    float r[3][3];
    RotationMatrix(rot->m_fYaw, rot->m_fPitch, rot->m_fRoll, r);
    x += r[0][0] * dx + r[0][1] * dy + r[0][2] * dz;
    y += r[1][0] * dx + r[1][1] * dy + r[1][2] * dz;
    z += r[2][0] * dx + r[2][1] * dy + r[2][2] * dz;
}

void VUKVector::MoveWRTRotation(const VUKVector* d, const Rotation* rot) { MoveWRTRotation(d->x, d->y, d->z, rot); }

void VUKMatrix::SetIdentity() {
    for (float& v : m) v = 0.0f;
    m[0] = m[5] = m[10] = m[15] = 1.0f;
}

VUKVector VUKMatrix::TransformPoint(const VUKVector& p) const {
    float rx = p.x * m[0] + p.y * m[4] + p.z * m[8] + m[12];
    float ry = p.x * m[1] + p.y * m[5] + p.z * m[9] + m[13];
    float rz = p.x * m[2] + p.y * m[6] + p.z * m[10] + m[14];
    float rw = p.x * m[3] + p.y * m[7] + p.z * m[11] + m[15];
    return {rx / rw, ry / rw, rz / rw};
}

VUKMatrix VUKMatrix::operator*(const VUKMatrix& o) const {
    VUKMatrix r;
    for (int row = 0; row < 4; ++row)
        for (int col = 0; col < 4; ++col) {
            float sum = 0.0f;
            for (int k = 0; k < 4; ++k) sum += At(row, k) * o.At(k, col);
            r.At(row, col) = sum;
        }
    return r;
}

bool TouchTest(const Entity* a, const Entity* b) {
    const VUKVector ha = a->m_vSize * 0.5f;
    const VUKVector hb = b->m_vSize * 0.5f;
    if (a->m_vPosition.x + ha.x < b->m_vPosition.x - hb.x || a->m_vPosition.x - ha.x > b->m_vPosition.x + hb.x)
        return false;
    if (a->m_vPosition.y + ha.y < b->m_vPosition.y - hb.y || a->m_vPosition.y - ha.y > b->m_vPosition.y + hb.y)
        return false;
    if (a->m_vPosition.z + ha.z < b->m_vPosition.z - hb.z || a->m_vPosition.z - ha.z > b->m_vPosition.z + hb.z)
        return false;
    return true;
}
