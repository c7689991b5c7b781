#pragma once

#include <stdexcept>

namespace gas_app {

/// Something that the user can put right: a file, an option. The message names it and stands alone.
class UserError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

} // namespace gas_app
