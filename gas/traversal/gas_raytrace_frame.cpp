#include <gas/traversal/gas_raytrace_frame.h>

#include <cstring>

#include <gas/traversal/gas_packet_bounds.h>
#include <gas/traversal/gas_simd_rays.h>

namespace {

/// Tests of the last block read all of its packets.
std::size_t round_to_blocks(unsigned packet_count) {
    constexpr std::size_t block_size = GasPacketBounds::block_size;
    return (packet_count + block_size - 1) / block_size * block_size;
}

} // namespace

GasRaytraceFrame::~GasRaytraceFrame() {
    while (GasRaytraceFrame* following = next) {
        next = following->next;
        following->next = nullptr;
        delete following;
    }
    sys_aligned_free(packets);
    if (small_vector.items != small_vector.room)
        sys_free(small_vector.items);
}

void GasRaytraceFrame::reserve_packets(unsigned count) {
    if (count <= packet_capacity)
        return;
    const std::size_t group_count = count / GasPacketBounds::packet_count + 1;
    const std::size_t size =
        round_to_blocks(count) * sizeof(GasSimdRays) + group_count * sizeof(GasPacketBounds);
    sys_aligned_free(packets);
    packets = nullptr;
    packet_capacity = 0;
    packets = sys_aligned_malloc(size);
    std::memset(packets, 0, size);
    packet_capacity = count;
}

GasPacketBounds* GasRaytraceFrame::get_packet_bounds() const {
    void* const end = static_cast<GasSimdRays*>(packets) + round_to_blocks(packet_capacity);
    return static_cast<GasPacketBounds*>(end);
}
