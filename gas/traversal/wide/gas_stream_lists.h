#pragma once

#include <bit>
#include <cstdint>

inline namespace gas_abi1 {

/// The rays of a stream that are in flight, as sets by what they do next.

/// What a ray does next. Rays that do the same are served in one run, so that no branch has to be
/// guessed from ray to ray.
enum GasStreamStep : unsigned { expand_node, visit_leaf, take_next_ray = 3 };

class GasStreamLists {
  public:
    /// Rays in flight. Enough to hide the wait for memory; few enough for their state to stay in
    /// the nearest cache, and for a set of them to be a word.
    static constexpr unsigned slot_count = 32;

    /// All slots are at `take_next_ray`.
    GasStreamLists() : m_nodes(0), m_leaves(0), m_new_rays(~std::uint32_t{0}) {}

    bool is_empty() const { return (m_nodes | m_leaves | m_new_rays) == 0; }

    /// Calls `run(slot)` for the slots at `step`; it returns the step of each that follows. The
    /// sets are computed from the two bits of a step: where a ray went to decides over no address
    /// that the next ray's run would wait for.
    template <GasStreamStep step, typename Run> void advance(const Run& run) {
        std::uint32_t& set = get_set<step>();
        const std::uint32_t served = set;
        std::uint32_t low_bits = 0;
        std::uint32_t high_bits = 0;
        for (std::uint32_t rest = served; rest != 0; rest &= rest - 1) {
            const auto slot = static_cast<unsigned>(std::countr_zero(rest));
            const unsigned next = run(slot);
            low_bits |= (next & 1) << slot;
            high_bits |= (next >> 1) << slot;
        }
        set = 0;
        m_nodes |= served & ~low_bits;
        m_leaves |= low_bits & ~high_bits;
        m_new_rays |= high_bits;
    }

    /// The slots at `take_next_ray` are no longer needed.
    void dismiss() { m_new_rays = 0; }

  private:
    template <GasStreamStep step> std::uint32_t& get_set() {
        if constexpr (step == expand_node)
            return m_nodes;
        else if constexpr (step == visit_leaf)
            return m_leaves;
        else
            return m_new_rays;
    }

    std::uint32_t m_nodes;
    std::uint32_t m_leaves;
    std::uint32_t m_new_rays;
};

static_assert(expand_node == 0 && visit_leaf == 1 && take_next_ray == 3,
              "a step is computed, and taken apart again, by its bits");

} // namespace gas_abi1
