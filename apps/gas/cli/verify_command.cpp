// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/cli/commands.h>

#include <cstdio>

#include <apps/common/user_error.h>
#include <apps/common/whole_number.h>
#include <apps/gas/cli/option_values.h>
#include <apps/gas/math/sample_hash.h>
#include <apps/gas/mesh/mesh_file.h>
#include <apps/gas/verify/verification.h>

namespace gas_app {

namespace {

/// Enough for a stream to have trials, and to go as they suggest.
constexpr unsigned rays_of_batch = 600;

} // namespace

VerifyCommand::VerifyCommand(CLI::App& app)
    : Command(app, "verify",
              "Hold all trees, build methods, queries, ways of tracing and instruction sets "
              "against brute force and each other; exits with 1 if any differ") {
    m_command->add_option(
        "mesh", m_mesh_path,
        "A Wavefront OBJ, PLY or STL file; without it random boxes of many kinds");
    m_command->add_option("--rays", m_ray_count, "How many rays in total")
        ->check(whole_number(1, 1'000'000'000))
        ->capture_default_str();
    m_command->add_option("--seed", m_seed, "Another seed: other rays and boxes")
        ->capture_default_str();
}

void VerifyCommand::run() const {
    const std::uint64_t seed = parse_seed(m_seed);
    AppBase application(nullptr);
    RayComparison comparison;
    std::unique_ptr<VerifiedScene> scene;
    std::unique_ptr<Verification> verification;
    if (!m_mesh_path.empty()) {
        scene = std::make_unique<VerifiedScene>(load_mesh_file(m_mesh_path), seed);
        verification = std::make_unique<Verification>(*scene, application);
    }
    std::uint64_t round = 0;
    for (unsigned done = 0; done < m_ray_count; ++round) {
        const unsigned left = m_ray_count - done;
        const unsigned count = left < rays_of_batch ? left : rays_of_batch;
        std::string name = "rays from " + std::to_string(done);
        if (m_mesh_path.empty()) {
            // Small scenes and large ones, each with one batch.
            const std::uint64_t scene_seed = hash_pair(seed, round);
            const double size = std::pow(2.0, 11.0 * hash_unit(scene_seed, 0));
            const auto item_count = static_cast<unsigned>(size);
            verification.reset();
            scene = std::make_unique<VerifiedScene>(item_count, scene_seed);
            verification = std::make_unique<Verification>(*scene, application);
            name =
                "scene " + std::to_string(round) + " of " + std::to_string(item_count) + " boxes";
        }
        verification->check(done, count, name, comparison);
        done += count;
    }
    for (const std::string& description : comparison.get_descriptions())
        std::printf("%s\n", description.c_str());
    const std::string summary = std::to_string(comparison.get_count()) + " comparisons, " +
                                std::to_string(comparison.get_difference_count()) + " differences";
    std::printf("%s\n", summary.c_str());
    if (comparison.get_difference_count() > 0)
        throw UserError("the trees do not agree: seed " + m_seed + ", " + summary);
}

} // namespace gas_app
