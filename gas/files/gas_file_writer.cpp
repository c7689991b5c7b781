// SPDX-License-Identifier: Apache-2.0
#include <gas/files/gas_file_writer.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gas/files/gas_file_checksum.h>

inline namespace gas_abi1 {

namespace {

/// The file at the end of a chain of links, so that a link is written through, not replaced.
std::string resolve(const char* path) {
    const std::unique_ptr<char, void (*)(void*)> found(::realpath(path, nullptr), std::free);
    if (!found && errno == ENOMEM)
        throw std::bad_alloc();
    return found ? found.get() : path;
}

/// A name that no other writer has, in the same folder.
std::string get_partial_name(const std::string& target) {
    static std::atomic<unsigned> number = 0;
    const std::size_t folder_end = target.rfind('/') + 1; // 0 where there is none
    return target.substr(0, folder_end) + ".gas-" + std::to_string(::getpid()) + "-" +
           std::to_string(number.fetch_add(1, std::memory_order_relaxed)) + ".partial";
}

} // namespace

GasFileWriter::GasFileWriter(const char* path, GasFileTable& table)
    : m_table(table), m_target(resolve(path)), m_partial(get_partial_name(m_target)),
      m_offset(table.get_size()), m_sum(GasFileChecksum::start) {
    m_block.reserve(GasFileChecksum::block_size);
    struct stat status;
    if (::stat(m_target.c_str(), &status) == 0) {
        // Neither a folder nor a device is replaced, and no file that may not be written to.
        if (!S_ISREG(status.st_mode))
            m_error = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
        else if (::access(m_target.c_str(), W_OK) != 0)
            fail();
        if (m_error)
            return;
    }
    constexpr mode_t everybody = 0666; // the user's mask still applies
    m_file = ::open(m_partial.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, everybody);
    if (m_file < 0)
        fail();
}

GasFileWriter::~GasFileWriter() {
    if (m_file < 0)
        return;
    ::close(m_file);
    ::unlink(m_partial.c_str());
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
    m_block.resize(gas_align_in_file(m_block.size()));
    if (!m_block.empty())
        flush();
    m_table.sections[m_section++].checksum = GasFileChecksum::finish(m_sum);
    m_sum = GasFileChecksum::start;
}

void GasFileWriter::write(const void* bytes, std::size_t size, std::uint64_t offset) {
    const char* next = static_cast<const char*>(bytes);
    while (size > 0 && !m_error) {
        const ssize_t count = ::pwrite(m_file, next, size, static_cast<off_t>(offset));
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
    if (::close(file) != 0 || std::rename(m_partial.c_str(), m_target.c_str()) != 0) {
        fail();
        ::unlink(m_partial.c_str());
    }
}

} // namespace gas_abi1
