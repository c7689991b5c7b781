// SPDX-License-Identifier: Apache-2.0
#include <bench/bench_fit.h>

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace gas_bench {

namespace {

/// The normal equations: a square matrix with the right side as its last column.
using Equations = std::vector<std::vector<double>>;

Equations make_equations(const std::vector<FitSample>& samples, std::size_t count) {
    Equations equations(count, std::vector<double>(count + 1, 0.0));
    for (const FitSample& sample : samples) {
        const double weight = 1.0 / (sample.value * sample.value);
        for (std::size_t row = 0; row < count; ++row) {
            const double factor = weight * sample.amounts[row];
            for (std::size_t column = 0; column < count; ++column)
                equations[row][column] += factor * sample.amounts[column];
            equations[row][count] += factor * sample.value;
        }
    }
    return equations;
}

/// Makes all of column `column` below its diagonal 0. False: too little of it is left to divide by.
bool eliminate(Equations& equations, std::size_t column, double scale) {
    std::size_t pivot = column;
    for (std::size_t row = column + 1; row < equations.size(); ++row) {
        if (std::abs(equations[row][column]) > std::abs(equations[pivot][column]))
            pivot = row;
    }
    if (!(std::abs(equations[pivot][column]) > 1e-12 * scale))
        return false;
    std::swap(equations[column], equations[pivot]);
    for (std::size_t row = column + 1; row < equations.size(); ++row) {
        const double factor = equations[row][column] / equations[column][column];
        for (std::size_t i = column; i < equations[row].size(); ++i)
            equations[row][i] -= factor * equations[column][i];
    }
    return true;
}

/// Empty where there is no single solution.
std::vector<double> solve(Equations equations) {
    const std::size_t count = equations.size();
    std::vector<double> scales;
    for (std::size_t column = 0; column < count; ++column)
        scales.push_back(equations[column][column]);
    for (std::size_t column = 0; column < count; ++column) {
        if (!eliminate(equations, column, scales[column]))
            return {};
    }
    std::vector<double> solution(count);
    for (std::size_t row = count; row-- > 0;) {
        double rest = equations[row][count];
        for (std::size_t i = row + 1; i < count; ++i)
            rest -= equations[row][i] * solution[i];
        solution[row] = rest / equations[row][row];
    }
    return solution;
}

double get_fitted(const std::vector<double>& coefficients, const FitSample& sample) {
    double sum = 0.0;
    for (std::size_t i = 0; i < coefficients.size(); ++i)
        sum += coefficients[i] * sample.amounts[i];
    return sum;
}

} // namespace

Fit fit_least_squares(const std::vector<FitSample>& samples) {
    if (samples.empty())
        return {{}, 0.0, 0.0};
    Fit fit = {solve(make_equations(samples, samples[0].amounts.size())), 0.0, 0.0};
    if (fit.coefficients.empty())
        return fit;
    // The weighted mean has the least relative errors of all single values.
    double weights = 0.0;
    double weighted_sum = 0.0;
    for (const FitSample& sample : samples) {
        weights += 1.0 / (sample.value * sample.value);
        weighted_sum += 1.0 / sample.value;
    }
    const double mean = weighted_sum / weights;
    double errors = 0.0;
    double spread = 0.0;
    for (const FitSample& sample : samples) {
        errors += std::pow(get_fitted(fit.coefficients, sample) / sample.value - 1.0, 2.0);
        spread += std::pow(mean / sample.value - 1.0, 2.0);
    }
    fit.relative_error = std::sqrt(errors / static_cast<double>(samples.size()));
    fit.r_squared = spread > 0.0 ? 1.0 - errors / spread : 1.0;
    return fit;
}

} // namespace gas_bench
