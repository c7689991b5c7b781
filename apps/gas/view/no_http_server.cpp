// SPDX-License-Identifier: Apache-2.0
#include <apps/common/user_error.h>
#include <apps/gas/view/http_server.h>

/// Where the program is built without libmicrohttpd.

namespace gas_app {

class HttpServer::Daemon {};

bool can_serve() { return false; }

HttpServer::HttpServer(std::uint16_t, Handler) {
    throw UserError("this program was built without libmicrohttpd, so it serves no pages");
}

HttpServer::~HttpServer() = default;

std::uint16_t HttpServer::get_port() const { return 0; }

} // namespace gas_app
