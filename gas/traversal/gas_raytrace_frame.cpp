#include <gas/traversal/gas_raytrace_frame.h>

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
