// SPDX-License-Identifier: Apache-2.0
#include <gas/files/gas_file_memory.h>

#include <cerrno>
#include <cstdint>
#include <memory>
#include <utility>

#include <gas/files/gas_file_format.h>
#include <gas/files/gas_file_system.h>
#include <gas/host/host.h>

inline namespace gas_abi1 {

namespace {

/// What an array can hold, with room for its alignment: elsewhere sizes need no look.
constexpr std::uint64_t largest_size = PTRDIFF_MAX - gas_file_alignment;

void free_memory(void* memory, std::size_t) { sys_aligned_free(memory); }

} // namespace

GasFileMemory::GasFileMemory(const char* path) {
    m_file = gas_file_system::open_to_read(path);
    gas_file_system::Status status;
    if (m_file < 0 || !gas_file_system::get_status(m_file, status))
        fail();
    else if (status.kind != gas_file_system::Kind::file)
        m_error = status.kind == gas_file_system::Kind::folder ? EISDIR : ESPIPE;
    else if (status.size > largest_size)
        m_error = EFBIG;
    else
        m_size = static_cast<std::size_t>(status.size);
}

GasFileMemory::~GasFileMemory() {
    if (m_file >= 0)
        gas_file_system::close(m_file);
    m_block.release_all();
}

bool GasFileMemory::fail() {
    m_error = errno;
    return false;
}

std::size_t GasFileMemory::read_start(char* bytes, std::size_t size) {
    const std::size_t count = m_size < size ? m_size : size;
    return read_all(bytes, count) ? count : 0;
}

bool GasFileMemory::read_all(char* bytes, std::size_t size) {
    std::size_t done = 0;
    while (done < size) {
        const std::int64_t count =
            gas_file_system::read_at(m_file, bytes + done, size - done, done);
        if (count < 0 && errno != EINTR)
            return fail();
        if (count == 0) {
            m_error = EIO; // it became shorter meanwhile
            return false;
        }
        if (count > 0)
            done += static_cast<std::size_t>(count);
    }
    return true;
}

bool GasFileMemory::bring(Way way) {
    if (way == Way::map) {
        void* const memory = gas_file_system::map(m_file, m_size);
        if (!memory)
            return fail();
        m_block = {memory, m_size, gas_file_system::unmap};
        m_bytes = static_cast<char*>(memory);
        return true;
    }
    std::size_t space = m_size + gas_file_alignment;
    void* memory = sys_aligned_malloc(space);
    m_block = {memory, space, free_memory};
    m_bytes = static_cast<char*>(std::align(gas_file_alignment, m_size, memory, space));
    return read_all(m_bytes, m_size);
}

GasArrayBlock GasFileMemory::hand_over() { return std::exchange(m_block, {}); }

} // namespace gas_abi1
