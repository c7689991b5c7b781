#include <tests/naive/naive_compressed.h>
#include <tests/naive/naive_crossing.h>

namespace naive {

namespace {

/// A node or leaf on the way down, with its decoded box. A motion walk decodes one box in the
/// sample before the ray's time and one in the sample after it.
struct Place {
    Reference reference;
    Box box;
    Box after;
};

/// Where a walk finds its boxes.
struct Source {
    const CompressedTree& tree;
    bool moving;
    TimeSpan span;

    Place get_root() const {
        const Reference root = {false, 0};
        if (!moving) {
            return {root, tree.root_box, tree.root_box};
        }
        return {root, tree.samples[span.sample].root_box, tree.samples[span.sample + 1].root_box};
    }

    std::array<Place, 2> get_children(const Place& parent) const {
        const unsigned node = parent.reference.index;
        const Reference first = first_child(tree.nodes[node]);
        const Reference second = second_child(tree.nodes[node]);
        if (!moving) {
            const BoxPair boxes = decode_pair(pair_bytes(tree, node), parent.box);
            return {Place{first, boxes.first, boxes.first},
                    Place{second, boxes.second, boxes.second}};
        }
        const BoxPair boxes = decode_pair(pair_bytes(tree, node, span.sample), parent.box);
        const BoxPair after = decode_pair(pair_bytes(tree, node, span.sample + 1), parent.after);
        return {Place{first, boxes.first, after.first}, Place{second, boxes.second, after.second}};
    }

    Box get_tested_box(const Place& place) const {
        return moving ? blend(place.box, place.after, span.fraction) : place.box;
    }
};

Source static_source(const CompressedTree& tree) { return {tree, false, {0, 0.0f}}; }

Source motion_source(const CompressedTree& tree, TimeSpan span) {
    return {tree, tree.samples.size() >= 2, span};
}

/// A child that the ray crosses, and where.
struct Crossed {
    Place place;
    float entry;
};

/// The children that the ray crosses, the one to visit first in front: the nearer one, or the
/// second one when they are equally near.
std::vector<Crossed> crossed_children(const Source& source, const Place& parent,
                                      const FloatRay& ray, double far_distance) {
    const auto [first, second] = source.get_children(parent);
    const float far_end = static_cast<float>(far_distance);
    const Crossing a = cross(source.get_tested_box(first), ray, far_end);
    const Crossing b = cross(source.get_tested_box(second), ray, far_end);
    if (a.hit && b.hit) {
        if (b.entry > a.entry) {
            return {{first, a.entry}, {second, b.entry}};
        }
        return {{second, b.entry}, {first, a.entry}};
    }
    if (a.hit) {
        return {{first, a.entry}};
    }
    if (b.hit) {
        return {{second, b.entry}};
    }
    return {};
}

CacheEntry& entry_of(CacheEntry (&entries)[6], const Ray& ray) {
    return entries[static_cast<std::size_t>(ray.cache_slot)];
}

unsigned item_of(const CompressedTree& tree, unsigned leaf) {
    return tree.items.empty() ? leaf : tree.items[leaf];
}

/// Whether a cached leaf has an item to call back for. Without an index array each position is its
/// own item, even one that the tree no longer has.
bool has_item(const CompressedTree& tree, unsigned leaf) {
    return tree.items.empty() || leaf < tree.items.size();
}

struct AllHitsWalk {
    const Source& source;
    CacheEntry& cached;
    Ray& ray;
    const LeafCallback& callback;
    FloatRay float_ray;

    void run() {
        const CompressedTree& tree = source.tree;
        // The leaf that stopped the last ray of this slot often stops this one, too.
        if (cached.tree == &tree) {
            if (has_item(tree, cached.leaf)) {
                callback(item_of(tree, cached.leaf), ray);
            }
            if (ray.hit_flag) {
                return;
            }
        }
        // The root's own box is not tested.
        if (!visit(source.get_root())) {
            cached.tree = nullptr;
        }
    }

    /// True when a callback has stopped the ray.
    bool visit(const Place& place) {
        if (place.reference.leaf) {
            const unsigned leaf = place.reference.index;
            callback(item_of(source.tree, leaf), ray);
            if (ray.hit_flag) {
                cached = {&source.tree, leaf};
            }
            return ray.hit_flag;
        }
        // A child that waits for its sibling is not dropped by distance.
        for (const Crossed& child : crossed_children(source, place, float_ray, ray.far_distance)) {
            if (visit(child.place)) {
                return true;
            }
        }
        return false;
    }
};

struct NearestWalk {
    const Source& source;
    CacheEntry& cached;
    Ray& ray;
    const LeafCallback& callback;
    FloatRay float_ray;
    bool found = false;
    bool pretested = false;
    unsigned pretested_leaf = 0;

    void run() {
        const CompressedTree& tree = source.tree;
        // The leaf that the last ray of this slot hit goes first and is not called again below.
        pretested = cached.tree == &tree;
        pretested_leaf = cached.leaf;
        if (pretested && has_item(tree, pretested_leaf)) {
            found = shortens(pretested_leaf);
        }
        visit(source.get_root(), float_ray.near_distance);
        if (!found) {
            cached.tree = nullptr;
        }
    }

    /// True when the callback recorded a hit that shortened the ray.
    bool shortens(unsigned leaf) {
        const double distance_before = ray.hit_distance;
        callback(item_of(source.tree, leaf), ray);
        return ray.hit_flag && ray.hit_distance < distance_before;
    }

    void visit(const Place& place, float entry) {
        if (static_cast<double>(entry) >= ray.hit_distance) {
            return;
        }
        if (!place.reference.leaf) {
            for (const Crossed& child :
                 crossed_children(source, place, float_ray, ray.hit_distance)) {
                visit(child.place, child.entry);
            }
            return;
        }
        const unsigned leaf = place.reference.index;
        if (pretested && leaf == pretested_leaf) {
            return;
        }
        if (shortens(leaf)) {
            cached = {&source.tree, leaf};
            found = true;
        }
    }
};

/// No items: nothing. One item: it is called, whatever the ray. True when that was all.
bool is_done_at_once(const CompressedTree& tree, Ray& ray, const LeafCallback& callback) {
    if (tree.leaf_count == 1) {
        callback(item_of(tree, 0), ray);
    }
    return tree.leaf_count <= 1;
}

void walk_all_hits(const Source& source, Cache& cache, Ray& ray, const LeafCallback& callback) {
    if (is_done_at_once(source.tree, ray, callback)) {
        return;
    }
    AllHitsWalk walk = {source, entry_of(cache.all_hits, ray), ray, callback, round_ray(ray)};
    walk.run();
}

void walk_nearest(const Source& source, Cache& cache, Ray& ray, const LeafCallback& callback) {
    if (is_done_at_once(source.tree, ray, callback)) {
        return;
    }
    NearestWalk walk = {source, entry_of(cache.nearest, ray), ray, callback, round_ray(ray)};
    walk.run();
}

} // namespace

void ray_hit_static(const CompressedTree& tree, Cache& cache, Ray& ray,
                    const LeafCallback& callback) {
    walk_all_hits(static_source(tree), cache, ray, callback);
}

void ray_hit_motion(const CompressedTree& tree, Cache& cache, Ray& ray, TimeSpan span,
                    const LeafCallback& callback) {
    walk_all_hits(motion_source(tree, span), cache, ray, callback);
}

void ray_hit_nearest_static(const CompressedTree& tree, Cache& cache, Ray& ray,
                            const LeafCallback& callback) {
    walk_nearest(static_source(tree), cache, ray, callback);
}

void ray_hit_nearest_motion(const CompressedTree& tree, Cache& cache, Ray& ray, TimeSpan span,
                            const LeafCallback& callback) {
    walk_nearest(motion_source(tree, span), cache, ray, callback);
}

} // namespace naive
