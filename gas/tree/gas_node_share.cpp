// SPDX-License-Identifier: Apache-2.0
#include <gas/tree/gas_node_share.h>

#include <cassert>
#include <memory>

inline namespace gas_abi1 {

/// Outlives the nodes, until the last tree that shared them has left.
struct GasNodeShare::Record {
    std::atomic<unsigned> tree_count{1};
    std::atomic<bool> is_released{false};
    GasArrayBlock block;
};

void GasNodeShare::join(const GasNodeShare& other, unsigned sample_count) {
    Record* record = other.m_record.load(std::memory_order_acquire);
    if (!record) {
        auto made = std::make_unique<Record>();
        // Where another thread copies the same tree at this moment, one of the records stays.
        if (other.m_record.compare_exchange_strong(record, made.get(), std::memory_order_acq_rel,
                                                   std::memory_order_acquire))
            record = made.release();
    }
    record->tree_count.fetch_add(1, std::memory_order_relaxed);
    leave_record();
    m_record.store(record, std::memory_order_release);
    m_sample_count.store(sample_count, std::memory_order_relaxed);
    other.m_sample_count.store(sample_count, std::memory_order_relaxed);
}

void GasNodeShare::take(GasNodeShare& other) noexcept {
    m_record.store(other.m_record.exchange(nullptr, std::memory_order_acq_rel),
                   std::memory_order_release);
    m_sample_count.store(other.m_sample_count.exchange(0, std::memory_order_relaxed),
                         std::memory_order_relaxed);
}

void GasNodeShare::drop_samples(unsigned count) noexcept {
    if (count < get_sample_count())
        m_sample_count.store(count, std::memory_order_relaxed);
}

void GasNodeShare::keep(const GasArrayBlock& block) {
    auto record = std::make_unique<Record>();
    record->block = block;
    m_record.store(record.release(), std::memory_order_release);
}

GasArrayBlock GasNodeShare::get_block() const noexcept {
    const Record* const record = m_record.load(std::memory_order_acquire);
    return record ? record->block : GasArrayBlock();
}

/// True: no other tree shares the nodes, and none has released them.
bool GasNodeShare::leave_record() noexcept {
    m_sample_count.store(0, std::memory_order_relaxed);
    std::unique_ptr<Record> record(m_record.exchange(nullptr, std::memory_order_acq_rel));
    if (!record)
        return true;
    if (record->tree_count.fetch_sub(1, std::memory_order_acq_rel) > 1) {
        static_cast<void>(record.release());
        return false;
    }
    return !record->is_released.load(std::memory_order_relaxed);
}

GasNodeShare::Rest GasNodeShare::leave() noexcept {
    Rest rest = {false, get_sample_count(), get_block()};
    rest.owns_shared = leave_record();
    return rest;
}

GasNodeShare::Rest GasNodeShare::release() noexcept {
    Rest rest = {false, get_sample_count(), get_block()};
    Record* const record = m_record.load(std::memory_order_acquire);
    rest.owns_shared = !record || !record->is_released.exchange(true, std::memory_order_acq_rel);
    leave_record();
    assert(rest.owns_shared &&
           "shared nodes are released once: of a tree and its copies only one may be "
           "cleared, rebuilt or destroyed; assign an empty tree to the others");
    return rest;
}

} // namespace gas_abi1
