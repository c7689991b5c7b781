// SPDX-License-Identifier: Apache-2.0
#include <gas/easy/context.h>

#include <gas/easy/context_data.h>

namespace gas {
inline namespace gas_abi1 {

Context::Context() : m_data(new detail::ContextData) {}

Context::Context(Context&& other) noexcept = default;

Context& Context::operator=(Context&& other) noexcept = default;

Context::~Context() = default;

namespace detail {

ContextData& ContextData::get(Context* context) {
    if (context) {
        // One that was moved from gets data anew.
        if (!context->m_data)
            context->m_data = std::make_unique<ContextData>();
        return *context->m_data;
    }
    thread_local ContextData own;
    return own;
}

} // namespace detail
} // namespace gas_abi1
} // namespace gas
