// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/verify/verification_run.h>

#include <algorithm>
#include <cmath>

#include <gas/isa/gas_instruction_set.h>

#include <apps/gas/math/sample_hash.h>
#include <apps/gas/verify/parallel_calls.h>

namespace gas_app {

namespace {

/// The instruction set in use is another for a while.
class OtherInstructionSet {
  public:
    OtherInstructionSet() : m_chosen(gas_get_instruction_set()) {}
    OtherInstructionSet(const OtherInstructionSet&) = delete;
    OtherInstructionSet& operator=(const OtherInstructionSet&) = delete;
    ~OtherInstructionSet() { gas_set_instruction_set(m_chosen); }

  private:
    const GasInstructionSet m_chosen;
};

} // namespace

VerificationRun::VerificationRun(const VerificationSettings& settings) : m_settings(settings) {
    if (has_one_scene())
        m_whole = std::make_shared<Verification>(make_scene(settings.seed));
}

bool VerificationRun::has_one_scene() const {
    return m_settings.mesh && (m_settings.item_count == 0 ||
                               m_settings.item_count >= m_settings.mesh->triangles.size());
}

/// Enough for a stream to have trials, and to go as they suggest; with a large scene enough to make
/// up for a new grid.
unsigned VerificationRun::get_batch_size() const { return m_whole ? 2000 : 600; }

VisitPlan VerificationRun::make_plan(unsigned visit, std::uint64_t first_ray) const {
    const unsigned batch_count =
        m_settings.is_in_turn ? static_cast<unsigned>(all_questions.size()) : 1;
    VisitPlan plan;
    plan.first_ray = first_ray;
    plan.batch_size = get_batch_size();
    plan.ray_count = static_cast<unsigned>(std::min<std::uint64_t>(
        std::uint64_t{batch_count} * plan.batch_size, m_settings.ray_count - first_ray));
    plan.methods = m_settings.methods;
    plan.is_in_turn = m_settings.is_in_turn;
    plan.choice = hash_pair(m_settings.seed, visit) >> 1;
    // For these many trees are built.
    plan.spatial_count = m_settings.is_in_turn ? (plan.choice % 4 == 0 ? 8 : 0) : 20;
    return plan;
}

std::unique_ptr<const VerifiedScene> VerificationRun::make_scene(std::uint64_t seed) const {
    if (m_settings.mesh)
        return std::make_unique<VerifiedScene>(*m_settings.mesh, seed, m_settings.item_count);
    // Small scenes and large ones.
    const double most = m_settings.item_count > 0 ? m_settings.item_count : Reference::most_items;
    const double item_count = std::pow(most + 1.0, hash_unit(seed, 0));
    return std::make_unique<VerifiedScene>(static_cast<unsigned>(item_count), seed);
}

std::unique_ptr<Visit> VerificationRun::make_visit(VisitPlan plan, unsigned visit) const {
    std::shared_ptr<Verification> verification = m_whole;
    if (!verification)
        verification =
            std::make_shared<Verification>(make_scene(hash_pair(m_settings.seed, visit)));
    const unsigned item_count = verification->get_scene().get_item_count();
    plan.name = "scene " + std::to_string(visit) + " of " + std::to_string(item_count) + " boxes";
    return std::make_unique<Visit>(std::move(verification), plan);
}

Comparison VerificationRun::run(AppProgressBar* progress_bar) {
    const OtherInstructionSet restored;
    gas_set_instruction_set(GasInstructionSet::baseline);
    const bool has_avx2 = gas_has_instruction_set(GasInstructionSet::avx2);
    // Scenes differ in size: several for each thread keep all of them busy.
    const unsigned round_size = (m_settings.is_in_turn ? 16 : 1) * m_settings.thread_count;
    Comparison total;
    m_visit_count = 0;
    std::uint64_t done = 0;
    while (done < m_settings.ray_count) {
        std::vector<VisitPlan> plans;
        while (done < m_settings.ray_count && plans.size() < round_size) {
            plans.push_back(make_plan(m_visit_count + static_cast<unsigned>(plans.size()), done));
            done += plans.back().ray_count;
        }
        const auto count = static_cast<unsigned>(plans.size());
        std::vector<std::unique_ptr<Visit>> visits(count);
        call_in_parallel(count, m_settings.thread_count, [&](unsigned i) {
            visits[i] = make_visit(plans[i], m_visit_count + i);
            visits[i]->run();
        });
        if (has_avx2) {
            gas_set_instruction_set(GasInstructionSet::avx2);
            const std::string name = gas_get_instruction_set_name(GasInstructionSet::avx2);
            call_in_parallel(count, m_settings.thread_count,
                             [&](unsigned i) { visits[i]->run_again(name); });
            gas_set_instruction_set(GasInstructionSet::baseline);
        }
        for (const std::unique_ptr<Visit>& visit : visits)
            total.add(visit->get_comparison());
        m_visit_count += count;
        if (progress_bar)
            progress_bar->set_value(static_cast<float>(done) /
                                    static_cast<float>(m_settings.ray_count));
    }
    return total;
}

} // namespace gas_app
