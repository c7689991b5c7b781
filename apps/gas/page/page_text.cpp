// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/page/page_text.h>

#include <algorithm>
#include <stdexcept>
#include <vector>

namespace gas_app {

std::string join(std::span<const std::string_view> parts) {
    std::string joined;
    for (const std::string_view part : parts)
        joined += part;
    return joined;
}

std::string get_policy_source(std::string_view hash) {
    std::vector<unsigned char> bytes;
    for (std::size_t place = 0; place + 1 < hash.size(); place += 2)
        bytes.push_back(static_cast<unsigned char>(
            std::stoul(std::string(hash.substr(place, 2)), nullptr, 16)));
    return "'sha256-" + encode_base64(bytes) + "'";
}

std::string encode_base64(std::span<const unsigned char> bytes) {
    constexpr std::string_view digits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t place = 0; place < bytes.size(); place += 3) {
        const std::size_t count = std::min<std::size_t>(3, bytes.size() - place);
        unsigned bits = 0;
        for (std::size_t byte = 0; byte < 3; ++byte)
            bits = bits << 8 | (byte < count ? bytes[place + byte] : 0u);
        for (std::size_t digit = 0; digit < 4; ++digit)
            text += digit <= count ? digits[bits >> (18 - 6 * digit) & 63u] : '=';
    }
    return text;
}

namespace {

using Replacement = std::pair<char, std::string_view>;

std::string replace(std::string_view text, std::span<const Replacement> replacements) {
    std::string replaced;
    replaced.reserve(text.size());
    for (const char letter : text) {
        const auto found =
            std::find_if(replacements.begin(), replacements.end(),
                         [&](const Replacement& one) { return one.first == letter; });
        if (found == replacements.end())
            replaced += letter;
        else
            replaced += found->second;
    }
    return replaced;
}

} // namespace

std::string escape_html(std::string_view text) {
    static constexpr Replacement replacements[] = {
        {'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}, {'"', "&quot;"}, {'\'', "&#39;"}};
    return replace(text, replacements);
}

std::string escape_script_json(std::string_view json) {
    static constexpr Replacement replacements[] = {{'<', "\\u003c"}};
    return replace(json, replacements);
}

std::string fill_places(std::string_view html,
                        std::span<const std::pair<std::string_view, std::string>> texts) {
    std::string filled;
    for (;;) {
        const std::size_t open = html.find("{{");
        filled += html.substr(0, open);
        if (open == std::string_view::npos)
            return filled;
        const std::size_t close = html.find("}}", open);
        const std::string_view name = html.substr(open + 2, close - open - 2);
        const auto text = std::find_if(texts.begin(), texts.end(),
                                       [&](const auto& entry) { return entry.first == name; });
        if (text == texts.end())
            throw std::logic_error("a page has no text for " + std::string(name));
        filled += text->second;
        html.remove_prefix(close + 2);
    }
}

} // namespace gas_app
