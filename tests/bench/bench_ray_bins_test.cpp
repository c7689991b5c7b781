// SPDX-License-Identifier: Apache-2.0
#include <bench/bench_ray_bins.h>

#include <vector>

#include <gmock/gmock.h>

namespace {

using gas_bench::make_ray_bins;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(MakeRayBins, PartsByNodesThenByLeafCalls) {
    const std::vector<GasWalkCounts> counts = {{9, 1}, {2, 7}, {3, 0}, {8, 5},
                                               {1, 6}, {7, 4}, {4, 2}, {6, 3}};
    // Few nodes: rays 1, 2, 4, 6, of which 2 and 6 call fewer leaves.
    EXPECT_THAT(make_ray_bins(counts, 2), ElementsAre(ElementsAre(2, 6), ElementsAre(1, 4),
                                                      ElementsAre(0, 7), ElementsAre(3, 5)));
}

TEST(MakeRayBins, EqualRaysKeepTheirOrder) {
    const std::vector<GasWalkCounts> counts(5, {3, 1});
    EXPECT_THAT(make_ray_bins(counts, 2),
                ElementsAre(ElementsAre(0), ElementsAre(1), ElementsAre(2), ElementsAre(3, 4)));
}

TEST(MakeRayBins, LeavesOutEmptyBins) {
    EXPECT_THAT(make_ray_bins({{1, 1}, {2, 2}}, 3), ElementsAre(ElementsAre(0), ElementsAre(1)));
    EXPECT_THAT(make_ray_bins({}, 3), IsEmpty());
}

} // namespace
