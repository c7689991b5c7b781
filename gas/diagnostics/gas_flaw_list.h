// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

inline namespace gas_abi1 {

/// Sentences on what is wrong, of which only the first ones are kept.
class GasFlawList {
  public:
    explicit GasFlawList(unsigned max_count) : m_max_count(max_count) {}

    /// While it lives, sentences begin with these words and a number, behind those of places around
    /// it.
    class Place {
      public:
        Place(GasFlawList& flaws, const char* words, unsigned number)
            : m_place(flaws.m_place), m_outer_size(m_place.size()) {
            m_place += words + std::to_string(number) + ": ";
        }
        Place(const Place&) = delete;
        Place& operator=(const Place&) = delete;
        ~Place() { m_place.resize(m_outer_size); }

      private:
        std::string& m_place;
        std::size_t m_outer_size;
    };

    /// The pieces, words and whole numbers, make a sentence.
    template <typename... Pieces> void add(const Pieces&... pieces) {
        if (m_count++ >= m_max_count)
            return;
        std::string sentence = m_place;
        (append(sentence, pieces), ...);
        m_sentences.push_back(std::move(sentence));
    }
    std::uint64_t get_count() const { return m_count; }

    /// The sentences, and one that counts those that are left out.
    std::vector<std::string> take() {
        if (m_count > m_max_count)
            m_sentences.push_back(std::to_string(m_count - m_max_count) + " more are not listed");
        return std::move(m_sentences);
    }

  private:
    static void append(std::string& sentence, const char* words) { sentence += words; }
    static void append(std::string& sentence, const std::string& words) { sentence += words; }
    static void append(std::string& sentence, unsigned number) {
        sentence += std::to_string(number);
    }

    unsigned m_max_count;
    std::uint64_t m_count = 0;
    std::string m_place;
    std::vector<std::string> m_sentences;
};

} // namespace gas_abi1
