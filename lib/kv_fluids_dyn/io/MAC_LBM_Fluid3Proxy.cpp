// Proxy files of MAC_LBM_Fluid3: a light preview of the liquid made of the
// marker particles alone. Little-endian, no header: the record count, then
// per particle its position and velocity (six floats), then the particle
// system's smallest and largest speed.

#include <cmath>
#include <cstdio>
#include <vector>

#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_fluids_dyn/io/FileStream.h"
#include "kv_fluids_dyn/io/internal/StreamValues.h"
#include "kv_fluids_dyn/particles/MAC_ParticleSystemFilter.h"

namespace kelvar::fluid {

namespace {

using stream::BoundedReader;
using stream::put;

constexpr uint64_t kRecordBytes = 6 * sizeof(float);

struct ProxyRecord {
    Vector3<float> position;
    Vector3<float> velocity;
};

// Every N-th particle of the interface cells is written for quality q:
// N = ceil(1 / (q / 3 + 0.1)) in single precision, at least 1.
unsigned int surfaceStride(const int& quality) {
    const float stride = std::ceil(1.0f / (float(quality) / 3.0f + 0.1f));
    return stride >= 1.0f && stride < 4294967296.0f ? static_cast<unsigned int>(stride) : 1u;
}

}  // namespace

bool MAC_LBM_Fluid3::createProxy(const KV_String& path, const ProxyQuality& quality) const {
    FileStream stream;
    stream.inner->file = std::fopen(path.c_str(), "wb");
    if (stream.inner->file == nullptr) return false;

    std::vector<ProxyRecord> records;
    records.reserve(particles.getParticlesCount());
    if (quality == PROXY_ALL) {
        for (const MAC_Particle3& p : particles) records.push_back({p.position, p.velocity});
    } else {
        ArrayOfPtr<MAC_Particle3, KV_NO> surface;
        MAC_ParticleSystemFilter::filter(particles, *this, MAC_FILTER_INTERFACE, 1, surface);
        const unsigned int stride = surfaceStride(quality);
        for (uint32_t n = 1; n <= surface.size(); ++n)
            if (n % stride == 0) records.push_back({surface[n - 1]->position, surface[n - 1]->velocity});
    }

    put(stream, static_cast<unsigned int>(records.size()));
    for (const ProxyRecord& record : records)
        for (const Vector3<float>* v : {&record.position, &record.velocity}) {
            put(stream, v->x);
            put(stream, v->y);
            put(stream, v->z);
        }
    put(stream, particles.getMinSpeed());
    put(stream, particles.getMaxSpeed());
    return true;
}

bool MAC_LBM_Fluid3::restoreFromProxy(const KV_String& path) {
    FileStream stream;
    stream.inner->file = std::fopen(path.c_str(), "rb");
    if (stream.inner->file == nullptr) return false;

    BoundedReader<FileStream> r(stream);
    unsigned int count = 0;
    if (!r.get(count) || !r.fits(count, kRecordBytes)) return false;
    std::vector<ProxyRecord> records(count);
    for (ProxyRecord& record : records)
        for (Vector3<float>* v : {&record.position, &record.velocity})
            if (!(r.get(v->x) && r.get(v->y) && r.get(v->z))) return false;
    float minSpeed = 0.0f;
    float maxSpeed = 0.0f;
    if (!(r.get(minSpeed) && r.get(maxSpeed))) return false;

    particles.setMinSpeed(minSpeed);
    particles.setMaxSpeed(maxSpeed);
    particles.clear();
    for (const ProxyRecord& record : records) {
        MAC_Particle3& p = particles.addParticle();
        p.position = record.position;
        p.velocity = record.velocity;
        p.sourceId = 0;
        p.uv = Vector2<float>(0.0f, 0.0f);
    }
    return true;
}

}  // namespace kelvar::fluid
