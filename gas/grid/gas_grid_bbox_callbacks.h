// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/host/host.h>

inline namespace gas_abi1 {

/// Fills `bboxes` with the boxes of `count` listed items.
using GasLeafBboxesCallback = void (*)(void* user, const unsigned& count, const unsigned* items,
                                       GMathBbox3<float>* bboxes);
/// The same at a time.
using GasLeafBboxesAtCallback = void (*)(void* user, const double& time, const unsigned& count,
                                         const unsigned* items, GMathBbox3<float>* bboxes);
/// Sets `bbox` to the union of the boxes of `count` listed items.
using GasLeavesBboxCallback = void (*)(void* user, const unsigned& count, const unsigned* items,
                                       GMathBbox3<float>& bbox);
/// The same at a time.
using GasLeavesBboxAtCallback = void (*)(void* user, const double& time, const unsigned& count,
                                         const unsigned* items, GMathBbox3<float>& bbox);

/// The four box callbacks of a grid and their user pointer. They are never null: one that was not
/// set does nothing, and its boxes are zeros.
struct GasGridBboxCallbacks {
    GasLeafBboxesCallback leaf_bboxes = ignore_bboxes;
    GasLeafBboxesAtCallback leaf_bboxes_at = ignore_bboxes_at;
    GasLeavesBboxCallback leaves_bbox = ignore_bbox;
    GasLeavesBboxAtCallback leaves_bbox_at = ignore_bbox_at;
    void* user = nullptr;

    /// Replaces each callback whose argument is not null, and always the user pointer.
    void set(GasLeafBboxesCallback new_leaf_bboxes, GasLeafBboxesAtCallback new_leaf_bboxes_at,
             GasLeavesBboxCallback new_leaves_bbox, GasLeavesBboxAtCallback new_leaves_bbox_at,
             void* new_user) {
        if (new_leaf_bboxes)
            leaf_bboxes = new_leaf_bboxes;
        if (new_leaf_bboxes_at)
            leaf_bboxes_at = new_leaf_bboxes_at;
        if (new_leaves_bbox)
            leaves_bbox = new_leaves_bbox;
        if (new_leaves_bbox_at)
            leaves_bbox_at = new_leaves_bbox_at;
        user = new_user;
    }

    static void ignore_bboxes(void*, const unsigned&, const unsigned*, GMathBbox3<float>*) {}
    static void ignore_bboxes_at(void*, const double&, const unsigned&, const unsigned*,
                                 GMathBbox3<float>*) {}
    static void ignore_bbox(void*, const unsigned&, const unsigned*, GMathBbox3<float>&) {}
    static void ignore_bbox_at(void*, const double&, const unsigned&, const unsigned*,
                               GMathBbox3<float>&) {}
};

} // namespace gas_abi1
