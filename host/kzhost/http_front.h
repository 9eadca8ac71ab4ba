// The HTTP side of kzhost: a libmicrohttpd daemon on its own listening socket, with the host's
// limits, the Host header check, and a watchdog that cuts off clients too slow to send a request
// or to take a response. The daemon's own timeout only counts idle time, so a client that sends a
// byte now and then (slowloris) or an endless chunked body would hold a connection for ever; the
// watchdog gives each request one deadline for all of its reading and each response one for all
// of its writing, and shuts the socket down when it passes.
//
//   HttpFront front(config, services);
//   if (!front.Start(error)) ...
//   printf("http://%s:%u/services\n", address, front.Port());
//   ... wait for a signal ...
//   front.Stop();
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_set>

#include "configuration.h"
#include "host_check.h"
#include "service_host.h"

struct MHD_Daemon;
struct MHD_Connection;

namespace kzhost {

class HttpFront {
 public:
  HttpFront(const Configuration &config, ServiceHost &services);
  HttpFront(const HttpFront &) = delete;
  HttpFront &operator=(const HttpFront &) = delete;
  ~HttpFront() { Stop(); }

  // Binds the configured address and port and starts serving; false with a reason otherwise.
  bool Start(std::string &error);
  void Stop();
  // The port bound (the one the system chose when the configuration says 0).
  uint16_t Port() const { return port_; }
  // The address as it goes into a URL ("127.0.0.1", "[::1]").
  std::string UrlAddress() const;

  struct Connection;  // per-connection state, see http_front.cpp

 private:
  friend struct FrontCallbacks;
  void Watch();

  Configuration config_;
  ServiceHost &services_;
  HostPolicy policy_;
  int listen_fd_ = -1;
  uint16_t port_ = 0;
  MHD_Daemon *daemon_ = nullptr;

  std::mutex clocks_lock_;
  std::unordered_set<Connection *> connections_;
  std::condition_variable stop_watch_;
  bool stopping_ = false;
  std::thread watchdog_;
};

}  // namespace kzhost
