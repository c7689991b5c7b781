// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <apps/gas/farm/team.h>

namespace gas_app {

/// The ranks of an MPI job. Rank 0 deals units to all that ask, and works in a thread beside. A
/// rank that dies is outlived where MPI leaves the others running.
class MpiTeam : public Team {
  public:
    /// Starts MPI.
    MpiTeam(int& argument_count, char**& arguments);
    MpiTeam(const MpiTeam&) = delete;
    MpiTeam& operator=(const MpiTeam&) = delete;

    unsigned get_rank() const override { return m_rank; }
    unsigned get_size() const override { return m_size; }
    void share(unsigned unit_count, const Work& work, const Take& take) override;

    /// Ends MPI; where this rank failed, of all ranks. Returns the exit code.
    int finish(int exit_code) const;

  private:
    void follow(const Work& work);

    unsigned m_rank = 0;
    unsigned m_size = 1;
    /// Whether no rank was lost.
    bool m_has_all = true;
};

} // namespace gas_app
