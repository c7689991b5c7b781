#include <cmath>
#include <limits>

#include <tests/naive/naive_crossing.h>
#include <tests/naive/naive_tree.h>

namespace naive {

namespace {

using NodeBox = std::function<Box(unsigned node)>;

NodeBox static_boxes(const Tree& tree) {
    return [&tree](unsigned node) { return tree.nodes[node].box; };
}

NodeBox motion_boxes(const Tree& tree, TimeSpan span) {
    return [&tree, span](unsigned node) {
        return blend(tree.samples[span.sample][node], tree.samples[span.sample + 1][node],
                     span.fraction);
    };
}

unsigned item_of(const Tree& tree, unsigned leaf) {
    return tree.items.empty() ? leaf : tree.items[leaf];
}

CacheEntry& entry_of(CacheEntry (&entries)[6], const Ray& ray) {
    return entries[static_cast<std::size_t>(ray.cache_slot)];
}

bool names_leaf_of(const CacheEntry& entry, const Tree& tree) {
    return entry.tree == &tree && entry.leaf < tree.leaf_count;
}

struct Visit {
    unsigned node;
    float entry;
};

/// Puts the children that the ray crosses on the stack, the one to visit next on top: the nearer
/// one, or the second one when they are equally near.
void push_children(const Tree& tree, unsigned node, const NodeBox& box_of, const FloatRay& ray,
                   float far_distance, std::vector<Visit>& stack) {
    const unsigned first = tree.nodes[node].index;
    const unsigned second = first + 1;
    const Crossing a = cross(box_of(first), ray, far_distance);
    const Crossing b = cross(box_of(second), ray, far_distance);
    if (a.hit && b.hit) {
        if (b.entry > a.entry) {
            stack.push_back({second, b.entry});
            stack.push_back({first, a.entry});
        } else {
            stack.push_back({first, a.entry});
            stack.push_back({second, b.entry});
        }
    } else if (a.hit) {
        stack.push_back({first, a.entry});
    } else if (b.hit) {
        stack.push_back({second, b.entry});
    }
}

void walk_all_hits(const Tree& tree, Cache& cache, Ray& ray, const NodeBox& box_of,
                   const LeafCallback& callback) {
    if (tree.nodes.empty()) {
        return;
    }
    CacheEntry& cached = entry_of(cache.all_hits, ray);
    const FloatRay float_ray = round_ray(ray);

    // The leaf that stopped the last ray of this slot often stops this one, too.
    if (names_leaf_of(cached, tree)) {
        callback(item_of(tree, cached.leaf), ray);
        if (ray.hit_flag) {
            return;
        }
    }

    // The root's own box is not tested, and waiting nodes are not dropped by distance.
    std::vector<Visit> stack = {{0, float_ray.near_distance}};
    while (!stack.empty()) {
        const Visit now = stack.back();
        stack.pop_back();
        const Node& node = tree.nodes[now.node];
        if (!node.leaf) {
            const float far_distance = static_cast<float>(ray.far_distance);
            push_children(tree, now.node, box_of, float_ray, far_distance, stack);
            continue;
        }
        callback(item_of(tree, node.index), ray);
        if (ray.hit_flag) {
            cached = {&tree, node.index};
            return;
        }
    }
    cached.tree = nullptr;
}

/// True when the callback recorded a hit that shortened the ray.
bool shortens(const Tree& tree, unsigned leaf, Ray& ray, const LeafCallback& callback) {
    const double distance_before = ray.hit_distance;
    callback(item_of(tree, leaf), ray);
    return ray.hit_flag && ray.hit_distance < distance_before;
}

void walk_nearest(const Tree& tree, Cache& cache, Ray& ray, const NodeBox& box_of,
                  const LeafCallback& callback) {
    if (tree.nodes.empty()) {
        return;
    }
    CacheEntry& cached = entry_of(cache.nearest, ray);
    const FloatRay float_ray = round_ray(ray);
    bool found = false;

    // The leaf that the last ray of this slot hit goes first and is not called again below.
    const bool pretested = names_leaf_of(cached, tree);
    const unsigned pretested_leaf = cached.leaf;
    if (pretested) {
        found = shortens(tree, pretested_leaf, ray, callback);
    }

    std::vector<Visit> stack = {{0, float_ray.near_distance}};
    while (!stack.empty()) {
        const Visit now = stack.back();
        stack.pop_back();
        if (static_cast<double>(now.entry) >= ray.hit_distance) {
            continue;
        }
        const Node& node = tree.nodes[now.node];
        if (!node.leaf) {
            const float far_distance = static_cast<float>(ray.hit_distance);
            push_children(tree, now.node, box_of, float_ray, far_distance, stack);
            continue;
        }
        if (pretested && node.index == pretested_leaf) {
            continue;
        }
        if (shortens(tree, node.index, ray, callback)) {
            cached = {&tree, node.index};
            found = true;
        }
    }
    if (!found) {
        cached.tree = nullptr;
    }
}

} // namespace

double inverse_component(double direction) {
    if (direction == 0.0) {
        return std::numeric_limits<double>::infinity();
    }
    const double inverse = 1.0 / direction;
    if (std::isinf(static_cast<float>(inverse))) {
        const double largest = static_cast<double>(std::numeric_limits<float>::max());
        return inverse > 0.0 ? largest : -largest;
    }
    return inverse;
}

TimeSpan time_span(float time, float shutter_open, float shutter_close, unsigned sample_count) {
    if (sample_count < 2 || shutter_close <= shutter_open) {
        return {0, 0.0f};
    }
    const float share = (time - shutter_open) / (shutter_close - shutter_open);
    const float position = share * static_cast<float>(sample_count - 1);
    // Before the first sample, and for a position that is no number.
    if (!(position > 0.0f)) {
        return {0, 0.0f};
    }
    const unsigned last = sample_count - 2;
    const unsigned sample =
        position >= static_cast<float>(last) ? last : static_cast<unsigned>(position);
    const float fraction = position - static_cast<float>(sample);
    return {sample, fraction > 1.0f ? 1.0f : fraction};
}

void ray_hit_static(const Tree& tree, Cache& cache, Ray& ray, const LeafCallback& callback) {
    walk_all_hits(tree, cache, ray, static_boxes(tree), callback);
}

void ray_hit_motion(const Tree& tree, Cache& cache, Ray& ray, TimeSpan span,
                    const LeafCallback& callback) {
    walk_all_hits(tree, cache, ray, motion_boxes(tree, span), callback);
}

void ray_hit_nearest_static(const Tree& tree, Cache& cache, Ray& ray,
                            const LeafCallback& callback) {
    walk_nearest(tree, cache, ray, static_boxes(tree), callback);
}

void ray_hit_nearest_motion(const Tree& tree, Cache& cache, Ray& ray, TimeSpan span,
                            const LeafCallback& callback) {
    walk_nearest(tree, cache, ray, motion_boxes(tree, span), callback);
}

} // namespace naive
