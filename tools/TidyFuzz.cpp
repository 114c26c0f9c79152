// A long randomised run of the cleanup step over generated and mutated dictations, outside the
// test suite: murvelo_fuzz_tidy [INPUTS [FIRST-SEED]]. Prints each failing seed with the reason and
// exits 1 if there was one; the seed reproduces the input through DictationGenerator.
#include <time.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "base/DefaultsStore.h"
#include "base/TextTrim.h"
#include "cleanup/CleanupStep.h"
#include "cleanup/CorrectionsDictionary.h"
#include "cleanup/DictationTextSafety.h"
#include "support/DictationGenerator.h"

// Processor time of this thread, so that a busy machine does not count as a slow input.
static double threadMillis() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

int main(int argc, char** argv) {
  using namespace murvelo;
  const unsigned long inputs = argc > 1 ? std::stoul(argv[1]) : 1000000;
  const unsigned long first = argc > 2 ? std::stoul(argv[2]) : 1;
  InMemoryDefaultsStore store;
  CorrectionsDictionary dictionary(store);
  const CleanupStep step(nullptr, dictionary);
  int failures = 0;
  double slowest = 0;
  for (unsigned long seed = first; seed < first + inputs; ++seed) {
    testing::DictationGenerator generator(static_cast<std::uint32_t>(seed), 0.2 + 0.6 * ((seed % 5) / 4.0));
    const std::string input = seed % 3 == 0 ? generator.dictation(1 + generator.pick(1500))
                                            : generator.hostile(1 + generator.pick(9000));
    const std::string raw = trimWhitespaceAndNewlines(input);
    for (const CleanupLevel level : {CleanupLevel::light, CleanupLevel::none}) {
      const double start = threadMillis();
      const CleanedTranscript cleaned = step.clean(raw, level, seed % 2 == 0, seed % 4 == 0);
      const double millis = threadMillis() - start;
      slowest = std::max(slowest, millis);
      const char* problem = nullptr;
      if (millis > 100) problem = "slow";
      // Every literal of the input must still be there, in order (a correction may add one).
      const auto kept = cleanup::protectedLiterals(cleaned.text);
      std::size_t at = 0;
      for (const auto& literal : cleanup::protectedLiterals(raw)) {
        while (at < kept.size() && kept[at] != literal) ++at;
        if (at == kept.size()) {
          problem = "literal lost";
          break;
        }
        ++at;
      }
      if (problem != nullptr) {
        ++failures;
        std::printf("seed %lu level %d: %s (%.1f ms, %zu bytes)\n", seed, static_cast<int>(level), problem,
                    millis, raw.size());
      }
    }
    if ((seed - first + 1) % 10000 == 0) {
      std::printf("%lu inputs, %d failures, slowest %.1f ms\n", seed - first + 1, failures, slowest);
      std::fflush(stdout);
    }
  }
  std::printf("done: %lu inputs, %d failures, slowest %.1f ms\n", inputs, failures, slowest);
  return failures == 0 ? 0 : 1;
}
