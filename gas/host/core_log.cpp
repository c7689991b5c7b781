// SPDX-License-Identifier: Apache-2.0
#include <gas/host/core_log.h>

#include <charconv>
#include <cmath>
#include <utility>

inline namespace gas_abi1 {

namespace {

template <typename T> void append_number(std::string& text, T value) {
    char digits[32]; // the longest: a float with sign, nine digits, point and exponent
    const std::to_chars_result end = std::to_chars(digits, digits + sizeof digits, value);
    text.append(digits, end.ptr);
}

} // namespace

CoreLogStream& CoreLogStream::operator<<(const char* text) {
    if (text)
        m_text += text;
    return *this;
}

CoreLogStream& CoreLogStream::operator<<(const char& character) {
    m_text += character;
    return *this;
}

CoreLogStream& CoreLogStream::operator<<(const int& value) {
    append_number(m_text, value);
    return *this;
}

CoreLogStream& CoreLogStream::operator<<(const unsigned& value) {
    append_number(m_text, value);
    return *this;
}

CoreLogStream& CoreLogStream::operator<<(const float& value) {
    if (std::isnan(value))
        m_text += "nan"; // the sign of a NaN differs between machines
    else
        append_number(m_text, value);
    return *this;
}

void CoreLogHandler::info_msg(const CoreLogStream& stream) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const std::string& text = stream.get_text();
    if (m_sink) {
        m_sink(text);
        return;
    }
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

void CoreLogHandler::set_sink(Sink sink) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_sink.swap(sink);
}

CoreLogHandler& core_main_log_handler() {
    static CoreLogHandler handler;
    return handler;
}

} // namespace gas_abi1
