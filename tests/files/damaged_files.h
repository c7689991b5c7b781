// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include <tests/files/file_bytes.h>
#include <tests/support/seeded_random.h>
#include <tests/support/spoiled_boxes.h>

namespace support {

/// Damages the bytes of saved trees: flips bytes, cuts, stretches, redirects links, changes boxes
/// and counts; and then makes the checksums right again, mostly.
class DamagedFiles {
  public:
    explicit DamagedFiles(SeededRandom& random) : m_random(random) {}

    void damage(std::string& bytes) {
        const unsigned count = 1 + m_random.below(3);
        for (unsigned i = 0; i < count && bytes.size() >= sizeof(GasFileHeader); ++i)
            damage_once(bytes);
        if (bytes.size() < sizeof(GasFileHeader) || m_random.below(6) == 0)
            return;
        if (m_random.below(2)) {
            GasFileHeader header = get_header(bytes);
            header.file_size = bytes.size();
            set_record(bytes, 0, header);
        }
        if (m_random.below(6))
            correct_all_sums(bytes);
        else
            correct_header_sum(bytes);
    }

  private:
    void damage_once(std::string& bytes) {
        switch (m_random.below(10)) {
        case 0:
            return flip(bytes, choose(bytes, 1));
        case 1:
            return bytes.resize(m_random.below(static_cast<unsigned>(bytes.size())));
        case 2:
            return bytes.resize(bytes.size() + 1 + m_random.below(200),
                                static_cast<char>(m_random.next()));
        case 3:
            return set_word(bytes, choose_in_table(bytes));
        case 4:
        case 5:
            return redirect(bytes);
        case 6:
        case 7:
            return spoil_box(bytes);
        case 8:
            return set_word(bytes, choose(bytes, 4));
        default:
            return copy_words(bytes);
        }
    }

    unsigned below(std::size_t end) { return m_random.below(static_cast<unsigned>(end)); }
    /// A multiple of `step` that is within the file.
    std::size_t choose(const std::string& bytes, std::size_t step) {
        return below(bytes.size() / step) * step;
    }
    std::size_t choose_in_table(const std::string& bytes) {
        const std::size_t size = find_entry(get_header(bytes).section_count);
        return below((size < bytes.size() ? size : bytes.size()) / 4) * 4;
    }
    void flip(std::string& bytes, std::size_t place) {
        bytes[place] = static_cast<char>(bytes[place] ^ 1 << m_random.below(8));
    }

    /// One of the numbers that may go wrong.
    std::uint32_t choose_word(const std::string& bytes) {
        const std::uint32_t count = get_header(bytes).leaf_count;
        const std::uint32_t words[] = {0,
                                       1,
                                       count,
                                       count - 1,
                                       2 * count,
                                       2 * count - 1,
                                       0x7FFFFFFF,
                                       0x80000000,
                                       0xFFFFFFFF,
                                       m_random.next(),
                                       m_random.below(2 * count + 2),
                                       0x80000000u | m_random.below(count + 1)};
        return words[m_random.below(std::size(words))];
    }
    void set_word(std::string& bytes, std::size_t place) {
        if (place + 4 <= bytes.size())
            set_record(bytes, place, choose_word(bytes));
    }

    /// Anywhere in the section, if it is in the file: a multiple of 4.
    std::size_t choose_in_section(const std::string& bytes, GasFileSectionType type) {
        const std::uint32_t count = get_header(bytes).section_count;
        for (unsigned i = 0; i < count && find_entry(i + 1) <= bytes.size(); ++i) {
            const GasFileSection section = get_section(bytes, i);
            if (section.type == type && section.size >= 4 && section.offset < bytes.size() &&
                section.size <= bytes.size() - section.offset)
                return static_cast<std::size_t>(section.offset) +
                       below(static_cast<std::size_t>(section.size / 4)) * 4;
        }
        return 0;
    }
    /// Gives a node's link, or what stands around it, another value; of wide nodes too.
    void redirect(std::string& bytes) {
        const bool is_wide = m_random.below(3) == 0;
        std::size_t place = choose_in_section(bytes, is_wide ? GasFileSectionType::wide_nodes
                                                             : GasFileSectionType::nodes);
        const bool is_plain = get_header(bytes).kind == GasFileKind::plain;
        if (!is_wide && is_plain)
            place = place / 16 * 16 + 12; // sections begin at multiples of 64
        else if (is_wide)
            place = place / 128 * 128 + 96 + place % 32;
        set_word(bytes, place);
    }
    /// Changes a coordinate, or the bytes of a compressed box.
    void spoil_box(std::string& bytes) {
        constexpr GasFileSectionType types[] = {
            GasFileSectionType::nodes, GasFileSectionType::sample, GasFileSectionType::sample_boxes,
            GasFileSectionType::items, GasFileSectionType::wide_samples};
        const std::size_t place = choose_in_section(bytes, types[m_random.below(std::size(types))]);
        if (place == 0)
            return;
        if (m_random.below(2))
            set_record(bytes, place, special_value(m_random));
        else
            flip(bytes, place + m_random.below(4));
    }
    void copy_words(std::string& bytes) {
        const std::size_t from = choose(bytes, 4);
        const std::size_t to = choose(bytes, 4);
        const std::size_t far = from > to ? from : to;
        const std::size_t size = below((bytes.size() - far) / 4 + 1) * 4 % 128;
        bytes.replace(to, size, bytes.substr(from, size));
    }

    SeededRandom& m_random;
};

} // namespace support
