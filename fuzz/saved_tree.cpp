// SPDX-License-Identifier: Apache-2.0
#include <string>
#include <vector>

#include <gas/diagnostics/gas_validate.h>
#include <gas/files/gas_tree_files.h>
#include <gas/object/gas_shader_frames.h>
#include <gas/traversal/frame/gas_tree_ctx.h>
#include <gas/tree/gas_tree_traversal.h>

#include <apps/common/tree_calls.h>
#include <fuzz/fuzz_boxes.h>
#include <fuzz/fuzz_check.h>
#include <fuzz/fuzz_file.h>
#include <tests/files/file_bytes.h>
#include <tests/support/tree_build.h>

// Saved trees of which any words are changed, with right checksums: refused, or trees of which
// everything may be asked, and which may be changed.

namespace {

using fuzz::Boxes;
using fuzz::expect;

const fuzz::File& get_file() {
    static const fuzz::File file("saved_tree");
    return file;
}

void on_leaf(void* user, const unsigned& item, const CtxEval&, CtxShader&,
             GeometryRaytraceCtx& ctx) {
    static_cast<std::vector<unsigned>*>(user)->push_back(item);
    for (int i = ctx.get_first_ray(); i <= ctx.get_last_ray(); ++i) {
        if ((item + static_cast<unsigned>(i)) % 5 == 0)
            ctx.set_hit(static_cast<unsigned>(i));
    }
}

/// Changes words, and now and then the length.
void damage(std::string& bytes, FuzzInput& input) {
    while (!input.is_empty() && bytes.size() >= sizeof(GasFileHeader)) {
        const std::size_t high = input.take_byte();
        const std::size_t place = (high << 8 | input.take_byte()) * 4;
        const std::uint32_t leaf_count = support::get_header(bytes).leaf_count;
        const std::uint32_t words[] = {input.take_byte(), leaf_count, 2 * leaf_count - 1,
                                       0x80000000u | input.take_byte(), 0xFFFFFFFFu};
        const unsigned choice = input.take_below(7);
        if (choice == 6) {
            bytes.resize(place);
        } else if (place + 4 <= bytes.size()) {
            std::uint32_t word = choice < 5 ? words[choice] : 0;
            if (choice == 5)
                word =
                    support::get_record<std::uint32_t>(bytes, place) ^ 1u << input.take_below(32);
            support::set_record(bytes, place, word);
        }
    }
    if (bytes.size() < sizeof(GasFileHeader))
        return;
    GasFileHeader header = support::get_header(bytes);
    header.file_size = bytes.size();
    support::set_record(bytes, 0, header);
    support::correct_all_sums(bytes);
}

/// All leaf calls of rays, and what spatial queries find.
template <typename Tree> std::vector<unsigned> ask(Tree& tree) {
    constexpr unsigned ray_count = 20;
    std::vector<unsigned> answers;
    tree.set_leaf_raytrace_callbacks(on_leaf, on_leaf, &answers);
    CtxShader shader;
    shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, tree.get_motion_blur_sample_count()));
    const GasShaderFrames frames(shader);
    GeometryRayBatch batch(ray_count);
    for (unsigned query = 0; query < 4; ++query) {
        for (const GasRayWay way : {GasRayWay::query, GasRayWay::stream}) {
            for (unsigned i = 0; i < ray_count; ++i) {
                const double x = static_cast<double>(i) - 10.0;
                batch.set_ray(i, {x, -20.0, 0.5 * x}, {-0.1 * x, 1.0, 0.25}, 0.0, 100.0,
                              static_cast<float>(i) / ray_count, static_cast<int>(i % 4));
            }
            batch.reset_hits();
            gas_app::call_tree(tree, static_cast<GasRayCall>(query), way, CtxEval(), shader,
                               batch.get_ctx());
        }
    }
    GasTreeCtx ctx;
    const auto get_distance = [](void*, const unsigned& item, const GMathVec3<double>&,
                                 const double&) { return static_cast<double>(item % 7); };
    unsigned closest = 0;
    double distance = 0.0;
    tree.get_closest_item(ctx, {1.0, 2.0, 3.0}, 100.0, get_distance, nullptr, closest, distance);
    answers.push_back(closest);
    if constexpr (std::is_same_v<Tree, GasTree>) {
        CoreVector<unsigned> leaves;
        tree.get_leaves_in_bbox(ctx, {{-5.0f, -5.0f, -5.0f}, {5.0f, 5.0f, 5.0f}}, leaves);
        answers.insert(answers.end(), leaves.begin(), leaves.end());
        unsigned nearest[4];
        float distances[4];
        const unsigned count =
            tree.get_nearest_leaves(ctx, {1.0f, 2.0f, 3.0f}, 10.0f, 4, nearest, distances);
        answers.insert(answers.end(), nearest, nearest + count);
    }
    return answers;
}

/// Asks and changes a tree in all ways; what was answered.
template <typename Tree> std::vector<unsigned> use(Tree& tree, const Boxes& items) {
    const CoreArray<GMathBbox3<float>> boxes = support::to_boxes(items);
    // Rays in motion ask for all samples.
    for (unsigned sample = 0; sample < tree.get_motion_blur_sample_count(); ++sample) {
        if (!GasTraversalAccess::has_sample(tree, sample))
            tree.refit_motion_blur_sample(boxes, sample);
    }
    std::vector<unsigned> answers = ask(tree);
    const auto add = [&](const std::vector<unsigned>& more) {
        answers.insert(answers.end(), more.begin(), more.end());
    };
    if (tree.get_motion_blur_sample_count() > 0)
        tree.refit_motion_blur_sample(boxes, 0);
    if constexpr (std::is_same_v<Tree, GasTree>) {
        tree.set_wide_nodes(false);
        tree.set_wide_nodes(true);
        add(ask(tree));
        tree.refit(boxes);
    }
    add(ask(tree));
    return answers;
}

template <typename Tree> std::string save(const Tree& tree) {
    expect(gas_save_tree(tree, get_file().get_path()).is_done, "a tree is saved");
    return get_file().read();
}

template <typename Tree> void fuzz_tree(FuzzInput& input) {
    const fuzz::File& file = get_file();
    const naive::Split split = fuzz::take_split(input);
    const unsigned item_count = 1 + input.take_below(20);
    const unsigned sample_count = input.take_below(3);
    const bool has_unfilled_sample = input.take_chance(8);
    Tree tree;
    if constexpr (std::is_same_v<Tree, GasTree>)
        tree.set_wide_nodes(input.take_flag());
    const Boxes boxes = fuzz::take_boxes(input, item_count);
    support::build(tree, boxes, split);
    tree.set_motion_blur_sample_count(sample_count + (has_unfilled_sample ? 1 : 0));
    for (unsigned sample = 0; sample < sample_count; ++sample)
        tree.refit_motion_blur_sample(support::to_boxes(fuzz::take_moved_boxes(input, boxes)),
                                      sample);
    const std::string saved = save(tree);
    std::string bytes = saved;
    const bool is_damaged = !input.is_empty();
    damage(bytes, input);
    file.write(bytes);

    Tree loaded;
    Tree mapped;
    GasFileSettings settings;
    settings.thread_count = 1;
    const bool is_loaded = gas_load_tree(file.get_path(), loaded, settings).is_done;
    const bool is_mapped = gas_map_tree(file.get_path(), mapped, settings).is_done;
    expect(is_loaded == is_mapped, "a file is loaded and mapped, or neither");
    expect(is_damaged || is_loaded, "a file that was not changed is loaded");
    const bool is_whole = gas_validate_tree_file(file.get_path()).empty();
    expect(is_whole ? is_loaded && gas_validate(loaded).empty() : is_damaged,
           "what is refused is told, and more");
    if (!is_loaded)
        return;
    const std::string saved_again = save(loaded);
    expect(save(mapped) == saved_again, "a loaded tree and a mapped one are saved alike");
    expect(bytes != saved || saved_again == saved, "a loaded tree is saved as it was");
    // A file that is there is not changed by what becomes of its tree.
    file.write(bytes);
    Tree changed;
    expect(gas_map_tree(file.get_path(), changed, settings).is_done, "it is mapped once more");
    const std::vector<unsigned> answers = use(changed, boxes);
    expect(file.read() == bytes, "a mapped file stays as it is");
    expect(use(loaded, boxes) == answers, "a loaded tree answers as a mapped one");
    expect(bytes != saved || use(tree, boxes) == answers, "and as the tree that was saved");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    if (input.take_flag())
        fuzz_tree<GasTree>(input);
    else
        fuzz_tree<GasCompressedTree>(input);
    return 0;
}
