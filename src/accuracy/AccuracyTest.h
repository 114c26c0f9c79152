#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "accuracy/WER.h"
#include "base/Status.h"

namespace murvelo {

class DefaultsStore;

// One sentence the user reads out in the accuracy test. The challenge ones carry numbers, names
// and spoken punctuation, where recognisers stumble most.
struct AccuracyPhrase {
  std::string text;
  bool challenge = false;
};

// The test's phrases: twelve everyday ones, then six challenge ones.
const std::vector<AccuracyPhrase>& accuracyPhrases();

// How one reading went.
struct PhraseScore {
  WER::Result wer;
  std::vector<std::string> missedWords;  // the reference's words that were not heard, normalised
};
PhraseScore scorePhrase(std::string_view reference, std::string_view heard);

// The score of a whole test: every error over every reference word, so a long phrase weighs more.
struct AccuracySummary {
  std::int64_t errors = 0;
  std::int64_t referenceWords = 0;
  int phrases = 0;
  double errorRate() const;
  // 100 % less the error rate, never below zero (insertions can push the rate over 1).
  double accuracyPercent() const;
};
AccuracySummary summarize(const std::vector<PhraseScore>& scores);

// The results of past tests on this computer, kept for 14 days so the user sees the trend. Only
// figures are kept, never what was heard. Main thread only.
class AccuracyProgress {
 public:
  using TimePoint = std::chrono::system_clock::time_point;
  using Clock = std::function<TimePoint()>;

  struct Entry {
    TimePoint date;  // whole milliseconds
    std::int64_t errors = 0;
    std::int64_t referenceWords = 0;
    int phrases = 0;
    bool operator==(const Entry&) const = default;
  };

  static constexpr std::string_view kKey = "accuracyTestResults";
  static constexpr std::chrono::seconds kMaxAge{14 * 24 * 3600};

  explicit AccuracyProgress(
      DefaultsStore& defaults, Clock clock = [] { return std::chrono::system_clock::now(); });

  // Reads what is stored, dropping results older than 14 days (and saving when any went).
  void load();
  // Records a finished test; an empty one (no words) is not recorded.
  Status add(const AccuracySummary& summary);
  // Newest first.
  const std::vector<Entry>& entries() const { return entries_; }

 private:
  void readStored();
  bool dropExpired();
  Status save();

  DefaultsStore& defaults_;
  Clock clock_;
  std::vector<Entry> entries_;
};

}  // namespace murvelo
