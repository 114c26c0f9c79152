#pragma once

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace murvelo::test {

// Recorded LibriVox speech from Debian's pocketsphinx-testdata, with its transcripts.
inline const std::filesystem::path kLibrivox = "/usr/share/pocketsphinx/test/data/librivox";

struct Clip {
  std::filesystem::path file;
  std::string transcript;
};

// The clips in the order the test data lists them; none when the package is not installed.
inline std::vector<Clip> librivoxClips() {
  std::vector<Clip> clips;
  std::ifstream in(kLibrivox / "transcription");
  std::string line;
  while (std::getline(in, line)) {
    auto open = line.rfind('(');
    if (open == std::string::npos) continue;
    std::string id = line.substr(open + 1, line.find(')', open) - open - 1);
    std::string words = line.substr(0, open);
    for (std::string tag : {"<s>", "</s>"})
      if (auto at = words.find(tag); at != std::string::npos) words.erase(at, tag.size());
    clips.push_back({kLibrivox / (id + ".wav"), words});
  }
  return clips;
}

}  // namespace murvelo::test
