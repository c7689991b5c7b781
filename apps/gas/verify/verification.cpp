// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/verify/verification.h>

#include <gas/isa/gas_instruction_set.h>

#include <apps/common/tree_calls.h>

namespace gas_app {

namespace {

/// The query or stream of any tree; a tree of one leaf is walked like all others.
VerifiedRays::Trace get_trace(const TracedTree& traced, bool is_nearest, bool is_moving,
                              GasRayWay way) {
    const GasRayCall call = get_ray_call(is_nearest, is_moving);
    return [&traced, call, way](const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& ctx) {
        std::visit([&](const auto& tree) { call_tree(tree, call, way, eval, shader, ctx); },
                   traced.get_tree());
    };
}

std::string describe(const RayRecord& record) {
    return (record.is_hit ? "hit, bound " : "no hit, bound ") + std::to_string(record.bound) +
           ", collected " + std::to_string(record.collected) + ", history " +
           std::to_string(record.history);
}

} // namespace

void RayComparison::compare(const std::string& what, const std::vector<RayRecord>& expected,
                            const std::vector<RayRecord>& found, Agreement agreement) {
    for (std::size_t ray = 0; ray < expected.size(); ++ray) {
        ++m_count;
        const bool is_same = agreement == Agreement::histories
                                 ? found[ray] == expected[ray]
                                 : found[ray].has_result_of(expected[ray]);
        if (is_same)
            continue;
        if (m_difference_count++ < most_described)
            m_descriptions.push_back(what + ", ray " + std::to_string(ray) + ": expected " +
                                     describe(expected[ray]) + "; found " + describe(found[ray]));
    }
}

/// What the entries share while a question is asked.
struct Verification::Context {
    const Question& question;
    const std::string name;
    VerifiedRays& rays;
    /// Empty where the result depends on the order of calls.
    const std::vector<RayRecord>& brute_force;
    RayComparison& comparison;

    std::vector<RayRecord> trace(const Entry& entry, GasRayWay way,
                                 VerifiedRays::Way rays_way) const {
        return rays.trace(get_trace(entry.tree, question.is_nearest, question.is_moving, way),
                          rays_way, question.behaviour, question.is_nearest, question.is_moving);
    }
};

Verification::Verification(const VerifiedScene& scene, AppBase& application) : m_scene(scene) {
    for (unsigned method = 0; method < build_method_names.size(); ++method) {
        application.set_build_method(method);
        const std::string built = " built by " + std::string(build_method_names[method]);
        TreeSettings settings;
        settings.has_wide_nodes = false;
        add("plain tree" + built, settings, nullptr, application);
        const Entry* const binary = m_entries.back().get();
        settings.has_wide_nodes = true;
        // On two threads: the same tree.
        settings.thread_count = 2;
        add("plain tree with wide nodes" + built, settings, binary, application);
        settings.kind = TreeKind::compressed;
        add("compressed tree" + built, settings, nullptr, application);
        settings.kind = TreeKind::grid;
        settings.has_cell_bars = true; // which carry the build method
        settings.cell_count = scene.get_item_count() / 40;
        add("grid" + built, settings, nullptr, application);
    }
}

void Verification::add(const std::string& name, const TreeSettings& settings, const Entry* binary,
                       AppBase& application) {
    m_entries.push_back(std::make_unique<Entry>());
    Entry& entry = *m_entries.back();
    entry.name = name;
    entry.binary = binary;
    entry.tree.set_callbacks(call_item, call_item, this);
    AppProgressBar& bar = *application.create_progress_bar("Building", false);
    entry.tree.build(m_scene.describe(), settings, bar, 1.0f);
    bar.finish();
    bar.release();
}

void Verification::check(std::uint64_t first, unsigned count, const std::string& name,
                         RayComparison& comparison) {
    VerifiedRays rays(m_scene, first, count);
    m_rays = &rays;
    const GasInstructionSet chosen = gas_get_instruction_set();
    gas_set_instruction_set(GasInstructionSet::baseline);
    for (const bool is_moving : {false, true}) {
        const std::string motion = is_moving ? ", in motion" : "";
        const Question questions[] = {
            {"any hit" + motion, Behaviour::accept, false, is_moving},
            {"all hits" + motion, Behaviour::collect, false, is_moving},
            {"all hits, changing rays" + motion, Behaviour::mixed, false, is_moving},
            {"nearest hit" + motion, Behaviour::accept, true, is_moving},
            {"nearest hit, changing rays" + motion, Behaviour::mixed, true, is_moving}};
        for (const Question& question : questions) {
            std::vector<RayRecord> brute_force;
            if (question.behaviour != Behaviour::mixed)
                brute_force = rays.trace_by_brute_force(question.behaviour, question.is_nearest,
                                                        question.is_moving);
            const Context context = {question, name + ", " + question.name, rays, brute_force,
                                     comparison};
            for (const std::unique_ptr<Entry>& entry : m_entries)
                check_entry(context, *entry);
        }
    }
    gas_set_instruction_set(chosen);
    m_rays = nullptr;
}

void Verification::check_entry(const Context& context, Entry& entry) {
    using Way = VerifiedRays::Way;
    const auto compare = [&](const char* what, const std::vector<RayRecord>& expected,
                             const std::vector<RayRecord>& found, Agreement agreement) {
        context.comparison.compare(context.name + ", " + entry.name + what, expected, found,
                                   agreement);
    };
    entry.single = context.trace(entry, GasRayWay::query, Way::one_by_one);
    entry.stream = context.trace(entry, GasRayWay::stream, Way::together);
    // Whatever else is in the batch, a ray of a stream makes its own calls.
    compare(", stream against its rays alone",
            context.trace(entry, GasRayWay::stream, Way::each_alone), entry.stream,
            Agreement::histories);
    if (entry.binary) {
        compare(", one by one against binary nodes", entry.binary->single, entry.single,
                Agreement::histories);
        compare(", stream against binary nodes", entry.binary->stream, entry.stream,
                Agreement::histories);
    }
    const std::vector<RayRecord> batch = context.trace(entry, GasRayWay::query, Way::together);
    if (gas_set_instruction_set(GasInstructionSet::avx2)) {
        compare(", one by one by AVX2 against the baseline", entry.single,
                context.trace(entry, GasRayWay::query, Way::one_by_one), Agreement::histories);
        compare(", stream by AVX2 against the baseline", entry.stream,
                context.trace(entry, GasRayWay::stream, Way::together), Agreement::histories);
        compare(", batch by AVX2 against the baseline", batch,
                context.trace(entry, GasRayWay::query, Way::together), Agreement::histories);
        gas_set_instruction_set(GasInstructionSet::baseline);
    }
    if (context.brute_force.empty())
        return;
    compare(", one by one against brute force", context.brute_force, entry.single,
            Agreement::results);
    compare(", stream against brute force", context.brute_force, entry.stream, Agreement::results);
    compare(", batch against brute force", context.brute_force, batch, Agreement::results);
}

void Verification::call_item(void* user, const unsigned& item, const CtxEval& eval,
                             CtxShader& shader, GeometryRaytraceCtx& ctx) {
    VerifiedRays::call_item(static_cast<Verification*>(user)->m_rays, item, eval, shader, ctx);
}

} // namespace gas_app
