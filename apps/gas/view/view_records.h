// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <apps/gas/page/tree_boxes.h>
#include <apps/gas/render/renderer.h>
#include <apps/gas/view/record_queue.h>

namespace gas_app {

/// The records of a picture, which apps/gas/page/view.js reads.

/// What is being done, and how far it is, 0 to 1.
void push_state(RecordQueue& records, const std::string& doing, double done);
/// A part of a picture, with pixels of `divisor` times the size.
void push_pixels(RecordQueue& records, const Picture& picture, const Tile& tile, unsigned divisor);
/// A pass has come to its end.
void push_pass(RecordQueue& records, const RenderPass& pass, const RenderResult& result);
/// What camera rays cost, of a picture whose walks were counted.
void push_counts(RecordQueue& records, const RenderResult& result);
/// The boxes of a level, of the last one where there are fewer.
void push_boxes(RecordQueue& records, const std::vector<ShownLevel>& levels, unsigned level);
/// The picture is done; or it failed.
void push_end(RecordQueue& records);
void push_error(RecordQueue& records, const std::string& text);

/// The head of a record: figures of all trees, and of the largest.
std::string describe_trees(const Scene& scene, double build_seconds);

} // namespace gas_app
