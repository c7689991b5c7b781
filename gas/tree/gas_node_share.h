// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>

inline namespace gas_abi1 {

/// A tree's part in nodes that it shares with its copies: how many trees share them, and whether
/// one of these has released them. The first copy makes the record; a tree that was never copied
/// has none. Trees that share may be copied, moved and destroyed on different threads.
class GasNodeShare {
  public:
    GasNodeShare() = default;
    GasNodeShare(const GasNodeShare&) = delete;
    GasNodeShare& operator=(const GasNodeShare&) = delete;

    /// Leaves what is shared now and shares what the tree of `other` does, its `sample_count`
    /// motion-blur samples, too. A failure, std::bad_alloc, changes nothing.
    void join(const GasNodeShare& other, unsigned sample_count);
    /// Takes the part of `other`, which has none then. There is none here.
    void take(GasNodeShare& other) noexcept;
    /// Gives the part up without releasing the nodes. True: they are now this tree's alone to
    /// release, for no other tree shares them and none has released them.
    bool leave() noexcept;
    /// Gives the part up to release the nodes, whichever trees share them still. False: another
    /// tree has released them, which breaks the contract of copies; a debug build asserts.
    bool release() noexcept;

    /// How many of the tree's samples other trees may share: the first ones, those that it had when
    /// it was last copied or became a copy. The others are its own.
    unsigned get_sample_count() const { return m_sample_count.load(std::memory_order_relaxed); }
    /// The tree drops its samples from `count` on.
    void drop_samples(unsigned count) noexcept;

  private:
    struct Record;

    /// Null: nothing is shared. Copying a tree, which is const then, makes the record.
    mutable std::atomic<Record*> m_record{nullptr};
    mutable std::atomic<unsigned> m_sample_count{0};
};

} // namespace gas_abi1
