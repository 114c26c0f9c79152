#include "support/TempDir.h"

#include <stdlib.h>
#include <sys/stat.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace murvelo::test {

TempDir::TempDir() {
  std::string pattern = (std::filesystem::temp_directory_path() / "murvelo-test-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  path_ = pattern;
}

TempDir::~TempDir() {
  std::error_code ignored;
  // A test may have taken permissions away; give them back so removal works.
  for (auto it = std::filesystem::recursive_directory_iterator(path_, ignored);
       it != std::filesystem::recursive_directory_iterator(); it.increment(ignored)) {
    if (it->is_directory(ignored)) ::chmod(it->path().c_str(), 0700);
  }
  ::chmod(path_.c_str(), 0700);
  std::filesystem::remove_all(path_, ignored);
}

std::string readFile(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  std::ostringstream contents;
  contents << in.rdbuf();
  return contents.str();
}

void writeFile(const std::filesystem::path& file, const std::string& contents) {
  std::filesystem::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << contents;
}

}  // namespace murvelo::test
