#pragma once

#include <stdexcept>

namespace gas_app {

/// Something that the user can put right: a file, an option. The message names it and stands alone.
class UserError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// A value on the command line that makes no sense.
class OptionError : public UserError {
  public:
    using UserError::UserError;
};

} // namespace gas_app
