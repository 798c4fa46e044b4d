#pragma once

#include <cstddef>

#include "kv_basic/Export.h"
#include "kv_math/Matrix4.h"
#include "kv_math/Quaternion.h"
#include "kv_math/Vector3.h"

namespace kelvar {

// A placement made of a scale, a rotation and a translation, applied in that
// order: p -> translation + rotation.rotate(scale.mul(p)). It is how a fluid
// domain or a mesh is put into the world.
//
// The rotation carries a flag: resetRotation() clears it (no rotation at
// all), setRotation() sets it even for the identity quaternion. The scale is
// stored as uniform, all three components equal to its x component, when
// each component lies within float epsilon (1.1920929e-7) of the mean of the
// other two. The matrix and its inverse are rebuilt by every setter, so
// reading them is cheap and safe from several threads; the inverse is
// analytic for a uniform scale and the general 4x4 inverse otherwise.
template <class T>
class KV_EXPORT Transform3Rts {
public:
    // translation (3), rotation (4) and scale (3) as little-endian values,
    // then one byte for the rotation flag.
    static constexpr std::size_t kBinaryValueCount = 10;
    static constexpr std::size_t kBinarySize = kBinaryValueCount * sizeof(T) + 1;

    Transform3Rts();

    const Vector3<T>& getTranslation() const { return translation_; }
    void setTranslation(const Vector3<T>& translation);

    const Quaternion<T>& getRotation() const { return rotation_; }
    void setRotation(const Quaternion<T>& rotation);
    void resetRotation();
    bool hasRotation() const { return hasRotation_; }

    const Vector3<T>& getScale() const { return scale_; }
    void setScale(const Vector3<T>& scale);
    bool isUniformScale() const { return uniformScale_; }

    void setIdentity();
    bool isIdentity() const;

    const Matrix4<T>& getMatrix() const { return matrix_; }
    const Matrix4<T>& getInverseMatrix() const { return inverse_; }
    Vector3<T> transformPoint(const Vector3<T>& p) const { return matrix_.transformPoint(p); }
    Vector3<T> inverseTransformPoint(const Vector3<T>& p) const { return inverse_.transformPoint(p); }

    void writeBinary(unsigned char* out) const;
    void readBinary(const unsigned char* in);

    // True when each component lies within float epsilon of the mean of the
    // other two.
    static bool isUniform(const Vector3<T>& scale);

private:
    void updateMatrices();

    Vector3<T> translation_{};
    Quaternion<T> rotation_{};
    Vector3<T> scale_{T(1), T(1), T(1)};
    bool hasRotation_ = false;
    bool uniformScale_ = true;
    Matrix4<T> matrix_ = Matrix4<T>::identity();
    Matrix4<T> inverse_ = Matrix4<T>::identity();
};

}  // namespace kelvar
