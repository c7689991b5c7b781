// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace gas_app {

/// A request that was let in: from this machine, to this server by its own name, from one of its
/// own pages or from no page, and without a body.
struct HttpRequest {
    /// `GET` or `POST`.
    std::string method;
    /// With the slash at its start.
    std::string path;
    /// What follows the question mark, decoded; each name comes once.
    std::map<std::string, std::string> arguments;
};

/// A body that comes bit by bit. It is destroyed when it has come to its end, and when its reader
/// has gone.
class HttpStream {
  public:
    virtual ~HttpStream() = default;
    /// Writes up to `size` (at least 1) bytes, and says how many; waits for them, but not much
    /// longer than a tenth of a second. Nothing at the end.
    virtual std::optional<std::size_t> read(char* bytes, std::size_t size) = 0;
};

struct HttpResponse {
    unsigned status = 200;
    std::string content_type = "text/plain; charset=utf-8";
    std::string body;
    /// In place of the body, unless it is null.
    std::unique_ptr<HttpStream> stream;
    /// A content security policy, for a page.
    std::string policy;
    /// The methods that the path knows, of a status 405.
    std::string allow;
};

/// Whether the program was built with a library that serves.
bool can_serve();

/// Serves requests on the loopback, and only there. Each connection has a thread.
class HttpServer {
  public:
    /// Called by any number of threads at once. What it throws is an error 500, or 400 where it is
    /// a UserError.
    using Handler = std::function<HttpResponse(const HttpRequest&)>;

    /// `port`: 0 is any that is free. Throws a UserError where it is not free, or where there is no
    /// library.
    HttpServer(std::uint16_t port, Handler handler);
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;
    /// Ends all connections and waits for their threads.
    ~HttpServer();

    std::uint16_t get_port() const;

  private:
    class Daemon;
    std::unique_ptr<Daemon> m_daemon;
};

} // namespace gas_app
