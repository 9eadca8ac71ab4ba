// kzhost: serves the REST surface of server objects over HTTP. See HelpText() in configuration.cpp
// for the options, and docs/MODULE-GUIDE.md for writing a service.
#include <signal.h>

#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>

#ifdef KZHOST_HAS_HOST_OBJECTS
#include <host/objects/host_objects.h>
#endif

#include "configuration.h"
#include "http_front.h"
#include "samples/rest_service.h"
#include "service_host.h"

namespace {

bool ReadFile(const std::string &path, std::string &out) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::ostringstream text;
  text << in.rdbuf();
  out = text.str();
  return !in.bad();
}

}  // namespace

int main(int argc, char **argv) {
  using namespace kzhost;
  CommandLine line;
  std::string error;
  if (!ParseCommandLine(argc, argv, line, error)) {
    std::cerr << "kzhost: " << error << "\n";
    return 2;
  }
  if (line.help) {
    std::cout << HelpText();
    return 0;
  }
  if (line.version) {
    std::cout << "kzhost " KZHOST_VERSION "\n";
    return 0;
  }
  if (line.print_config) {
    std::cout << EmbeddedConfiguration();
    return 0;
  }

  Configuration config;
  std::string text(EmbeddedConfiguration());
  if (!line.config_file.empty() && !ReadFile(line.config_file, text)) {
    std::cerr << "kzhost: cannot read " << line.config_file << "\n";
    return 2;
  }
  if (!ReadConfiguration(text, config, error)) {
    std::cerr << "kzhost: " << (line.config_file.empty() ? "built-in configuration" : line.config_file) << ": "
              << error << "\n";
    return 2;
  }
  ApplyCommandLine(line, config);
  if (!CheckConfiguration(config, error)) {
    std::cerr << "kzhost: " << error << "\n";
    return 2;
  }

  // Signals are taken by this thread alone, through sigwait; the daemon's threads, started
  // later, inherit the mask.
  sigset_t stop_signals;
  sigemptyset(&stop_signals);
  sigaddset(&stop_signals, SIGINT);
  sigaddset(&stop_signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stop_signals, nullptr);
  signal(SIGPIPE, SIG_IGN);

#ifdef KZHOST_HAS_HOST_OBJECTS
  // The objects a host provides to its services (the JSON service among them), before any
  // service is made.
  if (FAILED(KzRegisterHostObjects())) {
    std::cerr << "kzhost: the host objects could not be registered\n";
    return 1;
  }
#endif
  if (!RegisterSampleClasses()) {
    std::cerr << "kzhost: the sample classes could not be registered\n";
    return 1;
  }
  int status = 0;
  {
    ServiceHost services;
    services.Start(config, std::cerr);
    HttpFront front(config, services);
    if (!front.Start(error)) {
      std::cerr << "kzhost: " << error << "\n";
      return 1;
    }
    std::printf("kzhost: serving %zu service%s on http://%s:%u/services\n", config.services.size(),
                config.services.size() == 1 ? "" : "s", front.UrlAddress().c_str(), unsigned{front.Port()});
    std::fflush(stdout);
    int signal_number = 0;
    sigwait(&stop_signals, &signal_number);
    front.Stop();
    std::printf("kzhost: stopped\n");
  }
  return status;
}
