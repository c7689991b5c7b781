// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <numeric>
#include <vector>

#include <gas/split/gas_sah_workspace.h>
#include <gas/tree/gas_tree.h>

#include <tests/naive/naive_tree.h>
#include <tests/support/box_conversion.h>

namespace support {

/// 0, 1, .. count - 1.
inline std::vector<unsigned> list_items(unsigned count) {
    std::vector<unsigned> items(count);
    std::iota(items.begin(), items.end(), 0u);
    return items;
}

inline naive::Box point_box(float x, float y, float z) { return {{x, y, z}, {x, y, z}}; }

/// A box of edge 1 around a point.
inline naive::Box unit_box(float x, float y, float z) {
    return {{x - 0.5f, y - 0.5f, z - 0.5f}, {x + 0.5f, y + 0.5f, z + 0.5f}};
}

struct SplitResult {
    unsigned left_count;
    std::vector<unsigned> items;

    bool operator==(const SplitResult&) const = default;
};

/// What split functions need to be called on their own.
class SplitScene {
  public:
    explicit SplitScene(const std::vector<naive::Box>& boxes)
        : m_boxes(to_boxes(boxes)), m_centers(static_cast<unsigned>(boxes.size())),
          m_workspace(std::make_unique<GasSahWorkspace>(m_centers.get_items())) {
        for (unsigned i = 0; i < m_centers.get_count(); ++i) {
            for (unsigned axis = 0; axis < 3; ++axis)
                m_centers[i][axis] = (boxes[i].min[axis] + boxes[i].max[axis]) * 0.5f;
        }
    }

    SplitResult split(GasTree::SplitCallback callback, std::vector<unsigned> items) const {
        return call(callback, std::move(items), m_workspace.get());
    }
    SplitResult split(GasTree::SplitCallback callback) const {
        return split(callback, list_items(m_boxes.get_count()));
    }
    SplitResult split_without_workspace(GasTree::SplitCallback callback) const {
        return call(callback, list_items(m_boxes.get_count()), nullptr);
    }

  private:
    SplitResult call(GasTree::SplitCallback callback, std::vector<unsigned> items,
                     GasSahWorkspace* workspace) const {
        const GasTreeSplitContext context = {m_boxes.get_items(), m_centers.get_items(), workspace,
                                             nullptr, 0};
        constexpr unsigned unwritten = 0xabcdef;
        unsigned left_count = unwritten;
        callback(context, items.data(), static_cast<unsigned>(items.size()), left_count);
        return {left_count, items};
    }

    CoreArray<GMathBbox3<float>> m_boxes;
    CoreArray<GMathVec3<float>> m_centers;
    std::unique_ptr<GasSahWorkspace> m_workspace;
};

} // namespace support
