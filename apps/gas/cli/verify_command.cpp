// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/cli/commands.h>

#include <algorithm>
#include <cstdio>
#include <numeric>
#include <thread>

#include <nlohmann/json.hpp>

#include <apps/common/user_error.h>
#include <apps/common/whole_number.h>
#include <apps/gas/cli/help_text.h>
#include <apps/gas/cli/option_values.h>
#include <apps/gas/cli/shown_progress.h>
#include <apps/gas/mesh/mesh_file.h>
#include <apps/gas/verify/verification_run.h>

namespace gas_app {

namespace {

constexpr const char* all_methods = "all";

void print_table(const Comparison& comparison) {
    std::size_t widths[3] = {4, 3, 7};
    for (const auto& [pair, counts] : comparison.get_rows()) {
        widths[0] = std::max(widths[0], pair.tree.size());
        widths[1] = std::max(widths[1], pair.way.size());
        widths[2] = std::max(widths[2], pair.against.size());
    }
    const auto print = [&](const ComparedPair& pair, const std::string& comparisons,
                           const std::string& differences) {
        std::printf("%-*s  %-*s  %-*s  %12s  %11s\n", static_cast<int>(widths[0]),
                    pair.tree.c_str(), static_cast<int>(widths[1]), pair.way.c_str(),
                    static_cast<int>(widths[2]), pair.against.c_str(), comparisons.c_str(),
                    differences.c_str());
    };
    print({"tree", "way", "against"}, "comparisons", "differences");
    for (const auto& [pair, counts] : comparison.get_rows())
        print(pair, std::to_string(counts.comparisons), std::to_string(counts.differences));
}

} // namespace

VerifyCommand::VerifyCommand(CLI::App& app)
    : Command(app, "verify", "Hold all trees and ways of tracing against brute force",
              "Compares all trees, build methods, queries, ways of tracing and instruction sets "
              "with brute force and each other; exits with 1 if any differ.") {
    m_command
        ->add_option("mesh", m_mesh_path,
                     "A Wavefront OBJ, PLY or STL file; without it random boxes of many kinds")
        ->type_name("FILE");
    m_command->add_option("--rays", m_ray_count, "How many rays in total")
        ->check(whole_number(1, 1'000'000'000))
        ->capture_default_str();
    m_command->add_option("--seed", m_seed, "Another seed: other rays and boxes")
        ->type_name("NUMBER")
        ->capture_default_str();
    m_command
        ->add_option("--items", m_item_count,
                     "Of a mesh: not all triangles, but for each scene so many others; of random "
                     "boxes: how many a scene has at most, usually 2000. Scenes of up to 2000 are "
                     "held against brute force, larger ones against one tree, and that one for a "
                     "few rays against brute force")
        ->check(whole_number(1, SceneOptions::largest_item_count));
    m_command
        ->add_option("--build", m_build_method, "How trees are built: by one method, or by all")
        ->type_name(list_choices(build_method_names) + "|" + all_methods)
        ->capture_default_str();
    m_command->add_flag("--in-turn", m_in_turn,
                        "Ask each ray one question through trees of one kind, in turn, in place of "
                        "all through all: many more rays in the same time");
    m_command->add_option("--threads", m_threads, "Threads that trace; 0: one for each processor")
        ->check(whole_number(0, 1024))
        ->capture_default_str();
    m_command->add_flag("--json", m_json, "Write the results as JSON");
}

VerificationSettings VerifyCommand::get_settings(AppBase& application) const {
    VerificationSettings settings;
    settings.seed = parse_seed(m_seed);
    settings.ray_count = m_ray_count;
    settings.item_count = m_item_count;
    settings.is_in_turn = m_in_turn;
    settings.thread_count =
        m_threads > 0 ? m_threads : std::max(1u, std::thread::hardware_concurrency());
    if (m_build_method == all_methods) {
        settings.methods.resize(build_method_names.size());
        std::iota(settings.methods.begin(), settings.methods.end(), 0u);
    } else {
        settings.methods = {parse_build_method(m_build_method)};
    }
    if (!m_mesh_path.empty())
        settings.mesh = read_mesh(m_mesh_path, application);
    return settings;
}

void VerifyCommand::run() const {
    AppBase application(stderr);
    const VerificationSettings settings = get_settings(application);
    VerificationRun verification(settings);
    const Comparison comparison = [&] {
        ShownProgress progress(application, "Comparing answers", true);
        return verification.run(&progress.get_bar());
    }();
    const Comparison::Counts total = comparison.get_total();
    const std::string summary = std::to_string(total.comparisons) + " comparisons, " +
                                std::to_string(total.differences) + " differences";
    if (m_json) {
        print_json(comparison, verification.get_visit_count());
    } else {
        print_table(comparison);
        for (const std::string& description : comparison.get_descriptions())
            std::printf("%s\n", description.c_str());
        std::printf("%u rays in %u visits of scenes, seed %s\n%s\n", m_ray_count,
                    verification.get_visit_count(), m_seed.c_str(), summary.c_str());
    }
    if (total.differences > 0)
        throw UserError("the trees do not agree: seed " + m_seed + ", " + summary);
}

void VerifyCommand::print_json(const Comparison& comparison, unsigned visit_count) const {
    nlohmann::ordered_json rows = nlohmann::ordered_json::array();
    for (const auto& [pair, counts] : comparison.get_rows())
        rows.push_back({{"tree", pair.tree},
                        {"way", pair.way},
                        {"against", pair.against},
                        {"comparisons", counts.comparisons},
                        {"differences", counts.differences}});
    const nlohmann::ordered_json report = {{"seed", m_seed},
                                           {"rays", m_ray_count},
                                           {"visits", visit_count},
                                           {"comparisons", comparison.get_total().comparisons},
                                           {"differences", comparison.get_total().differences},
                                           {"rows", std::move(rows)},
                                           {"described", comparison.get_descriptions()}};
    std::puts(report.dump(2).c_str());
}

} // namespace gas_app
