#pragma once

#include <filesystem>
#include <string>

namespace murvelo::test {

// A fresh directory under the system temp dir, removed with everything in it at scope exit.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

std::string readFile(const std::filesystem::path& file);
void writeFile(const std::filesystem::path& file, const std::string& contents);

}  // namespace murvelo::test
