// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <memory>
#include <thread>
#include <vector>

#include <tests/support/grid_items.h>
#include <tests/support/test_shader.h>

// Threads whose box callbacks trace into each other's cells, while all of them hold one.

namespace {

using support::BoxCallback;
using support::BoxRequest;
using support::GridItems;
using support::RayQuery;

/// Cell `cell` is built by thread `cell`; its box callback traces into cell `next[cell]`, unless
/// that is the number of cells, once all threads are in theirs.
struct Party {
    std::vector<unsigned> next;
    BoxCallback callback = BoxCallback::leaf_bboxes;
    /// From 512 they are asked for in tasks.
    unsigned item_count = 30;
    /// Whether each thread has a grid of its own for its cell.
    bool has_many_grids = false;
};

class CellParty {
  public:
    explicit CellParty(const Party& party)
        : m_party(party), m_cell_count(static_cast<unsigned>(party.next.size())),
          m_has_reacted(m_cell_count), m_all_hold(m_cell_count) {
        for (unsigned i = 0; i < (party.has_many_grids ? m_cell_count : 1); ++i) {
            m_items.push_back(std::make_unique<GridItems>(
                support::make_clusters(m_cell_count, party.item_count)));
            m_items.back()->build(m_grids.emplace_back(),
                                  support::get_cluster_target(m_cell_count));
            m_grids.back().update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
            m_items.back()->react = [this](const BoxRequest& request) { react(request); };
        }
    }

    void run() {
        std::vector<std::thread> threads;
        for (unsigned cell = 0; cell < m_cell_count; ++cell)
            threads.emplace_back([this, cell] { trace(cell); });
        for (std::thread& thread : threads)
            thread.join();
    }

    bool is_built(unsigned cell) const {
        const GasGridSubTree* const tree = get_grid(cell).find_sub_tree(cell);
        return tree && !tree->is_motion_update_pending();
    }

  private:
    const GasGridTree& get_grid(unsigned cell) const {
        return m_grids[m_party.has_many_grids ? cell : 0];
    }

    void trace(unsigned cell) const {
        support::TestShader shader;
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
        GeometryRayBatch batch(1);
        support::aim_at_cluster(batch, 0, cell);
        support::trace(get_grid(cell), RayQuery::nearest_motion, shader, batch.get_ctx());
    }

    void react(const BoxRequest& request) {
        const unsigned cell = request.items[0] / m_party.item_count;
        if (request.callback != m_party.callback || request.items[0] % m_party.item_count != 0 ||
            m_has_reacted[cell].exchange(true))
            return;
        m_all_hold.arrive_and_wait();
        if (m_party.next[cell] < m_cell_count)
            trace(m_party.next[cell]);
    }

    const Party m_party;
    const unsigned m_cell_count;
    std::vector<std::unique_ptr<GridItems>> m_items;
    std::vector<GasGridTree> m_grids;
    std::vector<std::atomic<bool>> m_has_reacted;
    std::latch m_all_hold;
};

/// Calls `visit` for these ways from cell to cell, with either callback, with few items and many,
/// in one grid and in several.
template <typename Visit>
void for_each_party(const std::vector<unsigned>& next, const Visit& visit) {
    for (const BoxCallback callback : {BoxCallback::leaf_bboxes, BoxCallback::leaf_bboxes_at}) {
        for (const unsigned item_count : {30u, 600u}) {
            for (const bool has_many_grids : {false, true})
                visit(Party{next, callback, item_count, has_many_grids});
        }
    }
}

} // namespace

TEST(GridCellGuard, CallbacksMayTraceIntoCellsThatDoNotWaitForThem) {
    const std::vector<unsigned> ways[] = {{1, 2}, {1, 2, 3}, {2, 2, 3}, {3, 0, 0, 4}};
    for (const std::vector<unsigned>& next : ways) {
        for_each_party(next, [&](const Party& cells) {
            CellParty party(cells);
            party.run();
            for (unsigned cell = 0; cell < next.size(); ++cell)
                EXPECT_TRUE(party.is_built(cell));
        });
    }
}

#ifndef NDEBUG

TEST(GridCellGuardDeathTest, CallbacksThatTraceIntoEachOthersCellsAssert) {
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // there are task threads
    const auto expect_death = [](const Party& party) {
        EXPECT_DEATH(CellParty(party).run(), "do not trace into cells that wait for them");
    };
    for_each_party({1, 0}, expect_death);
    // Of any number of threads, one of which may wait for the others without being waited for.
    expect_death({.next = {1, 2, 3, 0}});
    expect_death({.next = {1, 2, 1}, .has_many_grids = true});
}

#endif
