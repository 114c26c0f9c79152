// Times the Tidy path (stages 0 to 3 and the reconciliation) on generated dictations of several
// sizes and prints p50 and p99 per size.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "cleanup/DictationTextSafety.h"
#include "cleanup/TidyEngine.h"
#include "support/DictationGenerator.h"

namespace {

using murvelo::FormatEdit;
namespace cleanup = murvelo::cleanup;

std::string tidyPath(const std::string& raw) {
  std::vector<FormatEdit> edits;
  std::string text = cleanup::tidyCore(raw, true, true, true, edits);
  text = cleanup::tidy(text, true, edits);
  text = cleanup::applyExplicitCorrections(text, true, edits);
  text = cleanup::restoreUnfinishedEnding(text, raw, edits);
  return cleanup::reconcile(text, raw).text;
}

void run(const char* label, const std::vector<std::string>& inputs) {
  std::vector<double> millis;
  std::size_t sink = 0;
  for (const auto& input : inputs) {
    const auto start = std::chrono::steady_clock::now();
    sink += tidyPath(input).size();
    millis.push_back(
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
  }
  std::sort(millis.begin(), millis.end());
  const auto at = [&](double q) {
    return millis[static_cast<std::size_t>(q * static_cast<double>(millis.size() - 1))];
  };
  std::printf("%-16s n=%-4zu p50=%8.3f ms  p99=%8.3f ms  max=%8.3f ms  (%zu)\n", label, millis.size(),
              at(0.5), at(0.99), millis.back(), sink % 10);
}

}  // namespace

int main(int argc, char** argv) {
  const std::size_t runs = argc > 1 ? static_cast<std::size_t>(std::stoul(argv[1])) : 200;
  // Everyday dictation (one piece in twelve a filler, correction, cue or spoken mark) and a dense
  // mix (one in three) that keeps every rule busy.
  for (const auto& [mix, special] : {std::pair{"everyday", 1.0 / 12}, std::pair{"dense", 0.35}}) {
    murvelo::testing::DictationGenerator generator(20261123, special);
    tidyPath(generator.dictation(100));  // compile the patterns, as a running program has them
    for (const std::size_t words : {20u, 100u, 400u}) {
      std::vector<std::string> inputs;
      for (std::size_t i = 0; i < runs; ++i) inputs.push_back(generator.dictation(words));
      run((std::string(mix) + "/" + std::to_string(words) + "w").c_str(), inputs);
    }
    std::vector<std::string> inputs;
    for (std::size_t i = 0; i < std::max<std::size_t>(runs / 4, 20); ++i)
      inputs.push_back(generator.ofLength(8000));
    run((std::string(mix) + "/8000c").c_str(), inputs);
  }
  // Pathological lengths: every pass must stay linear (target: under 100 ms per 8,000 characters).
  murvelo::testing::DictationGenerator generator(7, 0.35);
  std::string commas;
  for (int i = 0; i < 50000; ++i) commas += ", ";
  std::string hesitations;
  for (int i = 0; i < 20000; ++i) hesitations += i % 2 ? "um " : "comma ";
  const std::pair<const char*, std::string> long_[] = {{"\", \" x 50000", commas},
                                                       {"um/comma x 20000", hesitations},
                                                       {"dense 1 MB", generator.ofLength(1000000)}};
  for (const auto& [label, input] : long_) {
    const auto start = std::chrono::steady_clock::now();
    const std::size_t size = tidyPath(input).size();
    const double ms =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    std::printf("%-16s %8zu chars  %9.1f ms  %6.2f ms per 8000 chars  (%zu)\n", label, input.size(), ms,
                ms * 8000.0 / static_cast<double>(input.size()), size % 10);
  }
  return 0;
}
