#pragma once

#include <functional>
#include <vector>

#include <tests/naive/naive_tree.h>

namespace naive {

/// A convex region: the points with normal . p + offset >= 0 for every plane.
struct Plane {
    double normal[3];
    double offset;
};
using Frustum = std::vector<Plane>;

/// Four rays as the packet walk keeps them, lane j for ray 4k + j.
struct Packet {
    float origin[3][4] = {};
    float inverse[3][4] = {};
    float near_distance[4] = {};
    float far_distance[4] = {};
};

/// The packets of one frame. A batch that needs more than there are starts from zeros; a smaller
/// one finds what the batches before it left.
using PacketBuffer = std::vector<Packet>;

/// The lanes of `packet` (bit j for lane j) whose rays are inside the box somewhere between their
/// near and far distances.
unsigned hit_lanes(const Packet& packet, const Box& box);
/// The ends of a range of rays, moved by the mask of the packet that holds them: to the next lane
/// that hits, or out of the packet.
int move_first(int first, unsigned mask);
int move_last(int last, unsigned mask);

/// Whether every corner of the box lies beyond one of the planes.
bool is_outside(const Frustum& frustum, const Box& box);

/// A batch: its rays, and the range of those to trace.
struct Batch {
    std::vector<Ray> rays;
    int first = 0;
    int last = -1;
    /// Null: none.
    const Frustum* frustum = nullptr;
};

/// The rays of a batch that a node is left with: none when `first` is beyond `last` or when the
/// frustum took them.
struct RayRange {
    int first;
    int last;
    bool culled = false;

    bool is_empty() const { return culled || first > last; }
};

/// The rays of a batch on their way through one tree: in packets, or one by one through a tree of
/// fewer than four levels, which leaves the buffer alone.
class BatchRays {
  public:
    BatchRays(PacketBuffer& buffer, const Batch& batch, unsigned tree_depth);

    /// Moves the ends of the range inwards to rays that are inside the box.
    RayRange narrow(const Box& box, const RayRange& range) const;
    /// Whether the first ray of the range visits a node's second child first: by the axis in the
    /// code, the other way around with 4 in it.
    bool starts_with_second(const RayRange& range, unsigned order_code) const;
    /// Takes up the hit distances that a callback left.
    void read_distances(const RayRange& range);

  private:
    PacketBuffer& m_buffer;
    const Batch& m_batch;
    bool m_in_packets;
};

/// Receives the item of a reached leaf, already mapped through the index array, and the rays that
/// it is asked about.
using RangeCallback = std::function<void(unsigned item, int first, int last)>;

/// What a walk did, for tests to see that it did anything.
struct PacketCounts {
    unsigned nodes = 0;
    unsigned culled_by_frustum = 0;
};

/// Traces a batch of several rays together for nearest hits. Trees of fewer than four levels leave
/// the buffer alone. An empty tree does nothing.
PacketCounts ray_hit_nearest_batch(const Tree& tree, PacketBuffer& buffer, Batch& batch,
                                   const RangeCallback& callback);

} // namespace naive
