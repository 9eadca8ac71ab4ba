// The services of one host: each made from its class identifier through KzCreateInstance, asked
// for its schema once at start, and called for each request on an instance of its own. A server
// object keeps per-request state, so an instance serves one request at a time; a service keeps up
// to one idle instance per worker thread and lends them out.
//
//   ServiceHost services;
//   services.Start(config, std::cerr);
//   Reply reply = services.Call(route);     // route from MapRequest, kind kService
#pragma once

#include <atomic>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include <kzcore/server/rest_request_handler.h>

#include "com_text.h"
#include "configuration.h"
#include "request_mapping.h"

namespace kzhost {

// What goes back to the client: a content type and a body, either the bytes of a service's array
// or a text made by the host.
struct Reply {
  std::string content_type;
  std::string text;
  ByteArray bytes;  // when set, the body is its bytes
};

Reply ErrorReply(RestError error, std::string_view detail);

class ServiceHost {
 public:
  ServiceHost() = default;
  ServiceHost(const ServiceHost &) = delete;
  ServiceHost &operator=(const ServiceHost &) = delete;
  ~ServiceHost();

  // Loads the modules the configuration names, makes one instance of each service and reads its
  // schema. A service that cannot be made stays listed and answers "Service unavailable."; what
  // went wrong is written to `log`.
  void Start(const Configuration &config, std::ostream &log);

  const ServiceSchemas &Schemas() const { return schemas_; }
  // {"services":[{"name":"Info"},...]} in the configuration's order.
  const std::string &ServiceList() const { return service_list_; }
  // The schema text of a service, or an error document reply.
  Reply Schema(const std::string &service) const;
  // Calls the service named by a kService route.
  Reply Call(const Route &route);

 private:
  struct Service {
    ServiceConfig config;
    bool available = false;
    std::string schema_text;
    // The idle instances, one place per worker thread. A request takes the first it finds (or
    // makes a new instance when every place is empty) and gives it back to an empty place (or
    // releases it when there is none), without a lock: requests on different threads never wait
    // for each other here.
    std::vector<std::atomic<IRESTRequestHandler *>> idle;
  };
  class Lease;

  Service *Find(const std::string &name) const;

  std::vector<std::unique_ptr<Service>> services_;
  ServiceSchemas schemas_;
  std::string service_list_;
};

}  // namespace kzhost
