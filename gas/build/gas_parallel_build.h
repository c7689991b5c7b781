#pragma once

#include <memory>

#include <gas/build/gas_build_team.h>
#include <gas/build/gas_record_bins.h>
#include <gas/build/gas_record_build.h>

inline namespace gas_abi1 {

/// Builds the nodes that gas_build_part and gas_close_nodes build, on several threads: large parts
/// are divided by all threads together, one after the other, until there are enough for each thread
/// to work on some of its own. A node's number follows from the counts of items alone, and no union
/// or count depends on the order of records: so it never shows who did what.
class GasParallelBuild {
  public:
    /// Parts of up to this many items are left to one thread.
    static constexpr unsigned default_part_size = 8192;

    /// Allocates all that is needed. `size` is the number of threads, the calling one included.
    GasParallelBuild(SysThreadTaskManager& manager, unsigned size,
                     unsigned part_size = default_part_size);

    /// As the function of that name, for all items.
    GasBoxFacts make_records(const GMathBbox3<float>* bboxes, unsigned count, GasRecord* records,
                             GasLaneBounds& bounds);

    /// Builds `whole` and everything below it. The progress bar is touched on the calling thread.
    void build(GasRecordBuild& build, const GasBuildPart& whole);

  private:
    friend class GasParallelPasses;

    /// What one piece of a shared pass found.
    struct Piece {
        GasRecordBins bins;
        GasRecordSides sides;
        GasLaneBounds bounds;
        GasRecordMove move;
        GasBoxFacts facts;
    };
    struct Task {
        GasBuildPart part;
        unsigned depth;
    };

    /// Divides the largest part until there are enough; sorts them, largest first.
    void divide(GasRecordBuild& build, const GasBuildPart& whole);
    void insert(const GasBuildPart& part);

    GasBuildTeam m_team;
    unsigned m_part_size;
    unsigned m_piece_count;
    std::unique_ptr<Piece[]> m_pieces;
    unsigned m_task_limit;
    unsigned m_task_count = 0;
    std::unique_ptr<Task[]> m_tasks;
};

} // namespace gas_abi1
