// SPDX-License-Identifier: Apache-2.0
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <unistd.h>

#include <gas/files/gas_tree_files.h>
#include <gas/object/gas_shader_frames.h>
#include <gas/traversal/frame/gas_tree_ctx.h>
#include <gas/tree/gas_tree_traversal.h>

#include <apps/common/tree_calls.h>
#include <fuzz/fuzz_input.h>
#include <tests/files/file_bytes.h>

// Saved trees of which any words are changed, with right checksums: refused, or trees of which
// everything may be asked, and which may be changed.

namespace {

using Boxes = CoreArray<GMathBbox3<float>>;

/// A file of this process, gone at its end.
class FuzzedFile {
  public:
    FuzzedFile()
        : m_path((std::filesystem::temp_directory_path() /
                  ("gas_fuzz_saved_tree_" + std::to_string(::getpid())))
                     .string()) {}
    FuzzedFile(const FuzzedFile&) = delete;
    FuzzedFile& operator=(const FuzzedFile&) = delete;
    ~FuzzedFile() { std::remove(get_path()); }

    const char* get_path() const { return m_path.c_str(); }
    std::string read() const {
        std::ifstream file(m_path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }
    void write(const std::string& bytes) const { std::ofstream(m_path, std::ios::binary) << bytes; }

  private:
    std::string m_path;
};

const FuzzedFile& get_file() {
    static const FuzzedFile file;
    return file;
}

void on_leaf(void*, const unsigned& item, const CtxEval&, CtxShader&, GeometryRaytraceCtx& ctx) {
    for (int i = ctx.get_first_ray(); i <= ctx.get_last_ray(); ++i) {
        if ((item + static_cast<unsigned>(i)) % 5 == 0)
            ctx.set_hit(static_cast<unsigned>(i));
    }
}

Boxes take_boxes(FuzzInput& input, unsigned count) {
    Boxes boxes(count);
    for (unsigned i = 0; i < count; ++i) {
        for (unsigned axis = 0; axis < 3; ++axis) {
            const float low = input.take_float();
            const float high = input.take_float();
            boxes[i].min[axis] = low;
            boxes[i].max[axis] = high;
        }
    }
    return boxes;
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

template <typename Tree> void ask(Tree& tree) {
    constexpr unsigned ray_count = 20;
    tree.set_leaf_raytrace_callbacks(on_leaf, on_leaf, nullptr);
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
    if constexpr (std::is_same_v<Tree, GasTree>) {
        GasTreeCtx ctx;
        CoreVector<unsigned> leaves;
        tree.get_leaves_in_bbox(ctx, {{-5.0f, -5.0f, -5.0f}, {5.0f, 5.0f, 5.0f}}, leaves);
        unsigned nearest[4];
        float distances[4];
        tree.get_nearest_leaves(ctx, {1.0f, 2.0f, 3.0f}, 10.0f, 4, nearest, distances);
    }
}

template <typename Tree> void use(Tree& tree, const Boxes& boxes) {
    // Rays in motion ask for all samples.
    for (unsigned sample = 0; sample < tree.get_motion_blur_sample_count(); ++sample) {
        if (!GasTraversalAccess::has_sample(tree, sample))
            tree.refit_motion_blur_sample(boxes, sample);
    }
    ask(tree);
    if (tree.get_motion_blur_sample_count() > 0)
        tree.refit_motion_blur_sample(boxes, 0);
    if constexpr (std::is_same_v<Tree, GasTree>) {
        tree.set_wide_nodes(false);
        tree.set_wide_nodes(true);
        ask(tree);
        tree.refit(boxes);
    }
    ask(tree);
}

template <typename Tree> void fuzz(FuzzInput& input) {
    const FuzzedFile& file = get_file();
    const unsigned item_count = 1 + input.take_below(20);
    const unsigned sample_count = input.take_below(3);
    Tree tree;
    if constexpr (std::is_same_v<Tree, GasTree>)
        tree.set_wide_nodes(input.take_below(2) != 0);
    const Boxes boxes = take_boxes(input, item_count);
    tree.create(boxes, nullptr, GasBuildMethod::sah_fast);
    tree.set_motion_blur_sample_count(sample_count);
    for (unsigned sample = 0; sample < sample_count; ++sample)
        tree.refit_motion_blur_sample(take_boxes(input, item_count), sample);
    if (!gas_save_tree(tree, file.get_path()))
        std::abort();
    std::string bytes = file.read();
    const bool is_damaged = !input.is_empty();
    damage(bytes, input);
    file.write(bytes);

    Tree loaded;
    Tree mapped;
    GasFileSettings settings;
    settings.thread_count = 1;
    const bool is_loaded = gas_load_tree(file.get_path(), loaded, settings).is_done;
    const bool is_mapped = gas_map_tree(file.get_path(), mapped, settings).is_done;
    if (is_loaded != is_mapped || (!is_damaged && !is_loaded))
        std::abort();
    // What is refused is told, and more.
    const bool is_whole = gas_validate_tree_file(file.get_path()).empty();
    if (is_whole ? !is_loaded || !gas_validate(loaded).empty() : !is_damaged)
        std::abort();
    if (is_loaded) {
        use(loaded, boxes);
        use(mapped, boxes);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    if (input.take_below(2))
        fuzz<GasTree>(input);
    else
        fuzz<GasCompressedTree>(input);
    return 0;
}
