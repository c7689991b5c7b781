// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <utility>

inline namespace gas_abi1 {

/// A plain string of bytes.
class CoreString {
  public:
    CoreString() = default;
    CoreString(const char* text) : m_text(text ? text : "") {}
    explicit CoreString(std::string text) : m_text(std::move(text)) {}

    CoreString operator+(const char* text) const { return CoreString(m_text + (text ? text : "")); }
    CoreString operator+(const CoreString& other) const {
        return CoreString(m_text + other.m_text);
    }
    CoreString operator+(unsigned value) const {
        return CoreString(m_text + std::to_string(value));
    }

    bool operator==(const CoreString& other) const { return m_text == other.m_text; }
    bool operator!=(const CoreString& other) const { return m_text != other.m_text; }

    const char* get_data() const { return m_text.c_str(); }
    std::size_t get_length() const { return m_text.size(); }

  private:
    std::string m_text;
};

} // namespace gas_abi1
