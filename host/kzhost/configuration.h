// The host's settings: where it listens, its limits, and the services it serves. They come from a
// JSON configuration file (or the one built into the program), and the command line overrides
// the file:
//
//   {
//     "address": "127.0.0.1", "port": 8080, "workers": 2,
//     "maxBodyBytes": 16777216, "maxHeaders": 64, "maxLineBytes": 8192, "maxConnections": 256,
//     "readTimeoutSeconds": 10, "writeTimeoutSeconds": 10,
//     "allowedHosts": ["gis.example"],
//     "services": [
//       {"name": "Info", "clsid": "{F46C1406-65EC-4742-AB95-FBD5E59ACE77}", "capabilities": ""},
//       {"name": "Roads", "clsid": "{...}", "module": "/opt/roads/libroads.so"}
//     ]
//   }
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <kzcore/pal/guid.h>

namespace kzhost {

struct ServiceConfig {
  std::string name;
  GUID clsid{};
  std::string capabilities;
  std::string module;  // a shared object to load for the class, or empty
};

struct Configuration {
  std::string address = "127.0.0.1";
  uint16_t port = 8080;
  unsigned workers = 2;
  uint64_t max_body_bytes = 16u << 20;
  unsigned max_headers = 64;
  unsigned max_line_bytes = 8192;
  unsigned max_connections = 256;
  unsigned read_timeout_seconds = 10;
  unsigned write_timeout_seconds = 10;
  std::vector<std::string> allowed_hosts;
  std::vector<ServiceConfig> services;
};

// The configuration built into the program: the two sample services on 127.0.0.1:8080.
std::string_view EmbeddedConfiguration();

// Reads a configuration text over `config` (members absent from the text keep their values).
// False with a reason in `error` when the text is not a valid configuration.
bool ReadConfiguration(std::string_view text, Configuration &config, std::string &error);

// A class identifier in its registry form, "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}".
std::optional<GUID> ParseGuid(std::string_view text);

// What the command line asks for.
struct CommandLine {
  bool help = false;
  bool version = false;
  bool print_config = false;
  std::string config_file;  // empty: the built-in configuration
  // Overrides, applied after the file.
  std::optional<std::string> address;
  std::optional<uint16_t> port;
  std::optional<unsigned> workers, max_headers, max_line_bytes, max_connections, read_timeout, write_timeout;
  std::optional<uint64_t> max_body_bytes;
  std::vector<std::string> allowed_hosts;
};

bool ParseCommandLine(int argc, const char *const *argv, CommandLine &out, std::string &error);
void ApplyCommandLine(const CommandLine &line, Configuration &config);
// The limits every configuration must keep; false with a reason otherwise.
bool CheckConfiguration(const Configuration &config, std::string &error);

// The text of `kzhost --help`.
std::string_view HelpText();

}  // namespace kzhost
