// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>

#include <gas/tree/gas_array_block.h>

inline namespace gas_abi1 {

/// A tree's part in nodes that it shares with its copies: how many trees share them, and whether
/// one of these has released them. The first copy makes the record; a tree that was never copied
/// has none, unless its arrays lie in a block. Trees that share may be copied, moved and destroyed
/// on different threads.
class GasNodeShare {
  public:
    /// What a tree has to release when it gives its part up.
    struct Rest {
        /// Whether the shared arrays are its to release, and after them the block.
        bool owns_shared;
        /// Which samples are shared: the first ones. The others are its own.
        unsigned shared_sample_count;
        /// Holds some arrays or all, which are not released one by one; empty for most trees.
        GasArrayBlock block;
    };

    GasNodeShare() = default;
    GasNodeShare(const GasNodeShare&) = delete;
    GasNodeShare& operator=(const GasNodeShare&) = delete;

    /// Leaves what is shared now and shares what the tree of `other` does, its `sample_count`
    /// motion-blur samples, too. A failure, std::bad_alloc, changes nothing.
    void join(const GasNodeShare& other, unsigned sample_count);
    /// Takes the part of `other`, which has none then. There is none here.
    void take(GasNodeShare& other) noexcept;
    /// Gives the part up without releasing the nodes. They are now this tree's alone to release
    /// where no other tree shares them and none has released them.
    Rest leave() noexcept;
    /// Gives the part up to release the nodes, whichever trees share them still. They are not this
    /// tree's to release where another tree has released them, which breaks the contract of copies;
    /// a debug build asserts.
    Rest release() noexcept;

    /// The tree, which shares nothing, has its arrays in `block`: whoever releases the nodes
    /// releases it. A failure, std::bad_alloc, changes nothing.
    void keep(const GasArrayBlock& block);
    /// Holds nothing where no block is kept.
    GasArrayBlock get_block() const noexcept;

    /// The tree drops its samples from `count` on.
    void drop_samples(unsigned count) noexcept;

  private:
    struct Record;

    /// How many of the tree's samples other trees may share: those that it had when it was last
    /// copied or became a copy.
    unsigned get_sample_count() const { return m_sample_count.load(std::memory_order_relaxed); }
    bool leave_record() noexcept;

    /// Null: nothing is shared. Copying a tree, which is const then, makes the record.
    mutable std::atomic<Record*> m_record{nullptr};
    mutable std::atomic<unsigned> m_sample_count{0};
};

} // namespace gas_abi1
