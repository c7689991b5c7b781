// SPDX-License-Identifier: Apache-2.0
#include <bench/bench_fit.h>

#include <cmath>
#include <vector>

#include <gmock/gmock.h>

namespace {

using gas_bench::Fit;
using gas_bench::fit_least_squares;
using gas_bench::FitSample;
using testing::DoubleNear;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(FitLeastSquares, FindsThePlaneThatSamplesLieOn) {
    // 10 + 3 a + 2 b.
    const std::vector<FitSample> samples = {
        {{1, 0, 0}, 10}, {{1, 1, 0}, 13}, {{1, 0, 1}, 12}, {{1, 4, 5}, 32}, {{1, 10, 2}, 44}};
    const Fit fit = fit_least_squares(samples);
    EXPECT_THAT(fit.coefficients,
                ElementsAre(DoubleNear(10, 1e-9), DoubleNear(3, 1e-9), DoubleNear(2, 1e-9)));
    EXPECT_NEAR(fit.relative_error, 0.0, 1e-9);
    EXPECT_NEAR(fit.r_squared, 1.0, 1e-9);
}

TEST(FitLeastSquares, WeighsRelativeErrors) {
    // A single factor c: (c/1 - 1)^2 + (2c/4 - 1)^2 is least where 2.5 c = 3.
    const Fit fit = fit_least_squares({{{1}, 1}, {{2}, 4}});
    EXPECT_THAT(fit.coefficients, ElementsAre(DoubleNear(1.2, 1e-12)));
    // Errors of 0.2 and -0.4.
    EXPECT_NEAR(fit.relative_error, std::sqrt(0.1), 1e-12);
    // The best single value is 20/17, with errors of 3/17 and -12/17: 153/289 in all.
    EXPECT_NEAR(fit.r_squared, 1.0 - 0.2 * 289.0 / 153.0, 1e-12);
}

TEST(FitLeastSquares, EqualValuesAreExplainedByTheirMean) {
    const Fit fit = fit_least_squares({{{1, 0}, 5}, {{1, 1}, 5}, {{1, 2}, 5}});
    EXPECT_THAT(fit.coefficients, ElementsAre(DoubleNear(5, 1e-9), DoubleNear(0, 1e-9)));
    EXPECT_NEAR(fit.relative_error, 0.0, 1e-9);
}

TEST(FitLeastSquares, AmountsThatGoTogetherDetermineNothing) {
    EXPECT_THAT(fit_least_squares({{{1, 2}, 3}, {{2, 4}, 5}, {{3, 6}, 9}}).coefficients, IsEmpty());
    EXPECT_THAT(fit_least_squares({{{1, 0}, 3}, {{1, 0}, 5}}).coefficients, IsEmpty());
    EXPECT_THAT(fit_least_squares({{{1, 2}, 3}}).coefficients, IsEmpty());
    EXPECT_THAT(fit_least_squares({}).coefficients, IsEmpty());
}

} // namespace
