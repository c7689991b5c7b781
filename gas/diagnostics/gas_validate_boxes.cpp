// SPDX-License-Identifier: Apache-2.0
#include <cmath>

#include <gas/diagnostics/gas_flaw_list.h>
#include <gas/diagnostics/gas_validate.h>

inline namespace gas_abi1 {

namespace {

/// The coordinates of a box for which something holds, in words.
class NamedCoordinates {
  public:
    void add(const char* name) { m_names += (m_names.empty() ? "" : ", ") + std::string(name); }
    bool is_empty() const { return m_names.empty(); }
    std::string get() const { return " (" + m_names + ")"; }

  private:
    std::string m_names;
};

void validate_box(const float (&low)[3], const float (&high)[3], unsigned item,
                  GasFlawList& flaws) {
    constexpr const char* axes[3] = {"x", "y", "z"};
    constexpr const char* names[2][3] = {{"min x", "min y", "min z"}, {"max x", "max y", "max z"}};
    NamedCoordinates unordered;
    NamedCoordinates infinite;
    NamedCoordinates inverted;
    for (unsigned axis = 0; axis < 3; ++axis) {
        const float corners[2] = {low[axis], high[axis]};
        for (unsigned corner = 0; corner < 2; ++corner) {
            if (std::isnan(corners[corner]))
                unordered.add(names[corner][axis]);
            if (std::isinf(corners[corner]))
                infinite.add(names[corner][axis]);
        }
        if (low[axis] > high[axis])
            inverted.add(axes[axis]);
    }
    if (!unordered.is_empty())
        flaws.add("item ", item, ": the box has a NaN", unordered.get());
    if (!inverted.is_empty())
        flaws.add("item ", item, ": min is above max", inverted.get());
    if (!infinite.is_empty())
        flaws.add("item ", item, ": the box is infinite", infinite.get());
}

template <typename Box>
std::vector<std::string> validate_boxes(const Box* bboxes, unsigned count, unsigned max_count) {
    GasFlawList flaws(max_count);
    for (unsigned item = 0; item < count; ++item) {
        const auto& [min, max] = bboxes[item];
        const float low[3] = {static_cast<float>(min.x), static_cast<float>(min.y),
                              static_cast<float>(min.z)};
        const float high[3] = {static_cast<float>(max.x), static_cast<float>(max.y),
                               static_cast<float>(max.z)};
        bool is_good = true;
        for (unsigned axis = 0; axis < 3 && is_good; ++axis)
            is_good =
                low[axis] <= high[axis] && std::isfinite(low[axis]) && std::isfinite(high[axis]);
        if (!is_good)
            validate_box(low, high, item, flaws);
    }
    return flaws.take();
}

} // namespace

std::vector<std::string> gas_validate_boxes(const GMathBbox3<float>* bboxes, unsigned count,
                                            unsigned max_count) {
    return validate_boxes(bboxes, count, max_count);
}

std::vector<std::string> gas_validate_boxes(const GMathBbox3<double>* bboxes, unsigned count,
                                            unsigned max_count) {
    return validate_boxes(bboxes, count, max_count);
}

} // namespace gas_abi1
