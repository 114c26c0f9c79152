// Times the Format level (Tidy, layout and the invariants) on generated dictations and prints p50
// and p99 per size: everyday dictation from the Tidy generator, and e-mail and list shaped
// dictation that keeps every layout stage busy.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "cleanup/DeterministicFormat.h"
#include "support/DictationGenerator.h"
#include "support/LayoutDictationGenerator.h"

namespace {

const murvelo::cleanup::DeterministicFormat kEngine;

void run(const std::string& label, const std::vector<std::string>& inputs) {
  std::vector<double> millis;
  std::size_t sink = 0;
  for (const auto& input : inputs) {
    const auto start = std::chrono::steady_clock::now();
    sink += kEngine.format(input, true, true).text.size();
    millis.push_back(
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
  }
  std::sort(millis.begin(), millis.end());
  const auto at = [&](double q) {
    return millis[static_cast<std::size_t>(q * static_cast<double>(millis.size() - 1))];
  };
  std::printf("%-18s n=%-4zu p50=%8.3f ms  p99=%8.3f ms  max=%8.3f ms  (%zu)\n", label.c_str(), millis.size(),
              at(0.5), at(0.99), millis.back(), sink % 10);
}

}  // namespace

int main(int argc, char** argv) {
  const std::size_t runs = argc > 1 ? static_cast<std::size_t>(std::stoul(argv[1])) : 200;
  murvelo::testing::DictationGenerator everyday(20261123, 1.0 / 12);
  murvelo::test::LayoutDictationGenerator shaped(20261123);
  kEngine.format(everyday.dictation(100), true, true);  // compile the patterns, as a running program has them
  for (const int words : {100, 400}) {
    std::vector<std::string> plain;
    std::vector<std::string> messages;
    for (std::size_t i = 0; i < runs; ++i) {
      plain.push_back(everyday.dictation(static_cast<std::size_t>(words)));
      messages.push_back(shaped.ofWords(words));
    }
    run("everyday/" + std::to_string(words) + "w", plain);
    run("email-list/" + std::to_string(words) + "w", messages);
  }
  std::vector<std::string> plain;
  std::vector<std::string> messages;
  for (std::size_t i = 0; i < std::max<std::size_t>(runs / 4, 20); ++i) {
    plain.push_back(everyday.ofLength(8000));
    std::string message = shaped.ofWords(1600);
    message.resize(std::min<std::size_t>(message.size(), 8000));
    messages.push_back(message);
  }
  run("everyday/8000c", plain);
  run("email-list/8000c", messages);
  return 0;
}
