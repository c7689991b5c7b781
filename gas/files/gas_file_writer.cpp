// SPDX-License-Identifier: Apache-2.0
#include <gas/files/gas_file_writer.h>

#include <atomic>
#include <cerrno>

#include <gas/files/gas_file_checksum.h>
#include <gas/files/gas_file_system.h>

inline namespace gas_abi1 {

namespace {

/// A name that no other writer has, in the same folder.
std::string get_partial_name(const std::string& target) {
    static std::atomic<unsigned> number = 0;
    const std::size_t folder_end = target.rfind('/') + 1; // 0 where there is none
    return target.substr(0, folder_end) + ".gas-" + gas_file_system::get_process_number() + "-" +
           std::to_string(number.fetch_add(1, std::memory_order_relaxed)) + ".partial";
}

} // namespace

GasFileWriter::GasFileWriter(const char* path, GasFileTable& table)
    // A link is written through, not replaced.
    : m_table(table), m_target(gas_file_system::resolve(path)),
      m_partial(get_partial_name(m_target)), m_offset(table.get_size()),
      m_sum(GasFileChecksum::start) {
    m_block.reserve(GasFileChecksum::block_size);
    // Neither a folder nor a device is replaced, and no file that may not be written to.
    using Kind = gas_file_system::Kind;
    const Kind kind = gas_file_system::get_status(m_target.c_str()).kind;
    if (kind == Kind::folder || kind == Kind::other)
        m_error = kind == Kind::folder ? EISDIR : EINVAL;
    else if (kind == Kind::file && !gas_file_system::may_write(m_target.c_str()))
        fail();
    if (m_error)
        return;
    m_file = gas_file_system::create(m_partial.c_str());
    if (m_file < 0)
        fail();
}

GasFileWriter::~GasFileWriter() {
    if (m_file < 0)
        return;
    gas_file_system::close(m_file);
    gas_file_system::remove(m_partial.c_str());
}

void GasFileWriter::fail() {
    if (!m_error)
        m_error = errno;
}

void GasFileWriter::append(const void* bytes, std::size_t size) {
    const char* next = static_cast<const char*>(bytes);
    while (size > 0 && !m_error) {
        const std::size_t room = GasFileChecksum::block_size - m_block.size();
        const std::size_t count = size < room ? size : room;
        m_block.insert(m_block.end(), next, next + count);
        next += count;
        size -= count;
        if (m_block.size() == GasFileChecksum::block_size)
            flush();
    }
}

void GasFileWriter::flush() {
    m_sum = GasFileChecksum::mix(m_sum, GasFileChecksum::sum_block(m_block.data(), m_block.size()));
    write(m_block.data(), m_block.size(), m_offset);
    m_offset += m_block.size();
    m_block.clear();
}

void GasFileWriter::end_section() {
    m_block.resize(static_cast<std::size_t>(gas_align_in_file(m_block.size())));
    if (!m_block.empty())
        flush();
    m_table.sections[m_section++].checksum = GasFileChecksum::finish(m_sum);
    m_sum = GasFileChecksum::start;
}

void GasFileWriter::write(const void* bytes, std::size_t size, std::uint64_t offset) {
    const char* next = static_cast<const char*>(bytes);
    while (size > 0 && !m_error) {
        const std::int64_t count = gas_file_system::write_at(m_file, next, size, offset);
        if (count < 0 && errno != EINTR)
            return fail();
        if (count > 0) {
            next += count;
            size -= static_cast<std::size_t>(count);
            offset += static_cast<std::uint64_t>(count);
        }
    }
}

void GasFileWriter::finish() {
    const std::vector<char> first = m_table.write();
    write(first.data(), first.size(), 0);
    if (m_error)
        return;
    const int file = m_file;
    m_file = -1;
    if (!gas_file_system::close(file) ||
        !gas_file_system::replace(m_target.c_str(), m_partial.c_str())) {
        fail();
        gas_file_system::remove(m_partial.c_str());
    }
}

} // namespace gas_abi1
