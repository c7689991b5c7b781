// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

inline namespace gas_abi1 {

/// What checks of trees share: passes over many numbers, on several threads or on one.

/// The calling thread alone, as a team (GasBuildTeam): pieces are done in order.
struct GasLoneThread {
    static unsigned get_size() { return 1; }
    template <typename Work> void run(unsigned count, const Work& work) {
        for (unsigned piece = 0; piece < count; ++piece)
            work(piece);
    }
};

/// A bit for each of many numbers, which threads set at once.
class GasUsedNumbers {
  public:
    explicit GasUsedNumbers(std::uint64_t count)
        : m_words(new std::atomic<std::uint64_t>[static_cast<std::size_t>(count / 64 + 1)]()) {}

    /// False: it was used before.
    bool use(std::uint64_t number) {
        return (get_word(number).fetch_or(get_bit(number), std::memory_order_relaxed) &
                get_bit(number)) == 0;
    }
    bool is_used(std::uint64_t number) const {
        return (get_word(number).load(std::memory_order_relaxed) & get_bit(number)) != 0;
    }

  private:
    std::atomic<std::uint64_t>& get_word(std::uint64_t number) const {
        return m_words[static_cast<std::size_t>(number / 64)];
    }
    static std::uint64_t get_bit(std::uint64_t number) { return std::uint64_t{1} << number % 64; }

    std::unique_ptr<std::atomic<std::uint64_t>[]> m_words;
};

/// Calls `work(first, end)` for runs of the numbers below `count`, on all threads.
template <typename Team, typename Work>
void gas_for_each_run(Team& team, std::uint64_t count, std::uint64_t run, const Work& work) {
    team.run(static_cast<unsigned>((count + run - 1) / run), [&](unsigned piece) {
        const std::uint64_t first = piece * run;
        work(first, first + run < count ? first + run : count);
    });
}

} // namespace gas_abi1
