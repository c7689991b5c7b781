#include <gas/build/gas_parallel_build.h>

#include <algorithm>
#include <atomic>
#include <cstdint>

#include <gas/build/gas_record_divider.h>

inline namespace gas_abi1 {

namespace {

/// Pieces per thread, for threads that are held up now and then.
constexpr unsigned pieces_per_thread = 4;
constexpr unsigned parts_per_thread = 8;

/// Where piece `piece` of `count` elements in `piece_count` pieces starts.
unsigned get_start(unsigned count, unsigned piece, unsigned piece_count) {
    return static_cast<unsigned>(std::uint64_t{count} * piece / piece_count);
}

} // namespace

/// The passes over a part's records, by all threads.
class GasParallelPasses {
  public:
    explicit GasParallelPasses(GasParallelBuild& build) : m_build(build) {}

    void fill_bins(const GasRecord* records, unsigned count, const GasBinning& binning,
                   GasRecordBins& bins) const {
        run(count, [&](Piece& piece, unsigned first, unsigned piece_count) {
            gas_fill_bins(records + first, piece_count, binning, piece.bins);
        });
        bins = m_build.m_pieces[0].bins;
        for (unsigned i = 1; i < m_build.m_piece_count; ++i)
            bins.add(m_build.m_pieces[i].bins);
    }

    GasRecordSides partition(GasRecord* records, unsigned count, unsigned axis, float position,
                             unsigned* numbers) const {
        return gas_with_axis(axis, [&](auto fixed_axis) {
            return partition<fixed_axis()>(records, count, position, numbers);
        });
    }

    GasLaneBounds get_center_bounds(const GasRecord* records, unsigned count) const {
        run(count, [&](Piece& piece, unsigned first, unsigned piece_count) {
            piece.bounds = gas_get_center_bounds(records + first, piece_count);
        });
        GasLaneBounds bounds = gas_no_bounds();
        for (unsigned i = 0; i < m_build.m_piece_count; ++i)
            bounds.add(m_build.m_pieces[i].bounds);
        return bounds;
    }

    /// Calls `work(piece, first, count)` for each piece of `count` elements.
    template <typename Work> void run(unsigned count, const Work& work) const {
        m_build.m_team.run(m_build.m_piece_count, [&](unsigned i) {
            const unsigned first = get_start(count, i, m_build.m_piece_count);
            work(m_build.m_pieces[i], first,
                 get_start(count, i + 1, m_build.m_piece_count) - first);
        });
    }

  private:
    using Piece = GasParallelBuild::Piece;

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
            m_build.m_team.run(move_count, [&](unsigned i) {
                gas_move_records<axis>(records, position, m_build.m_pieces[i].move);
            });
        }
        return sides;
    }

    /// Joins the pieces' sides, and their lists of numbers to one at the front.
    GasRecordSides join_sides(unsigned count, unsigned* numbers) const {
        GasRecordSides sides = {0, gas_no_bounds(), gas_no_bounds()};
        unsigned high_count = 0;
        for (unsigned i = 0; i < m_build.m_piece_count; ++i) {
            const GasRecordSides& piece = m_build.m_pieces[i].sides;
            const unsigned first = get_start(count, i, m_build.m_piece_count);
            const unsigned end = get_start(count, i + 1, m_build.m_piece_count);
            const unsigned piece_high_count = end - first - piece.low_count;
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
        for (unsigned i = 1; i < m_build.m_piece_count; ++i) {
            unsigned bottom = count - 1 - get_start(high_count, i, m_build.m_piece_count);
            if (bottom >= rest.top)
                continue;
            const unsigned* above = std::upper_bound(numbers, end, bottom);
            for (; bottom > low_count && above[-1] == bottom; --above)
                --bottom;
            if (bottom <= low_count)
                break;
            GasRecordMove& move = m_build.m_pieces[move_count++].move;
            move = rest;
            move.bottom = bottom;
            const auto stay_count =
                static_cast<unsigned>(std::upper_bound(above, end, rest.top) - above);
            rest.hole += rest.top - bottom + 1 - stay_count;
            move.last_hole = rest.hole - 1;
            rest.top = bottom - 1;
            rest.carried_min = gas_load_min(records[*rest.hole]);
            rest.carried_max = gas_load_max(records[*rest.hole]);
        }
        m_build.m_pieces[move_count++].move = rest;
        return move_count;
    }

    GasParallelBuild& m_build;
};

GasParallelBuild::GasParallelBuild(SysThreadTaskManager& manager, unsigned size, unsigned part_size)
    : m_team(manager, size), m_part_size(part_size),
      m_piece_count(pieces_per_thread * m_team.get_size()), m_pieces(new Piece[m_piece_count]),
      m_task_limit(parts_per_thread * m_team.get_size()), m_tasks(new Task[m_task_limit]) {}

GasBoxFacts GasParallelBuild::make_records(const GMathBbox3<float>* bboxes, unsigned count,
                                           GasRecord* records, GasLaneBounds& bounds) {
    GasParallelPasses(*this).run(count, [&](Piece& piece, unsigned first, unsigned piece_count) {
        piece.bounds = gas_no_bounds();
        piece.facts = gas_make_records(bboxes, first, piece_count, records, piece.bounds);
    });
    GasBoxFacts facts = {true, true};
    for (unsigned i = 0; i < m_piece_count; ++i) {
        bounds.add(m_pieces[i].bounds);
        facts.is_comparable = facts.is_comparable && m_pieces[i].facts.is_comparable;
        facts.is_ordered = facts.is_ordered && m_pieces[i].facts.is_ordered;
    }
    return facts;
}

void GasParallelBuild::build(GasRecordBuild& build, const GasBuildPart& whole) {
    divide(build, whole);

    AppProgressBar* const progress_bar = build.progress_bar;
    std::atomic<unsigned> built_leaf_count = 0;
    const auto report = [&] {
        const unsigned leaf_count = built_leaf_count.load(std::memory_order_relaxed);
        while (progress_bar && build.built_leaf_count < leaf_count)
            progress_bar->increment_if_step(++build.built_leaf_count);
    };
    m_team.run(
        m_task_count,
        [&](unsigned i) {
            GasRecordBuild own = {build.method, build.nodes, build.records, build.numbers};
            gas_build_part(own, m_tasks[i].part);
            gas_close_nodes(own);
            m_tasks[i].depth = own.depth;
            built_leaf_count.fetch_add(m_tasks[i].part.count, std::memory_order_relaxed);
        },
        [&](unsigned) { report(); });
    report();
    for (unsigned i = 0; i < m_task_count; ++i) {
        if (build.depth < m_tasks[i].depth)
            build.depth = m_tasks[i].depth;
    }
    gas_close_nodes(build);
}

void GasParallelBuild::divide(GasRecordBuild& build, const GasBuildPart& whole) {
    const unsigned small_count = gas_get_small_count(build.method);
    const GasParallelPasses passes(*this);
    m_task_count = 0;
    insert(whole);
    while (m_task_count < m_task_limit) {
        const GasBuildPart part = m_tasks[0].part;
        if (part.count <= m_part_size || part.count <= small_count)
            break;
        GasBuildPart first;
        GasBuildPart second;
        gas_open_node(build, part, gas_divide_records(passes, build, part), first, second);
        --m_task_count;
        std::copy(&m_tasks[1], &m_tasks[1] + m_task_count, &m_tasks[0]);
        insert(first);
        insert(second);
    }
}

void GasParallelBuild::insert(const GasBuildPart& part) {
    unsigned place = m_task_count++;
    for (; place > 0 && m_tasks[place - 1].part.count < part.count; --place)
        m_tasks[place] = m_tasks[place - 1];
    m_tasks[place].part = part;
}

} // namespace gas_abi1
