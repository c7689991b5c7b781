// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>

#include <nlohmann/json.hpp>

#include <apps/gas/view/view_session.h>

namespace gas_app {

/// What a page may choose from, and what it starts with, as JSON.
nlohmann::ordered_json describe_choices();

/// The picture that the arguments of a request ask for; what they do not name is as in `usual`.
/// They have the names and the words of the command line. Throws a UserError.
ViewRequest parse_view_request(const std::map<std::string, std::string>& arguments,
                               const ViewRequest& usual, bool in_motion);

} // namespace gas_app
