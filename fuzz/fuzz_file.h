// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

#include <unistd.h>

namespace fuzz {

/// A file of this process, gone at its end.
class File {
  public:
    /// `name` ends with what its kind of file ends with.
    explicit File(const std::string& name)
        : m_path(
              (get_folder() / ("gas_fuzz_" + std::to_string(::getpid()) + "_" + name)).string()) {}
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File() { std::remove(get_path()); }

    const char* get_path() const { return m_path.c_str(); }
    std::string read() const {
        std::ifstream file(m_path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }
    void write(const std::string& bytes) const { std::ofstream(m_path, std::ios::binary) << bytes; }

  private:
    /// In memory, where the machine has a folder there.
    static std::filesystem::path get_folder() {
        const std::filesystem::path in_memory = "/dev/shm";
        std::error_code error;
        if (std::filesystem::is_directory(in_memory, error) &&
            ::access(in_memory.c_str(), W_OK) == 0)
            return in_memory;
        return std::filesystem::temp_directory_path();
    }

    std::string m_path;
};

} // namespace fuzz
