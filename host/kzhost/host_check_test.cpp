#include "host_check.h"

#include <gtest/gtest.h>

namespace kzhost {
namespace {

struct Case {
  const char *host;
  bool allowed;
};

void Expect(const HostPolicy &policy, std::initializer_list<Case> cases) {
  for (const Case &c : cases) EXPECT_EQ(HostAllowed(c.host, policy), c.allowed) << "Host: " << c.host;
}

TEST(HostCheckTest, LoopbackServerAnswersOnlyNamesThatCannotBeRebound) {
  HostPolicy policy = HostPolicy::For("127.0.0.1", 8080, {"GIS.example.", "maps"});
  Expect(policy, {
                     {"127.0.0.1:8080", true},
                     {"localhost:8080", true},
                     {"LOCALHOST:8080", true},
                     {"localhost.:8080", true},
                     {"gis.example:8080", true},
                     {"Maps:8080", true},
                     // A page of another site that resolved its own name to 127.0.0.1.
                     {"attacker.example:8080", false},
                     {"localhost.attacker.example:8080", false},
                     {"127.0.0.1.nip.io:8080", false},
                     // Right name, wrong port, or no port (80).
                     {"localhost:8081", false},
                     {"localhost", false},
                     {"127.0.0.1:08080", true},  // the same number
                     {"127.0.0.1:", false},
                     {"127.0.0.1:80x", false},
                     {"127.0.0.1:99999999", false},
                     // Other address literals: not ours.
                     {"127.0.0.2:8080", false},
                     {"[::1]:8080", false},
                     {"0.0.0.0:8080", false},
                     {"", false},
                     {":8080", false},
                     {"[::1:8080", false},
                 });
}

TEST(HostCheckTest, AddressesCompareAsAddresses) {
  HostPolicy v6 = HostPolicy::For("::1", 9000, {});
  Expect(v6, {
                 {"[::1]:9000", true},
                 {"[0:0:0:0:0:0:0:1]:9000", true},
                 {"localhost:9000", true},
                 {"[::2]:9000", false},
                 {"::1:9000", false},
                 {"[::1]9000", false},
                 {"127.0.0.1:9000", false},
             });
}

TEST(HostCheckTest, AllAddressesAcceptAnyLiteralButStillNoForeignName) {
  HostPolicy any = HostPolicy::For("0.0.0.0", 80, {"intranet"});
  Expect(any, {
                  {"10.1.2.3", true},
                  {"10.1.2.3:80", true},
                  {"[fe80::1]", true},
                  {"localhost", true},
                  {"intranet", true},
                  {"intranet:81", false},
                  {"attacker.example", false},
              });
  // A server on a LAN address is not reachable as "localhost".
  Expect(HostPolicy::For("192.168.1.5", 80, {}), {{"192.168.1.5", true}, {"localhost", false}});
}

}  // namespace
}  // namespace kzhost
