// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include <gas/core/gas_bbox.h>
#include <gas/gas_export.h>
#include <gas/host/host.h>

inline namespace gas_abi1 {

/// A stack entry: a pending node of a walk. Single rays use the first two words, and in a
/// compressed tree the fifth; packets also the range of active rays.
struct GasStackEntry {
    unsigned node;
    float entry_distance;
    int first_ray;
    int last_ray;
    unsigned extra;
};

static_assert(sizeof(GasStackEntry) == 20, "five words");
static_assert(offsetof(GasStackEntry, entry_distance) == 4, "the second word");
static_assert(offsetof(GasStackEntry, first_ray) == 8, "the third word");
static_assert(offsetof(GasStackEntry, extra) == 16, "the fifth word");

/// How coherent the rays of a cache slot are, counted by where each ends: how many of some 32 rays
/// end where the ray before ended. Of camera rays in small scenes half do, of rays in random
/// directions hardly any.
class GasRayCoherence {
  public:
    /// Whether at least one of twenty rays ends where the ray before did.
    bool is_coherent() const { return m_share > whole / 20; }

    /// A ray ended at a leaf or wide node of `tree`, as the walk refers to it: the last one that it
    /// came to, or the one at which its walk began to look ahead. One that reaches nothing below
    /// the root, 0, tells nothing, nor does the first one after a ray of another tree: where small
    /// trees are nested, coherent rays go through several in turn.
    void end_ray(const void* tree, unsigned last_reference) {
        if (last_reference == 0)
            return;
        // No branch: it could not be guessed.
        const unsigned is_counted = tree == m_tree;
        const unsigned is_same = is_counted & (last_reference == m_last_reference);
        m_share = m_share - is_counted * (m_share / 32) + is_same * (whole / 32);
        m_tree = tree;
        m_last_reference = last_reference;
    }

  private:
    static constexpr unsigned whole = 4096;

    const void* m_tree = nullptr;
    unsigned m_last_reference = 0;
    /// Of `whole`.
    unsigned m_share = whole / 3;
};

/// What a cache slot keeps of its rays: the leaf that last stopped or hit one, no tree: none; and
/// how coherent they are.
struct GasCachedLeaf {
    const void* tree = nullptr;
    unsigned leaf = 0;
    GasRayCoherence coherence;
};

/// Scratch memory of one query: its stack of pending nodes and its cached leaves. Frames hang off a
/// CtxShader in a chain, one link per nesting depth; they grow and are never freed between queries.
/// The spatial queries take a frame from the caller directly. Used by one thread at a time.
class GAS_EXPORT GasTreeCtx {
  public:
    static constexpr unsigned cache_slot_count = 6;

    GasTreeCtx() = default;
    GasTreeCtx(const GasTreeCtx&) = delete;
    GasTreeCtx& operator=(const GasTreeCtx&) = delete;
    /// Frees the frame and all that follow it in the chain.
    ~GasTreeCtx();

    /// Gives the stack room for `entry_count` entries; what it held is lost if it has to grow.
    void reserve_stack(std::size_t entry_count);
    /// The same for the decoded boxes.
    void reserve_decoded_boxes(std::size_t count) {
        if (count > decoded_box_capacity)
            grow_decoded_boxes(count);
    }
    /// The same for all three slot buffers, one entry per stack entry.
    void reserve_slots() {
        reserve_decoded_boxes(stack_capacity);
        if (stack_capacity > node_state_capacity || stack_capacity > index_capacity)
            grow_slots();
    }

    GasStackEntry* stack = nullptr;
    unsigned stack_capacity = 0;
    unsigned stack_size = 0;

    /// Buffers of trees whose boxes are decoded during the walk, one record per stack entry, or two
    /// in motion.
    GasBbox* decoded_boxes = nullptr;
    unsigned decoded_box_capacity = 0;
    /// Eight bytes each.
    void* node_states = nullptr;
    unsigned node_state_capacity = 0;
    unsigned index_capacity = 0;
    unsigned counters[2] = {0, 0};
    unsigned* indices = nullptr;

    GasCachedLeaf all_hits_cache[cache_slot_count];
    GasCachedLeaf nearest_cache[cache_slot_count];

    /// Whether a nearest-hit callback lowered the current ray's hit distance.
    bool found = false;

    /// The node being expanded. The layout of these five fields and of `stack_size` is owed to the
    /// interface; the library does not read them.
    unsigned children[2] = {0, 0};
    unsigned child_hits[2] = {0, 0};
    float child_entry_distances[2] = {0.0f, 0.0f};
    float scratch_distances[4] = {0.0f, 0.0f, 0.0f, 0.0f};
    GasStackEntry current = {0, 0.0f, 0, 0, 0};

    /// The frame of the next nesting depth; owned, null until first needed.
    GasTreeCtx* next = nullptr;

  private:
    friend class GasTreeCtxLease;

    /// Makes the next frame, unless it is there, and room on the stack.
    [[gnu::cold]] void grow(std::size_t stack_entries);
    void grow_decoded_boxes(std::size_t count);
    void grow_slots();
};

/// Holds the next free frame of a shader's chain, from when it is taken until destruction. The
/// shader must have frames.
class GasTreeCtxLease {
  public:
    /// Takes nothing yet, but gives back what is taken from here on.
    explicit GasTreeCtxLease(CtxShader& shader)
        : m_slot(gas_host::get_tree_ctx_slot(shader)), m_ctx(static_cast<GasTreeCtx*>(m_slot)) {}
    GasTreeCtxLease(CtxShader& shader, std::size_t stack_entries) : GasTreeCtxLease(shader) {
        take(shader, stack_entries);
    }
    /// Takes the frame, with a stack of at least `stack_entries`. For a function that has no
    /// cleanup of its own: its caller holds the lease.
    static GasTreeCtx& take(CtxShader& shader, std::size_t stack_entries) {
        void*& slot = gas_host::get_tree_ctx_slot(shader);
        GasTreeCtx& ctx = *static_cast<GasTreeCtx*>(slot);
        if (!ctx.next || stack_entries > ctx.stack_capacity)
            ctx.grow(stack_entries);
        slot = ctx.next;
        return ctx;
    }
    GasTreeCtxLease(const GasTreeCtxLease&) = delete;
    GasTreeCtxLease& operator=(const GasTreeCtxLease&) = delete;
    ~GasTreeCtxLease() { m_slot = m_ctx; }

    GasTreeCtx& get() const { return *m_ctx; }

  private:
    void*& m_slot;
    GasTreeCtx* m_ctx;
};

} // namespace gas_abi1
