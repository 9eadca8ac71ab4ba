// The HTTP floor for kzhost's benchmark: the same HTTP library, threads and limits as kzhost,
// answering every request with one fixed body and no work. What kzhost adds on top of it (the
// URL mapping, the service call, the JSON) is the difference between the two.
//
//   http_floor WORKERS BODY_FILE        prints "port N" and serves until SIGINT or SIGTERM
#include <arpa/inet.h>
#include <microhttpd.h>
#include <netinet/in.h>
#include <signal.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

namespace {

std::string body;

MHD_Result Answer(void *, MHD_Connection *c, const char *, const char *, const char *, const char *,
                  size_t *upload_size, void **state) {
  if (*state == nullptr) {  // headers in; the body, if any, follows
    *state = c;
    return MHD_YES;
  }
  if (*upload_size != 0) {
    *upload_size = 0;
    return MHD_YES;
  }
  MHD_Response *r = MHD_create_response_from_buffer(body.size(), body.data(), MHD_RESPMEM_PERSISTENT);
  MHD_add_response_header(r, MHD_HTTP_HEADER_CONTENT_TYPE, "application/json");
  MHD_add_response_header(r, "X-Content-Type-Options", "nosniff");
  MHD_Result queued = MHD_queue_response(c, MHD_HTTP_OK, r);
  MHD_destroy_response(r);
  return queued;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: http_floor WORKERS BODY_FILE\n");
    return 2;
  }
  std::ifstream in(argv[2], std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  body = text.str();
  sigset_t stop;
  sigemptyset(&stop);
  sigaddset(&stop, SIGINT);
  sigaddset(&stop, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stop, nullptr);
  sockaddr_in loopback{};  // loopback only, a port of the system's choice
  loopback.sin_family = AF_INET;
  loopback.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  MHD_Daemon *d = MHD_start_daemon(MHD_USE_EPOLL_INTERNAL_THREAD, 0, nullptr, nullptr, Answer, nullptr,
                                   MHD_OPTION_THREAD_POOL_SIZE, static_cast<unsigned>(std::atoi(argv[1])),
                                   MHD_OPTION_CONNECTION_LIMIT, 256u, MHD_OPTION_CONNECTION_TIMEOUT, 10u,
                                   MHD_OPTION_CONNECTION_MEMORY_LIMIT, size_t{32 * 1024},
                                   MHD_OPTION_STRICT_FOR_CLIENT, 1,
                                   MHD_OPTION_SOCK_ADDR, reinterpret_cast<sockaddr *>(&loopback), MHD_OPTION_END);
  if (d == nullptr) return 1;
  const MHD_DaemonInfo *info = MHD_get_daemon_info(d, MHD_DAEMON_INFO_BIND_PORT);
  std::printf("port %u\n", info != nullptr ? unsigned{info->port} : 0u);
  std::fflush(stdout);
  int sig;
  sigwait(&stop, &sig);
  MHD_stop_daemon(d);
  return 0;
}
