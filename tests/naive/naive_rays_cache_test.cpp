#include <gtest/gtest.h>

#include <type_traits>
#include <vector>

#include <tests/naive/naive_compressed.h>
#include <tests/naive/naive_rays.h>

// What the naive walks of both tree classes remember of a leaf.

namespace {

using naive::Cache;
using naive::make_ray;
using naive::Ray;
using Items = std::vector<unsigned>;

template <typename Tree> Tree build_row() {
    if constexpr (std::is_same_v<Tree, naive::Tree>)
        return naive::build(naive::three_in_a_row, naive::Split::sah);
    else
        return naive::build_compressed(naive::three_in_a_row, naive::Split::sah);
}

Ray along_x() { return make_ray({-1, 0.5, 0.5}, {1, 0, 0}); }

template <typename Tree> class NaiveRaysCache : public testing::Test {
  protected:
    const Tree tree = build_row<Tree>();
    Cache cache;
    Items order;
};

using BothTrees = testing::Types<naive::Tree, naive::CompressedTree>;
TYPED_TEST_SUITE(NaiveRaysCache, BothTrees);

} // namespace

TYPED_TEST(NaiveRaysCache, AnAllHitsEntryStopsTheNextRayFirst) {
    const auto stop_at_two = [&](unsigned item, Ray& ray) {
        this->order.push_back(item);
        ray.hit_flag = item == 2;
    };
    Ray ray = along_x();
    ray.cache_slot = 3;
    naive::ray_hit_static(this->tree, this->cache, ray, stop_at_two);
    EXPECT_EQ(this->order, (Items{0, 1, 2}));
    EXPECT_EQ(this->cache.all_hits[3].tree, &this->tree);
    EXPECT_EQ(this->cache.all_hits[3].leaf, 2u);

    this->order.clear();
    ray.hit_flag = false;
    naive::ray_hit_static(this->tree, this->cache, ray, stop_at_two);
    EXPECT_EQ(this->order, (Items{2}));
    EXPECT_EQ(this->cache.all_hits[3].tree, &this->tree);

    // The cached leaf is called again in the walk, and a full walk clears the entry.
    this->order.clear();
    ray.hit_flag = false;
    naive::ray_hit_static(this->tree, this->cache, ray,
                          [&](unsigned item, Ray&) { this->order.push_back(item); });
    EXPECT_EQ(this->order, (Items{2, 0, 1, 2}));
    EXPECT_EQ(this->cache.all_hits[3].tree, nullptr);
}

TYPED_TEST(NaiveRaysCache, ANearestEntryIsNotCalledTwice) {
    const auto hit_only_two = [&](unsigned item, Ray& ray) {
        this->order.push_back(item);
        if (item == 2)
            naive::shorten(ray, 5.5);
    };
    Ray ray = along_x();
    naive::ray_hit_nearest_static(this->tree, this->cache, ray, hit_only_two);
    EXPECT_EQ(this->order, (Items{0, 1, 2}));
    EXPECT_EQ(this->cache.nearest[0].leaf, 2u);

    this->order.clear();
    ray = along_x();
    naive::ray_hit_nearest_static(this->tree, this->cache, ray, hit_only_two);
    EXPECT_EQ(this->order, (Items{2, 0, 1}));
    EXPECT_EQ(this->cache.nearest[0].tree, &this->tree);

    // A flag without a lower distance is no hit.
    this->order.clear();
    ray.hit_distance = static_cast<double>(naive::far_away);
    naive::ray_hit_nearest_static(this->tree, this->cache, ray, [&](unsigned item, Ray& current) {
        this->order.push_back(item);
        current.hit_flag = true;
    });
    EXPECT_EQ(this->order, (Items{2, 0, 1}));
    EXPECT_EQ(this->cache.nearest[0].tree, nullptr);
}
