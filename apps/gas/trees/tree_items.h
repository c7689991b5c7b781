// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>

#include <gas/grid/gas_grid_tree.h>

#include <apps/gas/math/vector_math.h>
#include <apps/gas/trees/shared_progress.h>

namespace gas_app {

/// The items of a tree, which sees their boxes padded and multiplied by a scale. Any number of
/// threads may ask for boxes at once.
class TreeItems {
  public:
    using Boxes = CoreArray<GMathBbox3<float>>;
    /// Box of an item at a motion sample, not padded.
    using GetBox = std::function<Box(unsigned item, unsigned sample)>;

    struct Description {
        /// At least 1.
        unsigned item_count = 0;
        /// 1: items do not move. The shutter is open from time 0 to 1.
        unsigned sample_count = 1;
        GetBox get_box;
        double padding = 0.0;
        /// Around the boxes at all samples.
        Box bounds = empty_box();
    };

    TreeItems() = default;
    TreeItems(const TreeItems&) = delete;
    TreeItems& operator=(const TreeItems&) = delete;

    void describe(const Description& description) { m_description = description; }
    const Description& get() const { return m_description; }
    /// Around the padded boxes of all samples, not scaled.
    Box get_padded_bounds() const;
    void set_scale(double scale) { m_scale = scale; }
    double get_scale() const { return m_scale; }

    /// The sample over whose boxes a tree is built: the middle one.
    unsigned get_built_sample() const { return m_description.sample_count / 2; }
    /// As the tree sees it.
    GMathBbox3<float> get_box(unsigned item, unsigned sample) const;
    /// All boxes of a sample, on as many threads as the host has.
    void fill(unsigned sample, Boxes& boxes) const;
    /// Tells of boxes that were filled in.
    void report(unsigned count) const;

    /// Sets the grid's box callbacks to ask here, as long as both live.
    void serve(GasGridTree& grid);
    /// How many boxes a grid has asked for; a union counts each of its boxes.
    std::uint64_t get_asked_count() const { return m_asked_count.load(std::memory_order_relaxed); }
    /// Tells `progress` of each box that is filled in or given to a grid; null: nobody. Not while
    /// boxes are asked for.
    void report_to(SharedProgress* progress) { m_progress = progress; }

    /// Tells a progress of them, until it is destroyed.
    class Reporting {
      public:
        Reporting(TreeItems& items, SharedProgress& progress) : m_items(items) {
            items.report_to(&progress);
        }
        Reporting(const Reporting&) = delete;
        Reporting& operator=(const Reporting&) = delete;
        ~Reporting() { m_items.report_to(nullptr); }

      private:
        TreeItems& m_items;
    };

  private:
    unsigned get_sample(double time) const;
    void give(unsigned sample, unsigned count, const unsigned* items, GMathBbox3<float>* boxes);
    GMathBbox3<float> unite(unsigned sample, unsigned count, const unsigned* items);

    Description m_description;
    double m_scale = 1.0;
    SharedProgress* m_progress = nullptr;
    std::atomic<std::uint64_t> m_asked_count{0};
};

} // namespace gas_app
