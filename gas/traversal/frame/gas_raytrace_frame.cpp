// SPDX-License-Identifier: Apache-2.0
#include <gas/traversal/frame/gas_raytrace_frame.h>

#include <cstring>

inline namespace gas_abi1 {

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

void GasRaytraceFrame::reserve_packets(unsigned count, std::size_t size) {
    if (count <= packet_capacity)
        return;
    sys_aligned_free(packets);
    packets = nullptr;
    packet_capacity = 0;
    packets = sys_aligned_malloc(size);
    std::memset(packets, 0, size);
    packet_capacity = count;
}

} // namespace gas_abi1
