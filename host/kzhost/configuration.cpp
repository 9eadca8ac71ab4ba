#include "configuration.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "json_text.h"

namespace kzhost {
namespace {

int Hex(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool ReadUnsigned(const rapidjson::Value &v, uint64_t max, uint64_t &out) {
  if (!v.IsUint64() || v.GetUint64() > max) return false;
  out = v.GetUint64();
  return true;
}

// A whole decimal number in [min, max].
bool ParseNumber(std::string_view text, uint64_t min, uint64_t max, uint64_t &out) {
  if (text.empty() || text.size() > 19) return false;
  uint64_t v = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
    v = v * 10 + static_cast<uint64_t>(c - '0');
  }
  if (v < min || v > max) return false;
  out = v;
  return true;
}

constexpr char kHelp[] =
    R"(Usage: kzhost [OPTION]...
Serves the REST surface of server objects over HTTP.

Each service named in the configuration is a server object made from its class
identifier; kzhost answers
  GET  /services                          the list of services
  GET  /schema/SERVICE                    the service's schema
  GET  /services/SERVICE[/RESOURCE...][/OPERATION]?format=json&PARAM=VALUE...
  POST /services/SERVICE[/RESOURCE...][/OPERATION]   (form or JSON body)
and answers only Host headers that name the bound address, "localhost" or a name
given with --allow-host, with the right port.

Options (each overrides the configuration file):
  -c, --config FILE         read the configuration from FILE instead of the
                            built-in one (print that with --print-config)
  -a, --address ADDRESS     the address to listen on (default 127.0.0.1; an
                            IPv6 address such as ::1 works too)
  -p, --port PORT           the port to listen on (default 8080; 0 picks a free
                            port, printed at start)
  -w, --workers N           the number of threads that answer requests
                            (default 2, at most 256)
      --max-body BYTES      the largest request body (default 16777216);
                            a larger one gets 413
      --max-headers N       the most header lines in a request (default 64);
                            more get 431
      --max-line BYTES      the longest request line or header line (default
                            8192); a longer one gets 414 or 431
      --max-connections N   the most connections open at once (default 256);
                            more wait until one closes
      --read-timeout SECONDS    the time a client has to send a whole request,
                            headers and body (default 10); a slower one is cut off
      --write-timeout SECONDS   the time a client has to take a whole response
                            (default 10)
      --allow-host NAME     answer requests whose Host header is NAME (with the
                            port); may be given more than once
      --print-config        print the built-in configuration and exit
  -h, --help                print this text and exit
  -V, --version             print the version and exit

Configuration file (JSON): "address", "port", "workers", "maxBodyBytes",
"maxHeaders", "maxLineBytes", "maxConnections", "readTimeoutSeconds",
"writeTimeoutSeconds", "allowedHosts" (array of names) and "services", an array
of {"name", "clsid", "capabilities", "module"}: "clsid" is the class identifier
"{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}", "capabilities" the comma-separated
capabilities the service grants its callers, and "module" an optional shared
object that provides the class through its exported DllGetClassObject.

kzhost stops on SIGINT or SIGTERM.
)";

}  // namespace

std::optional<GUID> ParseGuid(std::string_view text) {
  if (text.size() != 38 || text.front() != '{' || text.back() != '}') return std::nullopt;
  text = text.substr(1, 36);
  for (size_t i : {8u, 13u, 18u, 23u})
    if (text[i] != '-') return std::nullopt;
  unsigned char bytes[16];
  int n = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    if (i == 8 || i == 13 || i == 18 || i == 23) continue;
    int hi = Hex(text[i]), lo = Hex(text[i + 1]);
    if (hi < 0 || lo < 0) return std::nullopt;
    bytes[n++] = static_cast<unsigned char>(hi * 16 + lo);
    ++i;
  }
  GUID g{};
  g.Data1 = (DWORD{bytes[0]} << 24) | (DWORD{bytes[1]} << 16) | (DWORD{bytes[2]} << 8) | bytes[3];
  g.Data2 = static_cast<WORD>((bytes[4] << 8) | bytes[5]);
  g.Data3 = static_cast<WORD>((bytes[6] << 8) | bytes[7]);
  std::memcpy(g.Data4, bytes + 8, 8);
  return g;
}

bool ReadConfiguration(std::string_view text, Configuration &config, std::string &error) {
  rapidjson::Document doc;
  if (!ParseJson(text, doc) || !doc.IsObject()) {
    error = "the configuration is not a JSON object";
    return false;
  }
  Configuration c = config;
  for (const auto &m : doc.GetObject()) {
    std::string_view key(m.name.GetString(), m.name.GetStringLength());
    const rapidjson::Value &v = m.value;
    uint64_t n = 0;
    auto number = [&](uint64_t max) {
      if (ReadUnsigned(v, max, n)) return true;
      error = "\"" + std::string(key) + "\" must be a whole number up to " + std::to_string(max);
      return false;
    };
    if (key == "address") {
      if (!v.IsString()) {
        error = "\"address\" must be a string";
        return false;
      }
      c.address.assign(v.GetString(), v.GetStringLength());
    } else if (key == "port") {
      if (!number(65535)) return false;
      c.port = static_cast<uint16_t>(n);
    } else if (key == "workers") {
      if (!number(256)) return false;
      c.workers = static_cast<unsigned>(n);
    } else if (key == "maxBodyBytes") {
      if (!number(std::numeric_limits<uint32_t>::max())) return false;
      c.max_body_bytes = n;
    } else if (key == "maxHeaders") {
      if (!number(10000)) return false;
      c.max_headers = static_cast<unsigned>(n);
    } else if (key == "maxLineBytes") {
      if (!number(1u << 20)) return false;
      c.max_line_bytes = static_cast<unsigned>(n);
    } else if (key == "maxConnections") {
      if (!number(100000)) return false;
      c.max_connections = static_cast<unsigned>(n);
    } else if (key == "readTimeoutSeconds") {
      if (!number(3600)) return false;
      c.read_timeout_seconds = static_cast<unsigned>(n);
    } else if (key == "writeTimeoutSeconds") {
      if (!number(3600)) return false;
      c.write_timeout_seconds = static_cast<unsigned>(n);
    } else if (key == "allowedHosts") {
      if (!v.IsArray()) {
        error = "\"allowedHosts\" must be an array of names";
        return false;
      }
      c.allowed_hosts.clear();
      for (const auto &h : v.GetArray()) {
        if (!h.IsString()) {
          error = "\"allowedHosts\" must be an array of names";
          return false;
        }
        c.allowed_hosts.emplace_back(h.GetString(), h.GetStringLength());
      }
    } else if (key == "services") {
      if (!v.IsArray()) {
        error = "\"services\" must be an array";
        return false;
      }
      c.services.clear();
      for (const auto &s : v.GetArray()) {
        ServiceConfig service;
        auto text_member = [&](const char *name, std::string &out, bool required) {
          auto it = s.FindMember(name);
          if (it == s.MemberEnd()) {
            if (required) error = std::string("a service needs \"") + name + "\"";
            return !required;
          }
          if (!it->value.IsString()) {
            error = std::string("a service's \"") + name + "\" must be a string";
            return false;
          }
          out.assign(it->value.GetString(), it->value.GetStringLength());
          return true;
        };
        if (!s.IsObject()) {
          error = "each service must be an object";
          return false;
        }
        std::string clsid;
        if (!text_member("name", service.name, true) || !text_member("clsid", clsid, true) ||
            !text_member("capabilities", service.capabilities, false) ||
            !text_member("module", service.module, false))
          return false;
        if (service.name.empty() || service.name.find('/') != std::string::npos) {
          error = "a service's name must be a non-empty text without '/'";
          return false;
        }
        for (const auto &other : c.services) {
          if (other.name == service.name) {
            error = "two services are named \"" + service.name + "\"";
            return false;
          }
        }
        auto guid = ParseGuid(clsid);
        if (!guid) {
          error = "service \"" + service.name + "\": \"clsid\" must read {XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}";
          return false;
        }
        service.clsid = *guid;
        c.services.push_back(std::move(service));
      }
    } else {
      error = "unknown member \"" + std::string(key) + "\"";
      return false;
    }
  }
  config = std::move(c);
  return true;
}

bool ParseCommandLine(int argc, const char *const *argv, CommandLine &out, std::string &error) {
  CommandLine line;
  for (int i = 1; i < argc; ++i) {
    std::string_view arg = argv[i];
    std::string_view value;
    bool has_value = false;
    // --name=value as well as --name value.
    if (arg.size() > 2 && arg.substr(0, 2) == "--") {
      if (size_t eq = arg.find('='); eq != std::string_view::npos) {
        value = arg.substr(eq + 1);
        arg = arg.substr(0, eq);
        has_value = true;
      }
    }
    auto take = [&]() -> bool {
      if (has_value) return true;
      if (i + 1 >= argc) {
        error = "option " + std::string(arg) + " needs a value";
        return false;
      }
      value = argv[++i];
      return true;
    };
    auto number = [&](uint64_t min, uint64_t max, uint64_t &n) -> bool {
      if (!take()) return false;
      if (ParseNumber(value, min, max, n)) return true;
      error = "option " + std::string(arg) + " needs a whole number from " + std::to_string(min) + " to " +
              std::to_string(max) + ", not \"" + std::string(value) + "\"";
      return false;
    };
    uint64_t n = 0;
    auto flag = [&](bool &f) {
      if (has_value) {
        error = "option " + std::string(arg) + " takes no value";
        return false;
      }
      f = true;
      return true;
    };
    if (arg == "-h" || arg == "--help") {
      if (!flag(line.help)) return false;
    } else if (arg == "-V" || arg == "--version") {
      if (!flag(line.version)) return false;
    } else if (arg == "--print-config") {
      if (!flag(line.print_config)) return false;
    } else if (arg == "-c" || arg == "--config") {
      if (!take()) return false;
      line.config_file.assign(value);
    } else if (arg == "-a" || arg == "--address") {
      if (!take()) return false;
      line.address = std::string(value);
    } else if (arg == "-p" || arg == "--port") {
      if (!number(0, 65535, n)) return false;
      line.port = static_cast<uint16_t>(n);
    } else if (arg == "-w" || arg == "--workers") {
      if (!number(1, 256, n)) return false;
      line.workers = static_cast<unsigned>(n);
    } else if (arg == "--max-body") {
      if (!number(0, std::numeric_limits<uint32_t>::max(), n)) return false;
      line.max_body_bytes = n;
    } else if (arg == "--max-headers") {
      if (!number(1, 10000, n)) return false;
      line.max_headers = static_cast<unsigned>(n);
    } else if (arg == "--max-line") {
      if (!number(256, 1u << 20, n)) return false;
      line.max_line_bytes = static_cast<unsigned>(n);
    } else if (arg == "--max-connections") {
      if (!number(1, 100000, n)) return false;
      line.max_connections = static_cast<unsigned>(n);
    } else if (arg == "--read-timeout") {
      if (!number(1, 3600, n)) return false;
      line.read_timeout = static_cast<unsigned>(n);
    } else if (arg == "--write-timeout") {
      if (!number(1, 3600, n)) return false;
      line.write_timeout = static_cast<unsigned>(n);
    } else if (arg == "--allow-host") {
      if (!take()) return false;
      line.allowed_hosts.emplace_back(value);
    } else {
      error = "unknown option \"" + std::string(arg) + "\" (kzhost --help lists the options)";
      return false;
    }
  }
  out = std::move(line);
  return true;
}

void ApplyCommandLine(const CommandLine &line, Configuration &config) {
  if (line.address) config.address = *line.address;
  if (line.port) config.port = *line.port;
  if (line.workers) config.workers = *line.workers;
  if (line.max_body_bytes) config.max_body_bytes = *line.max_body_bytes;
  if (line.max_headers) config.max_headers = *line.max_headers;
  if (line.max_line_bytes) config.max_line_bytes = *line.max_line_bytes;
  if (line.max_connections) config.max_connections = *line.max_connections;
  if (line.read_timeout) config.read_timeout_seconds = *line.read_timeout;
  if (line.write_timeout) config.write_timeout_seconds = *line.write_timeout;
  for (const auto &h : line.allowed_hosts) config.allowed_hosts.push_back(h);
}

bool CheckConfiguration(const Configuration &config, std::string &error) {
  if (config.workers < 1) error = "at least one worker is needed";
  else if (config.max_headers < 1) error = "at least one header must be allowed (Host)";
  else if (config.max_line_bytes < 256) error = "lines of 256 bytes at least must be allowed";
  else if (config.max_connections < 1) error = "at least one connection must be allowed";
  else if (config.read_timeout_seconds < 1 || config.write_timeout_seconds < 1) error = "timeouts are 1 second at least";
  else return true;
  return false;
}

std::string_view HelpText() { return kHelp; }

}  // namespace kzhost
