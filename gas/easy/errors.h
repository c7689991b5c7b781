// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>
#include <stdexcept>
#include <string>

#include <gas/easy/easy_export.h>

namespace gas {
inline namespace gas_abi1 {

/// What cannot be done; `what()` says why in a sentence.
class GAS_EASY_EXPORT Error : public std::runtime_error {
  public:
    explicit Error(const std::string& sentence);
    Error(const Error&);
    ~Error() override;
};

/// Thrown out of a build that its progress function stopped. Nothing of the tree is left.
class GAS_EASY_EXPORT Stopped : public std::exception {
  public:
    Stopped();
    Stopped(const Stopped&);
    ~Stopped() override;
    const char* what() const noexcept override;
};

} // namespace gas_abi1
} // namespace gas
