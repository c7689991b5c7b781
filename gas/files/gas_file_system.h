// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

inline namespace gas_abi1 {

/// What saved trees ask of the operating system. A file is the number that the C library has for
/// it. What fails leaves its reason in `errno`.
namespace gas_file_system {

enum class Kind { none, file, folder, other };

/// What stands at the end of a path.
struct Status {
    Kind kind = Kind::none;
    std::uint64_t size = 0;
};

/// The open file, or -1. Neither waits for the other end of a pipe.
int open_to_read(const char* path);
/// Makes a file that was not there; everybody may read and write it whom the user's mask lets.
int create(const char* path);
/// False: what was written last may be lost.
bool close(int file);

/// False: the system does not say.
bool get_status(int file, Status& status);
/// Kind `none` where there is nothing, or the system does not say.
Status get_status(const char* path);
bool may_write(const char* path);

/// At most `size` bytes from `offset`: how many were read or written, or -1. None were where the
/// file ends.
std::int64_t read_at(int file, void* bytes, std::size_t size, std::uint64_t offset);
std::int64_t write_at(int file, const void* bytes, std::size_t size, std::uint64_t offset);

/// The whole file in memory, which is this process's own once it is written to; or null.
void* map(int file, std::size_t size);
void unmap(void* memory, std::size_t size);

/// The file at the end of a chain of links; `path` where there is none.
std::string resolve(const char* path);
/// Gives `path` to the file at `partial`, in place of what may stand there.
bool replace(const char* path, const char* partial);
void remove(const char* path);
/// A number that no other running process has.
std::string get_process_number();

} // namespace gas_file_system

} // namespace gas_abi1
