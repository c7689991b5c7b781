// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace gas_app {

/// Thrown where work is found to be stopped.
struct Stopped {};

/// Records on their way from the threads that draw to the one that sends them. A record is the size
/// of its head and the size of its data, four bytes each, lowest first; the head, which is JSON;
/// and the data. Any thread may call anything at any time.
class RecordQueue {
  public:
    void push(std::string_view head, std::string_view data = {});
    /// Nothing comes any more.
    void close();
    /// Nobody reads any more: what draws is to stop.
    void stop();
    bool is_stopped() const { return m_is_stopped; }
    /// Throws Stopped.
    void throw_if_stopped() const;

    /// Takes up to `size` (at least 1) bytes and says how many; waits a tenth of a second for the
    /// first. Nothing at the end.
    std::optional<std::size_t> read(char* bytes, std::size_t size);

  private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::string> m_records;
    /// Of the first record, how much was taken.
    std::size_t m_taken = 0;
    bool m_is_closed = false;
    std::atomic<bool> m_is_stopped{false};
};

/// Lets the threads that draw take turns, in the order in which they came.
class Turns {
  public:
    /// The turn of one, until it is destroyed.
    class Turn {
      public:
        /// Waits. Throws Stopped where the queue is stopped meanwhile.
        Turn(Turns& turns, const RecordQueue& records);
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;
        ~Turn();

      private:
        void leave();

        Turns& m_turns;
        const RecordQueue* m_own;
    };

    /// Whether a turn would have to wait.
    bool are_taken();

  private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    /// The first has its turn.
    std::deque<const RecordQueue*> m_waiting;
};

} // namespace gas_app
