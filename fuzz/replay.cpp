// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

// Gives a fuzz target the files of a folder, one after the other, without a fuzzer. The last name
// that is printed is that of the file at which it ended, if it did.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

void replay(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    // Of the right size, so that a sanitizer sees a read beyond it.
    const std::vector<std::uint8_t> data(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(data.data(), data.size());
}

} // namespace

int main(int argument_count, char** arguments) {
    if (argument_count != 2) {
        std::fprintf(stderr, "usage: %s FOLDER\n", arguments[0]);
        return 2;
    }
    try {
        std::vector<std::filesystem::path> paths;
        for (const auto& entry : std::filesystem::directory_iterator(arguments[1]))
            paths.push_back(entry.path());
        std::sort(paths.begin(), paths.end());
        for (const std::filesystem::path& path : paths) {
            std::printf("%s\n", path.filename().c_str());
            std::fflush(stdout);
            replay(path);
        }
        std::printf("replayed %zu files\n", paths.size());
        if (!paths.empty())
            return 0;
        std::fprintf(stderr, "%s: holds no files\n", arguments[1]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
    }
    return 1;
}
