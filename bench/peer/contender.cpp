// SPDX-License-Identifier: Apache-2.0
#include <bench/peer/contender.h>

#include <algorithm>

#include <bench/processor_clock.h>

namespace gas_peer {

namespace {

double time_run(const Contender& contender) {
    if (contender.reset)
        contender.reset();
    const double start = gas_bench::get_process_seconds();
    contender.run();
    return gas_bench::get_process_seconds() - start;
}

} // namespace

double get_median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 != 0 ? values[middle] : 0.5 * (values[middle - 1] + values[middle]);
}

std::vector<double> measure(const std::vector<Contender>& contenders, unsigned repetition_count,
                            const std::function<void(const Contender&, const Answers&)>& check) {
    for (const Contender& contender : contenders) {
        time_run(contender);
        if (check && contender.read)
            check(contender, contender.read());
    }
    std::vector<std::vector<double>> times(contenders.size());
    for (unsigned repetition = 0; repetition < repetition_count; ++repetition) {
        for (std::size_t i = 0; i < contenders.size(); ++i)
            times[i].push_back(time_run(contenders[i]));
    }
    std::vector<double> medians;
    medians.reserve(times.size());
    for (std::vector<double>& list : times)
        medians.push_back(get_median(std::move(list)));
    return medians;
}

} // namespace gas_peer
