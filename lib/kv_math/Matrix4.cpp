#include "kv_math/Matrix4.h"

namespace kelvar {

// The determinant and adjugate are built from the twelve 2x2 minors of the
// upper two rows (s) and the lower two rows (c).
template <class T>
Matrix4<T> Matrix4<T>::inverse() const {
    const T s0 = m[0][0] * m[1][1] - m[1][0] * m[0][1];
    const T s1 = m[0][0] * m[1][2] - m[1][0] * m[0][2];
    const T s2 = m[0][0] * m[1][3] - m[1][0] * m[0][3];
    const T s3 = m[0][1] * m[1][2] - m[1][1] * m[0][2];
    const T s4 = m[0][1] * m[1][3] - m[1][1] * m[0][3];
    const T s5 = m[0][2] * m[1][3] - m[1][2] * m[0][3];
    const T c5 = m[2][2] * m[3][3] - m[3][2] * m[2][3];
    const T c4 = m[2][1] * m[3][3] - m[3][1] * m[2][3];
    const T c3 = m[2][1] * m[3][2] - m[3][1] * m[2][2];
    const T c2 = m[2][0] * m[3][3] - m[3][0] * m[2][3];
    const T c1 = m[2][0] * m[3][2] - m[3][0] * m[2][2];
    const T c0 = m[2][0] * m[3][1] - m[3][0] * m[2][1];
    const T det = s0 * c5 - s1 * c4 + s2 * c3 + s3 * c2 - s4 * c1 + s5 * c0;
    Matrix4 r;
    if (det == T(0)) return r;
    const T d = T(1) / det;
    r.m[0][0] = (m[1][1] * c5 - m[1][2] * c4 + m[1][3] * c3) * d;
    r.m[0][1] = (-m[0][1] * c5 + m[0][2] * c4 - m[0][3] * c3) * d;
    r.m[0][2] = (m[3][1] * s5 - m[3][2] * s4 + m[3][3] * s3) * d;
    r.m[0][3] = (-m[2][1] * s5 + m[2][2] * s4 - m[2][3] * s3) * d;
    r.m[1][0] = (-m[1][0] * c5 + m[1][2] * c2 - m[1][3] * c1) * d;
    r.m[1][1] = (m[0][0] * c5 - m[0][2] * c2 + m[0][3] * c1) * d;
    r.m[1][2] = (-m[3][0] * s5 + m[3][2] * s2 - m[3][3] * s1) * d;
    r.m[1][3] = (m[2][0] * s5 - m[2][2] * s2 + m[2][3] * s1) * d;
    r.m[2][0] = (m[1][0] * c4 - m[1][1] * c2 + m[1][3] * c0) * d;
    r.m[2][1] = (-m[0][0] * c4 + m[0][1] * c2 - m[0][3] * c0) * d;
    r.m[2][2] = (m[3][0] * s4 - m[3][1] * s2 + m[3][3] * s0) * d;
    r.m[2][3] = (-m[2][0] * s4 + m[2][1] * s2 - m[2][3] * s0) * d;
    r.m[3][0] = (-m[1][0] * c3 + m[1][1] * c1 - m[1][2] * c0) * d;
    r.m[3][1] = (m[0][0] * c3 - m[0][1] * c1 + m[0][2] * c0) * d;
    r.m[3][2] = (-m[3][0] * s3 + m[3][1] * s1 - m[3][2] * s0) * d;
    r.m[3][3] = (m[2][0] * s3 - m[2][1] * s1 + m[2][2] * s0) * d;
    return r;
}

template struct Matrix4<float>;
template struct Matrix4<double>;

}  // namespace kelvar
