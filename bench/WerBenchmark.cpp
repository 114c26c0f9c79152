#include <benchmark/benchmark.h>

#include <random>
#include <string>

#include "accuracy/WER.h"

namespace {

// A reference of `words` words and a hypothesis with about one word in ten changed, dropped or
// doubled, the shape of a real transcript against its prompt.
std::pair<std::string, std::string> makePair(int words) {
  static const char* kVocabulary[] = {"the",    "report", "is",     "due", "on",  "Tuesday,", "and",
                                      "$1,200", "we'll",  "send",   "it",  "to",  "Maria",    "before",
                                      "noon.",  "Please", "review", "the", "new", "budget!"};
  std::mt19937 random(42);
  std::string reference, hypothesis;
  for (int i = 0; i < words; ++i) {
    std::string word = kVocabulary[random() % std::size(kVocabulary)];
    reference += word + " ";
    switch (random() % 30) {
      case 0: hypothesis += "uh "; break;
      case 1: break;
      case 2: hypothesis += "other "; break;
      default: hypothesis += word + " "; break;
    }
  }
  return {reference, hypothesis};
}

void BM_WerScore(benchmark::State& state) {
  auto [reference, hypothesis] = makePair(static_cast<int>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(murvelo::WER::score(reference, hypothesis));
}
BENCHMARK(BM_WerScore)->Arg(20)->Arg(1000)->Unit(benchmark::kMillisecond);

}  // namespace
