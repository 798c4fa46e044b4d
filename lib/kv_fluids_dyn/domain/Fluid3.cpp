#include "kv_fluids_dyn/domain/Fluid3.h"

#include "kv_math/Quaternion.h"

namespace kelvar::fluid {

namespace {

constexpr float kDefaultViscosity = 1.0e-5f;
constexpr float kDefaultSpeed = 1480.0f;
constexpr float kDefaultDensity = 1000.0f;
constexpr float kDegreesToRadians = 0.017453292f;

}  // namespace

template <class T>
Fluid3<T>::Fluid3()
    : viscosity(T(kDefaultViscosity)),
      maxSpeed(T(kDefaultSpeed)),
      soundSpeed(T(kDefaultSpeed)),
      mach(T(1)),
      compressibility(T(0)),
      density(T(kDefaultDensity)),
      maxForce(T(0)),
      maxInitialSpeed(T(0)),
      threads(1) {}

template <class T>
Fluid3<T>::Fluid3(const Fluid3&) = default;

template <class T>
Fluid3<T>& Fluid3<T>::operator=(const Fluid3&) = default;

template <class T>
Fluid3<T>::~Fluid3() = default;

template <class T>
void Fluid3<T>::setTransformWorld(const Transform3Rts<T>& transform) {
    transformWorld = transform;
}

template <class T>
void Fluid3<T>::setPosition(const Vector3<T>& position) {
    transformWorld.setTranslation(position);
}

template <class T>
void Fluid3<T>::setRotation(const Vector3<T>& degrees) {
    const Quaternion<T> rotation = Quaternion<T>::fromEuler(degrees * T(kDegreesToRadians));
    if (rotation == Quaternion<T>::identity())
        transformWorld.resetRotation();
    else
        transformWorld.setRotation(rotation);
}

template <class T>
void Fluid3<T>::setScale(const Vector3<T>& scale) {
    transformWorld.setScale(scale);
}

template class Fluid3<float>;

}  // namespace kelvar::fluid
