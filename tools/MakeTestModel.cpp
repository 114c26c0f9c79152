// murvelo-make-test-model: writes a whisper model file with the dimensions of tiny.en or base.en
// and random weights, for tests and benchmarks where no trained model can be downloaded.
#include <cstdlib>
#include <iostream>
#include <string>

#include "tools/SyntheticWhisperModel.h"

int main(int argc, char** argv) {
  const char* usage =
      "usage: murvelo-make-test-model [--arch tiny.en|base.en] [--seed N] OUTPUT\n"
      "Writes a whisper.cpp model file with synthetic weights (it transcribes nonsense).\n";
  std::string architecture = "tiny.en";
  std::string output;
  unsigned long long seed = 1;
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    if (arg == "--help" || arg == "-h") {
      std::cout << usage;
      return 0;
    }
    if ((arg == "--arch" || arg == "--seed") && i + 1 < argc) {
      std::string value = argv[++i];
      if (arg == "--arch")
        architecture = value;
      else
        seed = std::strtoull(value.c_str(), nullptr, 10);
    } else if (!arg.empty() && arg[0] != '-' && output.empty()) {
      output = arg;
    } else {
      std::cerr << "murvelo-make-test-model: unexpected argument " << arg << "\n" << usage;
      return 2;
    }
  }
  murvelo::SyntheticWhisperModel::Architecture arch;
  if (output.empty() || !murvelo::SyntheticWhisperModel::parseArchitecture(architecture, arch)) {
    std::cerr << usage;
    return 2;
  }
  murvelo::Status status = murvelo::SyntheticWhisperModel::write(output, arch, seed);
  if (!status) {
    std::cerr << "murvelo-make-test-model: " << status.message() << "\n";
    return 1;
  }
  return 0;
}
