// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include <gas/core/gas_compiler.h>

inline namespace gas_abi1 {

/// What callbacks did to a ray's bound (gas_leaf_callbacks.h says what they may). A walk that keeps
/// only what it needs while bounds do as they mostly do hands a ray over where one does not: the
/// walk of the binary tree then passes the leaves that were visited, sees the bounds of then, and
/// goes on from there.

/// What a visit did to the bound, as far as a walk can follow.
enum class GasBoundChange { none, shorter, lost };

/// The bounds of one walk, by visits of leaves. `Query` says whether the bound may come nearer.
template <typename Query> class GasBoundHistory {
  public:
    GasBoundHistory() = default;
    explicit GasBoundHistory(double bound) : m_first(bound), m_last(bound) {}

    /// After each visit. Lost: a bound that has moved away, is a NaN, came nearer where it may not,
    /// or did so too often to be kept.
    GasBoundChange follow(double bound) {
        ++m_visit_count;
        if (bound == m_last)
            return GasBoundChange::none;
        if (!Query::follows_bound || !(bound < m_last) || m_change_count == capacity)
            return GasBoundChange::lost;
        m_changes[m_change_count++] = {m_visit_count, bound};
        m_last = bound;
        return GasBoundChange::shorter;
    }

    std::uint64_t get_visit_count() const { return m_visit_count; }

    /// The bound after the first `visit_count` visits, fewer than there were.
    double get_bound(std::uint64_t visit_count) const {
        double bound = m_first;
        for (unsigned i = 0; i < m_change_count && m_changes[i].visit_count <= visit_count; ++i)
            bound = m_changes[i].bound;
        return bound;
    }

  private:
    struct Change {
        std::uint64_t visit_count;
        double bound;
    };
    /// Rays meet leaves from near to far: more hits than these, each nearer than all before, are
    /// rare.
    static constexpr unsigned capacity = Query::follows_bound ? 16 : 1;

    double m_first;
    double m_last;
    std::uint64_t m_visit_count = 0;
    unsigned m_change_count = 0;
    Change m_changes[capacity];
};

/// A query that goes on after a walk that gave up: it passes what that one visited.
template <typename Query> class GasResumedQuery {
  public:
    GasResumedQuery(const Query& query, const GasBoundHistory<Query>& history)
        : m_query(query), m_history(history) {}

    double get_bound() const {
        return has_caught_up() ? m_query.get_bound() : m_history.get_bound(m_passed);
    }
    static bool is_beyond(float entry_distance, double bound) {
        return Query::is_beyond(entry_distance, bound);
    }

    template <typename Tree, typename CallLeaf>
    bool visit_leaf(const Tree& tree, unsigned leaf, const CallLeaf& call_leaf) {
        if (has_caught_up())
            return m_query.visit_leaf(tree, leaf, call_leaf);
        ++m_passed;
        return false;
    }

    void finish() { m_query.finish(); }

  private:
    bool has_caught_up() const { return m_passed == m_history.get_visit_count(); }

    // Copies: what an engine keeps in registers must not be looked at from elsewhere.
    Query m_query;
    const GasBoundHistory<Query> m_history;
    std::uint64_t m_passed = 0;
};

/// What a walk does after each visit of a leaf. Where the bound came nearer, `shorten(bound)` has
/// the walk follow. Where the walk cannot follow, `resume(query)` walks the binary tree with the
/// resumed query to the ray's end; false: it did.
template <typename Query, typename Shorten, typename Resume>
GAS_FORCE_INLINE bool gas_follow_or_resume(const Query& query, GasBoundHistory<Query>& history,
                                           const Shorten& shorten, const Resume& resume) {
    const double bound = query.get_bound();
    const GasBoundChange change = history.follow(bound);
    if (change == GasBoundChange::lost) {
        resume(GasResumedQuery<Query>(query, history));
        return false;
    }
    if (change == GasBoundChange::shorter)
        shorten(bound);
    return true;
}

} // namespace gas_abi1
