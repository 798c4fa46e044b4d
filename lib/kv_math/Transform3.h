#pragma once

#include <cstddef>

#include "kv_basic/Export.h"
#include "kv_math/Matrix4.h"
#include "kv_math/Quaternion.h"
#include "kv_math/Transform3Rts.h"
#include "kv_math/Vector3.h"

namespace kelvar {

// A general affine map kept as a matrix together with its inverse, plus the
// rotation it contains as a quaternion. Chains of placements (grid to
// domain to world) are built with concatenate(); the rotation is carried
// along separately so that directions can be turned without the scale or
// shear of the matrix.
template <class T>
class KV_EXPORT Transform3 {
public:
    // matrix (16), inverse (16) and rotation (4) as little-endian values.
    static constexpr std::size_t kBinarySize = 36 * sizeof(T);

    Transform3();
    explicit Transform3(const Transform3Rts<T>& rts);

    // The map that applies `first`, then `second`; its rotation is
    // second.rotation * first.rotation.
    static Transform3 concatenate(const Transform3& first, const Transform3& second);

    const Matrix4<T>& getMatrix() const { return matrix_; }
    const Matrix4<T>& getInverseMatrix() const { return inverse_; }
    const Quaternion<T>& getRotation() const { return rotation_; }

    Vector3<T> transformPoint(const Vector3<T>& p) const { return matrix_.transformPoint(p); }
    Vector3<T> inverseTransformPoint(const Vector3<T>& p) const { return inverse_.transformPoint(p); }
    Vector3<T> transformVector(const Vector3<T>& v) const { return matrix_.transformVector(v); }
    Vector3<T> inverseTransformVector(const Vector3<T>& v) const { return inverse_.transformVector(v); }

    void writeBinary(unsigned char* out) const;
    void readBinary(const unsigned char* in);

private:
    Matrix4<T> matrix_ = Matrix4<T>::identity();
    Matrix4<T> inverse_ = Matrix4<T>::identity();
    Quaternion<T> rotation_{};
};

}  // namespace kelvar
