// Sets one environment variable for the life of the object and puts back what was there.
//
//   kztest::EnvironmentScope german("LC_ALL", "de_DE.UTF-8");
#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace kztest {

class EnvironmentScope {
 public:
  EnvironmentScope(const char *name, const char *value) : name_(name) {
    if (const char *old = std::getenv(name)) saved_ = old;
    setenv(name, value, 1);
  }
  ~EnvironmentScope() {
    if (saved_) {
      setenv(name_.c_str(), saved_->c_str(), 1);
    } else {
      unsetenv(name_.c_str());
    }
  }
  EnvironmentScope(const EnvironmentScope &) = delete;
  EnvironmentScope &operator=(const EnvironmentScope &) = delete;

 private:
  std::string name_;
  std::optional<std::string> saved_;
};

}  // namespace kztest
