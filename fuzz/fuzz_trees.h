// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gas/diagnostics/gas_validate.h>
#include <gas/isa/gas_instruction_set.h>

#include <fuzz/fuzz_check.h>
#include <fuzz/fuzz_rays.h>
#include <fuzz/fuzz_threads.h>
#include <tests/mirror/mirrored_rays.h>
#include <tests/support/ray_coherence.h>
#include <tests/support/ray_histories.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/test_shader.h>
#include <tests/support/tree_kinds.h>
#include <tests/support/wide_checker.h>

/// What plain and compressed trees are asked for alike: builds in all ways, samples that come and
/// go, and rays, against the second implementation and against each other.
namespace fuzz {

using support::TreeKind;

/// What a tree is built of.
struct Scene {
    Boxes boxes;
    naive::Split split = naive::Split::median;
    std::vector<unsigned> indices;
    std::vector<Boxes> samples;
};

inline Scene take_scene(FuzzInput& input) {
    Scene scene;
    scene.split = take_split(input);
    const unsigned count = take_count(input);
    const unsigned sample_count = input.take_below(5);
    if (input.take_chance(3)) {
        for (unsigned i = 0; i < count; ++i)
            scene.indices.push_back((count - i) * 1000u);
    }
    scene.boxes = take_boxes(input, count);
    for (unsigned sample = 0; sample < sample_count; ++sample)
        scene.samples.push_back(take_moved_boxes(input, scene.boxes));
    return scene;
}

inline GasBuildMethod get_method(naive::Split split) { return static_cast<GasBuildMethod>(split); }

inline const unsigned* get_indices(const Scene& scene) {
    return scene.indices.empty() ? nullptr : scene.indices.data();
}

template <typename Tree> bool are_equal(const Tree& tree, const Tree& other) {
    return support::get_bytes(tree) == support::get_bytes(other) &&
           tree.get_depth() == other.get_depth() &&
           tree.get_leaf_count() == other.get_leaf_count() &&
           tree.get_split_callback() == other.get_split_callback();
}

/// Of trees that take part in a comparison, by its own flaws.
void expect_flawless(const GasTree& tree, const Boxes& boxes);
void expect_flawless(const GasCompressedTree& tree, const Boxes& boxes);

template <typename Tree> class TreeTarget {
  public:
    explicit TreeTarget(FuzzInput& input) : m_input(input) {}

    /// A tree in all ways of building it, against the second implementation.
    void check_builds() {
        const Scene scene = take_scene(m_input);
        Tree tree;
        want_wide_nodes(tree);
        support::build(tree, scene.boxes, scene.split, scene.indices);
        const auto expected = TreeKind<Tree>::build_naive(scene.boxes, scene.split, scene.indices);
        expect_none(support::find_difference(tree, expected), "a tree and the second one");
        expect_flawless(tree, scene.boxes);
        for (const std::string& flaw : gas_validate(tree))
            expect_none(flaw, "a tree by itself");

        const CoreArray<GMathBbox3<float>> boxes = support::to_boxes(scene.boxes);
        const GasBuildMethod method = get_method(scene.split);
        CoreVector<GMathBbox3<float>> vector;
        CoreArray<GMathBbox3<double>> doubles(boxes.get_count());
        for (unsigned i = 0; i < boxes.get_count(); ++i) {
            vector.add(boxes[i]);
            doubles[i] = support::widen(boxes[i]);
        }
        Tree other;
        other.create(vector, get_indices(scene), method);
        expect(are_equal(other, tree), "a tree over a vector is that over an array");
        other.create(doubles, get_indices(scene), method);
        expect(are_equal(other, tree), "a tree over doubles is that over floats");
        check_life(tree, other);
        check_items(scene, tree);
    }

    /// A build on threads, large enough for it, against one on the calling thread.
    void check_threads() {
        const naive::Split split = take_split(m_input);
        const unsigned thread_count = 2 + m_input.take_below(4);
        const Boxes items = take_boxes(m_input, 8193 + 8 * m_input.take_byte());
        const CoreArray<GMathBbox3<float>> boxes = support::to_boxes(items);
        Tree serial;
        Tree parallel;
        if (m_input.take_flag()) {
            want_wide_nodes(serial);
            want_wide_nodes(parallel);
        }
        serial.create(boxes, nullptr, get_method(split));
        SysThreadTaskManager manager(&Threads::get());
        parallel.create(boxes, nullptr, get_method(split), manager, thread_count);
        expect(are_equal(parallel, serial), "a tree does not depend on threads");
        expect_flawless(parallel, items);
    }

    /// Samples come and go, and a plain tree takes other boxes.
    void check_refits() {
        const Scene scene = take_scene(m_input);
        const auto count = static_cast<unsigned>(scene.boxes.size());
        Tree tree;
        want_wide_nodes(tree);
        support::build(tree, scene.boxes, scene.split);
        auto expected = TreeKind<Tree>::build_naive(scene.boxes, scene.split);
        refit_to_same(tree, scene.boxes);
        for (unsigned round = 0; round < 8 && !m_input.is_empty(); ++round) {
            const unsigned choice = m_input.take_byte();
            Boxes moved = take_moved_boxes(m_input, scene.boxes);
            if (choice >= 248)
                moved.resize(count + choice - 251u);
            if (choice % 4 == 0) {
                tree.set_motion_blur_sample_count(choice / 4 % 5);
                naive::set_sample_count(expected, choice / 4 % 5);
            } else if (choice % 4 == 1 && !support::is_compressed<Tree>) {
                refit(tree, expected, moved);
            } else {
                const unsigned sample = choice / 4 % 5;
                expect(tree.refit_motion_blur_sample(support::to_boxes(moved), sample) ==
                           naive::refit_sample(expected, moved, sample),
                       "a sample is refused by both or by none");
            }
            expect_none(support::find_difference(tree, expected), "a refitted tree");
            expect_wide_nodes_fit(tree);
        }
    }

    /// Rays and batches, with callbacks that do anything, against the second implementation: leaf
    /// calls, results and cached leaves.
    void check_against_second() {
        using Other = std::conditional_t<support::is_compressed<Tree>, GasTree, GasCompressedTree>;
        support::MirroredTreeOf<Tree, typename TreeKind<Tree>::Naive> first;
        support::MirroredTreeOf<Other, typename TreeKind<Other>::Naive> other;
        want_wide_nodes(first.get_library());
        const Scene scene = take_scene(m_input);
        first.build(scene.boxes, scene.split, scene.indices, scene.samples);
        Scene third = scene;
        third.boxes.resize((scene.boxes.size() + 2) / 3);
        third.samples.assign(scene.samples.size(), third.boxes);
        other.build(third.boxes, scene.split, {}, third.samples);
        support::Mirror mirror({&first, &other}, CtxMotionBlur(0.0f, 1.0f, 0));
        RayTaker rays(m_input, scene.boxes);
        for (unsigned round = 0; round < 4 && !m_input.is_empty(); ++round) {
            const unsigned choice = m_input.take_byte();
            // In place of the former one, which cached leaves may still name.
            if (choice >= 240)
                first.build(third.boxes, scene.split, {}, third.samples);
            expect_none(mirror.compare(rays.take_batch(m_input), take_query(m_input),
                                       choice % 8 == 7 ? 1 : 0),
                        "rays and those of the second implementation");
        }
    }

    /// Rays by all ways of tracing them, against each alone in the tree's own nodes, as they are:
    /// with NaN too.
    void check_ways() {
        const Scene scene = take_scene(m_input);
        Tree tree;
        support::build(tree, scene.boxes, scene.split, scene.indices);
        support::fill_samples(tree, scene.samples);
        if (!support::is_compressed<Tree> && m_input.take_chance(4)) {
            const Boxes moved = take_moved_boxes(m_input, scene.boxes);
            refit_to(tree, moved);
        }
        m_motion = CtxMotionBlur(0.0f, 1.0f, static_cast<unsigned>(scene.samples.size()));
        support::RayHistories histories(tree);
        histories.expects_single_rays = !support::is_compressed<Tree> || scene.boxes.size() > 1;
        RayTaker taker(m_input, scene.boxes);
        while (!m_input.is_empty() && histories.get_call_count() < many_calls) {
            const support::RayQuery query = take_query(m_input);
            const std::vector<RaySpec> rays = taker.take_rays(m_input);
            if constexpr (!support::is_compressed<Tree>)
                compare_wide_nodes(histories, tree, rays, query);
            compare_streams(histories, tree, rays, query);
            expect_none(histories.get_breach(), "a promise");
        }
    }

  private:
    using Histories = std::vector<support::RayHistory>;

    static void set_wide_nodes([[maybe_unused]] Tree& tree, [[maybe_unused]] bool wanted) {
        if constexpr (!support::is_compressed<Tree>)
            tree.set_wide_nodes(wanted);
    }
    static void want_wide_nodes(Tree& tree) { set_wide_nodes(tree, true); }
    static void expect_wide_nodes_fit([[maybe_unused]] const Tree& tree) {
        if constexpr (!support::is_compressed<Tree>) {
            if (support::get_wide_nodes(tree))
                expect_none(support::find_wide_flaw(tree), "wide nodes");
        }
    }
    static void refit_to([[maybe_unused]] Tree& tree, [[maybe_unused]] const Boxes& boxes) {
        if constexpr (!support::is_compressed<Tree>)
            tree.refit(support::to_boxes(boxes));
    }
    static void refit([[maybe_unused]] Tree& tree,
                      [[maybe_unused]] typename TreeKind<Tree>::Naive& expected,
                      [[maybe_unused]] const Boxes& boxes) {
        if constexpr (!support::is_compressed<Tree>)
            expect(tree.refit(support::to_boxes(boxes)) == naive::refit(expected, boxes),
                   "a refit is refused by both or by none");
    }
    static void refit_to_same(Tree& tree, const Boxes& boxes) {
        const std::vector<unsigned char> before = support::get_bytes(tree);
        refit_to(tree, boxes);
        expect(support::get_bytes(tree) == before, "a refit to the same boxes changes nothing");
    }

    static void check_items(const Scene& scene, Tree& tree) {
        const std::vector<unsigned> items = support::get_reported_items(tree);
        expect(items.size() == scene.boxes.size(), "every leaf reports an item");
        for (unsigned i = 0; i < items.size(); ++i)
            expect(items[i] == (scene.indices.empty() ? i : scene.indices[i]), "the right item");
    }

    /// A move takes everything, and a copy shares it.
    static void check_life(const Tree& tree, Tree& other) {
        Tree moved(std::move(other));
        expect(other.is_empty(), "what was moved from is empty");
        expect(are_equal(moved, tree), "a moved tree is the same");
        Tree copy(moved);
        expect(copy.get_nodes() == moved.get_nodes(), "a copy shares nodes");
        copy = Tree();
        other = std::move(moved);
        expect(are_equal(other, tree), "a tree that was moved back is the same");
    }

    static void compare(const Histories& found, const Histories& expected, const char* what) {
        for (std::size_t ray = 0; ray < expected.size(); ++ray) {
            if (!(found[ray] == expected[ray]))
                fail(std::string(what) + " differ: ray " + std::to_string(ray) + " of " +
                     std::to_string(expected.size()));
        }
    }

    /// One after the other and as a batch, with what rays leave to each other.
    void compare_wide_nodes(support::RayHistories& histories, Tree& tree,
                            const std::vector<RaySpec>& rays, support::RayQuery query) {
        histories.starts_streams = m_input.take_flag();
        const bool is_coherent = m_input.take_flag();
        for (const support::Handing handing :
             {support::Handing::alone, support::Handing::together}) {
            Histories found[2];
            for (const bool is_wide : {false, true}) {
                set_wide_nodes(tree, is_wide);
                support::TestShader shader;
                support::set_coherence(shader.get_tree_ctx(), is_coherent);
                found[is_wide] = trace(histories, rays, query, handing, shader);
            }
            compare(found[1], found[0], "wide nodes");
        }
    }

    /// Against each alone, without what one ray leaves to the next.
    void compare_streams(support::RayHistories& histories, Tree& tree, std::vector<RaySpec> rays,
                         support::RayQuery query) {
        histories.starts_streams = true;
        set_wide_nodes(tree, false);
        const std::size_t calls_before = histories.get_call_count();
        Histories each;
        for (const RaySpec& ray : rays) {
            support::TestShader shader;
            each.push_back(trace(histories, {ray}, query, support::Handing::alone, shader)[0]);
        }
        if (m_input.take_chance(16) && histories.get_call_count() < calls_before + few_calls) {
            repeat_for_trials(rays);
            repeat_for_trials(each);
        }
        for (const bool is_wide : {false, true}) {
            set_wide_nodes(tree, is_wide);
            support::TestShader shader;
            compare(trace(histories, rays, query, support::Handing::stream, shader), each,
                    "a stream");
        }
    }

    Histories trace(support::RayHistories& histories, const std::vector<RaySpec>& rays,
                    support::RayQuery query, support::Handing handing,
                    support::TestShader& shader) const {
        shader.set_motion_blur(m_motion);
        return histories.trace(rays, 0, static_cast<int>(rays.size()) - 1, query, handing, shader);
    }

    FuzzInput& m_input;
    CtxMotionBlur m_motion;
};

/// Rays by either instruction set.
inline void take_instruction_set(FuzzInput& input) {
    const bool has_baseline = input.take_chance(4);
    if (has_baseline || !gas_set_instruction_set(GasInstructionSet::avx2))
        gas_set_instruction_set(GasInstructionSet::baseline);
}

/// What the two targets have in common. False: the input chose what is the target's own.
template <typename Tree> bool check_tree(FuzzInput& input) {
    TreeTarget<Tree> target(input);
    const unsigned choice = input.take_below(32);
    if (choice < 4)
        target.check_builds();
    else if (choice < 8)
        target.check_refits();
    else if (choice < 17)
        target.check_against_second();
    else if (choice < 26)
        target.check_ways();
    else if (choice == 26)
        target.check_threads();
    return choice <= 26;
}

} // namespace fuzz
