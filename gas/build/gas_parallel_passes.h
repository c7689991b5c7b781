// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>

#include <gas/build/gas_build_team.h>
#include <gas/build/gas_record_build.h>

inline namespace gas_abi1 {

/// The passes over a part's records, by all threads of a team. The records are cut into pieces, and
/// what was found in each is joined: no union or count depends on the order of records, so it never
/// shows which thread did what.
class GasParallelPasses {
  public:
    /// Allocates all that is needed.
    explicit GasParallelPasses(GasBuildTeam& team)
        : m_team(team), m_piece_count(pieces_per_thread * team.get_size()),
          m_pieces(new Piece[m_piece_count]) {}

    /// As the function of that name, for all items.
    template <typename Box>
    GasBoxFacts make_records(const Box* bboxes, unsigned count, GasRecord* records,
                             GasLaneBox& bounds) const {
        run(count, [&](Piece& piece, unsigned first, unsigned piece_count) {
            piece.bounds = GasLaneBox::get_empty();
            piece.facts = gas_make_records(bboxes, first, piece_count, records, piece.bounds);
        });
        GasBoxFacts facts;
        for (unsigned i = 0; i < m_piece_count; ++i) {
            bounds.add(m_pieces[i].bounds);
            facts.add(m_pieces[i].facts);
        }
        return facts;
    }

    void fill_bins(const GasRecord* records, unsigned count, const GasBinning& binning,
                   GasRecordBins& bins) const {
        run(count, [&](Piece& piece, unsigned first, unsigned piece_count) {
            gas_fill_bins(records + first, piece_count, binning, piece.bins);
        });
        bins = m_pieces[0].bins;
        for (unsigned i = 1; i < m_piece_count; ++i)
            bins.add(m_pieces[i].bins);
    }

    GasRecordSides partition(GasRecord* records, unsigned count, unsigned axis, float position,
                             unsigned* numbers) const {
        return gas_with_axis(axis, [&](auto fixed_axis) {
            return partition<fixed_axis()>(records, count, position, numbers);
        });
    }

    GasLaneBox get_bounds(const GasRecord* records, unsigned count) const {
        run(count, [&](Piece& piece, unsigned first, unsigned piece_count) {
            piece.bounds = gas_get_record_bounds(records + first, piece_count);
        });
        GasLaneBox bounds = GasLaneBox::get_empty();
        for (unsigned i = 0; i < m_piece_count; ++i)
            bounds.add(m_pieces[i].bounds);
        return bounds;
    }

  private:
    /// For threads that are held up now and then.
    static constexpr unsigned pieces_per_thread = 4;

    /// What one piece of a pass found.
    struct Piece {
        GasRecordBins bins;
        GasRecordSides sides;
        GasLaneBox bounds;
        GasRecordMove move;
        GasBoxFacts facts;
    };

    /// Where piece `piece` of `count` elements starts.
    unsigned get_start(unsigned count, unsigned piece) const {
        return static_cast<unsigned>(std::uint64_t{count} * piece / m_piece_count);
    }

    /// Calls `work(piece, first, count)` for each piece of `count` elements.
    template <typename Work> void run(unsigned count, const Work& work) const {
        m_team.run(m_piece_count, [&](unsigned i) {
            const unsigned first = get_start(count, i);
            work(m_pieces[i], first, get_start(count, i + 1) - first);
        });
    }

    template <unsigned axis>
    GasRecordSides partition(GasRecord* records, unsigned count, float position,
                             unsigned* numbers) const {
        run(count, [&](Piece& piece, unsigned first, unsigned piece_count) {
            piece.sides = gas_find_sides<axis>(records + first, piece_count, position, first,
                                               numbers + first);
        });
        const GasRecordSides sides = join_sides(count, numbers);
        if (sides.low_count == 0) {
            gas_rotate_records(records, count);
        } else if (sides.low_count < count) {
            const unsigned move_count = plan_moves(records, count, sides.low_count, numbers);
            m_team.run(move_count, [&](unsigned i) {
                gas_move_records<axis>(records, position, m_pieces[i].move);
            });
        }
        return sides;
    }

    /// Joins the pieces' sides, and their lists of numbers to one at the front.
    GasRecordSides join_sides(unsigned count, unsigned* numbers) const {
        GasRecordSides sides = {0, GasLaneBox::get_empty(), GasLaneBox::get_empty()};
        unsigned high_count = 0;
        for (unsigned i = 0; i < m_piece_count; ++i) {
            const GasRecordSides& piece = m_pieces[i].sides;
            const unsigned first = get_start(count, i);
            const unsigned piece_high_count = get_start(count, i + 1) - first - piece.low_count;
            std::copy(numbers + first, numbers + first + piece_high_count, numbers + high_count);
            high_count += piece_high_count;
            sides.low_count += piece.low_count;
            sides.low.add(piece.low);
            sides.high.add(piece.high);
        }
        return sides;
    }

    /// Cuts the move into stretches, each of which but the last ends with a record that belongs
    /// below; returns how many.
    unsigned plan_moves(const GasRecord* records, unsigned count, unsigned low_count,
                        const unsigned* numbers) const {
        const unsigned high_count = count - low_count;
        const unsigned* const end = numbers + high_count;
        GasRecordMove rest = gas_plan_move(records, count, low_count, numbers);
        // The list's holes: those below, and the last place if its record is one.
        const unsigned* const holes_end = std::upper_bound(numbers, end, low_count);
        rest.last_hole = holes_end - 1;
        unsigned move_count = 0;
        for (unsigned i = 1; i < m_piece_count; ++i) {
            unsigned bottom = count - 1 - get_start(high_count, i);
            if (bottom >= rest.top)
                continue;
            const unsigned* above = std::upper_bound(numbers, end, bottom);
            for (; bottom > low_count && above[-1] == bottom; --above)
                --bottom;
            if (bottom <= low_count)
                break;
            GasRecordMove& move = m_pieces[move_count++].move;
            move = rest;
            move.bottom = bottom;
            const auto stay_count =
                static_cast<unsigned>(std::upper_bound(above, end, rest.top) - above);
            rest.hole += rest.top - bottom + 1 - stay_count;
            move.last_hole = rest.hole - 1;
            rest.top = bottom - 1;
            rest.carried = gas_load_raw_box(records[*rest.hole]);
        }
        m_pieces[move_count++].move = rest;
        return move_count;
    }

    GasBuildTeam& m_team;
    unsigned m_piece_count;
    std::unique_ptr<Piece[]> m_pieces;
};

} // namespace gas_abi1
