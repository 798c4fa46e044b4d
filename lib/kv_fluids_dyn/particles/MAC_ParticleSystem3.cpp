#include "kv_fluids_dyn/particles/MAC_ParticleSystem3.h"

#include <cmath>

namespace kelvar::fluid {

MAC_ParticleSystem3::~MAC_ParticleSystem3() = default;

MAC_Particle3& MAC_ParticleSystem3::createParticle(const Vector3<float>& position, const Vector3<float>& velocity,
                                                   const unsigned short& sourceId, const Vector2<float>& uv) {
    MAC_Particle3& particle = addParticle();
    particle.position = position;
    particle.velocity = velocity;
    particle.sourceId = sourceId;
    particle.uv = uv;
    return particle;
}

void MAC_ParticleSystem3::calcMaxVelModule() {
    maxSpeed = 0.0f;
    for (const MAC_Particle3& p : static_cast<const MAC_ParticleSystem3&>(*this)) {
        const Vector3<float>& v = p.velocity;
        const float squared = (v.x * v.x + v.y * v.y) + v.z * v.z;
        const float speed = static_cast<float>(std::sqrt(static_cast<double>(squared)));
        if (speed > maxSpeed) maxSpeed = speed;
    }
}

void MAC_ParticleSystem3::integrateParticlesPosition(const double& dt) {
    const float h = static_cast<float>(dt);
    for (MAC_Particle3& p : *this) {
        p.position.x = h * p.velocity.x + p.position.x;
        p.position.y = h * p.velocity.y + p.position.y;
        p.position.z = h * p.velocity.z + p.position.z;
    }
}

void MAC_ParticleSystem3::removeParticles() {
    clear();
}

}  // namespace kelvar::fluid
