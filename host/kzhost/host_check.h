// Which Host header values the server answers. A server on the loopback address is reachable from
// every page a local browser opens; a page of another site can point its own name at 127.0.0.1
// (DNS rebinding) and read our answers as its own. Such a request carries the other site's name in
// its Host header, so the server answers only names that cannot be rebound: the address it is
// bound to (any address literal when it listens on all of them), "localhost", and the names given
// in the configuration, each with the server's port.
//
//   HostPolicy policy = HostPolicy::For("127.0.0.1", 8080, {"gis.example"});
//   HostAllowed("localhost:8080", policy);      // true
//   HostAllowed("evil.example:8080", policy);   // false
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kzhost {

struct HostPolicy {
  std::string address;  // the bound address in its text form
  bool any_address = false;
  uint16_t port = 0;
  std::vector<std::string> names;  // lower case

  static HostPolicy For(std::string_view address, uint16_t port, const std::vector<std::string> &names);
};

// A missing port stands for 80. Names compare without case and without one trailing dot.
bool HostAllowed(std::string_view host, const HostPolicy &policy);

}  // namespace kzhost
