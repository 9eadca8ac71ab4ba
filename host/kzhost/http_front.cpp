#include "http_front.h"

#include <arpa/inet.h>
#include <microhttpd.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>

#include "json_text.h"

namespace kzhost {

namespace {

int64_t NowMs() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

// The per-request state, made at the first call of the access handler and freed when the request
// completes.
struct Request {
  bool answered = false;   // a response is queued; the rest of the body is dropped
  bool too_large = false;  // the body passed the limit; what follows is dropped
  // The header lines, gathered once when they are checked; they point into the connection's
  // memory, which holds them until the request completes.
  std::vector<std::pair<std::string_view, std::string_view>> headers;
  std::string body;
};

const char *Reason(int status) {
  switch (status) {
    case 400: return "Bad request.";
    case 404: return "Not found.";
    case 405: return "Method not allowed.";
    case 413: return "The request body is too large.";
    case 414: return "The request line is too long.";
    case 415: return "Unsupported media type.";
    case 421: return "This server does not answer for that host.";
    case 431: return "Too many or too long header lines.";
    default: return "Error.";
  }
}

}  // namespace

struct HttpFront::Connection {
  HttpFront *front = nullptr;
  int fd = -1;
  std::atomic<int64_t> deadline_ms{0};
  bool cut = false;     // the watchdog shut the socket down; under clocks_lock_
  std::string raw_uri;  // the request target of the current request, as sent
};

struct FrontCallbacks {
  static HttpFront::Connection *ConnectionOf(MHD_Connection *c) {
    const MHD_ConnectionInfo *info = MHD_get_connection_info(c, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
    return info != nullptr ? static_cast<HttpFront::Connection *>(info->socket_context) : nullptr;
  }

  static void Notify(void *cls, MHD_Connection *c, void **socket_context, MHD_ConnectionNotificationCode code) {
    auto *front = static_cast<HttpFront *>(cls);
    if (code == MHD_CONNECTION_NOTIFY_STARTED) {
      auto *conn = new HttpFront::Connection();
      conn->front = front;
      const MHD_ConnectionInfo *info = MHD_get_connection_info(c, MHD_CONNECTION_INFO_CONNECTION_FD);
      conn->fd = info != nullptr ? info->connect_fd : -1;
      conn->deadline_ms = NowMs() + 1000 * int64_t{front->config_.read_timeout_seconds};
      std::lock_guard<std::mutex> hold(front->clocks_lock_);
      front->connections_.insert(conn);
      *socket_context = conn;
    } else {
      auto *conn = static_cast<HttpFront::Connection *>(*socket_context);
      if (conn == nullptr) return;
      {
        // The daemon closes the socket only after this returns, so the watchdog never touches a
        // descriptor that another connection may have been given.
        std::lock_guard<std::mutex> hold(front->clocks_lock_);
        front->connections_.erase(conn);
      }
      delete conn;
      *socket_context = nullptr;
    }
  }

  static void *UriLog(void *cls, const char *uri, MHD_Connection *c) {
    if (HttpFront::Connection *conn = ConnectionOf(c)) conn->raw_uri.assign(uri);
    return nullptr;
  }

  static void Completed(void *cls, MHD_Connection *c, void **con_cls, MHD_RequestTerminationCode) {
    auto *front = static_cast<HttpFront *>(cls);
    delete static_cast<Request *>(*con_cls);
    *con_cls = nullptr;
    // The next request on this connection has the read timeout from now.
    if (HttpFront::Connection *conn = ConnectionOf(c))
      conn->deadline_ms = NowMs() + 1000 * int64_t{front->config_.read_timeout_seconds};
  }

  static void FreeArray(void *array) { SafeArrayDestroy(static_cast<SAFEARRAY *>(array)); }

  static MHD_Result Send(HttpFront &front, MHD_Connection *c, unsigned status, MHD_Response *response,
                         const std::string &content_type) {
    if (response == nullptr) return MHD_NO;
    MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_TYPE, content_type.c_str());
    MHD_add_response_header(response, "X-Content-Type-Options", "nosniff");
    MHD_Result queued = MHD_queue_response(c, status, response);
    MHD_destroy_response(response);
    if (HttpFront::Connection *conn = ConnectionOf(c))
      conn->deadline_ms = NowMs() + 1000 * int64_t{front.config_.write_timeout_seconds};
    return queued;
  }

  static MHD_Result SendText(HttpFront &front, MHD_Connection *c, unsigned status, const std::string &content_type,
                             const std::string &text, const char *allow = nullptr) {
    MHD_Response *response =
        MHD_create_response_from_buffer(text.size(), const_cast<char *>(text.data()), MHD_RESPMEM_MUST_COPY);
    if (response != nullptr && allow != nullptr) MHD_add_response_header(response, MHD_HTTP_HEADER_ALLOW, allow);
    return Send(front, c, status, response, content_type);
  }

  static MHD_Result SendReply(HttpFront &front, MHD_Connection *c, Reply &reply) {
    SAFEARRAY *array = reply.bytes.get();
    if (array == nullptr) return SendText(front, c, MHD_HTTP_OK, reply.content_type, reply.text);
    const void *data = nullptr;
    size_t size = 0;
    ArrayBytes(array, &data, &size);
    // The response keeps the array and destroys it when it has been sent.
    MHD_Response *response =
        MHD_create_response_from_buffer_with_free_callback_cls(size, const_cast<void *>(data), FreeArray, array);
    if (response == nullptr) return MHD_NO;
    reply.bytes.release();
    return Send(front, c, MHD_HTTP_OK, response, reply.content_type);
  }

  static MHD_Result SendError(HttpFront &front, MHD_Connection *c, unsigned status, std::string_view detail = {},
                              const char *allow = nullptr) {
    std::string body = "{\"error\":{\"code\":" + std::to_string(status) + ",\"message\":";
    AppendJsonString(body, Reason(static_cast<int>(status)));
    body += ",\"details\":[";
    if (!detail.empty()) AppendJsonString(body, detail);
    body += "]}}";
    return SendText(front, c, status, "application/json", body, allow);
  }

  struct HeaderScan {
    unsigned max_line;
    std::vector<std::pair<std::string_view, std::string_view>> &out;
    bool too_long = false;
  };

  static MHD_Result ScanHeader(void *cls, MHD_ValueKind, const char *key, size_t key_size, const char *value,
                               size_t value_size) {
    auto *scan = static_cast<HeaderScan *>(cls);
    if (key_size + 2 + value_size > scan->max_line) scan->too_long = true;
    scan->out.emplace_back(std::string_view(key, key_size),
                           value != nullptr ? std::string_view(value, value_size) : std::string_view());
    return MHD_YES;
  }

  // The checks made once the headers are in. True when the request may go on; otherwise an error
  // response is queued.
  static bool Admit(HttpFront &front, MHD_Connection *c, HttpFront::Connection *conn, Request &request,
                    const char *method, const char *version) {
    const Configuration &config = front.config_;
    const char *host = MHD_lookup_connection_value(c, MHD_HEADER_KIND, MHD_HTTP_HEADER_HOST);
    if (host == nullptr) {
      SendError(front, c, 400, "A Host header is required.");
      return false;
    }
    if (!HostAllowed(host, front.policy_)) {
      SendError(front, c, 421);
      return false;
    }
    HeaderScan scan{config.max_line_bytes, request.headers};
    MHD_get_connection_values_n(c, MHD_HEADER_KIND, ScanHeader, &scan);
    if (request.headers.size() > config.max_headers || scan.too_long) {
      SendError(front, c, 431);
      return false;
    }
    size_t line = std::strlen(method) + 1 + (conn != nullptr ? conn->raw_uri.size() : 0) + 1 + std::strlen(version);
    if (line > config.max_line_bytes) {
      SendError(front, c, 414);
      return false;
    }
    if (const char *length = MHD_lookup_connection_value(c, MHD_HEADER_KIND, MHD_HTTP_HEADER_CONTENT_LENGTH)) {
      errno = 0;
      char *end = nullptr;
      unsigned long long n = std::strtoull(length, &end, 10);
      if (errno == 0 && end != length && n > config.max_body_bytes) {
        SendError(front, c, 413);
        return false;
      }
    }
    return true;
  }

  static MHD_Result Access(void *cls, MHD_Connection *c, const char *url, const char *method, const char *version,
                           const char *upload_data, size_t *upload_data_size, void **con_cls) {
    auto &front = *static_cast<HttpFront *>(cls);
    HttpFront::Connection *conn = ConnectionOf(c);
    auto *request = static_cast<Request *>(*con_cls);
    if (request == nullptr) {
      request = new Request();
      *con_cls = request;
      if (!Admit(front, c, conn, *request, method, version)) request->answered = true;
      return MHD_YES;
    }
    if (request->answered) {
      *upload_data_size = 0;
      return MHD_YES;
    }
    if (*upload_data_size != 0) {
      // A chunked body has no length to refuse up front. The daemon takes a response only once
      // the body is in, so past the limit the rest is read and dropped, and 413 goes out at its
      // end; a body that never ends meets the read deadline.
      if (!request->too_large && request->body.size() + *upload_data_size > front.config_.max_body_bytes) {
        request->too_large = true;
        request->body = std::string();
      }
      if (!request->too_large) request->body.append(upload_data, *upload_data_size);
      *upload_data_size = 0;
      return MHD_YES;
    }
    if (request->too_large) {
      request->answered = true;
      return SendError(front, c, 413);
    }

    // The request is in; the time the service takes is not the client's.
    if (conn != nullptr) conn->deadline_ms = INT64_MAX;
    HttpRequest http;
    http.method = method;
    http.target = conn != nullptr ? std::string_view(conn->raw_uri) : std::string_view(url);
    http.headers = std::move(request->headers);
    http.body = request->body;
    Route route = MapRequest(http, front.services_.Schemas());
    request->answered = true;
    switch (route.kind) {
      case RouteKind::kServiceList:
        return SendText(front, c, MHD_HTTP_OK, "application/json", front.services_.ServiceList());
      case RouteKind::kSchema: {
        Reply reply = front.services_.Schema(route.service);
        return SendReply(front, c, reply);
      }
      case RouteKind::kService: {
        Reply reply = front.services_.Call(route);
        return SendReply(front, c, reply);
      }
      case RouteKind::kRestError: {
        Reply reply = ErrorReply(route.error, route.detail);
        return SendReply(front, c, reply);
      }
      case RouteKind::kHttpError:
        return SendError(front, c, static_cast<unsigned>(route.status), route.detail,
                         route.allow.empty() ? nullptr : route.allow.c_str());
    }
    return MHD_NO;
  }
};

HttpFront::HttpFront(const Configuration &config, ServiceHost &services) : config_(config), services_(services) {}

std::string HttpFront::UrlAddress() const {
  return config_.address.find(':') != std::string::npos ? "[" + config_.address + "]" : config_.address;
}

bool HttpFront::Start(std::string &error) {
  sockaddr_storage addr{};
  socklen_t addr_len = 0;
  int family = AF_INET;
  auto *v4 = reinterpret_cast<sockaddr_in *>(&addr);
  auto *v6 = reinterpret_cast<sockaddr_in6 *>(&addr);
  if (inet_pton(AF_INET, config_.address.c_str(), &v4->sin_addr) == 1) {
    v4->sin_family = AF_INET;
    v4->sin_port = htons(config_.port);
    addr_len = sizeof(sockaddr_in);
  } else if (inet_pton(AF_INET6, config_.address.c_str(), &v6->sin6_addr) == 1) {
    family = AF_INET6;
    v6->sin6_family = AF_INET6;
    v6->sin6_port = htons(config_.port);
    addr_len = sizeof(sockaddr_in6);
  } else {
    error = "\"" + config_.address + "\" is not an IPv4 or IPv6 address";
    return false;
  }
  listen_fd_ = socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (listen_fd_ < 0) {
    error = std::string("socket: ") + std::strerror(errno);
    return false;
  }
  int one = 1;
  setsockopt(listen_fd_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
  if (family == AF_INET6) setsockopt(listen_fd_, IPPROTO_IPV6, IPV6_V6ONLY, &one, sizeof one);
  if (bind(listen_fd_, reinterpret_cast<sockaddr *>(&addr), addr_len) != 0 || listen(listen_fd_, 511) != 0) {
    error = "cannot listen on " + UrlAddress() + ":" + std::to_string(config_.port) + ": " + std::strerror(errno);
    close(listen_fd_);
    listen_fd_ = -1;
    return false;
  }
  sockaddr_storage bound{};
  socklen_t bound_len = sizeof bound;
  getsockname(listen_fd_, reinterpret_cast<sockaddr *>(&bound), &bound_len);
  port_ = ntohs(family == AF_INET ? reinterpret_cast<sockaddr_in *>(&bound)->sin_port
                                  : reinterpret_cast<sockaddr_in6 *>(&bound)->sin6_port);
  policy_ = HostPolicy::For(config_.address, port_, config_.allowed_hosts);

  // The connection's memory holds the request line and headers: room for four of the longest
  // lines allowed, 32 KiB by default. No more than that: the HTTP library clears the whole of it
  // between the requests of a kept-alive connection, and a clear of 64 KiB per request was a
  // fifth of the host's time and most of what the caches held.
  size_t pool = std::max<size_t>(32 * 1024, 4 * size_t{config_.max_line_bytes});
  unsigned flags = MHD_USE_EPOLL_INTERNAL_THREAD | (family == AF_INET6 ? MHD_USE_IPv6 : 0);
  daemon_ = MHD_start_daemon(
      flags, 0, nullptr, nullptr, &FrontCallbacks::Access, this,
      MHD_OPTION_LISTEN_SOCKET, static_cast<MHD_socket>(listen_fd_),
      MHD_OPTION_THREAD_POOL_SIZE, static_cast<unsigned>(config_.workers),
      MHD_OPTION_CONNECTION_LIMIT, static_cast<unsigned>(config_.max_connections),
      MHD_OPTION_CONNECTION_TIMEOUT, static_cast<unsigned>(config_.read_timeout_seconds),
      MHD_OPTION_CONNECTION_MEMORY_LIMIT, pool,
      MHD_OPTION_STRICT_FOR_CLIENT, 1,
      MHD_OPTION_NOTIFY_CONNECTION, &FrontCallbacks::Notify, this,
      MHD_OPTION_URI_LOG_CALLBACK, &FrontCallbacks::UriLog, this,
      MHD_OPTION_NOTIFY_COMPLETED, &FrontCallbacks::Completed, this,
      MHD_OPTION_END);
  if (daemon_ == nullptr) {
    error = "the HTTP daemon did not start";
    close(listen_fd_);
    listen_fd_ = -1;
    return false;
  }
  stopping_ = false;
  watchdog_ = std::thread([this] { Watch(); });
  return true;
}

void HttpFront::Stop() {
  if (daemon_ == nullptr) return;
  {
    std::lock_guard<std::mutex> hold(clocks_lock_);
    stopping_ = true;
  }
  stop_watch_.notify_all();
  watchdog_.join();
  MHD_stop_daemon(daemon_);  // closes the listening socket too
  daemon_ = nullptr;
  listen_fd_ = -1;
}

void HttpFront::Watch() {
  std::unique_lock<std::mutex> hold(clocks_lock_);
  while (!stopping_) {
    stop_watch_.wait_for(hold, std::chrono::milliseconds(100));
    int64_t now = NowMs();
    for (Connection *conn : connections_) {
      if (!conn->cut && conn->fd >= 0 && now > conn->deadline_ms.load(std::memory_order_relaxed)) {
        // The daemon sees the end of the stream and closes the connection itself.
        shutdown(conn->fd, SHUT_RDWR);
        conn->cut = true;
      }
    }
  }
}

}  // namespace kzhost
