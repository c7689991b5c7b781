#pragma once

#include <bit>
#include <cinttypes>
#include <cstdint>
#include <cstdio>

#include <gas/compressed/gas_compressed_tree.h>
#include <gas/host/host.h>
#include <gas/tree/gas_tree.h>

#include <tests/support/scenes.h>
#include <tests/support/tree_build.h>

/// A 64-bit FNV-1a hash over little-endian words.
class Hash {
  public:
    void add(std::uint32_t word) {
        for (unsigned shift = 0; shift < 32; shift += 8)
            add_byte(static_cast<unsigned char>(word >> shift & 0xff));
    }
    void add_byte(unsigned char byte) {
        m_value ^= byte;
        m_value *= 0x100000001b3u;
    }
    void add(const GMathVec3<float>& corner) {
        for (unsigned axis = 0; axis < 3; ++axis)
            add(std::bit_cast<std::uint32_t>(corner[axis]));
    }
    void add(const GMathBbox3<float>& box) {
        add(box.min);
        add(box.max);
    }
    /// Over everything in a tree that has a meaning: of the flags that is the lowest four bits.
    void add(const GasTree& tree) {
        add(tree.get_depth());
        for (unsigned i = 0; i < tree.get_node_count(); ++i) {
            const GasTree::Node& node = tree.get_nodes()[i];
            add(node.bbox_min);
            add(node.index);
            add(node.bbox_max);
            add(node.flags & 15);
        }
    }
    /// Over the whole tree, which has no byte without a meaning.
    void add(const GasCompressedTree& tree) {
        add(tree.get_depth());
        add(tree.get_bbox());
        for (unsigned i = 0; i < tree.get_node_count(); ++i) {
            const GasCompressedNode& node = tree.get_nodes()[i];
            for (unsigned byte = 0; byte < 8; ++byte)
                add_byte(node.get_bytes()[byte]);
            add(node.children[0]);
            add(node.children[1]);
        }
    }
    std::uint64_t get() const { return m_value; }

  private:
    std::uint64_t m_value = 0xcbf29ce484222325u;
};

/// Prints the rows of a table, by scene kind and build method, as the program finds them now:
/// `hash_scene(kind, split, count)` for each of these counts.
template <typename Counts, typename HashScene>
void print_hash_rows(const Counts& counts, const HashScene& hash_scene) {
    for (const scenes::Kind kind : scenes::all_kinds()) {
        for (const naive::Split split : support::all_splits) {
            std::printf("    // %s, %s\n    {", scenes::name(kind), support::name(split));
            const char* separator = "";
            for (const unsigned count : counts) {
                std::printf("%s0x%016" PRIx64, separator, hash_scene(kind, split, count));
                separator = ", ";
            }
            std::printf("},\n");
        }
    }
}
