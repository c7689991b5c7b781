#pragma once

#include <bit>
#include <cstdint>

/// The rays of a stream that are in flight, as sets by what they do next.

/// What a ray does next. Rays that do the same are served in one run, so that no branch has to be
/// guessed from ray to ray.
enum GasStreamStep : unsigned { expand_node, visit_leaf, pop_entry, take_next_ray };

class GasStreamLists {
  public:
    /// Rays in flight. Enough to hide the wait for memory; few enough for their state to stay in
    /// the nearest cache, and for a set of them to be a word.
    static constexpr unsigned slot_count = 32;

    /// All slots are at `take_next_ray`.
    GasStreamLists() : m_sets{0, 0, 0, ~std::uint32_t{0}} {}

    bool is_empty() const { return (m_sets[0] | m_sets[1] | m_sets[2] | m_sets[3]) == 0; }

    /// Calls `run(slot)` for the slots at `step`; it returns the step of each that follows. The
    /// sets are computed from the two bits of a step: where a ray went to decides over no address
    /// that the next ray's run would wait for.
    template <GasStreamStep step, typename Run> void advance(const Run& run) {
        const std::uint32_t served = m_sets[step];
        std::uint32_t low_bits = 0;
        std::uint32_t high_bits = 0;
        for (std::uint32_t rest = served; rest != 0; rest &= rest - 1) {
            const auto slot = static_cast<unsigned>(std::countr_zero(rest));
            const unsigned next = run(slot);
            low_bits |= (next & 1) << slot;
            high_bits |= (next >> 1) << slot;
        }
        m_sets[step] = 0;
        m_sets[expand_node] |= served & ~low_bits & ~high_bits;
        m_sets[visit_leaf] |= low_bits & ~high_bits;
        m_sets[pop_entry] |= high_bits & ~low_bits;
        m_sets[take_next_ray] |= high_bits & low_bits;
    }

    /// The slots at `take_next_ray` are no longer needed.
    void dismiss() { m_sets[take_next_ray] = 0; }

  private:
    std::uint32_t m_sets[4];
};

static_assert(expand_node == 0 && visit_leaf == 1 && pop_entry == 2 && take_next_ray == 3,
              "a step is computed, and taken apart again, by its bits");
