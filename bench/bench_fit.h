// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

namespace gas_bench {

/// A value, and what it is a sum of: value = coefficients . amounts, about.
struct FitSample {
    std::vector<double> amounts;
    double value;
};

/// The line, plane or more that is nearest to samples.
struct Fit {
    /// One for each amount; empty where the samples do not determine all of them.
    std::vector<double> coefficients;
    /// The root of the mean square of the relative errors, (fitted - value) / value.
    double relative_error;
    /// The share of the values' variance that the fit explains, weighted as the fit is; 1: all.
    double r_squared;
};

/// Least squares of relative errors, so that small values count as much as large ones. Values are
/// above 0, and all samples have as many amounts.
Fit fit_least_squares(const std::vector<FitSample>& samples);

} // namespace gas_bench
