#include <gtest/gtest.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>

#include <tests/golden/golden_grids.h>
#include <tests/golden/golden_hash.h>
#include <tests/support/grid_items.h>
#include <tests/support/scenes.h>

// Grids by their outcome: cells, their items, the top tree, and the trees of all cells with two
// motion-blur samples. Numbers of cells along an axis come from a cube root, the one function that
// maths libraries round differently; these targets keep well away from where that shows.

namespace {

using scenes::Kind;

std::uint64_t hash_grid(Kind kind, unsigned count, unsigned target) {
    support::GridItems items(scenes::make(kind, count, golden_grid_seed));
    items.speeds.assign(count, 0.5f);
    GasGridTree grid;
    items.build(grid, target);
    const CtxMotionBlur motion(0.0f, 1.0f, 2);
    grid.update_motion_blur(motion);
    support::reach_all_cells(grid, motion);

    Hash hash;
    hash.add(grid.get_cell_count());
    hash.add(grid.get_top_tree());
    hash.add(grid.get_blurred_bbox(1));
    for (unsigned cell = 0; cell < grid.get_cell_count(); ++cell) {
        for (const unsigned item : support::get_cell_items(grid, cell))
            hash.add(item);
        const GasGridSubTree& tree = *grid.find_sub_tree(cell);
        hash.add(tree);
        hash.add(tree.get_blurred_bbox(1));
    }
    return hash.get();
}

/// Prints the rows of the table as the program finds them now.
void print_hashes() {
    for (const Kind kind : scenes::all_kinds()) {
        std::printf("    // %s\n    {", scenes::name(kind));
        const char* separator = "";
        for (const GoldenGrid& grid : golden_grids) {
            std::printf("%s0x%016" PRIx64, separator, hash_grid(kind, grid.count, grid.target));
            separator = ", ";
        }
        std::printf("},\n");
    }
}

std::string kind_name(const testing::TestParamInfo<Kind>& info) { return scenes::name(info.param); }

class GoldenGrids : public testing::TestWithParam<Kind> {};

} // namespace

TEST_P(GoldenGrids, HashesAreThoseOfEveryMachine) {
    for (std::size_t i = 0; i < std::size(golden_grids); ++i) {
        EXPECT_EQ(hash_grid(GetParam(), golden_grids[i].count, golden_grids[i].target),
                  golden_grid_hashes[static_cast<std::size_t>(GetParam())][i])
            << golden_grids[i].count << " boxes, target " << golden_grids[i].target;
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, GoldenGrids, testing::ValuesIn(scenes::all_kinds()), kind_name);

// With GAS_PRINT_GOLDEN_GRIDS in the environment it prints the rows of golden_grids.h as well.
TEST(GoldenGridTable, HasOneRowPerKind) {
    EXPECT_EQ(std::size(golden_grid_hashes), scenes::all_kinds().size());
    if (std::getenv("GAS_PRINT_GOLDEN_GRIDS"))
        print_hashes();
}
