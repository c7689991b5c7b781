// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <concepts>
#include <cstddef>
#include <memory>
#include <new>
#include <type_traits>

#include <gas/core/gas_bbox.h>
#include <gas/traversal/frame/gas_tree_ctx.h>
#include <gas/traversal/query/gas_leaf_callbacks.h>

inline namespace gas_abi1 {

/// Makes the memory of a frame's stack an array of another kind of entry, as many as fit; what it
/// held is lost. Costs nothing: the entries start without a value.
template <typename Entry> Entry* gas_view_stack(const GasTreeCtx& ctx) {
    static_assert(std::is_trivial_v<Entry> && alignof(Entry) <= alignof(GasStackEntry));
    const std::size_t size = ctx.stack_capacity * sizeof(GasStackEntry);
    return ::new (static_cast<void*>(ctx.stack)) Entry[size / sizeof(Entry)];
}

/// The same from the first boundary of `alignment` bytes on, which the frame has room for.
template <typename Entry> Entry* gas_view_stack(const GasTreeCtx& ctx, std::size_t alignment) {
    static_assert(std::is_trivially_copyable_v<Entry>);
    std::size_t size = ctx.stack_capacity * sizeof(GasStackEntry);
    void* place = ctx.stack;
    std::align(alignment, 0, place, size);
    return ::new (place) Entry[size / sizeof(Entry)];
}

/// Counts nothing: the probe of the shipped engines. A probe hears of every node that a walk
/// expands, a wide one once, and of every call of a leaf's callback.
struct GasNoProbe {
    static void visit_node() {}
    static void call_leaf() {}
};

/// The key to a tree's private traversal interface: a tree befriends this struct, and the engines
/// ask everything through it.
struct GasTraversalAccess {
    template <typename Tree> static void init_traversal(const Tree& tree, GasTreeCtx& ctx) {
        tree.init_traversal(ctx);
    }
    template <typename Tree> static void deinit_traversal(const Tree& tree, GasTreeCtx& ctx) {
        tree.deinit_traversal(ctx);
    }
    template <typename Tree>
    static void free_node(const Tree& tree, GasTreeCtx& ctx, const unsigned& node) {
        tree.free_node(ctx, node);
    }
    template <typename Tree>
    static bool is_leaf_valid(const Tree& tree, GasTreeCtx& ctx, const unsigned& leaf) {
        return tree.is_leaf_valid(ctx, leaf);
    }
    template <typename Tree>
    static bool is_node_a_leaf(const Tree& tree, GasTreeCtx& ctx, const unsigned& node) {
        return tree.is_node_a_leaf(ctx, node);
    }
    template <typename Tree>
    static unsigned get_leaf_value(const Tree& tree, GasTreeCtx& ctx, const unsigned& node) {
        return tree.get_leaf_value(ctx, node);
    }
    template <typename Tree>
    static void get_node_children(const Tree& tree, GasTreeCtx& ctx, const unsigned& node,
                                  unsigned& first, unsigned& second) {
        tree.get_node_children(ctx, node, first, second);
    }
    /// Asks for the memory of a node's children, in trees where it lies there as it is read. A leaf
    /// has none, and asks for some other node's.
    template <typename Tree> static void prefetch_children(const Tree& tree, const unsigned& node) {
        if constexpr (requires { tree.prefetch_children(node); })
            tree.prefetch_children(node);
    }
    template <typename Tree>
    static unsigned get_node_traversal_order(const Tree& tree, GasTreeCtx& ctx,
                                             const unsigned& node, const GMathBasicRay& ray) {
        return tree.get_node_traversal_order(ctx, node, ray);
    }
    template <typename Tree, typename... Corners>
    static void get_node_bbox(const Tree& tree, GasTreeCtx& ctx, const unsigned& node,
                              Corners&... corners) {
        tree.get_node_bbox(ctx, node, corners...);
    }
    template <typename Tree, typename... Corners>
    static void get_blurred_node_bbox(const Tree& tree, GasTreeCtx& ctx, const unsigned& node,
                                      const unsigned& sample, Corners&... corners) {
        tree.get_blurred_node_bbox(ctx, node, sample, corners...);
    }
    /// Whether boxes of sample `sample` exist.
    template <typename Tree> static bool has_sample(const Tree& tree, const unsigned& sample) {
        return tree.has_sample(sample);
    }
    /// Whether every box has min <= max and a centre that is no NaN.
    template <typename Tree> static bool are_boxes_ordered(const Tree& tree) {
        return tree.are_boxes_ordered();
    }
    /// The tree's leaf callback for a query.
    template <GasRayCall call, typename Tree>
    static GasLeafCallback get_callback(const Tree& tree) {
        return tree.m_leaf_callbacks.get(call);
    }
    /// What the tree's leaf callbacks are called with.
    template <typename Tree> static void* get_callback_user(const Tree& tree) {
        return tree.m_leaf_callbacks.user;
    }
    /// The tree's wide nodes where walks may take them, else null.
    template <typename Tree>
    static auto get_wide_nodes(const Tree& tree) -> decltype(tree.get_wide_nodes()) {
        return tree.get_wide_nodes();
    }
    /// Whether walks may take them in a motion-blur sample; and their boxes in all samples.
    template <typename Tree>
    static auto has_wide_sample(const Tree& tree, unsigned sample)
        -> decltype(tree.has_wide_sample(sample)) {
        return tree.has_wide_sample(sample);
    }
    template <typename Tree>
    static auto get_wide_samples(const Tree& tree) -> decltype(tree.get_wide_samples()) {
        return tree.get_wide_samples();
    }

    /// The item that callbacks hear of for a leaf of the tree's own.
    template <typename Tree> static unsigned get_item(const Tree& tree, const unsigned& leaf) {
        return *tree.find_item(leaf);
    }

    /// Calls the callback for a leaf's item.
    template <GasRayCall call, typename Tree>
    static void call_leaf(const Tree& tree, const unsigned& leaf, const CtxEval& eval,
                          CtxShader& shader, GeometryRaytraceCtx& rays) {
        const GasLeafCallbacks& callbacks = tree.m_leaf_callbacks;
        if (const unsigned* const item = tree.find_item(leaf))
            callbacks.get(call)(callbacks.user, *item, eval, shader, rays);
    }

    template <typename Tree, typename... Query>
    static void leaf_ray_hit_static(const Tree& tree, Query&&... query) {
        tree.leaf_ray_hit_static(query...);
    }
    template <typename Tree, typename... Query>
    static void leaf_ray_hit_motion(const Tree& tree, Query&&... query) {
        tree.leaf_ray_hit_motion(query...);
    }
    template <typename Tree, typename... Query>
    static void leaf_ray_hit_nearest_static(const Tree& tree, Query&&... query) {
        tree.leaf_ray_hit_nearest_static(query...);
    }
    template <typename Tree, typename... Query>
    static void leaf_ray_hit_nearest_motion(const Tree& tree, Query&&... query) {
        tree.leaf_ray_hit_nearest_motion(query...);
    }
};

/// A tree that the engines can walk: the operations of the traversal interface, and the counts.
template <typename Tree>
concept GasTraversable = requires(const Tree& tree, GasTreeCtx& ctx, const unsigned& node,
                                  unsigned& child, const GMathBasicRay& ray, GasBbox& bbox,
                                  SimdF& corner) {
    GasTraversalAccess::init_traversal(tree, ctx);
    GasTraversalAccess::deinit_traversal(tree, ctx);
    GasTraversalAccess::free_node(tree, ctx, node);
    { GasTraversalAccess::is_leaf_valid(tree, ctx, node) } -> std::same_as<bool>;
    { GasTraversalAccess::is_node_a_leaf(tree, ctx, node) } -> std::same_as<bool>;
    { GasTraversalAccess::get_leaf_value(tree, ctx, node) } -> std::same_as<unsigned>;
    GasTraversalAccess::get_node_children(tree, ctx, node, child, child);
    {
        GasTraversalAccess::get_node_traversal_order(tree, ctx, node, ray)
        } -> std::same_as<unsigned>;
    GasTraversalAccess::get_node_bbox(tree, ctx, node, bbox);
    GasTraversalAccess::get_node_bbox(tree, ctx, node, corner, corner);
    GasTraversalAccess::get_blurred_node_bbox(tree, ctx, node, node, bbox);
    GasTraversalAccess::get_blurred_node_bbox(tree, ctx, node, node, corner, corner);
    { GasTraversalAccess::has_sample(tree, node) } -> std::same_as<bool>;
    { tree.get_leaf_count() } -> std::convertible_to<unsigned>;
    { tree.get_node_count() } -> std::convertible_to<unsigned>;
    { tree.get_depth() } -> std::convertible_to<unsigned>;
    { tree.get_motion_blur_sample_count() } -> std::convertible_to<unsigned>;
};

} // namespace gas_abi1
