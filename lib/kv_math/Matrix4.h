#pragma once

#include "kv_basic/Export.h"
#include "kv_math/Quaternion.h"
#include "kv_math/Vector3.h"

namespace kelvar {

// A 4x4 matrix, row-major m[row][col], acting on column vectors: p' = M p,
// with the translation in column 3. Products compose right to left:
// (A * B).transformPoint(p) == A.transformPoint(B.transformPoint(p)).
// The library only builds affine matrices (last row 0 0 0 1), so points are
// transformed without a projective divide.
template <class T>
struct KV_EXPORT Matrix4 {
    T m[4][4]{};

    static constexpr Matrix4 identity() {
        Matrix4 r;
        for (int i = 0; i < 4; ++i) r.m[i][i] = T(1);
        return r;
    }

    static constexpr Matrix4 translation(const Vector3<T>& t) {
        Matrix4 r = identity();
        r.m[0][3] = t.x;
        r.m[1][3] = t.y;
        r.m[2][3] = t.z;
        return r;
    }

    static constexpr Matrix4 scaling(const Vector3<T>& s) {
        Matrix4 r = identity();
        r.m[0][0] = s.x;
        r.m[1][1] = s.y;
        r.m[2][2] = s.z;
        return r;
    }

    // Rotation matrix of a unit quaternion.
    static constexpr Matrix4 rotation(const Quaternion<T>& q) {
        const T xx = q.x * q.x, yy = q.y * q.y, zz = q.z * q.z;
        const T xy = q.x * q.y, xz = q.x * q.z, yz = q.y * q.z;
        const T wx = q.w * q.x, wy = q.w * q.y, wz = q.w * q.z;
        Matrix4 r = identity();
        r.m[0][0] = T(1) - T(2) * (yy + zz);
        r.m[0][1] = T(2) * (xy - wz);
        r.m[0][2] = T(2) * (xz + wy);
        r.m[1][0] = T(2) * (xy + wz);
        r.m[1][1] = T(1) - T(2) * (xx + zz);
        r.m[1][2] = T(2) * (yz - wx);
        r.m[2][0] = T(2) * (xz - wy);
        r.m[2][1] = T(2) * (yz + wx);
        r.m[2][2] = T(1) - T(2) * (xx + yy);
        return r;
    }

    constexpr Matrix4 operator*(const Matrix4& o) const {
        Matrix4 r;
        for (int i = 0; i < 4; ++i)
            for (int j = 0; j < 4; ++j)
                r.m[i][j] = ((m[i][0] * o.m[0][j] + m[i][1] * o.m[1][j]) + m[i][2] * o.m[2][j]) + m[i][3] * o.m[3][j];
        return r;
    }

    constexpr Vector3<T> transformPoint(const Vector3<T>& p) const {
        return {((m[0][0] * p.x + m[0][1] * p.y) + m[0][2] * p.z) + m[0][3],
                ((m[1][0] * p.x + m[1][1] * p.y) + m[1][2] * p.z) + m[1][3],
                ((m[2][0] * p.x + m[2][1] * p.y) + m[2][2] * p.z) + m[2][3]};
    }

    // Applies the linear part only (no translation).
    constexpr Vector3<T> transformVector(const Vector3<T>& v) const {
        return {(m[0][0] * v.x + m[0][1] * v.y) + m[0][2] * v.z,
                (m[1][0] * v.x + m[1][1] * v.y) + m[1][2] * v.z,
                (m[2][0] * v.x + m[2][1] * v.y) + m[2][2] * v.z};
    }

    constexpr Matrix4 transposed() const {
        Matrix4 r;
        for (int i = 0; i < 4; ++i)
            for (int j = 0; j < 4; ++j) r.m[i][j] = m[j][i];
        return r;
    }

    // General inverse by cofactors. A singular matrix has no inverse; it
    // yields the zero matrix, so that callers never see infinities.
    Matrix4 inverse() const;

    constexpr bool operator==(const Matrix4&) const = default;
};

}  // namespace kelvar
