// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace gas_app {

/// A page that was embedded by gas_embed_page (cmake/page.cmake).
struct PageText {
    /// Has the places `{{policy}}`, `{{style}}` and `{{script}}`, and others that the program
    /// fills.
    std::string_view html;
    /// The style sheets and the scripts, which are joined in this order.
    std::span<const std::string_view> styles;
    std::span<const std::string_view> scripts;
    /// SHA-256 of each when joined, in hexadecimal digits.
    std::string_view style_hash;
    std::string_view script_hash;
};

/// What `gas report` writes.
extern const PageText report_page;
/// What `gas view` serves.
extern const PageText view_page;

std::string join(std::span<const std::string_view> parts);

/// A source of a content security policy: that of the inline text with this hash.
std::string get_policy_source(std::string_view hash);

/// Bytes in base 64, with padding.
std::string encode_base64(std::span<const unsigned char> bytes);

/// A text in html, as the text or the quoted attribute of an element.
std::string escape_html(std::string_view text);

/// JSON that can stand in a script element: no character of it begins a tag or a comment.
std::string escape_script_json(std::string_view json);

/// Replaces each `{{name}}` by its text, in one pass: texts are not searched again. A name that is
/// not given is a logic error, which throws.
std::string fill_places(std::string_view html,
                        std::span<const std::pair<std::string_view, std::string>> texts);

} // namespace gas_app
