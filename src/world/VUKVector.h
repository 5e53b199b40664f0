// Vectors, 4x4 matrices, the rotation record and the box contact test, all in single
// precision. y is up and the ground is y = 0; angles are radians.
#pragma once
#include <cstdint>

struct Rotation;
class Entity;

// Administrators enter angles in 256ths of a full turn.
inline constexpr float kAngleUnit = 0.024543693f;

struct VUKVector {
    float x = 0.0f;
    float y = 0.0f;
    float z = 0.0f;

    VUKVector() = default;
    constexpr VUKVector(float ax, float ay, float az) : x(ax), y(ay), z(az) {}

    VUKVector operator+(const VUKVector& o) const { return {x + o.x, y + o.y, z + o.z}; }
    VUKVector operator-(const VUKVector& o) const { return {x - o.x, y - o.y, z - o.z}; }
    VUKVector operator*(float s) const { return {x * s, y * s, z * s}; }
    VUKVector& operator+=(const VUKVector& o) {
        x += o.x;
        y += o.y;
        z += o.z;
        return *this;
    }
    VUKVector& operator-=(const VUKVector& o) {
        x -= o.x;
        y -= o.y;
        z -= o.z;
        return *this;
    }
    VUKVector& operator*=(float s) {
        x *= s;
        y *= s;
        z *= s;
        return *this;
    }
    bool operator==(const VUKVector& o) const { return x == o.x && y == o.y && z == o.z; }
    bool operator!=(const VUKVector& o) const { return !(*this == o); }

    void Set(float ax, float ay, float az) {
        x = ax;
        y = ay;
        z = az;
    }

    // Radius of the sphere around a box of these full extents.
    float SizeReach() const;
    // this += R(r) · d; r must not be null (callers without rotation add d directly).
    void MoveWRTRotation(const VUKVector* d, const Rotation* r);
    void MoveWRTRotation(float dx, float dy, float dz, const Rotation* r);
};

// Row-vector convention: p' = p · M with p = (x, y, z, 1); the translation is in elements 12,
// 13 and 14. Element (row r, column c) is m[r * 4 + c].
struct VUKMatrix {
    float m[16] = {};

    float& At(int row, int col) { return m[row * 4 + col]; }
    float At(int row, int col) const { return m[row * 4 + col]; }
    void SetIdentity();
    // p · M, the first three results divided by the fourth.
    VUKVector TransformPoint(const VUKVector& p) const;
    // this · other.
    VUKMatrix operator*(const VUKMatrix& other) const;
};

// The 3x3 rotation R(a, b, c) = Rz(c) · Rx(b) · Ry(a) for column vectors: yaw about y, then
// pitch about x, then roll about z. r[row][col]; each sine and cosine is rounded to f32 first.
void RotationMatrix(float yaw, float pitch, float roll, float r[3][3]);

// True when the two axis-aligned boxes touch or overlap; rotation is ignored.
bool TouchTest(const Entity* a, const Entity* b);
