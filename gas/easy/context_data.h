// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include <gas/easy/batch.h>
#include <gas/easy/context.h>
#include <gas/easy/values.h>
#include <gas/host/host.h>
#include <gas/object/gas_shader_frames.h>
#include <gas/traversal/frame/gas_tree_ctx.h>

namespace gas {
inline namespace gas_abi1 {
namespace detail {

/// What a thread's queries use in turn, and nested ones in a stack.
struct ContextData {
    ContextData() : frames(shader) {}

    /// That of `context`, or of the thread where it is null.
    static ContextData& get(Context* context);

    CtxEval eval;
    CtxShader shader;
    GasShaderFrames frames;
    /// Those in use come first.
    std::vector<std::unique_ptr<Batch>> batches;
    std::size_t used_batch_count = 0;
    std::vector<std::unique_ptr<GasTreeCtx>> stacks;
    std::size_t used_stack_count = 0;
    std::vector<std::unique_ptr<std::vector<std::uint32_t>>> paths;
    std::size_t used_path_count = 0;
};

/// An element of one of those lists, for a query's time.
template <typename Item> class Lease {
  public:
    Lease(std::vector<std::unique_ptr<Item>>& items, std::size_t& used_count)
        : m_used_count(used_count) {
        if (used_count == items.size())
            items.push_back(std::make_unique<Item>());
        m_item = items[used_count++].get();
    }
    Lease(const Lease&) = delete;
    Lease& operator=(const Lease&) = delete;
    ~Lease() { --m_used_count; }

    Item& operator*() const { return *m_item; }
    Item* operator->() const { return m_item; }

  private:
    Item* m_item;
    std::size_t& m_used_count;
};

/// Gives the shader the motion samples of a tree, and those of the query around back to it.
class MotionScope {
  public:
    MotionScope(CtxShader& shader, unsigned sample_count) : m_shader(shader) {
        if (sample_count == 0)
            return;
        m_is_changed = true;
        m_former = shader.get_motion_blur();
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, sample_count));
    }
    MotionScope(const MotionScope&) = delete;
    MotionScope& operator=(const MotionScope&) = delete;
    ~MotionScope() {
        if (m_is_changed)
            m_shader.set_motion_blur(m_former);
    }

  private:
    CtxShader& m_shader;
    CtxMotionBlur m_former;
    bool m_is_changed = false;
};

} // namespace detail
} // namespace gas_abi1
} // namespace gas
