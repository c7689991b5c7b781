// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>

#include <gas/compressed/gas_compressed_tree.h>

inline namespace gas_abi1 {

/// The tree of one cell of a GasGridTree; its leaves report the items as the grid was given them.
class GAS_EXPORT GasGridSubTree final : public GasCompressedTree {
  public:
    GasGridSubTree() = default;
    GasGridSubTree(const GasGridSubTree&) = delete;
    GasGridSubTree& operator=(const GasGridSubTree&) = delete;

    /// Whether its motion-blur samples must still be filled. When false, they may be used.
    bool is_motion_update_pending() const {
        return m_motion_update_pending.load(std::memory_order_acquire);
    }
    void set_motion_update_pending(bool pending) {
        m_motion_update_pending.store(pending, std::memory_order_release);
    }

    /// The leaf callback of a cell that was built while the grid had none. It does nothing, where
    /// the grid's own does not: the grid is reported, its cells' trees are not.
    static void ignore(void*, const unsigned&, const CtxEval&, CtxShader&, GeometryRaytraceCtx&);

  private:
    std::atomic<bool> m_motion_update_pending{true};
};

} // namespace gas_abi1
