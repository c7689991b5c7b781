// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/core/gas_report.h>

inline namespace gas_abi1 {

/// The library's side of gas_set_report. Neither does more than to look at a flag where no callback
/// was set.

/// Tells of `tree`, unless that was told already. For ways out of a query that are rarely taken.
GAS_EXPORT void gas_report(GasReportCause cause, const void* tree);

/// The tree is destroyed: another one at its address is told of again.
GAS_EXPORT void gas_forget_reports(const void* tree) noexcept;

} // namespace gas_abi1
