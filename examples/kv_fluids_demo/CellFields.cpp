#include "CellFields.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

#include "kv_basic/ByteOrder.h"
#include "kv_fluids_dyn/lattice/LBM_Q19_MAC_Cell3F.h"

namespace kelvar::demo {

CellFields sampleCellFields(const fluid::MAC_LBM_Fluid3& fluid) {
    const auto& grid = fluid.getGrid();
    CellFields fields;
    fields.nx = grid.getNx();
    fields.ny = grid.getNy();
    fields.nz = grid.getNz();
    fields.origin = fluid.gridToWorldPosition(grid.getBox().min + grid.getCellSize() * 0.5f);
    fields.cellSize = fluid.gridToWorldLength(grid.getCellSize().x);
    const std::size_t count = std::size_t(fields.nx) * fields.ny * fields.nz;
    fields.fill.assign(count, 0.0f);
    fields.velocity.assign(3 * count, 0.0f);
    for (unsigned i = 0; i < fields.nx; ++i)
        for (unsigned j = 0; j < fields.ny; ++j)
            for (unsigned k = 0; k < fields.nz; ++k) {
                const fluid::LBM_Cell3<float>* cell = grid.at(i, j, k);
                if (cell == nullptr || !cell->isFluid()) continue;
                const std::size_t n = fields.index(i, j, k);
                const float fill = static_cast<const fluid::LBM_Q19_MAC_Cell3F*>(cell)->getEpsilon();
                fields.fill[n] = std::clamp(fill, 0.0f, 1.0f);
                const Vector3<float> v = fluid.gridToWorldVelocity(fluid.getVelocityAt(i, j, k));
                fields.velocity[3 * n] = v.x;
                fields.velocity[3 * n + 1] = v.y;
                fields.velocity[3 * n + 2] = v.z;
            }
    return fields;
}

namespace {

// One appended block: its byte count (UInt64) and the values, x fastest as
// VTK orders image points.
std::vector<unsigned char> appendedBlock(const CellFields& fields, const std::vector<float>& values,
                                         unsigned int components) {
    const uint64_t bytes = uint64_t(fields.fill.size()) * components * sizeof(float);
    std::vector<unsigned char> block(sizeof(uint64_t) + bytes);
    storeLittleEndian(bytes, block.data());
    unsigned char* out = block.data() + sizeof(uint64_t);
    for (unsigned k = 0; k < fields.nz; ++k)
        for (unsigned j = 0; j < fields.ny; ++j)
            for (unsigned i = 0; i < fields.nx; ++i)
                out = storeLittleEndian(values.data() + fields.index(i, j, k) * components, components, out);
    return block;
}

}  // namespace

bool writeVtkImage(const std::string& path, const CellFields& fields, std::string& error) {
    const std::vector<unsigned char> fill = appendedBlock(fields, fields.fill, 1);
    const std::vector<unsigned char> velocity = appendedBlock(fields, fields.velocity, 3);
    char extent[96], place[160];
    std::snprintf(extent, sizeof extent, "0 %u 0 %u 0 %u", fields.nx - 1, fields.ny - 1, fields.nz - 1);
    std::snprintf(place, sizeof place, "Origin=\"%.9g %.9g %.9g\" Spacing=\"%.9g %.9g %.9g\"", fields.origin.x,
                  fields.origin.y, fields.origin.z, fields.cellSize, fields.cellSize, fields.cellSize);
    const std::string header =
        "<?xml version=\"1.0\"?>\n"
        "<VTKFile type=\"ImageData\" version=\"1.0\" byte_order=\"LittleEndian\" header_type=\"UInt64\">\n"
        "  <ImageData WholeExtent=\"" + std::string(extent) + "\" " + place + ">\n"
        "    <Piece Extent=\"" + extent + "\">\n"
        "      <PointData Scalars=\"fill\" Vectors=\"velocity\">\n"
        "        <DataArray type=\"Float32\" Name=\"fill\" format=\"appended\" offset=\"0\"/>\n"
        "        <DataArray type=\"Float32\" Name=\"velocity\" NumberOfComponents=\"3\" format=\"appended\" offset=\"" +
        std::to_string(fill.size()) + "\"/>\n"
        "      </PointData>\n"
        "    </Piece>\n"
        "  </ImageData>\n"
        "  <AppendedData encoding=\"raw\">\n   _";
    const std::string footer = "\n  </AppendedData>\n</VTKFile>\n";

    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) {
        error = "cannot open " + path + " for writing";
        return false;
    }
    bool written = std::fwrite(header.data(), 1, header.size(), file) == header.size() &&
                   std::fwrite(fill.data(), 1, fill.size(), file) == fill.size() &&
                   std::fwrite(velocity.data(), 1, velocity.size(), file) == velocity.size() &&
                   std::fwrite(footer.data(), 1, footer.size(), file) == footer.size();
    written = std::fclose(file) == 0 && written;
    if (!written) error = "cannot write " + path;
    return written;
}

}  // namespace kelvar::demo
