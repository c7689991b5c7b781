#include <cstdint>
#include <limits>
#include <utility>

#include <tests/naive/naive_tree.h>

namespace naive {

namespace {

using Centres = std::vector<std::array<float, 3>>;
using Items = std::vector<unsigned>;

constexpr unsigned bin_count = 16;
constexpr unsigned exact_count_limit = 16;
constexpr unsigned hybrid_count_limit = 129;
constexpr float largest_float = 3.4028235e38f;
constexpr double smallest_extent = 1e-8;
constexpr double worst_cost = 1e308;
// A little below 16, so that the largest centre falls into the last bin.
constexpr float bin_scale = 15.9984f;

/// One item on the exact path, one bin on the binned path, or a run of either.
struct Slot {
    float count;
    Box box;
};

struct Sweep {
    std::vector<Slot> below; // below[k]: slots 0 .. k - 1 together
    std::vector<Slot> above; // above[k]: slots k .. last together
};

/// The best cut of one search; `left_count` serves the exact path, `position` the binned one.
struct Cut {
    double cost = worst_cost;
    bool found = false;
    unsigned axis = 0;
    unsigned left_count = 0;
    float position = 0.0f;
};

/// When a candidate replaces the best cut: they differ for a cost that is not a number.
enum class Rule { unless_not_cheaper, only_cheaper };

bool replaces(Rule rule, double cost, double best) {
    return rule == Rule::only_cheaper ? cost < best : !(cost >= best);
}

float extent_of(const Box& box, unsigned axis) { return box.max[axis] - box.min[axis]; }

/// False for an extent that is not a number, too.
bool is_wide_enough(float extent) { return static_cast<double>(extent) >= smallest_extent; }

double surface_area(const Box& box) {
    const double dx = static_cast<double>(box.max[0] - box.min[0]);
    const double dy = static_cast<double>(box.max[1] - box.min[1]);
    const double dz = static_cast<double>(box.max[2] - box.min[2]);
    return 2.0 * ((dx + dy) * dz + dx * dy);
}

double cut_cost(const Slot& left, const Slot& right) {
    return surface_area(left.box) * static_cast<double>(left.count) +
           surface_area(right.box) * static_cast<double>(right.count);
}

Slot join(const Slot& running, const Slot& next) {
    return {running.count + next.count, unite(running.box, next.box)};
}

Sweep sweep(const std::vector<Slot>& slots) {
    const std::size_t count = slots.size();
    Sweep result;
    result.below.resize(count);
    result.above.resize(count);
    result.below[1] = slots[0];
    for (std::size_t k = 2; k < count; ++k) {
        result.below[k] = join(result.below[k - 1], slots[k - 1]);
    }
    result.above[count - 1] = slots[count - 1];
    for (std::size_t k = count - 1; k > 1; --k) {
        result.above[k - 1] = join(result.above[k], slots[k - 1]);
    }
    return result;
}

/// Quicksort of items[low .. high] with the last entry as the pivot. Equal centres keep the order
/// that the swaps give them, which shows in the tree.
void sort_range(Items& items, int low, int high, const Centres& centres, unsigned axis) {
    const auto at = [&items](int position) -> unsigned& {
        return items[static_cast<std::size_t>(position)];
    };
    while (high - low + 1 >= 2) {
        const float pivot = centres[at(high)][axis];
        int store = low;
        for (int i = low; i < high; ++i) {
            if (centres[at(i)][axis] < pivot) {
                std::swap(at(i), at(store));
                ++store;
            }
        }
        std::swap(at(store), at(high));
        sort_range(items, low, store - 1, centres, axis);
        low = store + 1;
    }
}

/// Sorts the items along the axis and tries every cut between two of them.
Items search_sorted(const std::vector<Box>& boxes, const Centres& centres, const Items& items,
                    unsigned axis, Rule rule, Cut& best) {
    Items sorted = items;
    sort_by_centre(sorted, centres, axis);
    std::vector<Slot> slots;
    for (const unsigned item : sorted) {
        slots.push_back({1.0f, boxes[item]});
    }
    const Sweep sums = sweep(slots);
    for (unsigned i = 1; i < slots.size(); ++i) {
        const double cost = cut_cost(sums.below[i], sums.above[i]);
        if (replaces(rule, cost, best.cost)) {
            best = {cost, true, axis, i, 0.0f};
        }
    }
    return sorted;
}

/// Truncates towards zero into 0 .. 15; what is not a number goes to bin 0.
unsigned bin_of(float scaled) {
    if (!(scaled > 0.0f)) {
        return 0;
    }
    return scaled >= 15.0f ? 15u : static_cast<unsigned>(scaled);
}

/// Bins the items along the axis and tries the planes between the bins.
void search_bins(const std::vector<Box>& boxes, const Centres& centres, const Items& items,
                 const Box& bounds, unsigned axis, Rule rule, Cut& best) {
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const Box empty = {{infinity, infinity, infinity}, {-infinity, -infinity, -infinity}};
    std::vector<Slot> bins(bin_count, Slot{0.0f, empty});

    const float extent = extent_of(bounds, axis);
    const float scale =
        static_cast<float>(static_cast<double>(bin_scale) / static_cast<double>(extent));
    for (const unsigned item : items) {
        const float offset = centres[item][axis] - bounds.min[axis];
        Slot& bin = bins[bin_of(offset * scale)];
        bin.box = unite(bin.box, boxes[item]);
        bin.count += 1.0f;
    }

    const Sweep sums = sweep(bins);
    // The planes stand a sixteenth of the extent apart, although the bins are scaled to slightly
    // less.
    const float width = static_cast<float>(static_cast<double>(extent) * 0.0625);
    for (unsigned k = 1; k < bin_count; ++k) {
        const double cost = cut_cost(sums.below[k], sums.above[k]);
        if (replaces(rule, cost, best.cost)) {
            const float distance = static_cast<float>(k) * width;
            best = {cost, true, axis, 0, distance + bounds.min[axis]};
        }
    }
}

unsigned half(const Items& items) { return static_cast<unsigned>(items.size()) / 2; }

unsigned split_median(const Centres& centres, Items& items) {
    const Box bounds = centre_bounds(items, centres);
    const unsigned axis = widest_axis(bounds);
    const float position = (bounds.min[axis] + bounds.max[axis]) * 0.5f;
    const float extent = extent_of(bounds, axis);
    if (position > largest_float || extent > largest_float || !is_wide_enough(extent)) {
        return half(items);
    }
    return partition_items(items, centres, axis, position);
}

unsigned split_sah(const std::vector<Box>& boxes, const Centres& centres, Items& items) {
    const Box bounds = centre_bounds(items, centres);
    const bool exact = items.size() <= exact_count_limit;
    Cut best;
    Items sorted[3];
    for (unsigned axis = 0; axis < 3; ++axis) {
        if (!is_wide_enough(extent_of(bounds, axis))) {
            continue;
        }
        if (exact) {
            sorted[axis] =
                search_sorted(boxes, centres, items, axis, Rule::unless_not_cheaper, best);
        } else {
            search_bins(boxes, centres, items, bounds, axis, Rule::unless_not_cheaper, best);
        }
    }
    if (!best.found) {
        return half(items);
    }
    if (exact) {
        items = sorted[best.axis];
        return best.left_count;
    }
    return partition_items(items, centres, best.axis, best.position);
}

unsigned split_sah_fast(const std::vector<Box>& boxes, const Centres& centres, Items& items) {
    const Box bounds = centre_bounds(items, centres);
    const unsigned axis = widest_axis(bounds);
    if (!is_wide_enough(extent_of(bounds, axis))) {
        return half(items);
    }
    Cut best;
    if (items.size() <= exact_count_limit) {
        // The axis is fixed, so the items come out sorted whether or not a cut wins.
        items = search_sorted(boxes, centres, items, axis, Rule::only_cheaper, best);
        return best.found ? best.left_count : half(items);
    }
    search_bins(boxes, centres, items, bounds, axis, Rule::only_cheaper, best);
    return best.found ? partition_items(items, centres, axis, best.position) : half(items);
}

} // namespace

unsigned widest_axis(const Box& centre_bounds) {
    const float x = extent_of(centre_bounds, 0);
    const float y = extent_of(centre_bounds, 1);
    const float z = extent_of(centre_bounds, 2);
    if (y > x) {
        return z > y ? 2 : 1;
    }
    return z > x ? 2 : 0;
}

unsigned partition_items(Items& items, const Centres& centres, unsigned axis, float position) {
    // Signed, because the high end passes below the first entry when no centre is on the low side.
    std::int64_t low = 0;
    std::int64_t high = static_cast<std::int64_t>(items.size()) - 1;
    while (low <= high) {
        unsigned& item = items[static_cast<std::size_t>(low)];
        if (position >= centres[item][axis]) {
            ++low;
        } else {
            std::swap(item, items[static_cast<std::size_t>(high)]);
            --high;
        }
    }
    return static_cast<unsigned>(low);
}

void sort_by_centre(Items& items, const Centres& centres, unsigned axis) {
    sort_range(items, 0, static_cast<int>(items.size()) - 1, centres, axis);
}

unsigned split_items(Split split, const std::vector<Box>& boxes, const Centres& centres,
                     Items& items) {
    switch (split) {
    case Split::median:
        return split_median(centres, items);
    case Split::hybrid:
        return items.size() < hybrid_count_limit ? split_sah_fast(boxes, centres, items)
                                                 : split_median(centres, items);
    case Split::sah:
        return split_sah(boxes, centres, items);
    case Split::sah_fast:
        break;
    }
    return split_sah_fast(boxes, centres, items);
}

unsigned split_items(Split split, const std::vector<Box>& boxes, Items& items) {
    return split_items(split, boxes, box_centres(boxes), items);
}

} // namespace naive
