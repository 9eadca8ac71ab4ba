// Class configuration files for tests: a scratch folder, and a scope in which the class registry
// reads the files a test wrote.
//
//   kztest::TempFolder folder;
//   std::string file = folder.Write("classes.conf", "{...} libroads.so progid=Kz.Roads\n");
//   kztest::ClassConfigurationScope scope(file);   // read now; none again when the scope ends
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <kzcore/pal/class_registry.h>

namespace kztest {

class TempFolder {
 public:
  TempFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "kztest-XXXXXX").string();
    if (mkdtemp(pattern.data()) != nullptr) path_ = pattern;
  }
  ~TempFolder() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  TempFolder(const TempFolder &) = delete;
  TempFolder &operator=(const TempFolder &) = delete;

  const std::string &path() const { return path_; }
  // Writes `text` to `name` inside the folder (making the folders on the way) and gives its path.
  std::string Write(const std::string &name, const std::string &text) const {
    std::filesystem::path file = std::filesystem::path(path_) / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << text;
    return file.string();
  }

 private:
  std::string path_;
};

// Points KZCORE_CLASSES at `files` (a colon-separated list) and rereads the configuration; at the
// end of the scope no file is read, as for every other test.
class ClassConfigurationScope {
 public:
  explicit ClassConfigurationScope(const std::string &files) {
    setenv("KZCORE_CLASSES", files.c_str(), 1);
    KzReloadClassConfiguration();
  }
  ~ClassConfigurationScope() {
    setenv("KZCORE_CLASSES", "", 1);
    KzReloadClassConfiguration();
  }
  ClassConfigurationScope(const ClassConfigurationScope &) = delete;
  ClassConfigurationScope &operator=(const ClassConfigurationScope &) = delete;
};

}  // namespace kztest
