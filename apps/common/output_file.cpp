// SPDX-License-Identifier: Apache-2.0
#include <apps/common/output_file.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <unistd.h>

#include <apps/common/user_error.h>

namespace gas_app {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const std::string& path, int error) {
    throw UserError(path + ": cannot be written: " + std::strerror(error));
}

/// The file at the end of a chain of links, so that a link is written through, not replaced.
fs::path resolve(const std::string& path) {
    std::error_code error;
    const fs::path target = fs::canonical(path, error);
    return error ? fs::path(path) : target;
}

fs::path get_folder(const fs::path& path) {
    return path.has_parent_path() ? path.parent_path() : fs::path(".");
}

bool is_special(const fs::path& path) {
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    return fs::exists(status) && !fs::is_regular_file(status);
}

/// Returns 0, or what went wrong.
int write_all(int file, const std::vector<unsigned char>& bytes) {
    std::size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t count = ::write(file, bytes.data() + written, bytes.size() - written);
        if (count < 0 && errno != EINTR)
            return errno;
        if (count > 0)
            written += static_cast<std::size_t>(count);
    }
    return 0;
}

int write_and_close(int file, const std::vector<unsigned char>& bytes) {
    const int error = write_all(file, bytes);
    const int close_error = ::close(file) == 0 ? 0 : errno;
    return error ? error : close_error;
}

/// Opens a new file in the folder. Another machine's process of the same number may write there,
/// and one that was killed may have left a file.
int create_partial(const fs::path& folder, fs::path& partial) {
    constexpr mode_t everybody = 0666; // the user's mask still applies
    constexpr unsigned most_attempts = 10'000;
    const std::string start = ".gas-" + std::to_string(::getpid()) + "-";
    for (unsigned attempt = 0;; ++attempt) {
        partial = folder / (start + std::to_string(attempt) + ".partial");
        const int file =
            ::open(partial.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, everybody);
        if (file >= 0 || errno != EEXIST || attempt == most_attempts)
            return file;
    }
}

} // namespace

bool is_special_file(const std::string& path) {
    return is_special(path) && !fs::is_directory(path);
}

void write_standard_output(const std::vector<unsigned char>& bytes) {
    if (const int error = write_all(STDOUT_FILENO, bytes))
        fail("standard output", error);
}

void check_output_path(const std::string& path, const std::string& input) {
    std::error_code error;
    if (path.empty())
        throw UserError("the name of the output file is empty");
    if (fs::is_directory(path, error))
        throw UserError(path + ": cannot be written: is a directory");
    if (!input.empty() && fs::equivalent(path, input, error))
        throw UserError(path + ": the output would overwrite the input");

    const fs::path target = resolve(path);
    const fs::path folder = get_folder(target);
    if (!fs::is_directory(folder, error))
        throw UserError(path + ": cannot be written: there is no folder " + folder.string());
    // A file that is not writable is not replaced either, although its folder would allow it.
    if (fs::exists(target, error) && ::access(target.c_str(), W_OK) != 0)
        fail(path, errno);
    if (!is_special(target) && ::access(folder.c_str(), W_OK) != 0)
        fail(path, errno);
}

void write_output_file(const std::string& path, const std::vector<unsigned char>& bytes) {
    const fs::path target = resolve(path);
    if (is_special(target)) {
        const int file = ::open(target.c_str(), O_WRONLY | O_CLOEXEC);
        if (file < 0)
            fail(path, errno);
        if (const int error = write_and_close(file, bytes))
            fail(path, error);
        return;
    }

    fs::path partial;
    const int file = create_partial(get_folder(target), partial);
    if (file < 0)
        fail(path, errno);
    int error = write_and_close(file, bytes);
    if (!error && std::rename(partial.c_str(), target.c_str()) != 0)
        error = errno;
    if (error) {
        ::unlink(partial.c_str());
        fail(path, error);
    }
}

} // namespace gas_app
