// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <optional>
#include <vector>

namespace gas_app {

/// Deals units of work to ranks that ask, in the order of their numbers. When none is left, units
/// whose ranks have been silent for long, and may be dead, are dealt again. Times are in seconds on
/// one clock.
class Dealer {
  public:
    Dealer(unsigned unit_count, unsigned rank_count)
        : m_is_done(unit_count, false), m_left(unit_count), m_held(rank_count) {}

    /// The next unit for a rank that holds none; nothing: there is none, so far.
    std::optional<unsigned> deal(unsigned rank, double now) {
        if (m_next < m_is_done.size())
            return give(rank, m_next++, now);
        for (const std::optional<Held>& held : m_held)
            if (held && !m_is_done[held->unit] && is_overdue(*held, now) &&
                !is_held_in_time(held->unit, now))
                return give(rank, held->unit, now);
        return std::nullopt;
    }

    /// Of a rank that was dealt the unit: whether nobody was done with it before.
    bool take(unsigned rank, unsigned unit, double now) {
        if (m_held[rank])
            m_longest = std::max(m_longest, now - m_held[rank]->since);
        m_held[rank].reset();
        if (m_is_done[unit])
            return false;
        m_is_done[unit] = true;
        --m_left;
        return true;
    }

    bool is_done() const { return m_left == 0; }
    /// Whether a rank holds a unit for so long that it is taken for dead.
    bool seems_dead(unsigned rank, double now) const {
        return m_held[rank] && is_overdue(*m_held[rank], now);
    }
    /// Whether it holds none.
    bool is_idle(unsigned rank) const { return !m_held[rank]; }

    /// A unit is overdue after so many times of the longest that one took, and so many seconds.
    static constexpr double patience = 4.0;
    static constexpr double least_patience = 1.0;

  private:
    struct Held {
        unsigned unit;
        double since;
    };

    unsigned give(unsigned rank, unsigned unit, double now) {
        m_held[rank] = Held{unit, now};
        return unit;
    }
    bool is_overdue(const Held& held, double now) const {
        return m_longest > 0.0 && now - held.since > least_patience + patience * m_longest;
    }
    bool is_held_in_time(unsigned unit, double now) const {
        return std::any_of(m_held.begin(), m_held.end(), [&](const std::optional<Held>& held) {
            return held && held->unit == unit && !is_overdue(*held, now);
        });
    }

    std::vector<bool> m_is_done;
    std::size_t m_left;
    unsigned m_next = 0;
    /// Per rank.
    std::vector<std::optional<Held>> m_held;
    double m_longest = 0.0;
};

} // namespace gas_app
