// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <fstream>

#include <gas/files/gas_tree_files.h>

#include <tests/app/temporary_folder.h>
#include <tests/easy/spheres.h>

namespace {

using easy::find_closest;
using easy::intersect;
using easy::Sphere;

using Bring = gas::Tree (*)(const std::string& path);
constexpr Bring all_ways[] = {gas::Tree::load, gas::Tree::map, gas::Tree::map_trusted};

void expect_found(const gas::Tree& tree, const std::vector<Sphere>& spheres, bool moves,
                  double distance) {
    for (const gas::Ray& ray : easy::make_rays(100, 5, 1e4, {}, distance)) {
        const gas::Hit hit = tree.closest_hit(ray, [&](std::uint32_t item, const gas::Ray& asked) {
            return intersect(spheres[item].at(moves ? asked.time : 0.0), asked);
        });
        EXPECT_EQ(hit.item, find_closest(spheres, ray, moves).item);
    }
}

TEST(EasyTreeFiles, BringBackTheTree) {
    const TemporaryFolder folder;
    const std::string path = folder.get_path("tree");
    const std::vector<Sphere> spheres = easy::make_spheres(300, 1, 1e4);
    std::vector<Sphere> other = easy::make_spheres(300, 2, 1e4);
    for (const gas::Kind kind : {gas::Kind::plain, gas::Kind::compressed}) {
        for (const bool moves : {false, true}) {
            gas::Options options;
            options.kind = kind;
            gas::Tree saved(easy::get_boxes(spheres), options);
            if (moves)
                saved.set_motion({easy::get_boxes(spheres), easy::get_boxes(spheres, 0.5),
                                  easy::get_boxes(spheres, 1.0)});
            saved.save(path);
            for (const Bring bring : all_ways) {
                gas::Tree tree = bring(path);
                EXPECT_EQ(tree.kind(), kind);
                EXPECT_EQ(tree.size(), 300u);
                EXPECT_EQ(tree.depth(), saved.depth());
                EXPECT_EQ(tree.motion_sample_count(), moves ? 3u : 0u);
                EXPECT_EQ(tree.bounds().min.x, saved.bounds().min.x);
                EXPECT_TRUE(tree.validate().empty());
                expect_found(tree, spheres, moves, 1.0);
                expect_found(tree, spheres, moves, 1e5);
                const auto measure = [&](std::uint32_t item, const gas::Vector& point) {
                    return easy::length(easy::operator-(spheres[item].center, point));
                };
                EXPECT_EQ(tree.closest_point({1.0, 2.0, 3.0}, measure).item,
                          saved.closest_point({1.0, 2.0, 3.0}, measure).item);
                // What changes it leaves the file alone.
                tree.refit(easy::get_boxes(other));
                expect_found(tree, other, false, 1.0);
                tree.set_motion({easy::get_boxes(other), easy::get_boxes(other, 1.0)});
                expect_found(tree, other, true, 1.0);
            }
            expect_found(gas::Tree::map(path), spheres, moves, 1.0);
        }
    }
}

TEST(EasyTreeFiles, AreRefusedWhereTheyAreNone) {
    const TemporaryFolder folder;
    const std::string path = folder.get_path("tree");
    for (const Bring bring : all_ways) {
        EXPECT_THROW(bring(path), gas::Error) << "there is no file";
        std::ofstream(path) << "something else";
        EXPECT_THROW(bring(path), gas::Error);
        // By the plain interface, which knows no scale and no padding.
        const GMathBbox3<float> box = {{0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 1.0f}};
        GasTree plain;
        plain.create(&box, 1, nullptr, GasBuildMethod::median);
        ASSERT_TRUE(gas_save_tree(plain, path.c_str()));
        EXPECT_THROW(bring(path), gas::Error);
        for (const double scale : {0.0, 3.0, -1.0, std::nan("")}) {
            ASSERT_TRUE(gas_save_tree(plain, path.c_str(), 0, {{scale, 1.0, 1.0}}));
            EXPECT_THROW(bring(path), gas::Error) << scale;
        }
        ASSERT_TRUE(gas_save_tree(plain, path.c_str(), 0, {{1.0, 1.0, 1.0}}));
        EXPECT_EQ(bring(path).size(), 1u);
        std::remove(path.c_str());
    }
}

TEST(EasyTreeFiles, HoldNoGridAndNothingEmpty) {
    const TemporaryFolder folder;
    const std::string path = folder.get_path("tree");
    gas::Options options;
    options.kind = gas::Kind::grid;
    const gas::Tree grid(std::vector<gas::Box>(9), options);
    EXPECT_THROW(grid.save(path), gas::Error);
    EXPECT_THROW(gas::Tree().save(path), gas::Error);
    EXPECT_THROW(gas::Tree(std::vector<gas::Box>(2)).save(folder.get_path("none/tree")),
                 gas::Error);
    EXPECT_FALSE(std::ifstream(path).good());
}

} // namespace
