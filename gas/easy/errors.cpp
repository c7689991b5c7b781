// SPDX-License-Identifier: Apache-2.0
#include <gas/easy/errors.h>

namespace gas {
inline namespace gas_abi1 {

Error::Error(const std::string& sentence) : std::runtime_error(sentence) {}

Error::Error(const Error&) = default;

Error::~Error() = default;

Stopped::Stopped() = default;

Stopped::Stopped(const Stopped&) = default;

Stopped::~Stopped() = default;

const char* Stopped::what() const noexcept {
    return "the build was stopped by its progress function";
}

} // namespace gas_abi1
} // namespace gas
