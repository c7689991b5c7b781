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

    /// Leaves what is shared now and shares what the tree of `other` does. A failure,
    /// std::bad_alloc, changes nothing.
    void join(const GasNodeShare& other);
    /// Takes the part of `other`, which has none then. There is none here.
    void take(GasNodeShare& other) noexcept;
    /// Gives the part up without releasing the nodes. True: they are now this tree's alone to
    /// release, for no other tree shares them and none has released them.
    bool leave() noexcept;
    /// Gives the part up to release the nodes, whichever trees share them still. False: another
    /// tree has released them, which breaks the contract of copies; a debug build asserts.
    bool release() noexcept;

  private:
    struct Record;

    /// Null: nothing is shared. Copying a tree, which is const then, makes the record.
    mutable std::atomic<Record*> m_record{nullptr};
};

} // namespace gas_abi1
