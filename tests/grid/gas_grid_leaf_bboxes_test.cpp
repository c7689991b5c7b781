// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <unordered_map>

#include <tests/naive/naive_grid.h>
#include <tests/support/box_conversion.h>
#include <tests/support/grid_items.h>
#include <tests/support/sanitizers.h>
#include <tests/support/scenes.h>
#include <tests/support/seeded_random.h>
#include <tests/support/split_scene.h>
#include <tests/support/test_shader.h>

// Requests for boxes as the callbacks see them, whole or in pieces.

namespace {

using support::BoxCallback;
using support::BoxRequest;
using support::GridItems;
using support::RayQuery;
using support::TestShader;
using Sizes = std::vector<std::size_t>;

/// The sizes of the pieces in the order of their first items; fails unless the pieces together are
/// `items` in order.
Sizes check_pieces(std::vector<BoxRequest> requests, const std::vector<unsigned>& items) {
    std::unordered_map<unsigned, std::size_t> order;
    for (const unsigned item : items)
        order.emplace(item, order.size());
    std::sort(requests.begin(), requests.end(), [&](const BoxRequest& a, const BoxRequest& b) {
        return order.at(a.items[0]) < order.at(b.items[0]);
    });
    Sizes sizes;
    std::vector<unsigned> asked;
    for (const BoxRequest& request : requests) {
        sizes.push_back(request.items.size());
        asked.insert(asked.end(), request.items.begin(), request.items.end());
    }
    EXPECT_EQ(asked, items);
    return sizes;
}

/// Slices of a cube, which is one cell for a target of 1.
std::vector<naive::Box> make_slices(unsigned count) {
    const float size = static_cast<float>(count);
    std::vector<naive::Box> boxes;
    for (unsigned i = 0; i < count; ++i) {
        const float x = static_cast<float>(i);
        boxes.push_back({{x, 0.0f, 0.0f}, {x + 1.0f, size, size}});
    }
    return boxes;
}

/// The pieces in which a grid of one cell asks for `count` items: at its creation, for the cell's
/// tree and for one motion-blur sample; fails unless they are the same each time.
Sizes get_pieces(unsigned count) {
    std::vector<unsigned> values(count);
    for (unsigned i = 0; i < count; ++i)
        values[i] = 3 * (count - i);
    GridItems positions(make_slices(count));
    GridItems items(make_slices(count), values);
    GasGridTree grid;
    positions.attach(grid);
    grid.create(count, 1, values.data(), nullptr);
    const Sizes created = check_pieces(positions.take_requests(), support::list_items(count));

    items.attach(grid);
    TestShader shader;
    GeometryRayBatch batch(1);
    trace(grid, RayQuery::hit_static, shader, batch.get_ctx());
    std::vector<BoxRequest> requests = items.take_requests();
    for (const BoxRequest& request : requests)
        EXPECT_EQ(request.callback, BoxCallback::leaf_bboxes);
    EXPECT_EQ(check_pieces(requests, values), created);

    shader.set_motion_blur(CtxMotionBlur(0.5f, 1.0f, 1));
    grid.update_motion_blur(shader.get_motion_blur());
    EXPECT_EQ(items.take_requests(),
              (std::vector<BoxRequest>{{BoxCallback::leaves_bbox_at, 0.5, values}}));
    trace(grid, RayQuery::hit_motion, shader, batch.get_ctx());
    requests = items.take_requests();
    for (const BoxRequest& request : requests) {
        EXPECT_EQ(request.callback, BoxCallback::leaf_bboxes_at);
        EXPECT_EQ(request.time, 0.5);
    }
    EXPECT_EQ(check_pieces(requests, values), created);
    return created;
}

} // namespace

TEST(GridLeafBboxes, ARequestBelow512IsNotDivided) {
    for (const unsigned count : {1u, 2u, 255u, 256u, 511u})
        EXPECT_EQ(get_pieces(count), (Sizes{count}));
}

TEST(GridLeafBboxes, LargerRequestsAreDividedEvenly) {
    EXPECT_EQ(get_pieces(512), (Sizes{256, 256}));
    EXPECT_EQ(get_pieces(513), (Sizes{257, 256}));
    EXPECT_EQ(get_pieces(767), (Sizes{384, 383}));
    EXPECT_EQ(get_pieces(768), (Sizes{256, 256, 256}));
    EXPECT_EQ(get_pieces(1000), (Sizes{334, 334, 332}));
    EXPECT_EQ(get_pieces(1023), (Sizes{341, 341, 341}));
}

TEST(GridLeafBboxes, TheLastPieceMayBeShortOrMissing) {
    Sizes pieces = get_pieces(257 * 257); // 258 pieces of 257 would be too many
    EXPECT_EQ(pieces, Sizes(257, 257));
    pieces = get_pieces(300 * 256 + 1); // 300 pieces of 257 as well
    Sizes expected(298, 257);
    expected.push_back(300 * 256 + 1 - 298 * 257);
    EXPECT_EQ(pieces, expected);
}

TEST(GridLeafBboxes, PiecesAreThoseOfTheNaiveRule) {
    support::SeededRandom random(1);
    for (unsigned i = 0; i < support::scale(20, 6); ++i) {
        const unsigned count = 1 + random.below(i % 2 ? 3000 : 100000);
        Sizes expected;
        for (const naive::Piece& piece : naive::split_request(count))
            expected.push_back(piece.count);
        EXPECT_EQ(get_pieces(count), expected) << count;
    }
}

TEST(GridLeafBboxes, SmallRequestsStayOnTheThreadThatAsks) {
    for (const unsigned count : {1u, 511u}) {
        GridItems items(make_slices(count));
        GasGridTree grid;
        const std::thread::id here = std::this_thread::get_id();
        std::atomic<unsigned> elsewhere = 0;
        items.react = [&](const BoxRequest&) { elsewhere += std::this_thread::get_id() != here; };
        items.attach(grid);
        grid.create(count, 1, nullptr, nullptr);
        TestShader shader;
        GeometryRayBatch batch(1);
        trace(grid, RayQuery::hit_static, shader, batch.get_ctx());
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 3));
        trace(grid, RayQuery::hit_motion, shader, batch.get_ctx());
        EXPECT_EQ(elsewhere, 0u);
        EXPECT_EQ(items.take_requests().size(), 2u + 3u);
    }
}

TEST(GridLeafBboxes, EveryBoxArrivesAtItsItem) {
    for (const unsigned count : {511u, 512u, 1000u, 5000u}) {
        const std::vector<naive::Box> boxes = scenes::make(scenes::Kind::random, count, count);
        GridItems items(boxes);
        items.speeds.assign(count, 3.0f);
        GasGridTree grid;
        items.attach(grid);
        grid.create(count, 1, nullptr, nullptr);
        ASSERT_EQ(grid.get_cell_count(), 1u);
        TestShader shader;
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
        GeometryRayBatch batch(1);
        trace(grid, RayQuery::hit_motion, shader, batch.get_ctx());

        GasCompressedTree expected;
        const std::vector<unsigned> values = support::list_items(count);
        expected.create(support::to_boxes(boxes), values.data(), nullptr);
        expected.set_motion_blur_sample_count(2);
        for (unsigned sample = 0; sample < 2; ++sample)
            expected.refit_motion_blur_sample(
                support::to_boxes(items.get_boxes_of(values, static_cast<double>(sample))), sample);
        ASSERT_TRUE(grid.find_sub_tree(0));
        EXPECT_EQ(support::find_difference(*grid.find_sub_tree(0), expected), "");
    }
}
