// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/verify/verification.h>

#include <apps/gas/math/sample_hash.h>

namespace gas_app {

void Visit::make_batches() {
    const VerifiedScene& scene = m_verification->get_scene();
    for (unsigned done = 0; done < m_plan.ray_count; done += m_plan.batch_size) {
        const std::uint64_t first = m_plan.first_ray + done;
        const unsigned count = std::min(m_plan.batch_size, m_plan.ray_count - done);
        const bool is_tile = hash_pair(first, 1) % 2 == 0;
        m_batches.push_back(
            is_tile ? std::make_unique<VerifiedRays>(scene, scene.make_tile(first, count))
                    : std::make_unique<VerifiedRays>(scene, first, count));
    }
}

void Visit::run() {
    make_batches();
    for (unsigned batch = 0; batch < m_batches.size(); ++batch) {
        VerifiedRays& rays = *m_batches[batch];
        const std::string where =
            m_plan.name + ", batch from " +
            std::to_string(m_plan.first_ray + std::uint64_t{batch} * m_plan.batch_size);
        if (m_plan.is_in_turn)
            ask_one(rays, where, batch);
        else
            ask_all(rays, where);
    }
    for (unsigned i = 0; i < m_plan.spatial_count; ++i) {
        const unsigned method = m_plan.methods[(m_plan.choice + i) % m_plan.methods.size()];
        m_verification->get_spatial().check(method, m_plan.first_ray + i, 1, m_plan.name,
                                            m_comparison);
    }
}

void Visit::run_again(const std::string& instruction_set) {
    for (const std::unique_ptr<AskedRays>& asked : m_asked)
        asked->check_again(instruction_set);
}

AskedRays& Visit::add(VerifiedRays& rays, const Question& question, const std::string& where) {
    m_asked.push_back(std::make_unique<AskedRays>(m_verification->get_trees(),
                                                  m_verification->get_owning(), rays, question,
                                                  where, m_comparison));
    return *m_asked.back();
}

void Visit::ask_all(VerifiedRays& rays, const std::string& where) {
    for (const Question& question : all_questions) {
        AskedRays& asked = add(rays, question, where);
        for (const unsigned method : m_plan.methods) {
            for (unsigned kind = 0; kind < verified_kinds.size(); ++kind)
                asked.check(method, kind);
            if (!question.has_one_result())
                continue;
            for (unsigned kind = 0; kind < owning_names.size(); ++kind)
                asked.check_owning(method, kind);
        }
    }
}

void Visit::ask_one(VerifiedRays& rays, const std::string& where, unsigned batch) {
    const Question& question = all_questions[(m_plan.choice + batch) % all_questions.size()];
    const unsigned method = m_plan.methods[hash_pair(m_plan.choice, 0) % m_plan.methods.size()];
    const auto kind_count = static_cast<unsigned>(verified_kinds.size());
    const auto kind =
        static_cast<unsigned>(hash_pair(m_plan.choice, 1) % (kind_count + owning_names.size()));
    AskedRays& asked = add(rays, question, where);
    if (kind < kind_count)
        asked.check(method, kind);
    else if (question.has_one_result())
        asked.check_owning(method, kind - kind_count);
    else // which needs one
        asked.check(method, kind - kind_count);
}

} // namespace gas_app
