// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdexcept>

namespace gas_app {

/// An error that the user can fix, in a file or an option. The message names it and is complete.
class UserError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// An invalid value on the command line.
class OptionError : public UserError {
  public:
    using UserError::UserError;
};

} // namespace gas_app
