// SPDX-License-Identifier: Apache-2.0
#include <tests/mirror/mirrored_trees.h>

#include <optional>

#include <tests/support/compressed_difference.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/tree_build.h>
#include <tests/support/tree_checker.h>

namespace support {

namespace {

void rebuild(naive::Tree& tree, const std::vector<naive::Box>& boxes, naive::Split split,
             const std::vector<unsigned>& indices) {
    tree = naive::build(boxes, split, indices);
}

void rebuild(naive::CompressedTree& tree, const std::vector<naive::Box>& boxes, naive::Split split,
             const std::vector<unsigned>& indices) {
    tree = naive::build_compressed(boxes, split, indices);
}

/// A plain tree takes the shortcut only when it is asked to.
bool is_never_walked(const naive::Tree&) { return false; }

bool is_never_walked(const naive::CompressedTree& tree) { return tree.leaf_count == 1; }

} // namespace

void MirroredTree::build(const std::vector<naive::Box>& boxes, naive::Split split,
                         const std::vector<unsigned>& indices,
                         const std::vector<std::vector<naive::Box>>& samples) {
    m_boxes = boxes;
    build_library(boxes, split, indices, samples);
    build_reference(boxes, split, indices);
    fill_reference(samples);
}

template <typename Library, typename Reference>
void MirroredTreeOf<Library, Reference>::set_callbacks(GasLeafCallback hit_static,
                                                       GasLeafCallback hit_motion,
                                                       GasLeafCallback nearest_static,
                                                       GasLeafCallback nearest_motion, void* user) {
    m_library.set_leaf_raytrace_callbacks(hit_static, hit_motion, nearest_static, nearest_motion,
                                          user);
}

template <typename Library, typename Reference>
void MirroredTreeOf<Library, Reference>::trace(RayQuery query, CtxShader& shader,
                                               GeometryRaytraceCtx& rays) const {
    support::trace(m_library, query, shader, rays);
}

template <typename Library, typename Reference>
void MirroredTreeOf<Library, Reference>::trace_stream(RayQuery query, CtxShader& shader,
                                                      GeometryRaytraceCtx& rays) const {
    support::trace_stream(m_library, query, shader, rays);
}

template <typename Library, typename Reference>
std::string MirroredTreeOf<Library, Reference>::find_tree_difference() const {
    return support::find_difference(m_library, m_reference);
}

template <typename Library, typename Reference>
void MirroredTreeOf<Library, Reference>::walk_alone(RayQuery query, naive::Cache& cache,
                                                    naive::Ray& ray, const naive::Motion& motion,
                                                    const naive::LeafCallback& callback) const {
    const naive::TimeSpan span =
        naive::time_span(ray.time, motion.shutter_open, motion.shutter_close, get_sample_count());
    switch (query) {
    case RayQuery::hit_static:
        return naive::ray_hit_static(m_reference, cache, ray, callback);
    case RayQuery::hit_motion:
        return naive::ray_hit_motion(m_reference, cache, ray, span, callback);
    case RayQuery::nearest_static:
        return naive::ray_hit_nearest_static(m_reference, cache, ray, callback);
    case RayQuery::nearest_motion:
        return naive::ray_hit_nearest_motion(m_reference, cache, ray, span, callback);
    }
}

template <typename Library, typename Reference>
naive::PacketCounts MirroredTreeOf<Library, Reference>::trace_reference(
    RayQuery query, naive::Frames& frames, naive::Batch& batch, const naive::Motion& motion,
    const naive::GridRangeCallback& callback) const {
    const auto report = [&](RayQuery received) {
        return [&callback, received](unsigned item, int first, int last) {
            callback(static_cast<naive::Query>(received), item, first, last);
        };
    };
    if (is_never_walked(m_reference)) {
        naive::PacketBuffer no_packets;
        return naive::ray_hit_nearest_batch(m_reference, no_packets, batch, report(query));
    }

    // A batch of several rays takes a frame of packets, whether it goes together or not.
    const bool has_several = batch.first < batch.last;
    std::optional<naive::FrameLease<naive::PacketBuffer>> packets;
    if (has_several)
        packets.emplace(frames.packets, frames.packets_in_use);
    const naive::FrameLease<naive::Cache> cache(frames.caches, frames.caches_in_use);
    const RayQuery received = get_sample_count() < 2 ? without_motion(query) : query;
    if (has_several && goes_together(received))
        return naive::ray_hit_nearest_batch(m_reference, packets->get(), batch, report(received));
    for (int ray = batch.first; ray <= batch.last; ++ray) {
        walk_alone(received, cache.get(), batch.rays[static_cast<std::size_t>(ray)], motion,
                   [&](unsigned item, naive::Ray&) { report(received)(item, ray, ray); });
    }
    return {};
}

template <typename Library, typename Reference>
void MirroredTreeOf<Library, Reference>::build_library(
    const std::vector<naive::Box>& boxes, naive::Split split, const std::vector<unsigned>& indices,
    const std::vector<std::vector<naive::Box>>& samples) {
    support::build(m_library, boxes, split, indices);
    fill_samples(m_library, samples);
}

template <typename Library, typename Reference>
void MirroredTreeOf<Library, Reference>::build_reference(const std::vector<naive::Box>& boxes,
                                                         naive::Split split,
                                                         const std::vector<unsigned>& indices) {
    rebuild(m_reference, boxes, split, indices);
}

template <typename Library, typename Reference>
void MirroredTreeOf<Library, Reference>::fill_reference(
    const std::vector<std::vector<naive::Box>>& samples) {
    naive::set_sample_count(m_reference, static_cast<unsigned>(samples.size()));
    for (unsigned sample = 0; sample < samples.size(); ++sample)
        naive::refit_sample(m_reference, samples[sample], sample);
}

template class MirroredTreeOf<GasTree, naive::Tree>;
template class MirroredTreeOf<GasCompressedTree, naive::CompressedTree>;

} // namespace support
