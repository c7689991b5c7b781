// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <functional>
#include <mutex>
#include <string>

#include <gas/host/host_export.h>

inline namespace gas_abi1 {

/// Collects the pieces of one log message. Floats are written with the fewest digits that read
/// back as the same float, every NaN as "nan".
class GAS_HOST_EXPORT CoreLogStream {
  public:
    CoreLogStream& operator<<(const char* text);
    CoreLogStream& operator<<(const char& character);
    CoreLogStream& operator<<(const int& value);
    CoreLogStream& operator<<(const unsigned& value);
    CoreLogStream& operator<<(const float& value);

    const std::string& get_text() const { return m_text; }

  private:
    std::string m_text;
};

/// Writes messages at once, to standard output unless a sink is set. Safe to call from
/// several threads at once; messages do not mix.
class GAS_HOST_EXPORT CoreLogHandler {
  public:
    /// Receives each message's text, one call at a time; it must not log itself.
    using Sink = std::function<void(const std::string& text)>;

    /// Emits one informational message; `stream` brings its own line ends.
    void info_msg(const CoreLogStream& stream);

    /// Sends later messages to `sink`; an empty one gives standard output back.
    void set_sink(Sink sink);

  private:
    std::mutex m_mutex;
    Sink m_sink;
};

/// The process's one log handler.
GAS_HOST_EXPORT CoreLogHandler& core_main_log_handler();

} // namespace gas_abi1
