#pragma once

#include <array>
#include <vector>

#include <tests/naive/naive_packets.h>
#include <tests/naive/naive_tree.h>

namespace naive {

/// The boxes of two children against their parent's box: three minima, the owner bits, three
/// maxima.
using PairBytes = std::array<unsigned char, 7>;
/// A pair, the leaf and order bits, and the two children's references.
using Record = std::array<unsigned char, 16>;

struct BoxPair {
    Box first;
    Box second;
};

/// The boxes of one motion-blur sample; `bytes` is empty until it is filled, then it holds seven
/// bytes per node.
struct CompressedSample {
    std::vector<unsigned char> bytes;
    Box root_box = {};
};

struct CompressedTree {
    std::vector<Record> nodes;
    Box root_box = {};
    unsigned leaf_count = 0;
    unsigned node_count = 0;
    unsigned depth = 0;
    /// Copy of the index array; empty without one.
    std::vector<unsigned> items;
    std::vector<CompressedSample> samples;
    /// The running leaf count, recorded where the build tells a bar of it.
    std::vector<unsigned> progress_calls;
};

/// A child as its parent's record names it: a node, or the position of an item.
struct Reference {
    bool leaf;
    unsigned index;
};

Reference first_child(const Record& record);
Reference second_child(const Record& record);
/// The axis along which the children are best apart, plus 4 when the first one lies above.
unsigned order_code(const Record& record);

/// Rounds both boxes outwards in steps of a 255th of the parent's extent.
PairBytes encode_pair(const Box& parent, const Box& first, const Box& second);
BoxPair decode_pair(const PairBytes& bytes, const Box& parent);
/// The pair of a node, and that of a node in one filled sample.
PairBytes pair_bytes(const CompressedTree& tree, unsigned node);
PairBytes pair_bytes(const CompressedTree& tree, unsigned node, unsigned sample);

/// Builds a tree over the boxes; no boxes give an empty tree. `indices` is empty or has one entry
/// per box.
CompressedTree build_compressed(const std::vector<Box>& boxes, Split split,
                                const std::vector<unsigned>& indices = {});
/// Resizes the table of samples; samples that stay keep their boxes, new ones are empty.
void set_sample_count(CompressedTree& tree, unsigned count);
/// Fills one sample; false, and no change, for a wrong number of boxes or a sample beyond the
/// table.
bool refit_sample(CompressedTree& tree, const std::vector<Box>& boxes, unsigned sample);

/// All boxes as a walk decodes them: entry k is that of node k, entry `node_count` + p that of the
/// leaf at position p.
std::vector<Box> decoded_boxes(const CompressedTree& tree);
/// The same for one filled sample.
std::vector<Box> decoded_boxes(const CompressedTree& tree, unsigned sample);

/// The walks of the plain tree over boxes that are decoded on the way down. A tree over one item
/// calls back once, whatever the ray. A cached leaf is tried if its entry names this tree, even if
/// the tree has fewer leaves now: then it gives the position as it is, or calls nothing through an
/// index array. Either way the ray's flag is looked at, which may have been set before.
void ray_hit_static(const CompressedTree& tree, Cache& cache, Ray& ray,
                    const LeafCallback& callback);
/// Over boxes blended between two filled samples; without two samples, the static walk.
void ray_hit_motion(const CompressedTree& tree, Cache& cache, Ray& ray, TimeSpan span,
                    const LeafCallback& callback);
void ray_hit_nearest_static(const CompressedTree& tree, Cache& cache, Ray& ray,
                            const LeafCallback& callback);
void ray_hit_nearest_motion(const CompressedTree& tree, Cache& cache, Ray& ray, TimeSpan span,
                            const LeafCallback& callback);

/// Traces a batch of several rays together for nearest hits, in packets as the plain tree does. A
/// tree over one item calls back once for all rays.
PacketCounts ray_hit_nearest_batch(const CompressedTree& tree, PacketBuffer& buffer, Batch& batch,
                                   const RangeCallback& callback);

} // namespace naive
