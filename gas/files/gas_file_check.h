// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <memory>

#include <gas/build/gas_build_team.h>
#include <gas/compressed/gas_compressed_tree_arrays.h>
#include <gas/files/gas_file_format.h>
#include <gas/tree/gas_tree_arrays.h>

inline namespace gas_abi1 {

/// The first flaw that any thread finds.
class GasFileFlaw {
  public:
    bool is_found() const { return m_text.load(std::memory_order_relaxed) != nullptr; }
    void find(const char* text) {
        const char* none = nullptr;
        m_text.compare_exchange_strong(none, text, std::memory_order_relaxed);
    }
    const char* get() const { return m_text.load(std::memory_order_relaxed); }

  private:
    std::atomic<const char*> m_text{nullptr};
};

/// A bit for each of many numbers, which threads set at once.
class GasUsedNumbers {
  public:
    explicit GasUsedNumbers(std::uint64_t count)
        : m_words(new std::atomic<std::uint64_t>[count / 64 + 1]()) {}

    /// False: it was used before.
    bool use(std::uint64_t number) {
        const std::uint64_t bit = std::uint64_t{1} << number % 64;
        return (m_words[number / 64].fetch_or(bit, std::memory_order_relaxed) & bit) == 0;
    }

  private:
    std::unique_ptr<std::atomic<std::uint64_t>[]> m_words;
};

/// Calls `work(first, end)` for runs of the numbers below `count`, on all threads.
template <typename Work>
void gas_for_each_run(GasBuildTeam& team, std::uint64_t count, std::uint64_t run,
                      const Work& work) {
    team.run(static_cast<unsigned>((count + run - 1) / run), [&](unsigned piece) {
        const std::uint64_t first = piece * run;
        work(first, first + run < count ? first + run : count);
    });
}

/// What no file may say, or a walk would leave the arrays or never end. Each returns what is wrong,
/// or null, and reads everything once.
///
/// Every section against its checksum; `bytes` are the whole file.
const char* gas_check_sums(const GasFileTable& table, const char* bytes, GasBuildTeam& team);
/// The nodes, and whether their boxes are ordered; the depth is that of the arrays or wrong.
const char* gas_check_nodes(GasTreeArrays& arrays, GasBuildTeam& team);
const char* gas_check_nodes(GasCompressedTreeArrays& arrays, GasBuildTeam& team);
/// A sample of a tree with right nodes; `is_ordered`: whether each leaf's box has min <= max.
const char* gas_check_sample(const GasTreeArrays& arrays, unsigned sample, bool& is_ordered,
                             GasBuildTeam& team);
/// The wide nodes, and their boxes in samples, of a tree where all else is right.
const char* gas_check_wide_nodes(const GasTreeArrays& arrays, GasBuildTeam& team);
const char* gas_check_wide_samples(const GasTreeArrays& arrays, GasBuildTeam& team);

} // namespace gas_abi1
