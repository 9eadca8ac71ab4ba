#include "host_check.h"

#include <arpa/inet.h>

#include <cstring>

namespace kzhost {
namespace {

std::string Lower(std::string_view s) {
  std::string out(s);
  for (char &c : out)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return out;
}

// The binary form of an address literal: 4 or 16 bytes, or 0 when `text` is none.
int ParseAddress(const std::string &text, unsigned char (&bytes)[16]) {
  if (inet_pton(AF_INET, text.c_str(), bytes) == 1) return 4;
  if (inet_pton(AF_INET6, text.c_str(), bytes) == 1) return 16;
  return 0;
}

bool SameAddress(const std::string &a, const std::string &b) {
  unsigned char x[16], y[16];
  int nx = ParseAddress(a, x), ny = ParseAddress(b, y);
  return nx != 0 && nx == ny && std::memcmp(x, y, static_cast<size_t>(nx)) == 0;
}

bool IsLoopback(const std::string &address) {
  unsigned char b[16];
  int n = ParseAddress(address, b);
  if (n == 4) return b[0] == 127;
  if (n == 16) {
    static const unsigned char kLoopback6[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    return std::memcmp(b, kLoopback6, 16) == 0;
  }
  return false;
}

}  // namespace

HostPolicy HostPolicy::For(std::string_view address, uint16_t port, const std::vector<std::string> &names) {
  HostPolicy policy;
  policy.address.assign(address);
  policy.any_address = SameAddress(policy.address, "0.0.0.0") || SameAddress(policy.address, "::");
  policy.port = port;
  for (const auto &n : names) {
    std::string name = Lower(n);
    if (!name.empty() && name.back() == '.') name.pop_back();
    if (!name.empty()) policy.names.push_back(std::move(name));
  }
  return policy;
}

bool HostAllowed(std::string_view host, const HostPolicy &policy) {
  std::string_view name = host, port;
  bool bracketed = false;
  if (!host.empty() && host.front() == '[') {
    size_t close = host.find(']');
    if (close == std::string_view::npos) return false;
    name = host.substr(1, close - 1);
    std::string_view rest = host.substr(close + 1);
    if (!rest.empty()) {
      if (rest.front() != ':') return false;
      port = rest.substr(1);
      if (port.empty()) return false;
    }
    bracketed = true;
  } else if (size_t colon = host.find(':'); colon != std::string_view::npos) {
    name = host.substr(0, colon);
    port = host.substr(colon + 1);
    if (port.empty()) return false;
  }
  unsigned value = 80;
  if (!port.empty()) {
    if (port.size() > 5) return false;
    value = 0;
    for (char c : port) {
      if (c < '0' || c > '9') return false;
      value = value * 10 + static_cast<unsigned>(c - '0');
    }
  }
  if (value != policy.port) return false;

  std::string lower = Lower(name);
  if (lower.empty()) return false;
  unsigned char bytes[16];
  int family = ParseAddress(lower, bytes);
  if (bracketed && family != 16) return false;
  if (!bracketed && family == 16) return false;  // a bare IPv6 literal is not a valid Host
  if (family != 0) return policy.any_address || SameAddress(lower, policy.address);
  if (lower.back() == '.') lower.pop_back();
  if (lower == "localhost") return policy.any_address || IsLoopback(policy.address);
  for (const auto &n : policy.names)
    if (n == lower) return true;
  return false;
}

}  // namespace kzhost
