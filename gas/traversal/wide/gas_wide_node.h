// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

inline namespace gas_abi1 {

/// Levels of a binary tree in one record: up to `lanes` boxes that a ray is tested against at once.
/// The first half of the lanes stands for the binary node's first child, the second half for its
/// second. With four lanes a half holds that child's two children, or in its first lane the child
/// itself.
template <unsigned lanes> struct alignas(64) GasWideNodeOf {
    static_assert(lanes >= 4 && (lanes & (lanes - 1)) == 0, "each lane has its place in a half");
    static constexpr unsigned width = lanes;
    /// Set in a reference to a leaf, whose other bits are its item; otherwise an index of a node.
    static constexpr unsigned leaf_flag = 1u << 31;
    /// The reference of an empty lane. Its box lies between planes that no ray passes in order.
    static constexpr unsigned no_reference = 0xFFFFFFFFu;

    /// Min and max along x, y and z, a lane each: plane 2 * axis is the min.
    float planes[6][width];
    unsigned references[width];
    /// The binary node that this one stands for.
    unsigned binary_node;
    /// That one's first child.
    unsigned first_child;
    /// The binary nodes in the even lanes; those in the odd ones, if any, are the ones after.
    unsigned lane_nodes[width / 2];
};

/// The wide node of the trees. A type of its own, so that it can be declared where only its name
/// is known.
struct GasWideNode : GasWideNodeOf<4> {};

static_assert(sizeof(GasWideNode) == 128, "two cache lines");
static_assert(offsetof(GasWideNode, planes) == 0, "a node begins with its planes");
static_assert(offsetof(GasWideNode, references) == 96, "references close the boxes");

/// The boxes of wide nodes in all motion-blur samples: a record for each node, and in it the
/// samples one beside the other, so that a ray finds the two around its time together. Floats, in
/// order:
///
///     half_planes[sample][3][4]   along each axis the min of both halves' boxes, then their max;
///                                 blended boxes do not unite to their parent's
///     planes[sample][6][4]        as in the node
///     references[4]               those of the node
///
/// A load of two half planes may reach over two planes more, but must not reach references: as
/// floats these are denormal, and arithmetic with denormals takes a hundred cycles.
class GasWideSampleRecords {
  public:
    static constexpr std::size_t half_planes_size = 3 * GasWideNode::width * sizeof(float);
    static constexpr std::size_t planes_size = 6 * GasWideNode::width * sizeof(float);
    /// Of the records, which are a number of cache lines each.
    static constexpr std::size_t alignment = 64;

    GasWideSampleRecords() = default;
    GasWideSampleRecords(void* records, unsigned sample_count)
        : m_records(static_cast<char*>(records)), m_record_size(get_record_size(sample_count)),
          m_sample_count(sample_count) {}

    static std::size_t get_record_size(unsigned sample_count) {
        const std::size_t size =
            sample_count * (half_planes_size + planes_size) + GasWideNode::width * sizeof(unsigned);
        return (size + alignment - 1) / alignment * alignment;
    }

    unsigned get_sample_count() const { return m_sample_count; }
    std::size_t get_record_size() const { return m_record_size; }
    char* get_record(unsigned node) const { return m_records + node * m_record_size; }

    /// Within a record.
    std::size_t find_half_planes(unsigned sample) const { return sample * half_planes_size; }
    std::size_t find_planes(unsigned sample) const {
        return m_sample_count * half_planes_size + sample * planes_size;
    }
    std::size_t find_references() const { return find_planes(m_sample_count); }

    float (&get_half_planes(unsigned node, unsigned sample) const)[3][GasWideNode::width] {
        return *reinterpret_cast<float(*)[3][GasWideNode::width]>(get_record(node) +
                                                                  find_half_planes(sample));
    }
    float (&get_planes(unsigned node, unsigned sample) const)[6][GasWideNode::width] {
        return *reinterpret_cast<float(*)[6][GasWideNode::width]>(get_record(node) +
                                                                  find_planes(sample));
    }
    unsigned* get_references(unsigned node) const {
        return reinterpret_cast<unsigned*>(get_record(node) + find_references());
    }

  private:
    char* m_records = nullptr;
    std::size_t m_record_size = 0;
    unsigned m_sample_count = 0;
};

} // namespace gas_abi1
