// End-to-end tests: each starts kzhost on a free port of 127.0.0.1 and talks HTTP to it over plain
// sockets, so that malformed and deliberately slow requests can be sent as well as good ones.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include <kzcore/platform/object_creation.h>

#include "com_text.h"
#include "samples/geometry_service.h"
#include "samples/info_service.h"

namespace kzhost {
namespace {

using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

// One kzhost process, stopped with SIGTERM (and killed if it does not stop) at the end.
class HostProcess {
 public:
  explicit HostProcess(std::vector<std::string> args) {
    args.insert(args.begin(), {KZHOST_PATH, "--port", "0"});
    int out[2];
    if (pipe2(out, O_CLOEXEC) != 0) return;
    pid_ = fork();
    if (pid_ == 0) {
      dup2(out[1], STDOUT_FILENO);
      std::vector<char *> argv;
      for (auto &a : args) argv.push_back(a.data());
      argv.push_back(nullptr);
      execv(argv[0], argv.data());
      _exit(127);
    }
    close(out[1]);
    out_ = out[0];
    first_line_ = ReadLine(30000);  // the sanitizer build starts slowly
    size_t at = first_line_.rfind(':');
    if (at != std::string::npos) port_ = static_cast<uint16_t>(std::atoi(first_line_.c_str() + at + 1));
  }
  ~HostProcess() {
    Stop();
    if (out_ >= 0) close(out_);
  }

  uint16_t port() const { return port_; }
  const std::string &first_line() const { return first_line_; }

  // SIGTERM, then the exit status (-1 when it had to be killed).
  int Stop() {
    if (pid_ <= 0) return status_;
    kill(pid_, SIGTERM);
    for (int i = 0; i < 200; ++i) {
      int status;
      if (waitpid(pid_, &status, WNOHANG) == pid_) {
        pid_ = 0;
        status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        return status_;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = 0;
    return status_ = -1;
  }

  std::string ReadLine(int timeout_ms) {
    std::string line;
    auto start = Clock::now();
    char c;
    while (SecondsSince(start) * 1000 < timeout_ms) {
      pollfd p{out_, POLLIN, 0};
      if (poll(&p, 1, 100) <= 0) continue;
      if (read(out_, &c, 1) != 1) break;
      if (c == '\n') break;
      line.push_back(c);
    }
    return line;
  }

 private:
  pid_t pid_ = -1;
  int out_ = -1;
  uint16_t port_ = 0;
  int status_ = -1;
  std::string first_line_;
};

struct HttpResponse {
  int status = 0;  // 0: the connection closed without a response
  std::map<std::string, std::string> headers;  // names in lower case
  std::string body;
};

int Connect(uint16_t port) {
  int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_port = htons(port);
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

bool SendAll(int fd, std::string_view data) {
  while (!data.empty()) {
    ssize_t n = send(fd, data.data(), data.size(), MSG_NOSIGNAL);
    if (n <= 0) return false;
    data.remove_prefix(static_cast<size_t>(n));
  }
  return true;
}

// Reads one response (by its Content-Length, else to the end of the stream).
HttpResponse ReadResponse(int fd, int timeout_ms = 10000) {
  HttpResponse r;
  std::string data;
  size_t header_end = std::string::npos, need = std::string::npos;
  auto start = Clock::now();
  char buffer[65536];
  while (SecondsSince(start) * 1000 < timeout_ms) {
    if (header_end != std::string::npos && need != std::string::npos && data.size() >= header_end + need) break;
    pollfd p{fd, POLLIN, 0};
    if (poll(&p, 1, 50) <= 0) continue;
    ssize_t n = recv(fd, buffer, sizeof buffer, 0);
    if (n <= 0) break;
    data.append(buffer, static_cast<size_t>(n));
    if (header_end == std::string::npos && (header_end = data.find("\r\n\r\n")) != std::string::npos) {
      header_end += 4;
      size_t line_end = data.find("\r\n");
      std::string status_line = data.substr(0, line_end);
      if (status_line.rfind("HTTP/1.", 0) == 0 && status_line.size() >= 12) r.status = std::atoi(status_line.c_str() + 9);
      for (size_t at = line_end + 2; at < header_end - 2;) {
        size_t end = data.find("\r\n", at);
        std::string line = data.substr(at, end - at);
        size_t colon = line.find(':');
        std::string name = line.substr(0, colon);
        for (char &ch : name) ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
        std::string value = colon == std::string::npos ? "" : line.substr(colon + 1);
        while (!value.empty() && value.front() == ' ') value.erase(0, 1);
        r.headers[name] = value;
        at = end + 2;
      }
      if (r.headers.count("content-length")) need = std::stoul(r.headers["content-length"]);
    }
  }
  if (header_end != std::string::npos) r.body = data.substr(header_end, need);
  return r;
}

HttpResponse Exchange(uint16_t port, std::string_view request, int timeout_ms = 10000) {
  int fd = Connect(port);
  if (fd < 0) return {};
  SendAll(fd, request);
  HttpResponse r = ReadResponse(fd, timeout_ms);
  close(fd);
  return r;
}

std::string Request(uint16_t port, std::string_view method, std::string_view target, std::string_view extra = "",
                    std::string_view body = "") {
  std::string r = std::string(method) + " " + std::string(target) + " HTTP/1.1\r\nHost: 127.0.0.1:" +
                  std::to_string(port) + "\r\nConnection: close\r\n" + std::string(extra);
  if (!body.empty() || method == "POST") r += "Content-Length: " + std::to_string(body.size()) + "\r\n";
  return r + "\r\n" + std::string(body);
}

HttpResponse Get(uint16_t port, std::string_view target, std::string_view extra = "") {
  return Exchange(port, Request(port, "GET", target, extra));
}

rapidjson::Document Json(const HttpResponse &r) {
  rapidjson::Document doc;
  doc.Parse(r.body.c_str());
  return doc;
}

// The error document: status 200, text/plain, and the standard code and message.
void ExpectErrorDocument(const HttpResponse &r, int code, const char *message) {
  EXPECT_EQ(r.status, 200);
  EXPECT_EQ(r.headers.count("content-type") ? r.headers.at("content-type") : "", "text/plain");
  rapidjson::Document doc = Json(r);
  ASSERT_TRUE(doc.IsObject() && doc.HasMember("error")) << r.body;
  EXPECT_EQ(doc["error"]["code"].GetInt(), code) << r.body;
  EXPECT_STREQ(doc["error"]["message"].GetString(), message) << r.body;
}

std::string TempFile(const std::string &name, const std::string &text) {
  auto path = std::filesystem::temp_directory_path() / (name + "-" + std::to_string(getpid()));
  std::ofstream(path) << text;
  return path.string();
}

class KzhostTest : public ::testing::Test {
 protected:
  void Start(std::vector<std::string> args = {}) {
    host_ = std::make_unique<HostProcess>(std::move(args));
    ASSERT_NE(host_->port(), 0) << "kzhost printed: " << host_->first_line();
    port_ = host_->port();
  }
  std::unique_ptr<HostProcess> host_;
  uint16_t port_ = 0;
};

TEST_F(KzhostTest, ListsServicesAndGivesTheirSchemas) {
  Start();
  EXPECT_NE(host_->first_line().find("http://127.0.0.1:"), std::string::npos);
  HttpResponse list = Get(port_, "/services");
  EXPECT_EQ(list.status, 200);
  EXPECT_EQ(list.headers["content-type"], "application/json");
  EXPECT_EQ(list.body, R"({"services":[{"name":"Info"},{"name":"Geometry"}]})");

  // The schema over HTTP is what the object itself says, byte for byte.
  ASSERT_TRUE(RegisterSampleClasses());
  for (auto [name, clsid] : {std::pair{"Info", CLSID_KzInfoService}, std::pair{"Geometry", CLSID_KzGeometryService}}) {
    IRESTRequestHandler *object = nullptr;
    ASSERT_EQ(KzCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, KZ_IID(IRESTRequestHandler),
                               reinterpret_cast<void **>(&object)),
              S_OK);
    Bstr schema;
    ASSERT_EQ(object->GetSchema(schema.out()), S_OK);
    object->Release();
    HttpResponse r = Get(port_, std::string("/schema/") + name);
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.headers["content-type"], "application/json");
    EXPECT_EQ(r.body, ToUtf8(schema.get()).value()) << name;
  }
}

TEST_F(KzhostTest, ItemKeysReachTheServiceThroughTheDefaultCollection) {
  Start();
  HttpResponse full = Get(port_, "/services/Info/topics/library");
  HttpResponse implied = Get(port_, "/services/Info/library");
  EXPECT_EQ(full.status, 200);
  EXPECT_EQ(full.headers["content-type"], "application/json");
  EXPECT_EQ(full.body, implied.body);
  EXPECT_STREQ(Json(full)["key"].GetString(), "library");
  ExpectErrorDocument(Get(port_, "/services/Info/topics/nosuch"), 400, "Invalid URL.");
}

TEST_F(KzhostTest, OperationTakesParametersFromQueryFormAndJson) {
  Start();
  // Two 2x2 boxes overlapping in a 1x1 square cover 4 + 4 - 1.
  const std::string boxes = R"([{"xmin":0,"ymin":0,"xmax":2,"ymax":2},{"xmin":1,"ymin":1,"xmax":3,"ymax":3}])";
  std::string encoded;
  for (char c : boxes) {
    if (std::isalnum(static_cast<unsigned char>(c))) encoded.push_back(c);
    else {
      char hex[4];
      std::snprintf(hex, sizeof hex, "%%%02X", static_cast<unsigned char>(c));
      encoded += hex;
    }
  }
  HttpResponse get = Get(port_, "/services/Geometry/envelopeUnionArea?format=json&envelopes=" + encoded);
  EXPECT_EQ(get.status, 200);
  EXPECT_EQ(Json(get)["area"].GetDouble(), 7.0) << get.body;
  HttpResponse form = Exchange(port_, Request(port_, "POST", "/services/Geometry/envelopeUnionArea",
                                              "Content-Type: application/x-www-form-urlencoded\r\n",
                                              "envelopes=" + encoded));
  EXPECT_EQ(form.body, get.body);
  HttpResponse json = Exchange(port_, Request(port_, "POST", "/services/Geometry/envelopeUnionArea",
                                              "Content-Type: application/json\r\n", "{\"envelopes\":" + boxes + "}"));
  EXPECT_EQ(json.body, get.body);
  HttpResponse point = Get(port_,
                           "/services/Geometry/pointInEnvelope?point=%7B%22x%22:3,%22y%22:1%7D"
                           "&envelope=%7B%22xmin%22:0,%22ymin%22:0,%22xmax%22:3,%22ymax%22:3%7D");
  EXPECT_STREQ(Json(point)["location"].GetString(), "boundary") << point.body;
}

TEST_F(KzhostTest, EachErrorDocument) {
  std::string config = TempFile("kzhost-errors.json", R"({"services":[
      {"name":"Info","clsid":"{F46C1406-65EC-4742-AB95-FBD5E59ACE77}"},
      {"name":"Admin","clsid":"{F46C1406-65EC-4742-AB95-FBD5E59ACE77}","capabilities":"Admin"},
      {"name":"Broken","clsid":"{00000000-1111-2222-3333-444444444444}"}]})");
  Start({"--config", config});
  ExpectErrorDocument(Get(port_, "/services/Nope"), 400, "Invalid URL.");
  ExpectErrorDocument(Get(port_, "/schema/Nope"), 400, "Invalid URL.");
  ExpectErrorDocument(Get(port_, "/services/Info/nosuch/resource"), 400, "Invalid URL.");
  ExpectErrorDocument(Get(port_, "/services/Info/echo?text=%7Bbad"), 400, "Invalid or missing input parameters.");
  ExpectErrorDocument(Get(port_, "/services/Info/echo"), 400, "Invalid or missing input parameters.");
  ExpectErrorDocument(Get(port_, "/services/Info/echo?text=1", "X-Kz-Request-Properties: {nope\r\n"), 400,
                      "Invalid or missing input parameters.");
  ExpectErrorDocument(Get(port_, "/services/Info/echo?text=1&format=xml"), 400, "Requested format is not supported.");
  ExpectErrorDocument(Get(port_, "/services/Info/process"), 400,
                      "Requested operation is not supported by this service.");
  EXPECT_TRUE(Json(Get(port_, "/services/Admin/process")).HasMember("processId"));
  ExpectErrorDocument(Get(port_, "/services/Broken"), 503, "Service unavailable.");
  ExpectErrorDocument(Get(port_, "/schema/Broken"), 503, "Service unavailable.");
  std::filesystem::remove(config);
}

TEST_F(KzhostTest, ServesAClassFromAModuleNamedInTheConfiguration) {
  std::string config = TempFile("kzhost-module.json", std::string(R"({"services":[
      {"name":"Greeting","clsid":"{5D0C3A52-2E0B-4C7B-9D7E-7A51E0B1C0DE}","module":")") +
                                                           KZHOST_GREETING_MODULE + R"("},
      {"name":"Lost","clsid":"{5D0C3A52-2E0B-4C7B-9D7E-7A51E0B1C0DF}","module":"/nonexistent/module.so"}]})");
  Start({"--config", config});
  HttpResponse greet = Get(port_, "/services/Greeting/greet?who=you");
  EXPECT_EQ(greet.status, 200);
  EXPECT_EQ(greet.headers["content-type"], "application/json");
  EXPECT_EQ(greet.body, R"({"greeting":"hello, you"})");
  ExpectErrorDocument(Get(port_, "/services/Greeting/wave"), 400, "Invalid URL.");
  // A service's own failure: the generic document, with the description the module set.
  HttpResponse failed = Get(port_, "/services/Greeting/fail");
  ExpectErrorDocument(failed, 400, "Unable to complete operation.");
  EXPECT_STREQ(Json(failed)["error"]["details"][0].GetString(), "The greeting service fails on purpose here.");
  ExpectErrorDocument(Get(port_, "/services/Greeting"), 400, "Unable to complete operation.");  // no root handler
  ExpectErrorDocument(Get(port_, "/services/Lost"), 503, "Service unavailable.");
  std::filesystem::remove(config);
}

TEST_F(KzhostTest, MalformedRequestsGetHttpErrors) {
  Start();
  EXPECT_EQ(Get(port_, "/nowhere").status, 404);
  EXPECT_EQ(Get(port_, "/services/Info/%zz").status, 400);
  EXPECT_EQ(Get(port_, "/services/Info/a%2Fb").status, 400);
  HttpResponse del = Exchange(port_, Request(port_, "DELETE", "/services/Info"));
  EXPECT_EQ(del.status, 405);
  EXPECT_EQ(del.headers["allow"], "GET, HEAD, POST");
  EXPECT_EQ(Exchange(port_, Request(port_, "POST", "/services/Info/echo", "Content-Type: text/csv\r\n", "a,b")).status,
            415);
  HttpResponse garbage = Exchange(port_, "NOT HTTP AT ALL\r\n\r\n");
  EXPECT_TRUE(garbage.status == 0 || garbage.status == 400) << garbage.status;
  EXPECT_EQ(Exchange(port_, "GET /services HTTP/1.1\r\nConnection: close\r\n\r\n").status, 400);  // no Host
  EXPECT_EQ(Exchange(port_, "GET /services HTTP/1.0\r\n\r\n").status, 400);
  // The server is still there.
  EXPECT_EQ(Get(port_, "/services").status, 200);
}

TEST_F(KzhostTest, ForeignHostNamesAreRefused) {
  Start({"--allow-host", "gis.example"});
  std::string p = std::to_string(port_);
  auto with_host = [&](const std::string &host) {
    return Exchange(port_, "GET /services HTTP/1.1\r\nHost: " + host + "\r\nConnection: close\r\n\r\n").status;
  };
  EXPECT_EQ(with_host("127.0.0.1:" + p), 200);
  EXPECT_EQ(with_host("localhost:" + p), 200);
  EXPECT_EQ(with_host("gis.example:" + p), 200);
  EXPECT_EQ(with_host("attacker.example:" + p), 421);
  EXPECT_EQ(with_host("localhost:" + std::to_string(port_ + 1)), 421);
  EXPECT_EQ(with_host("127.0.0.1"), 421);
}

TEST_F(KzhostTest, OversizedBodiesGet413) {
  Start({"--max-body", "1000"});
  EXPECT_EQ(Exchange(port_, Request(port_, "POST", "/services/Info/echo",
                                    "Content-Type: application/x-www-form-urlencoded\r\n",
                                    "text=" + std::string(995, 'a')))
                .status,
            200);
  // Refused from its announced length, before it is read.
  std::string big = "text=" + std::string(996, 'a');
  EXPECT_EQ(Exchange(port_, Request(port_, "POST", "/services/Info/echo",
                                    "Content-Type: application/x-www-form-urlencoded\r\n", big))
                .status,
            413);
  EXPECT_EQ(Exchange(port_, "POST /services/Info/echo HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port_) +
                                "\r\nContent-Length: 99999999999\r\n\r\n")
                .status,
            413);
  // A chunked body has no length: counted as it comes.
  std::string chunked = "POST /services/Info/echo HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port_) +
                        "\r\nContent-Type: application/x-www-form-urlencoded\r\nTransfer-Encoding: chunked\r\n"
                        "Connection: close\r\n\r\n";
  for (int i = 0; i < 4; ++i) chunked += "190\r\n" + std::string(400, 'a') + "\r\n";
  chunked += "0\r\n\r\n";
  EXPECT_EQ(Exchange(port_, chunked).status, 413);
}

TEST_F(KzhostTest, HeaderLimits) {
  Start({"--max-headers", "10", "--max-line", "512"});
  std::string nine;
  for (int i = 0; i < 8; ++i) nine += "X-H" + std::to_string(i) + ": v\r\n";  // with Host and Connection: 10
  EXPECT_EQ(Get(port_, "/services", nine).status, 200);
  EXPECT_EQ(Get(port_, "/services", nine + "X-One-More: v\r\n").status, 431);
  EXPECT_EQ(Get(port_, "/services", "X-Long: " + std::string(500, 'v') + "\r\n").status, 200);
  EXPECT_EQ(Get(port_, "/services", "X-Long: " + std::string(510, 'v') + "\r\n").status, 431);
  EXPECT_EQ(Get(port_, "/services?q=" + std::string(600, 'q')).status, 414);
  // Far past the connection's memory: the HTTP library refuses the header block itself.
  HttpResponse huge = Get(port_, "/services", "X-Huge: " + std::string(300000, 'v') + "\r\n");
  EXPECT_TRUE(huge.status == 431 || huge.status == 413 || huge.status == 400 || huge.status == 0) << huge.status;
  EXPECT_EQ(Get(port_, "/services").status, 200);
}

TEST_F(KzhostTest, SlowClientsAreCutOffWithinTheReadTimeout) {
  Start({"--read-timeout", "1"});
  // Headers a few bytes at a time, each piece well within the idle timeout.
  int fd = Connect(port_);
  ASSERT_GE(fd, 0);
  auto start = Clock::now();
  bool cut = !SendAll(fd, "GET /services HTTP/1.1\r\n");
  for (int i = 0; !cut && SecondsSince(start) < 8; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    cut = !SendAll(fd, "X-" + std::to_string(i) + ": v\r\n");
    pollfd p{fd, POLLIN, 0};
    char c;
    if (poll(&p, 1, 0) > 0 && recv(fd, &c, 1, MSG_DONTWAIT) <= 0) cut = true;
  }
  double slowloris = SecondsSince(start);
  close(fd);
  EXPECT_TRUE(cut);
  EXPECT_LT(slowloris, 4.0);

  // A chunked body that never ends.
  fd = Connect(port_);
  start = Clock::now();
  cut = !SendAll(fd, "POST /services/Info/echo HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port_) +
                         "\r\nTransfer-Encoding: chunked\r\n\r\n");
  while (!cut && SecondsSince(start) < 8) {
    cut = !SendAll(fd, "10\r\n0123456789abcdef\r\n");
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  double endless = SecondsSince(start);
  close(fd);
  EXPECT_TRUE(cut);
  EXPECT_LT(endless, 4.0);

  // A client that connects and says nothing.
  fd = Connect(port_);
  start = Clock::now();
  HttpResponse silent = ReadResponse(fd, 8000);
  close(fd);
  EXPECT_EQ(silent.status, 0);
  EXPECT_LT(SecondsSince(start), 4.0);
  EXPECT_EQ(Get(port_, "/services").status, 200);
}

// A client that asks for a large answer and does not take it: the connection is cut once the write
// timeout has passed, and the same answer taken at once arrives whole.
TEST_F(KzhostTest, ClientsThatDoNotTakeTheirAnswerAreCutOffAfterTheWriteTimeout) {
  Start({"--write-timeout", "1", "--read-timeout", "30"});
  // Far more than the socket buffers on both sides hold.
  const std::string body = "{\"text\":\"" + std::string(12 << 20, 'a') + "\"}";
  const std::string request =
      Request(port_, "POST", "/services/Info/echo", "Content-Type: application/json\r\n", body);
  HttpResponse whole = Exchange(port_, request, 60000);
  EXPECT_EQ(whole.status, 200);
  EXPECT_EQ(whole.body.size(), body.size());

  int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  int small = 4096;
  setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
  sockaddr_in addr{};
  addr.sin_family = AF_INET;
  addr.sin_port = htons(port_);
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  ASSERT_EQ(connect(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr), 0);
  ASSERT_TRUE(SendAll(fd, request));
  // Wait for the first bytes of the answer, then stop reading well past the timeout.
  pollfd p{fd, POLLIN, 0};
  ASSERT_EQ(poll(&p, 1, 60000), 1);
  std::this_thread::sleep_for(std::chrono::seconds(4));
  size_t received = 0;
  char buffer[65536];
  auto start = Clock::now();
  for (ssize_t n; SecondsSince(start) < 20 && (n = recv(fd, buffer, sizeof buffer, 0)) > 0;)
    received += static_cast<size_t>(n);
  close(fd);
  EXPECT_LT(received, body.size());
  EXPECT_LT(SecondsSince(start), 10.0);  // the end of the stream came, not the test's own limit
  EXPECT_EQ(Get(port_, "/services").status, 200);
}

TEST_F(KzhostTest, ConnectionsBeyondTheLimitWaitForAFreeOne) {
  Start({"--max-connections", "2", "--workers", "1"});
  int a = Connect(port_), b = Connect(port_);
  ASSERT_GE(a, 0);
  ASSERT_GE(b, 0);
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  int third = Connect(port_);
  ASSERT_TRUE(SendAll(third, Request(port_, "GET", "/services")));
  EXPECT_EQ(ReadResponse(third, 700).status, 0);  // not taken while two are open
  close(a);
  auto start = Clock::now();
  EXPECT_EQ(ReadResponse(third, 5000).status, 200);
  EXPECT_LT(SecondsSince(start), 2.0);
  close(third);
  close(b);
}

TEST_F(KzhostTest, KeepAliveServesSeveralRequestsOnOneConnection) {
  Start();
  int fd = Connect(port_);
  std::string host = "Host: 127.0.0.1:" + std::to_string(port_) + "\r\n";
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(SendAll(fd, "GET /services/Info/echo?text=" + std::to_string(i) + " HTTP/1.1\r\n" + host + "\r\n"));
    HttpResponse r = ReadResponse(fd);
    EXPECT_EQ(r.status, 200);
    EXPECT_EQ(r.body, "{\"text\":" + std::to_string(i) + "}");
  }
  close(fd);
}

TEST_F(KzhostTest, StopsOnSigtermWithConnectionsOpen) {
  Start();
  int fd = Connect(port_);
  ASSERT_TRUE(SendAll(fd, "GET /services HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port_) + "\r\n\r\n"));
  EXPECT_EQ(ReadResponse(fd).status, 200);
  auto start = Clock::now();
  EXPECT_EQ(host_->Stop(), 0);
  EXPECT_LT(SecondsSince(start), 5.0);
  close(fd);
}

TEST(KzhostCommandLineTest, HelpAndBadOptions) {
  auto run = [](const std::string &args, std::string *out) {
    std::string command = std::string(KZHOST_PATH) + " " + args + " 2>&1";
    FILE *p = popen(command.c_str(), "r");
    char buffer[4096];
    size_t n;
    while ((n = fread(buffer, 1, sizeof buffer, p)) > 0) out->append(buffer, n);
    int status = pclose(p);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  };
  std::string help, bad, print;
  EXPECT_EQ(run("--help", &help), 0);
  EXPECT_NE(help.find("--read-timeout"), std::string::npos);
  EXPECT_EQ(run("--port 70000", &bad), 2);
  EXPECT_NE(bad.find("--port"), std::string::npos);
  EXPECT_EQ(run("--print-config", &print), 0);
  rapidjson::Document doc;
  doc.Parse(print.c_str());
  EXPECT_TRUE(doc.IsObject() && doc["services"].Size() == 2);
  std::string missing;
  EXPECT_EQ(run("--config /nonexistent/kzhost.json", &missing), 2);
}

// A real browser engine loads a schema page: the request it makes (its own headers, its Host
// value) must be one kzhost answers.
TEST_F(KzhostTest, BrowserLoadsASchemaPage) {
  const char *browser = nullptr;
  for (const char *path : {"/usr/bin/chromium", "/usr/bin/chromium-browser"})
    if (access(path, X_OK) == 0) browser = path;
  if (browser == nullptr) GTEST_SKIP() << "chromium is not installed (Debian package chromium)";
  Start();
  std::string profile = (std::filesystem::temp_directory_path() / ("kzhost-chromium-" + std::to_string(getpid())))
                            .string();
  std::filesystem::remove_all(profile);
  std::filesystem::create_directories(profile);
  std::string command = "timeout 60 " + std::string(browser) +
                        " --headless --no-sandbox --disable-gpu --disable-quic --no-first-run"
                        " --disable-background-networking --disable-component-update --disable-sync"
                        " --user-data-dir=" + profile + " --dump-dom http://127.0.0.1:" + std::to_string(port_) +
                        "/schema/Geometry 2>/dev/null";
  std::string dom;
  FILE *p = popen(command.c_str(), "r");
  char buffer[4096];
  size_t n;
  while ((n = fread(buffer, 1, sizeof buffer, p)) > 0) dom.append(buffer, n);
  pclose(p);
  std::filesystem::remove_all(profile);
  EXPECT_NE(dom.find("<pre"), std::string::npos) << dom;
  EXPECT_NE(dom.find("\"name\":\"envelopeUnionArea\""), std::string::npos) << dom;
  EXPECT_NE(dom.find("\"schemaVersion\":1"), std::string::npos) << dom;
}

}  // namespace
}  // namespace kzhost
