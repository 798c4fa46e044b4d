// Checkpoint files of MAC_LBM_Fluid3. The layout is fixed to the byte,
// little-endian, in this order: the version word; the domain header (the
// fluid parameters with density last, the grid geometry, the grid-to-world
// transform, resolution and largest length, eight unit factors of which the
// fifth is written as the velocity factor and read into the momentum
// factor); a reserved bool; the dirty flags; the particles (speed range, id
// counter, count, 24-byte records with 8 bits per position and velocity
// component); the two density accumulators, added then lost; and the cells,
// each liquid cell alone and every other one opening a run of equal cells.
//
// An exact checkpoint appends a section of its own: the tag "KVX1", the byte
// length of what follows, the particle count, each particle's position and
// velocity as floats in the order of the records, the state of the
// re-seeding generator and the carried-over sub-step time.
//
// Reading never trusts the file: every value is read against the bytes
// left, counts are checked against them before anything is sized by them,
// cell indices against the grid, and the whole file is decoded into scratch
// records before the domain is touched, so a refused file leaves the domain
// as it was.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include "kv_fluids_dyn/domain/MAC_LBM_Fluid3.h"
#include "kv_fluids_dyn/io/FileStream.h"
#include "kv_fluids_dyn/io/StreamVersion.h"
#include "kv_fluids_dyn/io/internal/StreamValues.h"
#include "kv_fluids_dyn/lattice/LBM_CellType.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_Constants.h"

namespace kelvar::fluid {

namespace {

using stream::BoundedReader;
using stream::put;
using Geometry = MAC_LBM_Fluid3::GridType::Geometry;

constexpr unsigned int kCurrentVersion = 17;
constexpr unsigned int kFirstVersionWithParticles = 10;
constexpr unsigned int kFirstVersionWithGridShape = 12;
constexpr unsigned int kFirstVersionWithAccumulators = 16;
constexpr uint64_t kParticleRecordBytes = 24;
// The smallest cell record: a type byte and a run length.
constexpr uint64_t kSmallestCellBytes = 5;
// Grids larger than this many cells are taken for corrupt headers.
constexpr uint64_t kMostCells = uint64_t(1) << 30;
constexpr float kSqrt3 = 1.7320508f;
// "KVX1" read as a little-endian word.
constexpr unsigned int kExactTag = 0x3158564Bu;
constexpr uint64_t kExactParticleBytes = 6 * sizeof(float);
constexpr float kInverse255 = 1.0f / 255.0f;
// The largest float below 1 that a position offset in a cell is clamped to.
constexpr float kLargestOffset = 0.99988079f;

// The domain header as plain data.
struct Header {
    float viscosity = 0.0f;
    float maxSpeed = 0.0f;
    float soundSpeed = 0.0f;
    float mach = 0.0f;
    float compressibility = 0.0f;
    Transform3Rts<float> transformWorld;
    float maxForce = 0.0f;
    float maxInitialSpeed = 0.0f;
    unsigned int threads = 0;
    float density = 0.0f;
    Geometry grid;
    Transform3<float> xformGridToWorld;
    unsigned int resolution = 0;
    float largestLength = 0.0f;
    // force, velocity, density, mass, momentum, unassigned, acceleration, length
    float factors[8] = {};
};

// One decoded cell record covering `length` cells from `first` on.
struct CellRecord {
    unsigned char type = LBM_CELL_EMPTY;
    unsigned int first = 0;
    unsigned int length = 1;
    Vector3<float> velocity;
    float density = 0.0f;
    Vector3<float> force;
    float pdfs[q19::kDirectionCount] = {};
    unsigned short flags = 0;
    float mass = 0.0f;
    float epsilon = 0.0f;
    unsigned int reconstructBits = 0;
    double wallFactor = 0.0;
    unsigned int sinkId = 0;
};

// Everything after the header and the dirty flags, decoded.
struct Body {
    float particleMaxSpeed = 0.0f;
    float particleMinSpeed = 0.0f;
    unsigned int lastUsedId = 0;
    std::vector<MAC_Particle3> particles;
    bool hasAccumulators = false;
    float addedMass = 0.0f;
    float lostMass = 0.0f;
    std::vector<CellRecord> cells;
    // The exact section, when the file has one.
    bool exact = false;
    std::vector<Vector3<float>> exactState;  // position, velocity per particle
    unsigned int randomState = 0;
    float timeAccumulator = 0.0f;
};

// --- writing --------------------------------------------------------------

template <class S>
void putVector(S& s, const Vector3<float>& v) {
    put(s, v.x);
    put(s, v.y);
    put(s, v.z);
}

template <class S, class Transform>
void putTransform(S& s, const Transform& transform) {
    unsigned char bytes[Transform::kBinarySize];
    transform.writeBinary(bytes);
    for (const unsigned char& b : bytes) put(s, b);
}

// trunc(x * 255 + 0.5), low 8 bits kept.
unsigned char quantise(const float& unit) {
    const float scaled = unit * 255.0f + 0.5f;
    if (!(std::fabs(scaled) < 4294967296.0f)) return 0;
    return static_cast<unsigned char>(static_cast<int64_t>(scaled) & 0xFF);
}

// The velocity range of the quantised particle velocities.
float velocityRange(const float& maxSpeed, const float& soundSpeed) { return maxSpeed / (kSqrt3 * soundSpeed); }

template <class S>
void putFluidBody(S& s, const LBM_Q19_MAC_Cell3F& cell) {
    put(s, cell.getType());
    putVector(s, cell.getVelocity());
    put(s, cell.getDensity());
    putVector(s, cell.getForce());
    for (unsigned int i = 0; i < q19::kDirectionCount; ++i) put(s, cell.getPdfAt(i));
    put(s, cell.getFlags().get());
    put(s, cell.getMass());
    put(s, cell.getEpsilon());
    unsigned int bits = 0;
    for (unsigned int i = 0; i < q19::kDirectionCount && i < cell.getArrReconstructBit().size(); ++i)
        if (cell.getArrReconstructBit().test(i)) bits |= 1u << i;
    put(s, bits);
}

template <class S>
void putRunRecord(S& s, const LBM_Cell3<float>* cell) {
    if (cell == nullptr) {
        put(s, static_cast<unsigned char>(LBM_CELL_EMPTY));
        return;
    }
    if (cell->isSolid()) {
        const auto& solid = static_cast<const LBM_SolidCell3<float>&>(*cell);
        put(s, solid.getType());
        put(s, solid.getType());
        putVector(s, solid.getVelocity());
        put(s, solid.getWallFactor());
        put(s, solid.getFlags());
    } else if (cell->isSink()) {
        const auto& sink = static_cast<const LBM_SinkCell3<float>&>(*cell);
        put(s, sink.getType());
        put(s, sink.getType());
        putVector(s, sink.getVelocity());
        put(s, sink.getSinkId());
    }
}

// --- reading --------------------------------------------------------------

template <class S>
bool getVector(BoundedReader<S>& r, Vector3<float>& v) {
    return r.get(v.x) && r.get(v.y) && r.get(v.z);
}

template <class S, class Transform>
bool getTransform(BoundedReader<S>& r, Transform& transform) {
    unsigned char bytes[Transform::kBinarySize];
    for (unsigned char& b : bytes)
        if (!r.get(b)) return false;
    transform.readBinary(bytes);
    return true;
}

template <class S>
bool getHeader(BoundedReader<S>& r, Header& h) {
    bool ok = r.get(h.viscosity) && r.get(h.maxSpeed) && r.get(h.soundSpeed) && r.get(h.mach) &&
              r.get(h.compressibility) && getTransform(r, h.transformWorld) && r.get(h.maxForce) &&
              r.get(h.maxInitialSpeed) && r.get(h.threads) && r.get(h.density);
    Geometry& g = h.grid;
    ok = ok && getVector(r, g.box.min) && getVector(r, g.box.max) && r.get(g.latticeCellSize) &&
         r.get(g.requestedCount) && r.get(g.nx) && r.get(g.ny) && r.get(g.nz) && getVector(r, g.cellSize) &&
         getVector(r, g.invCellSize) && r.get(g.cubicCellSize);
    ok = ok && getTransform(r, h.xformGridToWorld) && r.get(h.resolution) && r.get(h.largestLength);
    for (float& factor : h.factors) ok = ok && r.get(factor);
    if (!ok) return false;
    const uint64_t cells = uint64_t(g.nx) * g.ny * g.nz;
    return cells <= kMostCells || r.fail();
}

// The particle section, decoded onto a grid of `grid` geometry with the
// velocity range `range`.
template <class S>
bool getParticles(BoundedReader<S>& r, const Geometry& grid, const float& range, Body& body) {
    unsigned int count = 0;
    if (!(r.get(body.particleMaxSpeed) && r.get(body.particleMinSpeed) && r.get(body.lastUsedId) && r.get(count)))
        return false;
    if (!r.fits(count, kParticleRecordBytes)) return r.fail();
    const uint64_t stride = uint64_t(grid.ny) * grid.nz;
    const uint64_t cells = stride * grid.nx;
    body.particles.reserve(count);
    for (unsigned int n = 0; n < count; ++n) {
        unsigned int index = 0;
        MAC_Particle3 p;
        unsigned char position[3] = {};
        unsigned char velocity[3] = {};
        bool ok = r.get(index) && r.get(p.id) && r.get(p.sourceId) && r.get(p.uv.x) && r.get(p.uv.y);
        for (unsigned char& b : position) ok = ok && r.get(b);
        for (unsigned char& b : velocity) ok = ok && r.get(b);
        if (!ok) return false;
        if (index >= cells) return r.fail();
        const unsigned int ijk[3] = {unsigned(index / stride), unsigned((index % stride) / grid.nz),
                                     unsigned(index % grid.nz)};
        for (unsigned int a = 0; a < 3; ++a) {
            const float offset = std::clamp(float(position[a]) * kInverse255, 0.0f, kLargestOffset);
            p.position[a] = grid.box.min[a] + float(ijk[a]) * grid.cellSize[a] + offset;
            p.velocity[a] = float(velocity[a]) * kInverse255 * (2.0f * range) - range;
        }
        body.particles.push_back(p);
    }
    // addParticle keeps the stored ids: each may appear once.
    std::vector<unsigned int> ids(body.particles.size());
    for (std::size_t n = 0; n < ids.size(); ++n) ids[n] = body.particles[n].id;
    std::sort(ids.begin(), ids.end());
    const bool unique = std::adjacent_find(ids.begin(), ids.end()) == ids.end();
    return unique || r.fail();
}

template <class S>
bool getFluidBody(BoundedReader<S>& r, CellRecord& c) {
    unsigned char inner = 0;
    bool ok = r.get(inner) && getVector(r, c.velocity) && r.get(c.density) && getVector(r, c.force);
    for (float& f : c.pdfs) ok = ok && r.get(f);
    ok = ok && r.get(c.flags) && r.get(c.mass) && r.get(c.epsilon) && r.get(c.reconstructBits);
    return ok && (inner == c.type || r.fail());
}

template <class S>
bool getRunBody(BoundedReader<S>& r, CellRecord& c) {
    unsigned char inner = 0;
    bool ok = r.get(inner) && getVector(r, c.velocity);
    if (c.type == LBM_CELL_SOLID)
        ok = ok && r.get(c.wallFactor) && r.get(c.flags);
    else
        ok = ok && r.get(c.sinkId);
    return ok && (inner == c.type || r.fail());
}

// The run-length coded cells of a grid of `cellCount` cells.
template <class S>
bool getCells(BoundedReader<S>& r, const uint64_t& cellCount, Body& body) {
    uint64_t index = 0;
    while (index < cellCount) {
        if (!r.fits(1, kSmallestCellBytes - 4)) return r.fail();
        CellRecord c;
        c.first = unsigned(index);
        if (!r.get(c.type)) return false;
        switch (c.type) {
            case LBM_CELL_FLUID:
            case LBM_CELL_INTERFACE:
                if (!getFluidBody(r, c)) return false;
                break;
            case LBM_CELL_SOLID:
            case LBM_CELL_SINK:
                if (!getRunBody(r, c)) return false;
                [[fallthrough]];
            case LBM_CELL_EMPTY:
                if (!r.get(c.length)) return false;
                if (c.length == 0 || c.length > cellCount - index) return r.fail();
                break;
            default:
                return r.fail();
        }
        index += c.length;
        if (c.type != LBM_CELL_EMPTY) body.cells.push_back(c);
    }
    return true;
}

// The exact section after the cells, if the file goes on with its tag. A
// file that ends after the cells has none; one whose section does not match
// its particles is refused.
template <class S>
bool getExactSection(BoundedReader<S>& r, Body& body) {
    if (r.atEnd()) return true;
    unsigned int tag = 0;
    unsigned int length = 0;
    unsigned int count = 0;
    if (!(r.get(tag) && tag == kExactTag && r.get(length) && r.get(count))) return r.fail();
    if (count != body.particles.size() || length != 4 + uint64_t(count) * kExactParticleBytes + 8 ||
        !r.fits(count, kExactParticleBytes))
        return r.fail();
    body.exactState.resize(std::size_t(count) * 2);
    for (Vector3<float>& v : body.exactState)
        if (!getVector(r, v)) return false;
    if (!(r.get(body.randomState) && r.get(body.timeAccumulator))) return false;
    body.exact = true;
    return true;
}

}  // namespace

// --- MAC_LBM_Fluid3 -------------------------------------------------------

template <class S>
void MAC_LBM_Fluid3::write(S& s) const {
    put(s, viscosity);
    put(s, maxSpeed);
    put(s, soundSpeed);
    put(s, mach);
    put(s, compressibility);
    putTransform(s, transformWorld);
    put(s, maxForce);
    put(s, maxInitialSpeed);
    put(s, threads);
    put(s, density);
    const Geometry g = grid.getGeometry();
    putVector(s, g.box.min);
    putVector(s, g.box.max);
    put(s, g.latticeCellSize);
    put(s, g.requestedCount);
    put(s, g.nx);
    put(s, g.ny);
    put(s, g.nz);
    putVector(s, g.cellSize);
    putVector(s, g.invCellSize);
    put(s, g.cubicCellSize);
    putTransform(s, xformGridToWorld);
    put(s, resolution);
    put(s, largestLength);
    // The fifth slot holds the velocity factor again; the momentum factor is
    // never stored, and reads back as the velocity factor.
    for (const float& factor : {forceFactor, velocityFactor, densityFactor, massUnit, velocityFactor,
                                unassignedFactor, accelerationFactor, lengthUnit})
        put(s, factor);
    put(s, false);
    put(s, dirtyFlags.get());

    put(s, particles.getMaxSpeed());
    put(s, particles.getMinSpeed());
    put(s, particles.getLastUsedId());
    put(s, particles.getParticlesCount());
    const float range = velocityRange(maxSpeed, soundSpeed);
    const Vector3<float>& origin = grid.getBox().min;
    for (const MAC_Particle3& p : particles) {
        const Vector3<float> c = (p.position - origin).mul(grid.getInvCellSize());
        const unsigned int ijk[3] = {truncateToCellIndex(c.x), truncateToCellIndex(c.y), truncateToCellIndex(c.z)};
        put(s, ijk[0] * grid.getStride() + ijk[1] * grid.getNz() + ijk[2]);
        put(s, p.id);
        put(s, p.sourceId);
        put(s, p.uv.x);
        put(s, p.uv.y);
        for (unsigned int a = 0; a < 3; ++a)
            put(s, quantise(p.position[a] - (origin[a] + float(ijk[a]) * grid.getCellSize()[a])));
        for (unsigned int a = 0; a < 3; ++a) put(s, quantise((p.velocity[a] + range) / (2.0f * range)));
    }
    put(s, solverContext.getAddedMass());
    put(s, solverContext.getLostMass());

    // A pending run: the cell that opened it and its length so far.
    const LBM_Cell3<float>* runCell = nullptr;
    unsigned int runLength = 0;
    for (const LBM_Cell3<float>* cell : grid.getCells()) {
        if (cell != nullptr && cell->isFluid()) {
            if (runLength > 0) put(s, runLength);
            runLength = 0;
            put(s, cell->getType());
            putFluidBody(s, static_cast<const LBM_Q19_MAC_Cell3F&>(*cell));
            continue;
        }
        if (runLength > 0 && areCellsEqual(runCell, cell)) {
            ++runLength;
            continue;
        }
        if (runLength > 0) put(s, runLength);
        putRunRecord(s, cell);
        runCell = cell;
        runLength = 1;
    }
    if (runLength > 0) put(s, runLength);

    if (!exactCheckpoints) return;
    put(s, kExactTag);
    put(s, static_cast<unsigned int>(4 + uint64_t(particles.getParticlesCount()) * kExactParticleBytes + 8));
    put(s, particles.getParticlesCount());
    for (const MAC_Particle3& p : particles) {
        putVector(s, p.position);
        putVector(s, p.velocity);
    }
    put(s, solverContext.getRandomState());
    put(s, solverContext.getTimeAccumulator());
}

template <class S>
bool MAC_LBM_Fluid3::read(S& s) {
    BoundedReader<S> r(s);
    Header header;
    bool reserved = false;
    unsigned short flags = 0;
    if (!(getHeader(r, header) && r.get(reserved) && r.get(flags))) return false;
    Body body;
    if (streamVersion >= kFirstVersionWithParticles &&
        !getParticles(r, header.grid, velocityRange(header.maxSpeed, header.soundSpeed), body))
        return false;
    if (streamVersion >= kFirstVersionWithAccumulators) {
        if (!(r.get(body.addedMass) && r.get(body.lostMass))) return false;
        body.hasAccumulators = true;
    }
    if (!getCells(r, uint64_t(header.grid.nx) * header.grid.ny * header.grid.nz, body) ||
        !getExactSection(r, body))
        return false;

    viscosity = header.viscosity;
    maxSpeed = header.maxSpeed;
    soundSpeed = header.soundSpeed;
    mach = header.mach;
    compressibility = header.compressibility;
    transformWorld = header.transformWorld;
    maxForce = header.maxForce;
    maxInitialSpeed = header.maxInitialSpeed;
    threads = header.threads;
    density = header.density;
    grid.setGeometry(header.grid);
    xformGridToWorld = header.xformGridToWorld;
    resolution = header.resolution;
    largestLength = header.largestLength;
    float* const factors[8] = {&forceFactor, &velocityFactor, &densityFactor, &massUnit,
                               &momentumFactor, &unassignedFactor, &accelerationFactor, &lengthUnit};
    for (unsigned int f = 0; f < 8; ++f) *factors[f] = header.factors[f];
    vofField.setResolution({grid.getNx(), grid.getNy(), grid.getNz()});
    vofField.setSpacing({1.0f, 1.0f, 1.0f});
    dirtyFlags = flags;
    commitCheckpoint(body, false);
    return true;
}

template <class Body>
void MAC_LBM_Fluid3::commitCheckpoint(const Body& body, const bool& particlesOnly) {
    particles.clear();
    particles.setMaxSpeed(body.particleMaxSpeed);
    particles.setMinSpeed(body.particleMinSpeed);
    particles.setLastUsedId(body.lastUsedId);
    for (std::size_t n = 0; n < body.particles.size(); ++n) {
        MAC_Particle3& p = particles.addParticle(body.particles[n]);
        if (!body.exact) continue;
        p.position = body.exactState[2 * n];
        p.velocity = body.exactState[2 * n + 1];
    }
    if (particlesOnly) return;

    if (body.exact) {
        solverContext.setRandomState(body.randomState);
        solverContext.setTimeAccumulator(body.timeAccumulator);
    }
    if (body.hasAccumulators) {
        solverContext.setAddedMass(body.addedMass);
        solverContext.setLostMass(body.lostMass);
    }
    LBM_Fluid3<float>::initialize();
    liquidPool.clear();
    for (const CellRecord& c : body.cells) {
        if (c.type == LBM_CELL_FLUID || c.type == LBM_CELL_INTERFACE) {
            LBM_Q19_MAC_Cell3F* cell = acquireLiquidCell();
            cell->initialize();
            cell->setType(c.type);
            cell->setVelocity(c.velocity);
            cell->setDensity(c.density);
            cell->setForce(c.force);
            for (unsigned int i = 0; i < q19::kDirectionCount; ++i) cell->setPdfAt(i, c.pdfs[i]);
            cell->setFlags(LBM_MAC_Cell3FlagWord(c.flags));
            cell->setMass(c.mass);
            cell->setEpsilon(c.epsilon);
            cell->refArrReconstructBit().clearAll();
            for (unsigned int i = 0; i < q19::kDirectionCount; ++i)
                if ((c.reconstructBits >> i) & 1u) cell->refArrReconstructBit().set(i);
            cell->setGridMonoindex(c.first);
            grid.at(c.first) = cell;
            continue;
        }
        for (unsigned int n = 0; n < c.length; ++n) {
            LBM_Cell3<float>* made = nullptr;
            if (c.type == LBM_CELL_SOLID) {
                // Pooled cells come back as they were released, type and all.
                LBM_SolidCell3<float>* solid = acquireSolidCell();
                solid->setType(LBM_CELL_SOLID);
                solid->setWallFactor(c.wallFactor);
                solid->setFlags(c.flags);
                made = solid;
            } else {
                LBM_SinkCell3<float>* sink = acquireSinkCell();
                sink->setType(LBM_CELL_SINK);
                sink->setSinkId(c.sinkId);
                sink->setFlags(0);
                made = sink;
            }
            made->setVelocity(c.velocity);
            made->setGridMonoindex(c.first + n);
            grid.at(c.first + n) = made;
        }
    }
    dirtyFlags.set(VOF_DIRTY);
}

template <class S>
MAC_LBM_Fluid3::RestoreError MAC_LBM_Fluid3::restoreSection(S& s, const bool& particlesOnly) {
    BoundedReader<S> r(s);
    unsigned int version = 0;
    if (!r.get(version)) return RESTORE_CORRUPT;
    streamVersion = version;
    if (version > kCurrentVersion) return RESTORE_NEWER_VERSION;
    Header header;
    bool reserved = false;
    unsigned short flags = 0;
    if (!(getHeader(r, header) && r.get(reserved) && r.get(flags))) return RESTORE_CORRUPT;
    if (header.resolution != resolution) return RESTORE_OTHER_RESOLUTION;
    if (version >= kFirstVersionWithGridShape &&
        (header.grid.nx != grid.getNx() || header.grid.ny != grid.getNy() || header.grid.nz != grid.getNz()))
        return RESTORE_OTHER_GRID;

    Body body;
    if (version >= kFirstVersionWithParticles &&
        !getParticles(r, grid.getGeometry(), velocityRange(maxSpeed, soundSpeed), body))
        return RESTORE_CORRUPT;
    if (!particlesOnly) {
        if (version >= kFirstVersionWithAccumulators) {
            if (!(r.get(body.addedMass) && r.get(body.lostMass))) return RESTORE_CORRUPT;
            body.hasAccumulators = true;
        }
        if (!getCells(r, grid.getCount(), body) || !getExactSection(r, body)) return RESTORE_CORRUPT;
    }
    commitCheckpoint(body, particlesOnly);
    return RESTORE_DONE;
}

namespace {

// The file at `path` opened into a stream, or a stream without a file.
void openInto(FileStream& stream, const KV_String& path, const char* mode) {
    stream.inner->file = std::fopen(path.c_str(), mode);
}

}  // namespace

bool MAC_LBM_Fluid3::createCheckPoint(const KV_String& path) const {
    FileStream stream;
    openInto(stream, path, "wb");
    if (stream.inner->file == nullptr) return false;
    return createCheckPoint(stream);
}

bool MAC_LBM_Fluid3::createCheckPoint(FileStream& stream) const {
    put(stream, kCurrentVersion);
    write(stream);
    return true;
}

bool MAC_LBM_Fluid3::createFromCheckPoint(const KV_String& path) {
    FileStream stream;
    openInto(stream, path, "rb");
    if (stream.inner->file == nullptr) return false;
    BoundedReader<FileStream> r(stream);
    unsigned int version = 0;
    if (!r.get(version)) return false;
    streamVersion = version;
    if (version > kCurrentVersion) return false;
    return read(stream);
}

MAC_LBM_Fluid3::RestoreError MAC_LBM_Fluid3::restoreFile(const KV_String& path, const bool& particlesOnly) {
    FileStream stream;
    openInto(stream, path, "rb");
    if (stream.inner->file == nullptr) return RESTORE_CANNOT_OPEN;
    return restoreSection(stream, particlesOnly);
}

MAC_LBM_Fluid3::RestoreError MAC_LBM_Fluid3::restoreFromCheckPoint(const KV_String& path) {
    return restoreFile(path, false);
}

MAC_LBM_Fluid3::RestoreError MAC_LBM_Fluid3::restoreFromCheckPoint(FileStream& stream) {
    return restoreSection(stream, false);
}

MAC_LBM_Fluid3::Load_MAC_ParticlesError MAC_LBM_Fluid3::load_MAC_ParticlesFromCheckPoint(const KV_String& path) {
    return restoreFile(path, true);
}

MAC_LBM_Fluid3::Load_MAC_ParticlesError MAC_LBM_Fluid3::load_MAC_ParticlesFromCheckPoint(FileStream& stream) {
    return restoreSection(stream, true);
}

void MAC_LBM_Fluid3::remove_MAC_Particles(const Array<Array<unsigned int>>& ids) {
    for (const Array<unsigned int>& batch : ids) particles.remove(batch);
}

template void MAC_LBM_Fluid3::write<FileStream>(FileStream&) const;
template void MAC_LBM_Fluid3::write<FileStreamRaw>(FileStreamRaw&) const;
template void MAC_LBM_Fluid3::write<FileStreamEndian>(FileStreamEndian&) const;
template void MAC_LBM_Fluid3::write<FileStreamBase>(FileStreamBase&) const;
template bool MAC_LBM_Fluid3::read<FileStream>(FileStream&);
template bool MAC_LBM_Fluid3::read<FileStreamRaw>(FileStreamRaw&);
template bool MAC_LBM_Fluid3::read<FileStreamEndian>(FileStreamEndian&);
template bool MAC_LBM_Fluid3::read<FileStreamBase>(FileStreamBase&);

}  // namespace kelvar::fluid
