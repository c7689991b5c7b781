// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/traversal/frame/gas_tree_ctx.h>

namespace support {

/// Has the slots of a frame and of all that follow it expect rays that are coherent, or none.
inline void set_coherence(GasTreeCtx& first_frame, bool are_coherent) {
    for (GasTreeCtx* frame = &first_frame; frame; frame = frame->next) {
        for (unsigned slot = 0; slot < GasTreeCtx::cache_slot_count; ++slot) {
            for (GasCachedLeaf* const slots : {frame->all_hits_cache, frame->nearest_cache}) {
                for (unsigned node = 1; node <= 100; ++node)
                    slots[slot].coherence.end_ray(nullptr, are_coherent ? 1 : node);
            }
        }
    }
}

} // namespace support
