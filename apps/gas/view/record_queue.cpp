// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/view/record_queue.h>

#include <algorithm>
#include <chrono>
#include <cstdint>

namespace gas_app {

namespace {

constexpr std::chrono::milliseconds patience(100);

void append_size(std::string& text, std::size_t size) {
    for (unsigned byte = 0; byte < 4; ++byte)
        text += static_cast<char>(static_cast<unsigned char>(size >> 8 * byte));
}

} // namespace

void RecordQueue::push(std::string_view head, std::string_view data) {
    std::string record;
    record.reserve(8 + head.size() + data.size());
    append_size(record, head.size());
    append_size(record, data.size());
    record.append(head).append(data);
    const std::lock_guard lock(m_mutex);
    m_records.push_back(std::move(record));
    m_changed.notify_all();
}

void RecordQueue::close() {
    const std::lock_guard lock(m_mutex);
    m_is_closed = true;
    m_changed.notify_all();
}

void RecordQueue::stop() {
    const std::lock_guard lock(m_mutex);
    m_is_stopped = true;
    m_changed.notify_all();
}

void RecordQueue::throw_if_stopped() const {
    if (m_is_stopped)
        throw Stopped();
}

std::optional<std::size_t> RecordQueue::read(char* bytes, std::size_t size) {
    std::unique_lock lock(m_mutex);
    m_changed.wait_for(lock, patience,
                       [&] { return !m_records.empty() || m_is_closed || m_is_stopped; });
    if (m_is_stopped || (m_records.empty() && m_is_closed))
        return std::nullopt;
    std::size_t count = 0;
    while (count < size && !m_records.empty()) {
        const std::string& first = m_records.front();
        const std::size_t part = std::min(size - count, first.size() - m_taken);
        std::copy_n(first.begin() + static_cast<std::ptrdiff_t>(m_taken), part, bytes + count);
        count += part;
        m_taken += part;
        if (m_taken == first.size()) {
            m_records.pop_front();
            m_taken = 0;
        }
    }
    return count;
}

Turns::Turn::Turn(Turns& turns, const RecordQueue& records) : m_turns(turns), m_own(&records) {
    std::unique_lock lock(turns.m_mutex);
    turns.m_waiting.push_back(m_own);
    while (turns.m_waiting.front() != m_own && !records.is_stopped())
        turns.m_changed.wait_for(lock, patience);
    if (records.is_stopped()) {
        leave();
        throw Stopped();
    }
}

Turns::Turn::~Turn() {
    const std::lock_guard lock(m_turns.m_mutex);
    leave();
}

void Turns::Turn::leave() {
    std::deque<const RecordQueue*>& waiting = m_turns.m_waiting;
    waiting.erase(std::find(waiting.begin(), waiting.end(), m_own));
    m_turns.m_changed.notify_all();
}

bool Turns::are_taken() {
    const std::lock_guard lock(m_mutex);
    return !m_waiting.empty();
}

} // namespace gas_app
