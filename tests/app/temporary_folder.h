// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <unistd.h>

#include <gtest/gtest.h>

/// A folder for one test's files; gone, with all of them, when the test is over.
class TemporaryFolder {
  public:
    TemporaryFolder() {
        const testing::TestInfo* test = testing::UnitTest::GetInstance()->current_test_info();
        m_path = std::filesystem::path(testing::TempDir()) /
                 ("gas_" + std::string(test->test_suite_name()) + "_" + test->name() + "_" +
                  std::to_string(::getpid()) + "_" + std::to_string(s_count++));
        std::filesystem::remove_all(m_path);
        std::filesystem::create_directories(m_path);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder() {
        std::error_code error;
        std::filesystem::remove_all(m_path, error);
    }

    std::string get_path(const std::string& name) const { return (m_path / name).string(); }

    std::string write(const std::string& name, const std::string& text) const {
        std::ofstream(get_path(name), std::ios::binary) << text;
        return get_path(name);
    }

    std::string read(const std::string& name) const {
        std::ifstream file(get_path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    unsigned count_files() const {
        const std::filesystem::directory_iterator files(m_path);
        return static_cast<unsigned>(std::distance(begin(files), end(files)));
    }

  private:
    static inline unsigned s_count = 0;

    std::filesystem::path m_path;
};
