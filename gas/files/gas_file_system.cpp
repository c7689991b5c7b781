// SPDX-License-Identifier: Apache-2.0
#include <gas/files/gas_file_system.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>

#include <fcntl.h>
#include <sys/stat.h>

#if defined(_WIN32)
#include <climits>

#include <io.h>
#include <process.h>

#if !defined(NOMINMAX)
#define NOMINMAX
#endif
#include <windows.h>
#else
#include <sys/mman.h>
#include <unistd.h>
#endif

inline namespace gas_abi1 {
namespace gas_file_system {

#if defined(_WIN32)

namespace {

using SystemStatus = struct _stat64;

Status convert(const SystemStatus& status) {
    const int type = status.st_mode & _S_IFMT;
    return {type == _S_IFREG   ? Kind::file
            : type == _S_IFDIR ? Kind::folder
                               : Kind::other,
            static_cast<std::uint64_t>(status.st_size)};
}

/// The library's calls take fewer bytes than a size can count.
unsigned limit(std::size_t size) {
    return size < INT_MAX ? static_cast<unsigned>(size) : unsigned{INT_MAX};
}

bool seek(int file, std::uint64_t offset) {
    return _lseeki64(file, static_cast<std::int64_t>(offset), SEEK_SET) >= 0;
}

} // namespace

int open_to_read(const char* path) { return _open(path, _O_RDONLY | _O_BINARY | _O_NOINHERIT); }

int create(const char* path) {
    return _open(path, _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY | _O_NOINHERIT,
                 _S_IREAD | _S_IWRITE);
}

bool close(int file) { return _close(file) == 0; }

bool get_status(int file, Status& status) {
    SystemStatus found;
    if (_fstat64(file, &found) != 0)
        return false;
    status = convert(found);
    return true;
}

Status get_status(const char* path) {
    SystemStatus found;
    return _stat64(path, &found) == 0 ? convert(found) : Status();
}

bool may_write(const char* path) {
    constexpr int writing = 2;
    return _access(path, writing) == 0;
}

std::int64_t read_at(int file, void* bytes, std::size_t size, std::uint64_t offset) {
    return seek(file, offset) ? _read(file, bytes, limit(size)) : -1;
}

std::int64_t write_at(int file, const void* bytes, std::size_t size, std::uint64_t offset) {
    return seek(file, offset) ? _write(file, bytes, limit(size)) : -1;
}

void* map(int file, std::size_t) {
    auto* const handle = reinterpret_cast<HANDLE>(_get_osfhandle(file));
    void* memory = nullptr;
    // The view keeps the mapping.
    if (HANDLE mapping = CreateFileMappingA(handle, nullptr, PAGE_WRITECOPY, 0, 0, nullptr)) {
        memory = MapViewOfFile(mapping, FILE_MAP_COPY, 0, 0, 0);
        CloseHandle(mapping);
    }
    if (!memory)
        errno = ENOMEM;
    return memory;
}

void unmap(void* memory, std::size_t) { UnmapViewOfFile(memory); }

std::string resolve(const char* path) { return path; }

bool replace(const char* path, const char* partial) {
    if (MoveFileExA(partial, path, MOVEFILE_REPLACE_EXISTING))
        return true;
    errno = EACCES; // somebody has it open, or mapped
    return false;
}

void remove(const char* path) { std::remove(path); }

std::string get_process_number() { return std::to_string(_getpid()); }

#else

namespace {

using SystemStatus = struct stat;

Status convert(const SystemStatus& status) {
    return {S_ISREG(status.st_mode)   ? Kind::file
            : S_ISDIR(status.st_mode) ? Kind::folder
                                      : Kind::other,
            static_cast<std::uint64_t>(status.st_size)};
}

} // namespace

int open_to_read(const char* path) { return ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK); }

int create(const char* path) {
    constexpr mode_t everybody = 0666;
    return ::open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, everybody);
}

bool close(int file) { return ::close(file) == 0; }

bool get_status(int file, Status& status) {
    SystemStatus found;
    if (::fstat(file, &found) != 0)
        return false;
    status = convert(found);
    return true;
}

Status get_status(const char* path) {
    SystemStatus found;
    return ::stat(path, &found) == 0 ? convert(found) : Status();
}

bool may_write(const char* path) { return ::access(path, W_OK) == 0; }

std::int64_t read_at(int file, void* bytes, std::size_t size, std::uint64_t offset) {
    return ::pread(file, bytes, size, static_cast<off_t>(offset));
}

std::int64_t write_at(int file, const void* bytes, std::size_t size, std::uint64_t offset) {
    return ::pwrite(file, bytes, size, static_cast<off_t>(offset));
}

void* map(int file, std::size_t size) {
    void* const memory = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE, file, 0);
    return memory == MAP_FAILED ? nullptr : memory;
}

void unmap(void* memory, std::size_t size) { ::munmap(memory, size); }

std::string resolve(const char* path) {
    const std::unique_ptr<char, void (*)(void*)> found(::realpath(path, nullptr), std::free);
    if (!found && errno == ENOMEM)
        throw std::bad_alloc();
    return found ? found.get() : path;
}

bool replace(const char* path, const char* partial) { return std::rename(partial, path) == 0; }

void remove(const char* path) { ::unlink(path); }

std::string get_process_number() { return std::to_string(::getpid()); }

#endif

} // namespace gas_file_system
} // namespace gas_abi1
