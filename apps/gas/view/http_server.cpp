// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/view/http_server.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <string_view>
#include <vector>

#include <arpa/inet.h>
#include <microhttpd.h>
#include <poll.h>
#include <sys/socket.h>

#include <apps/common/user_error.h>

namespace gas_app {

namespace {

// What a connection may hold: the head of a request and what is on its way out.
constexpr std::size_t connection_bytes = 64 << 10;
constexpr unsigned most_connections = 64;
constexpr unsigned most_headers = 100;
constexpr unsigned silent_seconds = 15;
/// Of a stream, written at a time.
constexpr std::size_t block_size = 32 << 10;

bool have_same_letters(std::string_view a, std::string_view b) {
    const auto lower = [](char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + 32) : letter;
    };
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [&](char x, char y) { return lower(x) == lower(y); });
}

/// The values of a request of one kind, in their order.
using Values = std::vector<std::pair<std::string, std::string>>;

Values list_values(MHD_Connection* connection, MHD_ValueKind kind) {
    const auto add = [](void* values, MHD_ValueKind, const char* name, std::size_t name_size,
                        const char* value, std::size_t value_size) {
        static_cast<Values*>(values)->emplace_back(std::string(name, name_size),
                                                   value ? std::string(value, value_size) : "");
        return MHD_YES;
    };
    Values values;
    MHD_get_connection_values_n(connection, kind, add, &values);
    return values;
}

HttpResponse refuse(unsigned status, const std::string& sentence) {
    HttpResponse response;
    response.status = status;
    response.body = sentence + "\n";
    return response;
}

/// The error of a request's head; nothing where it may come in.
std::optional<HttpResponse> check_headers(const Values& headers, const std::string& port) {
    if (headers.size() > most_headers)
        return refuse(MHD_HTTP_REQUEST_HEADER_FIELDS_TOO_LARGE, "too many header fields");
    // Another name for this machine may be that of a page from elsewhere.
    const std::array<std::string, 3> names = {"127.0.0.1:" + port, "localhost:" + port,
                                              "[::1]:" + port};
    const auto is_own = [&](std::string_view host) {
        return std::any_of(names.begin(), names.end(),
                           [&](const std::string& name) { return have_same_letters(name, host); });
    };
    unsigned host_count = 0;
    for (const auto& [name, value] : headers) {
        if (have_same_letters(name, "Host")) {
            ++host_count;
            if (!is_own(value))
                return refuse(MHD_HTTP_MISDIRECTED_REQUEST, "this server has another name");
        } else if (have_same_letters(name, "Origin")) {
            constexpr std::string_view scheme = "http://";
            if (!std::string_view(value).starts_with(scheme) ||
                !is_own(std::string_view(value).substr(scheme.size())))
                return refuse(MHD_HTTP_FORBIDDEN, "pages of other origins may not ask");
        } else if (have_same_letters(name, "Sec-Fetch-Site")) {
            if (value != "same-origin" && value != "none")
                return refuse(MHD_HTTP_FORBIDDEN, "pages of other sites may not ask");
        } else if (have_same_letters(name, "Transfer-Encoding") ||
                   (have_same_letters(name, "Content-Length") && value != "0")) {
            return refuse(MHD_HTTP_CONTENT_TOO_LARGE, "requests have no body");
        }
    }
    if (host_count != 1)
        return refuse(MHD_HTTP_BAD_REQUEST, "a request names its host once");
    return std::nullopt;
}

/// Whether a connection's other end has closed it.
bool has_gone(int socket) {
    pollfd state = {socket, POLLRDHUP, 0};
    return ::poll(&state, 1, 0) > 0 && (state.revents & (POLLRDHUP | POLLHUP | POLLERR)) != 0;
}

/// A stream that is being sent.
struct Sending {
    std::unique_ptr<HttpStream> stream;
    int socket;
    const std::atomic<bool>& is_stopping;
};

ssize_t send_some(void* user, std::uint64_t, char* bytes, std::size_t size) noexcept {
    const Sending& sending = *static_cast<Sending*>(user);
    try {
        while (!sending.is_stopping && !has_gone(sending.socket)) {
            const std::optional<std::size_t> count = sending.stream->read(bytes, size);
            if (!count)
                return MHD_CONTENT_READER_END_OF_STREAM;
            if (*count > 0)
                return static_cast<ssize_t>(*count);
        }
    } catch (const std::exception&) {
    }
    return MHD_CONTENT_READER_END_WITH_ERROR;
}

void end_sending(void* user) { delete static_cast<Sending*>(user); }

} // namespace

class HttpServer::Daemon {
  public:
    Daemon(std::uint16_t port, Handler handler) : m_handler(std::move(handler)) {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const sockaddr* const general = reinterpret_cast<const sockaddr*>(&address);
        m_daemon = MHD_start_daemon(
            MHD_USE_THREAD_PER_CONNECTION | MHD_USE_INTERNAL_POLLING_THREAD | MHD_USE_POLL |
                MHD_USE_ITC,
            port, nullptr, nullptr, answer, this, MHD_OPTION_SOCK_ADDR, general,
            MHD_OPTION_CONNECTION_MEMORY_LIMIT, connection_bytes, MHD_OPTION_CONNECTION_LIMIT,
            most_connections, MHD_OPTION_CONNECTION_TIMEOUT, silent_seconds,
            MHD_OPTION_STRICT_FOR_CLIENT, 1, MHD_OPTION_END);
        const MHD_DaemonInfo* const info =
            m_daemon ? MHD_get_daemon_info(m_daemon, MHD_DAEMON_INFO_BIND_PORT) : nullptr;
        if (!info)
            throw UserError("--port " + std::to_string(port) + ": cannot be listened on");
        m_port = info->port;
    }
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;
    ~Daemon() {
        m_is_stopping = true;
        MHD_stop_daemon(m_daemon);
    }

    std::uint16_t get_port() const { return m_port; }

  private:
    static MHD_Result answer(void* user, MHD_Connection* connection, const char* path,
                             const char* method, const char*, const char*, std::size_t*,
                             void**) noexcept {
        const Daemon& daemon = *static_cast<const Daemon*>(user);
        try {
            return daemon.send(connection, daemon.respond(connection, path, method));
        } catch (const std::exception&) {
            return MHD_NO; // closes the connection
        }
    }

    HttpResponse respond(MHD_Connection* connection, const char* path, const char* method) const {
        if (std::optional<HttpResponse> refusal =
                check_headers(list_values(connection, MHD_HEADER_KIND), std::to_string(m_port)))
            return std::move(*refusal);
        HttpRequest request = {method, path, {}};
        if (request.method != "GET" && request.method != "POST") {
            HttpResponse response = refuse(MHD_HTTP_METHOD_NOT_ALLOWED, "no such method");
            response.allow = "GET, POST";
            return response;
        }
        for (auto& [name, value] : list_values(connection, MHD_GET_ARGUMENT_KIND))
            if (!request.arguments.emplace(name, value).second)
                return refuse(MHD_HTTP_BAD_REQUEST, "an argument comes twice");
        try {
            return m_handler(request);
        } catch (const UserError& error) {
            return refuse(MHD_HTTP_BAD_REQUEST, error.what());
        } catch (const std::exception& error) {
            return refuse(MHD_HTTP_INTERNAL_SERVER_ERROR, error.what());
        }
    }

    MHD_Result send(MHD_Connection* connection, HttpResponse response) const {
        MHD_Response* const made =
            response.stream
                ? make_stream(connection, std::move(response.stream))
                : MHD_create_response_from_buffer(response.body.size(), response.body.data(),
                                                  MHD_RESPMEM_MUST_COPY);
        if (!made)
            return MHD_NO;
        const auto add = [made](const char* name, const std::string& value) {
            if (!value.empty())
                MHD_add_response_header(made, name, value.c_str());
        };
        add("Content-Type", response.content_type);
        add("Content-Security-Policy", response.policy.empty()
                                           ? "default-src 'none'; frame-ancestors 'none'"
                                           : response.policy);
        add("X-Content-Type-Options", "nosniff");
        add("Cross-Origin-Resource-Policy", "same-origin");
        add("Cross-Origin-Opener-Policy", "same-origin");
        add("Referrer-Policy", "no-referrer");
        add("Cache-Control", "no-store");
        add("Allow", response.allow);
        const MHD_Result result = MHD_queue_response(connection, response.status, made);
        MHD_destroy_response(made); // when it was sent
        return result;
    }

    MHD_Response* make_stream(MHD_Connection* connection,
                              std::unique_ptr<HttpStream> stream) const {
        const MHD_ConnectionInfo* const info =
            MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
        auto sending = std::make_unique<Sending>(
            Sending{std::move(stream), info ? info->connect_fd : -1, m_is_stopping});
        MHD_Response* const made = MHD_create_response_from_callback(
            MHD_SIZE_UNKNOWN, block_size, send_some, sending.get(), end_sending);
        if (made)
            static_cast<void>(sending.release());
        return made;
    }

    const Handler m_handler;
    std::atomic<bool> m_is_stopping{false};
    MHD_Daemon* m_daemon = nullptr;
    std::atomic<std::uint16_t> m_port{0};
};

bool can_serve() { return true; }

HttpServer::HttpServer(std::uint16_t port, Handler handler)
    : m_daemon(std::make_unique<Daemon>(port, std::move(handler))) {}

HttpServer::~HttpServer() = default;

std::uint16_t HttpServer::get_port() const { return m_daemon->get_port(); }

} // namespace gas_app
