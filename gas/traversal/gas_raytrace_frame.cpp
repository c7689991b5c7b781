#include <gas/traversal/gas_raytrace_frame.h>

#include <cstring>

#include <gas/traversal/gas_simd_rays.h>

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
    const std::size_t size = std::size_t{count} * sizeof(GasSimdRays);
    sys_aligned_free(packets);
    packets = nullptr;
    packet_capacity = 0;
    packets = sys_aligned_malloc(size);
    std::memset(packets, 0, size);
    packet_capacity = count;
}
