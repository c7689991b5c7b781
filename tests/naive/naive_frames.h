#pragma once

#include <deque>

#include <tests/naive/naive_packets.h>
#include <tests/naive/naive_tree.h>

namespace naive {

/// The chains of frames of one shader. Each walk takes the next cache, each batch of several rays
/// the next packets; what calls without a walk takes none.
struct Frames {
    std::deque<Cache> caches;
    std::deque<PacketBuffer> packets;
    unsigned caches_in_use = 0;
    unsigned packets_in_use = 0;
};

/// The next frame of a chain, given back at the end.
template <typename Frame> class FrameLease {
  public:
    FrameLease(std::deque<Frame>& chain, unsigned& in_use) : m_in_use(in_use) {
        if (chain.size() == in_use)
            chain.emplace_back();
        m_frame = &chain[in_use];
        ++m_in_use;
    }
    FrameLease(const FrameLease&) = delete;
    FrameLease& operator=(const FrameLease&) = delete;
    ~FrameLease() { --m_in_use; }

    Frame& get() const { return *m_frame; }

  private:
    unsigned& m_in_use;
    Frame* m_frame;
};

} // namespace naive
