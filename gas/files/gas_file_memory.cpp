// SPDX-License-Identifier: Apache-2.0
#include <gas/files/gas_file_memory.h>

#include <cerrno>
#include <memory>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gas/files/gas_file_format.h>
#include <gas/host/host.h>

inline namespace gas_abi1 {

namespace {

void unmap(void* memory, std::size_t size) { ::munmap(memory, size); }

void free_memory(void* memory, std::size_t) { sys_aligned_free(memory); }

} // namespace

GasFileMemory::GasFileMemory(const char* path) {
    // A pipe would wait for somebody to write.
    m_file = ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    struct stat status;
    if (m_file < 0 || ::fstat(m_file, &status) != 0)
        fail();
    else if (!S_ISREG(status.st_mode))
        m_error = S_ISDIR(status.st_mode) ? EISDIR : ESPIPE;
    else
        m_size = static_cast<std::uint64_t>(status.st_size);
}

GasFileMemory::~GasFileMemory() {
    if (m_file >= 0)
        ::close(m_file);
    m_block.release_all();
}

bool GasFileMemory::fail() {
    m_error = errno;
    return false;
}

std::size_t GasFileMemory::read_start(char* bytes, std::size_t size) {
    const std::uint64_t count = m_size < size ? m_size : size;
    return read_all(bytes, count) ? static_cast<std::size_t>(count) : 0;
}

bool GasFileMemory::read_all(char* bytes, std::uint64_t size) {
    std::uint64_t done = 0;
    while (done < size) {
        const ssize_t count = ::pread(m_file, bytes + done, size - done, static_cast<off_t>(done));
        if (count < 0 && errno != EINTR)
            return fail();
        if (count == 0) {
            m_error = EIO; // it became shorter meanwhile
            return false;
        }
        if (count > 0)
            done += static_cast<std::uint64_t>(count);
    }
    return true;
}

bool GasFileMemory::bring(Way way) {
    if (way == Way::map) {
        void* const memory =
            ::mmap(nullptr, m_size, PROT_READ | PROT_WRITE, MAP_PRIVATE, m_file, 0);
        if (memory == MAP_FAILED)
            return fail();
        m_block = {memory, m_size, unmap};
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
