#pragma once

/// The rays of a stream that are in flight, listed by what they do next.

/// What a ray does next. Rays that do the same are served in one run, so that no branch has to be
/// guessed from ray to ray.
enum GasStreamStep : unsigned { expand_node, visit_leaf, pop_entry, take_next_ray };

class GasStreamLists {
  public:
    /// Rays in flight. Enough to hide the wait for memory; few enough for their state to stay in
    /// the nearest cache.
    static constexpr unsigned slot_count = 32;
    /// The step of a slot that is no longer needed.
    static constexpr unsigned none = 4;

    /// All slots are at `take_next_ray`.
    GasStreamLists() {
        for (unsigned slot = 0; slot < slot_count; ++slot)
            m_slots[take_next_ray][slot] = static_cast<unsigned char>(slot);
        m_counts[take_next_ray] = slot_count;
    }

    bool is_empty() const { return (m_counts[0] | m_counts[1] | m_counts[2] | m_counts[3]) == 0; }

    /// Calls `run(slot)` for the slots at `step`; it returns the step of each that follows. In two
    /// passes: were each slot put on its list at once, the next one's run would wait for the place.
    template <GasStreamStep step, typename Run> void advance(const Run& run) {
        const unsigned count = m_counts[step];
        unsigned char slots[slot_count];
        unsigned char steps[slot_count];
        for (unsigned i = 0; i < count; ++i) {
            slots[i] = m_slots[step][i];
            steps[i] = static_cast<unsigned char>(run(slots[i]));
        }
        m_counts[step] = 0;
        unsigned counts[4] = {m_counts[0], m_counts[1], m_counts[2], m_counts[3]};
        for (unsigned i = 0; i < count; ++i) {
            for (unsigned next = 0; next < 4; ++next) {
                m_slots[next][counts[next]] = slots[i];
                counts[next] += steps[i] == next;
            }
        }
        for (unsigned next = 0; next < 4; ++next)
            m_counts[next] = counts[next];
    }

  private:
    /// One place more than there are slots: every list is written to, wherever a slot goes.
    unsigned char m_slots[4][slot_count + 1];
    unsigned m_counts[4] = {0, 0, 0, 0};
};
