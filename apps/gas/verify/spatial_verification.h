// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include <apps/gas/verify/comparison.h>
#include <apps/gas/verify/owning_trees.h>
#include <apps/gas/verify/verified_trees.h>

namespace gas_app {

/// Holds the queries for the closest item, for the leaves in a box and for the nearest leaves
/// against looking at every item, and saved trees against those that were saved.
class SpatialVerification {
  public:
    SpatialVerification(VerifiedTrees& trees, OwningVerification& owning);

    /// Asks questions `first` to `first + count - 1` of the scene of all trees of a build method
    /// that answer them.
    void check(unsigned method, std::uint64_t first, unsigned count, const std::string& where,
               Comparison& comparison);

  private:
    using Boxes = std::vector<GMathBbox3<float>>;
    struct Question;
    struct Context;
    struct Closest {
        unsigned item = ~0u;
        double distance = 0.0;

        bool operator==(const Closest& other) const {
            return item == other.item && distance == other.distance;
        }
    };
    /// The nearest leaves, and what they must be.
    struct Nearest {
        std::vector<unsigned> leaves;
        std::vector<float> distances;
    };

    Question make_question(std::uint64_t number) const;
    double measure(unsigned item, const Vec3& point) const;
    template <typename Tree> Closest find_closest(const Tree& tree, const Question& question) const;
    void check_closest(const Context& context) const;
    void check_in_box(const Context& context) const;
    void check_nearest(const Context& context) const;
    static void compare_in_box(const Context& context, const char* tree, const Boxes& boxes,
                               const GMathBbox3<float>& box, std::vector<unsigned> found);
    static void compare_nearest(const Context& context, const char* tree, const Boxes& boxes,
                                const Nearest& found);

    const VerifiedScene& m_scene;
    VerifiedTrees& m_trees;
    OwningVerification& m_owning;
    /// As the trees hold them, and those of the owning interface.
    Boxes m_boxes;
    Boxes m_owning_boxes;
};

} // namespace gas_app
