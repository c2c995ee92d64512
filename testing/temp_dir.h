// A fresh folder of its own under /tmp for one test, removed with everything
// in it when the object goes (test fixtures hold one as a member).
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

namespace mlr::testing {

class ScopedTempDir {
 public:
  ScopedTempDir() {
    char pattern[] = "/tmp/mlr_test_XXXXXX";
    if (mkdtemp(pattern) == nullptr) throw std::runtime_error("cannot make a temporary folder");
    path_ = pattern;
  }
  ~ScopedTempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScopedTempDir(const ScopedTempDir&) = delete;
  ScopedTempDir& operator=(const ScopedTempDir&) = delete;

  const std::string& path() const { return path_; }
  // The path of `name` inside the folder.
  std::string Path(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

}  // namespace mlr::testing
