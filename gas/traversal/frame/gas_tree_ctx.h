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

/// The leaf that last stopped or hit a ray of one cache slot; no tree: none.
struct GasCachedLeaf {
    const void* tree = nullptr;
    unsigned leaf = 0;
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
    void grow(std::size_t stack_entries);
    void grow_decoded_boxes(std::size_t count);
    void grow_slots();
};

/// Holds the next free frame of a shader's chain from construction to destruction, with a stack of
/// at least `stack_entries`. The shader must have frames.
class GasTreeCtxLease {
  public:
    GasTreeCtxLease(CtxShader& shader, std::size_t stack_entries)
        : m_slot(gas_host::get_tree_ctx_slot(shader)), m_ctx(static_cast<GasTreeCtx*>(m_slot)) {
        if (!m_ctx->next || stack_entries > m_ctx->stack_capacity)
            m_ctx->grow(stack_entries);
        m_slot = m_ctx->next;
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
