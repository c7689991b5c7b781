// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <tests/mirror/mirrored_rays.h>
#include <tests/support/raw_rays.h>
#include <tests/support/recording_callbacks.h>

namespace support {

/// How rays are handed to a tree: each by a query of its own, all by one, or as a stream.
enum class Handing { alone, together, stream };

/// What happened to a ray: a running hash over its leaf callbacks, each with the callback's kind,
/// the item and the ray's bound and flag before and after, and over what was traced from inside
/// them.
struct RayHistory {
    std::uint64_t hash = 0xcbf29ce484222325u;
    unsigned calls = 0;
    unsigned nested = 0;
    bool is_stopped = false;

    void add(std::uint64_t word);
    void add(double value);
    bool operator==(const RayHistory&) const = default;
};

/// Traces rays through one tree of any class and writes down the history of each. Callbacks shorten
/// rays, lengthen them again, stop them, and trace more rays through the same tree and shader, to a
/// depth of three: all of it chosen by the ray, the item and how often the ray was asked about, so
/// that the order of calls for different rays does not show.
class RayHistories {
  public:
    /// The tree's leaf callbacks become those of the tracer.
    template <typename Tree>
    explicit RayHistories(Tree& tree)
        : m_query([&tree](RayQuery query, CtxShader& shader, GeometryRaytraceCtx& rays) {
              trace_tree(tree, query, shader, rays);
          }),
          m_stream([&tree](RayQuery query, CtxShader& shader, GeometryRaytraceCtx& rays) {
              trace_stream(tree, query, shader, rays);
          }) {
        tree.set_leaf_raytrace_callbacks(
            receive<RayQuery::hit_static>, receive<RayQuery::hit_motion>,
            receive<RayQuery::nearest_static>, receive<RayQuery::nearest_motion>, this);
    }
    RayHistories(const RayHistories&) = delete;
    RayHistories& operator=(const RayHistories&) = delete;

    /// Rays first..last of `rays`, by one shader; the histories of all of them.
    std::vector<RayHistory> trace(const std::vector<RaySpec>& rays, int first, int last,
                                  RayQuery query, Handing handing, CtxShader& shader);

    /// Whether callbacks start streams in place of batches that go together. Then what they start
    /// finds no cached leaves, for a stream says nothing of the frames in which they would be; a
    /// batch could find old packets there.
    bool starts_streams = true;
    /// Whether each call of a stream is for one ray.
    bool expects_single_rays = true;

    /// What broke a promise; empty when nothing did.
    const std::string& get_breach() const { return m_breach; }
    std::size_t get_call_count() const { return m_call_count; }
    std::size_t get_nested_count() const { return m_nested_count; }
    unsigned get_deepest() const { return m_deepest; }

  private:
    struct Level {
        const std::vector<RaySpec>& rays;
        RayQuery query;
        Handing handing;
        const CtxShader* shader;
        std::vector<RayHistory> histories;
    };

    using Trace = std::function<void(RayQuery query, CtxShader& shader, GeometryRaytraceCtx& rays)>;

    /// Not the member of that name.
    template <typename Tree>
    static void trace_tree(const Tree& tree, RayQuery query, CtxShader& shader,
                           GeometryRaytraceCtx& rays) {
        using support::trace;
        trace(tree, query, shader, rays);
    }
    template <RayQuery callback>
    static void receive(void* user, const unsigned& item, const CtxEval&, CtxShader& shader,
                        GeometryRaytraceCtx& rays) {
        static_cast<RayHistories*>(user)->visit(callback, item, shader, rays);
    }
    void visit(RayQuery callback, unsigned item, CtxShader& shader, GeometryRaytraceCtx& rays);
    void react(unsigned item, unsigned ray, CtxShader& shader, GeometryRaytraceCtx& rays);
    void trace_nested(const RaySpec& outer, std::uint64_t seed, CtxShader& shader,
                      RayHistory& history);

    Trace m_query;
    Trace m_stream;
    std::vector<Level*> m_levels;
    std::string m_breach;
    std::size_t m_call_count = 0;
    std::size_t m_nested_count = 0;
    unsigned m_deepest = 0;
};

} // namespace support
