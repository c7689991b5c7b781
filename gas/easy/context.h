// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include <gas/easy/easy_export.h>

namespace gas {
inline namespace gas_abi1 {

namespace detail {
struct ContextData;
}

/// Scratch memory of one thread's queries, for any number of trees. Queries may be nested: a
/// function that a query calls may start others with the same context. Queries that are given none
/// use one that each thread has, which costs them a look-up.
class GAS_EASY_EXPORT Context {
  public:
    Context();
    Context(Context&& other) noexcept;
    Context& operator=(Context&& other) noexcept;
    /// No query of it runs.
    ~Context();

  private:
    friend struct detail::ContextData;

    std::unique_ptr<detail::ContextData> m_data;
};

} // namespace gas_abi1
} // namespace gas
