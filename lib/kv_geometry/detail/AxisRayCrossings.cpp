#include "kv_geometry/detail/AxisRayCrossings.h"

#include <algorithm>
#include <cmath>

#include "kv_geometry/detail/ParallelRanges.h"

namespace kelvar::detail {

namespace {

struct Point2 {
    double u;
    double v;
};

// Whether p is inside the counter-clockwise edge p0 -> p1, deciding points on
// the edge as if p were moved by (e, e^2) for an infinitesimal e: inside when
// the edge runs downwards, or horizontally to the right.
bool insideEdge(const Point2& p0, const Point2& p1, const Point2& p) {
    const double du = p1.u - p0.u;
    const double dv = p1.v - p0.v;
    const double w = du * (p.v - p0.v) - dv * (p.u - p0.u);
    if (w != 0.0) return w > 0.0;
    return dv < 0.0 || (dv == 0.0 && du > 0.0);
}

}  // namespace

void AxisRayCrossings::build(const Mesh& mesh, const std::vector<int8_t>& orientation,
                             const VoxelLattice3<float>& lattice, const Tuple3<unsigned>& first,
                             const Tuple3<unsigned>& count, unsigned axis, unsigned threads) {
    lattice_ = lattice;
    axis_ = axis;
    u_ = (axis + 1) % 3;
    v_ = (axis + 2) % 3;
    first_ = first;
    count_ = count;

    if (threads == 0) threads = 1;
    std::vector<std::vector<Crossing>> perThread(threads);
    runRangesParallel(mesh.triangleCount(), threads, [&](uint32_t begin, uint32_t end, unsigned thread) {
        for (uint32_t t = begin; t < end; ++t) collect(mesh, t, orientation[t], perThread[thread]);
    });
    std::vector<Crossing> all;
    std::size_t total = 0;
    for (const auto& list : perThread) total += list.size();
    all.reserve(total);
    for (const auto& list : perThread) all.insert(all.end(), list.begin(), list.end());
    std::sort(all.begin(), all.end(), [](const Crossing& a, const Crossing& b) {
        if (a.column != b.column) return a.column < b.column;
        if (a.depth != b.depth) return a.depth < b.depth;
        return a.sign < b.sign;
    });

    const std::size_t columns = std::size_t(count_[u_]) * count_[v_];
    columnStart_.assign(columns + 1, 0);
    for (const Crossing& c : all) ++columnStart_[c.column + 1];
    for (std::size_t c = 0; c < columns; ++c) columnStart_[c + 1] += columnStart_[c];
    depth_.resize(all.size());
    windingAfter_.resize(all.size());
    int32_t winding = 0;
    uint64_t column = UINT64_MAX;
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (all[i].column != column) {
            column = all[i].column;
            winding = 0;
        }
        winding += all[i].sign;
        depth_[i] = all[i].depth;
        windingAfter_[i] = winding;
    }
}

void AxisRayCrossings::collect(const Mesh& mesh, uint32_t triangle, int32_t orientation,
                               std::vector<Crossing>& out) const {
    const Mesh::Triangle& t = mesh.getTriangles()[triangle];
    const auto& p = mesh.getVertices();
    const uint32_t n = mesh.vertexCount();
    if (t.first >= n || t.second >= n || t.third >= n) return;
    const Vector3<double> a(p[t.first].x, p[t.first].y, p[t.first].z);
    const Vector3<double> b(p[t.second].x, p[t.second].y, p[t.second].z);
    const Vector3<double> c(p[t.third].x, p[t.third].y, p[t.third].z);
    const Vector3<double> normal = (b - a).cross(c - a);
    const double projectedArea = normal[axis_];
    if (projectedArea == 0.0 || !std::isfinite(projectedArea)) return;

    Point2 q[3] = {{a[u_], a[v_]}, {b[u_], b[v_]}, {c[u_], c[v_]}};
    if (projectedArea < 0.0) std::swap(q[1], q[2]);  // counter-clockwise for the inclusion tests
    const int32_t sign = (projectedArea > 0.0 ? -1 : 1) * orientation;

    // Candidate columns: cell centres within the projection's bounding rectangle.
    const double lowest[2] = {std::min({q[0].u, q[1].u, q[2].u}), std::min({q[0].v, q[1].v, q[2].v})};
    const double highest[2] = {std::max({q[0].u, q[1].u, q[2].u}), std::max({q[0].v, q[1].v, q[2].v})};
    const unsigned axes[2] = {u_, v_};
    unsigned lo[2];
    unsigned hi[2];
    for (unsigned s = 0; s < 2; ++s) {
        const unsigned ax = axes[s];
        const double cellLo = std::floor((lowest[s] - lattice_.origin[ax]) / lattice_.cellSize[ax] - 0.5);
        const double cellHi = std::ceil((highest[s] - lattice_.origin[ax]) / lattice_.cellSize[ax] - 0.5);
        const double rangeLo = std::max(cellLo, double(first_[ax]));
        const double rangeHi = std::min(cellHi, double(first_[ax]) + double(count_[ax]) - 1.0);
        if (!(rangeLo <= rangeHi)) return;
        lo[s] = unsigned(rangeLo);
        hi[s] = unsigned(rangeHi);
    }
    for (unsigned iu = lo[0]; iu <= hi[0]; ++iu) {
        const double pu = lattice_.centreAlong(u_, iu);
        for (unsigned iv = lo[1]; iv <= hi[1]; ++iv) {
            const Point2 point{pu, double(lattice_.centreAlong(v_, iv))};
            if (!insideEdge(q[0], q[1], point) || !insideEdge(q[1], q[2], point) || !insideEdge(q[2], q[0], point))
                continue;
            const double depth =
                a[axis_] - (normal[u_] * (point.u - a[u_]) + normal[v_] * (point.v - a[v_])) / projectedArea;
            const uint64_t column = uint64_t(iu - first_[u_]) * count_[v_] + (iv - first_[v_]);
            out.push_back({column, depth, sign});
        }
    }
}

void AxisRayCrossings::vote(const Tuple3<unsigned>& blockFirst, const Tuple3<unsigned>& blockCount,
                            uint8_t* votes) const {
    unsigned cell[3];
    for (unsigned lu = 0; lu < blockCount[u_]; ++lu) {
        cell[u_] = blockFirst[u_] + lu;
        for (unsigned lv = 0; lv < blockCount[v_]; ++lv) {
            cell[v_] = blockFirst[v_] + lv;
            const std::size_t column = std::size_t(cell[u_] - first_[u_]) * count_[v_] + (cell[v_] - first_[v_]);
            const std::size_t begin = columnStart_[column];
            const std::size_t end = columnStart_[column + 1];
            if (begin == end) continue;
            const double firstCentre = lattice_.centreAlong(axis_, blockFirst[axis_]);
            const auto first = depth_.begin() + std::ptrdiff_t(begin);
            std::size_t next = std::size_t(std::lower_bound(first, depth_.begin() + std::ptrdiff_t(end), firstCentre) -
                                           depth_.begin());
            int32_t winding = next > begin ? windingAfter_[next - 1] : 0;
            for (unsigned la = 0; la < blockCount[axis_]; ++la) {
                cell[axis_] = blockFirst[axis_] + la;
                const double centre = lattice_.centreAlong(axis_, cell[axis_]);
                while (next < end && depth_[next] < centre) winding = windingAfter_[next++];
                if (winding == 0) continue;
                const unsigned l0 = cell[0] - blockFirst.first;
                const unsigned l1 = cell[1] - blockFirst.second;
                const unsigned l2 = cell[2] - blockFirst.third;
                ++votes[(std::size_t(l0) * blockCount.second + l1) * blockCount.third + l2];
            }
        }
    }
}

}  // namespace kelvar::detail
