#pragma once

#include <map>
#include <string>
#include <vector>

namespace murvelo::test {

struct ProcessResult {
  int exitCode = -1;
  std::string out;
  std::string err;
};

// Runs a program with extra environment variables and optional standard input; waits for it.
ProcessResult runProcess(const std::string& program, const std::vector<std::string>& args,
                         const std::map<std::string, std::string>& env = {}, const std::string& input = {});

}  // namespace murvelo::test
