#pragma once

#include <functional>
#include <string>
#include <vector>

namespace gas_peer {

/// What each ray was told: the distance of its nearest hit (infinity: none), whether it hits
/// anything (1 or 0), or the number of its hits, as the question has it.
using Answers = std::vector<float>;

/// Somebody who does a job that is measured.
struct Contender {
    /// Short, for tables.
    std::string name;
    /// Contenders of one group are ways to do the same; the fastest of them counts. The group of
    /// the one whom all others are compared with is empty.
    std::string group;
    /// Makes ready for `run`, again for each run; not measured.
    std::function<void()> reset;
    /// The job.
    std::function<void()> run;
    /// What the last run answered; empty where there is nothing to answer.
    std::function<Answers()> read;
};

/// Every contender runs once to warm up, and `check`, where set, hears of each and its answers.
/// Then all take turns, `repetition_count` times: one run of the first, one of the second and so
/// on. Returns medians of the processor time of the whole process, in seconds, in the order of the
/// contenders.
std::vector<double> measure(const std::vector<Contender>& contenders, unsigned repetition_count,
                            const std::function<void(const Contender&, const Answers&)>& check);

} // namespace gas_peer
