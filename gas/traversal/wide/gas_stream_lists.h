// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bit>
#include <cstdint>

inline namespace gas_abi1 {

/// What a ray does next. Rays that do the same are served in one run, so that no branch has to be
/// guessed from ray to ray.
struct GasStreamStep {
    /// `wait`: nothing, until its step is put.
    enum Value : unsigned { expand_node, visit_leaf, wait, take_next_ray };
};

/// Those of two rays.
struct GasStreamSteps {
    unsigned first;
    unsigned second;
};

/// The rays of a stream that are in flight, as sets by what they do next.
class GasStreamLists {
  public:
    /// Rays in flight. Enough to hide the wait for memory; few enough for their state to stay in
    /// the nearest cache, and for a set of them to be a word.
    static constexpr unsigned slot_count = 32;

    /// All slots are at `take_next_ray`, or wait.
    explicit GasStreamLists(GasStreamStep::Value step = GasStreamStep::take_next_ray)
        : m_new_rays(step == GasStreamStep::take_next_ray ? ~std::uint32_t{0} : 0) {}

    bool is_empty() const { return (m_nodes | m_leaves | m_new_rays) == 0; }

    /// Calls `run(slot)` for the slots at `step`; it returns the step of each that follows. The
    /// sets are computed from the two bits of a step: where a ray went to decides over no address
    /// that the next ray's run depends on.
    template <GasStreamStep::Value step, typename Run> void advance(const Run& run) {
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
        move(set, served, low_bits, high_bits);
    }

    /// The same by twos: `run(slot, other)` serves both. The last of an odd number comes along with
    /// itself.
    template <GasStreamStep::Value step, typename Run> void advance_by_twos(const Run& run) {
        std::uint32_t& set = get_set<step>();
        const std::uint32_t served = set;
        std::uint32_t low_bits = 0;
        std::uint32_t high_bits = 0;
        for (std::uint32_t rest = served; rest != 0;) {
            const auto slot = static_cast<unsigned>(std::countr_zero(rest));
            rest &= rest - 1;
            const auto other = rest == 0 ? slot : static_cast<unsigned>(std::countr_zero(rest));
            rest &= rest - 1;
            const GasStreamSteps next = run(slot, other);
            low_bits |= (next.first & 1) << slot | (next.second & 1) << other;
            high_bits |= next.first >> 1 << slot | next.second >> 1 << other;
        }
        move(set, served, low_bits, high_bits);
    }

    /// The step of a slot that waits.
    void put(unsigned slot, unsigned step) {
        std::uint32_t none = 0;
        move(none, std::uint32_t{1} << slot, (step & 1) << slot, (step >> 1) << slot);
    }

    /// The slots at `take_next_ray` are no longer needed.
    void dismiss() { m_new_rays = 0; }

  private:
    void move(std::uint32_t& set, std::uint32_t served, std::uint32_t low_bits,
              std::uint32_t high_bits) {
        set = 0;
        m_nodes |= served & ~low_bits & ~high_bits;
        m_leaves |= low_bits & ~high_bits;
        m_new_rays |= low_bits & high_bits;
    }

    template <GasStreamStep::Value step> std::uint32_t& get_set() {
        if constexpr (step == GasStreamStep::expand_node)
            return m_nodes;
        else if constexpr (step == GasStreamStep::visit_leaf)
            return m_leaves;
        else
            return m_new_rays;
    }

    std::uint32_t m_nodes = 0;
    std::uint32_t m_leaves = 0;
    std::uint32_t m_new_rays;
};

static_assert(GasStreamStep::expand_node == 0 && GasStreamStep::visit_leaf == 1 &&
                  GasStreamStep::wait == 2 && GasStreamStep::take_next_ray == 3,
              "a step is computed, and taken apart again, by its bits");

} // namespace gas_abi1
