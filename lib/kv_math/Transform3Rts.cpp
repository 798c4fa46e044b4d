#include "kv_math/Transform3Rts.h"

#include <cmath>

#include "kv_basic/ByteOrder.h"

namespace kelvar {

namespace {

// Tolerance of the uniform-scale test: the single-precision epsilon, used
// for every scalar type so that float and double placements agree.
constexpr double kUniformScaleTolerance = 1.1920929e-7;

}  // namespace

template <class T>
Transform3Rts<T>::Transform3Rts() = default;

template <class T>
void Transform3Rts<T>::setTranslation(const Vector3<T>& translation) {
    translation_ = translation;
    updateMatrices();
}

template <class T>
void Transform3Rts<T>::setRotation(const Quaternion<T>& rotation) {
    rotation_ = rotation;
    hasRotation_ = true;
    updateMatrices();
}

template <class T>
void Transform3Rts<T>::resetRotation() {
    rotation_ = Quaternion<T>::identity();
    hasRotation_ = false;
    updateMatrices();
}

template <class T>
bool Transform3Rts<T>::isUniform(const Vector3<T>& s) {
    const T tolerance = T(kUniformScaleTolerance);
    return std::abs(s.x - (s.y + s.z) * T(0.5)) <= tolerance && std::abs(s.y - (s.x + s.z) * T(0.5)) <= tolerance &&
           std::abs(s.z - (s.x + s.y) * T(0.5)) <= tolerance;
}

template <class T>
void Transform3Rts<T>::setScale(const Vector3<T>& scale) {
    uniformScale_ = isUniform(scale);
    scale_ = uniformScale_ ? Vector3<T>{scale.x, scale.x, scale.x} : scale;
    updateMatrices();
}

template <class T>
void Transform3Rts<T>::setIdentity() {
    translation_ = {};
    rotation_ = Quaternion<T>::identity();
    scale_ = {T(1), T(1), T(1)};
    hasRotation_ = false;
    uniformScale_ = true;
    updateMatrices();
}

template <class T>
bool Transform3Rts<T>::isIdentity() const {
    return !hasRotation_ && uniformScale_ && scale_.x == T(1) && translation_ == Vector3<T>{};
}

template <class T>
void Transform3Rts<T>::updateMatrices() {
    const Matrix4<T> rotation = hasRotation_ ? Matrix4<T>::rotation(rotation_) : Matrix4<T>::identity();
    matrix_ = Matrix4<T>::identity();
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) matrix_.m[i][j] = rotation.m[i][j] * scale_[j];
        matrix_.m[i][3] = translation_[i];
    }
    if (!uniformScale_) {
        inverse_ = matrix_.inverse();
        return;
    }
    // Uniform scale: the inverse is the transposed rotation divided by the
    // scale, followed by the rotated and scaled opposite translation.
    inverse_ = Matrix4<T>{};
    if (scale_.x == T(0)) return;
    const T inverseScale = T(1) / scale_.x;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) inverse_.m[i][j] = rotation.m[j][i] * inverseScale;
    const Vector3<T> back = inverse_.transformVector(translation_);
    for (int i = 0; i < 3; ++i) inverse_.m[i][3] = -back[i];
    inverse_.m[3][3] = T(1);
}

template <class T>
void Transform3Rts<T>::writeBinary(unsigned char* out) const {
    const T values[kBinaryValueCount] = {translation_.x, translation_.y, translation_.z, rotation_.x, rotation_.y,
                          rotation_.z,    rotation_.w,    scale_.x,       scale_.y,    scale_.z};
    out = storeLittleEndian(values, kBinaryValueCount, out);
    *out = hasRotation_ ? 1 : 0;
}

template <class T>
void Transform3Rts<T>::readBinary(const unsigned char* in) {
    T values[kBinaryValueCount];
    in = loadLittleEndian(values, kBinaryValueCount, in);
    translation_ = {values[0], values[1], values[2]};
    rotation_ = {values[3], values[4], values[5], values[6]};
    hasRotation_ = *in != 0;
    setScale({values[7], values[8], values[9]});
}

template class Transform3Rts<float>;
template class Transform3Rts<double>;

}  // namespace kelvar
