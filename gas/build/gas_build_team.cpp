// SPDX-License-Identifier: Apache-2.0
#include <gas/build/gas_build_team.h>

inline namespace gas_abi1 {

GasBuildTask::~GasBuildTask() = default;

GasBuildTeam::GasBuildTeam(SysThreadTaskManager& manager, unsigned size)
    : m_manager(manager), m_size(size > 0 ? size : 1), m_tasks(new GasBuildTask[m_size - 1]) {}

void GasBuildTeam::start(unsigned count, void (*call)(const void*), const void* work) {
    for (unsigned i = 0; i + 1 < m_size && i + 1 < count; ++i) {
        m_tasks[i].call = call;
        m_tasks[i].work = work;
        try {
            m_manager.add_task(m_tasks[i], false, true);
        } catch (...) {
            return; // fewer tasks, or none, will do: the calling thread does what is left
        }
    }
}

} // namespace gas_abi1
