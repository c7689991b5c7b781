// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

#include <gas/gas_export.h>
#include <gas/host/host.h>

inline namespace gas_abi1 {

/// Scratch memory of one query that splits a batch: its own view of the caller's rays, and their
/// packets. Frames hang off a CtxShader in a chain as GasTreeCtx does.
class GAS_EXPORT GasRaytraceFrame {
  public:
    GasRaytraceFrame() = default;
    GasRaytraceFrame(const GasRaytraceFrame&) = delete;
    GasRaytraceFrame& operator=(const GasRaytraceFrame&) = delete;
    /// Frees the frame and all that follow it in the chain.
    ~GasRaytraceFrame();

    /// Gives the packet buffer room for `count` packets, for which the packet walk needs `size`
    /// bytes. A buffer that grows is filled with zeros.
    void reserve_packets(unsigned count, std::size_t size);

    /// The caller's batch, narrowed to the rays being traced.
    GeometryRaytraceData data;

    /// A small vector with room for four inside. This layout and that of the records below are
    /// owed to the interface; the library does not read them.
    struct SmallVector {
        std::uint64_t* items = room;
        std::uint64_t capacity = 4;
        std::int64_t size = -1;
        std::uint64_t marks[2] = {0, 0};
        std::uint64_t room[4] = {0, 0, 0, 0};
    };
    SmallVector small_vector;

    struct Record {
        void* items = nullptr;
        std::uint64_t counts[2] = {0, 0};
    };
    Record first_records[4];
    Record second_records[4];

    /// Packets of four rays at a 16-byte boundary.
    void* packets = nullptr;
    unsigned packet_capacity = 0;

    /// The frame of the next nesting depth; owned, null until first needed.
    GasRaytraceFrame* next = nullptr;
};

/// Holds the next free frame of a shader's chain from construction to destruction. The shader must
/// have frames.
class GasRaytraceFrameLease {
  public:
    explicit GasRaytraceFrameLease(CtxShader& shader)
        : m_slot(gas_host::get_ray_frame_slot(shader)),
          m_frame(static_cast<GasRaytraceFrame*>(m_slot)) {
        if (!m_frame->next)
            m_frame->next = new GasRaytraceFrame;
        m_slot = m_frame->next;
    }
    GasRaytraceFrameLease(const GasRaytraceFrameLease&) = delete;
    GasRaytraceFrameLease& operator=(const GasRaytraceFrameLease&) = delete;
    ~GasRaytraceFrameLease() { m_slot = m_frame; }

    GasRaytraceFrame& get() const { return *m_frame; }

  private:
    void*& m_slot;
    GasRaytraceFrame* m_frame;
};

} // namespace gas_abi1
