// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace gas_peer {

/// The answer for each ray, by question: the distance of its nearest hit (infinity: none), whether
/// it hits anything (1 or 0), or the number of its hits.
using Answers = std::vector<float>;

/// One way to do a job that is measured.
struct Contender {
    /// Short, for tables.
    std::string name;
    /// Of the contenders of one group the fastest counts. The group is empty for the contender that
    /// all others are compared with.
    std::string group;
    /// Called before each `run`; not measured.
    std::function<void()> reset;
    /// The job.
    std::function<void()> run;
    /// The answers of the last run; empty where there are none.
    std::function<Answers()> read;
};

double get_median(std::vector<double> values);

/// Every contender runs once to warm up, and `check`, where set, is called with each and its
/// answers. Then all take turns, `repetition_count` times: one run of the first, one of the second
/// and so on. Returns medians of the processor time of the whole process, in seconds, in the order
/// of the contenders.
std::vector<double> measure(const std::vector<Contender>& contenders, unsigned repetition_count,
                            const std::function<void(const Contender&, const Answers&)>& check);

} // namespace gas_peer
