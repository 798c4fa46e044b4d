#pragma once

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <unistd.h>

#include "SolverTestScene.h"

namespace kelvar::fluid::test {

// A file under the system's temporary folder, removed with the object; the
// process id in its name keeps test runs of two builds apart.
class TempFile {
public:
    explicit TempFile(const std::string& name)
        : path_((std::filesystem::temp_directory_path() / ("kv_io_" + std::to_string(getpid()) + "_" + name))
                    .string()) {}
    ~TempFile() { std::filesystem::remove(path_); }
    const std::string& path() const { return path_; }

    std::string bytes() const {
        std::ifstream in(path_, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }
    void write(const std::string& bytes) const {
        std::ofstream out(path_, std::ios::binary | std::ios::trunc);
        out.write(bytes.data(), std::streamsize(bytes.size()));
    }

private:
    std::string path_;
};

// Little-endian values read independently of the library's streams.
template <class T>
T valueAt(const std::string& bytes, std::size_t offset) {
    T value{};
    unsigned char raw[sizeof(T)];
    for (std::size_t b = 0; b < sizeof(T); ++b) raw[b] = static_cast<unsigned char>(bytes.at(offset + b));
    if constexpr (sizeof(T) > 1 && std::endian::native == std::endian::big) std::reverse(raw, raw + sizeof(T));
    std::memcpy(&value, raw, sizeof(T));
    return value;
}

template <class T>
void setValueAt(std::string& bytes, std::size_t offset, const T& value) {
    unsigned char raw[sizeof(T)];
    std::memcpy(raw, &value, sizeof(T));
    if constexpr (sizeof(T) > 1 && std::endian::native == std::endian::big) std::reverse(raw, raw + sizeof(T));
    for (std::size_t b = 0; b < sizeof(T); ++b) bytes.at(offset + b) = static_cast<char>(raw[b]);
}

// Offsets of the fixed-size parts of a checkpoint.
inline constexpr std::size_t kVersionBytes = 4;
inline constexpr std::size_t kNxOffset =
    kVersionBytes + 5 * 4 + Transform3Rts<float>::kBinarySize + 4 * 4 + 2 * 12 + 4 + 4;
inline constexpr std::size_t kHeaderEnd =
    kNxOffset + 3 * 4 + 2 * 12 + 4 + Transform3<float>::kBinarySize + 4 + 4 + 8 * 4;
// After the header: the reserved bool and the dirty flags.
inline constexpr std::size_t kParticleSection = kHeaderEnd + 1 + 2;

// A small walled box that has run a few sub-steps: liquid, interface, walls,
// a drain, particles everywhere, accumulators set.
struct RunScene : WalledScene<> {
    RunScene(unsigned int requested, unsigned int subSteps) : WalledScene<>(requested, 2) {
        const unsigned n = fluid.getGrid().getNx();
        fillBlock(fluid, {1, 1, 1}, {n / 2, n / 2, n - 1}, latticeGravity(fluid));
        placeCell(fluid, fluid.acquireSinkCell(), n - 2, 1, n / 2)->setSinkId(7);
        fluid.setAcceleration(Vector3<float>(0.0f, -kGravity, 0.0f));
        runSubSteps(solver, fluid, subSteps);
        fluid.refSolverContext().setAddedMass(0.25f);
    }
};

}  // namespace kelvar::fluid::test
