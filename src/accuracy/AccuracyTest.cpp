#include "accuracy/AccuracyTest.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "base/DefaultsStore.h"

namespace murvelo {
namespace {

using Milliseconds = std::chrono::milliseconds;

}  // namespace

const std::vector<AccuracyPhrase>& accuracyPhrases() {
  static const std::vector<AccuracyPhrase> phrases = {
      {"Please send me the notes from this morning's meeting."},
      {"I will be a few minutes late, so start without me."},
      {"Can we move our call to Thursday afternoon?"},
      {"The weather should be warm and sunny this weekend."},
      {"Remind me to buy milk, bread and eggs on the way home."},
      {"Thank you for your help with the project last week."},
      {"Let me know if you have any questions about the plan."},
      {"The printer on the second floor is out of paper again."},
      {"I think we should take a short break before we continue."},
      {"Dinner is ready, so please come to the table."},
      {"She left her keys on the kitchen counter this morning."},
      {"We need to finish the report before the end of the day."},
      {"Book a table for 4 people at 7:30 on Friday the 12th.", true},
      {"Maria Gonzalez and Tom O'Brien will join the call from Dublin.", true},
      {"The invoice comes to $1,250.75 and is due on March 3rd.", true},
      {"Dear Anna comma thanks for the update period new paragraph", true},
      {"Our office moved to 221 Baker Street in London last year.", true},
      {"Ask Priya whether version 2.5 of the app fixed the crash.", true},
  };
  return phrases;
}

PhraseScore scorePhrase(std::string_view reference, std::string_view heard) {
  PhraseScore score{WER::score(reference, heard), {}};
  const auto tokens = WER::normalize(reference);
  for (auto position : score.wer.missedReferencePositions) {
    if (position >= 0 && static_cast<std::size_t>(position) < tokens.size())
      score.missedWords.push_back(tokens[static_cast<std::size_t>(position)]);
  }
  return score;
}

double AccuracySummary::errorRate() const {
  if (referenceWords == 0) return errors == 0 ? 0.0 : 1.0;
  return static_cast<double>(errors) / static_cast<double>(referenceWords);
}

double AccuracySummary::accuracyPercent() const { return std::max(0.0, 100.0 * (1.0 - errorRate())); }

AccuracySummary summarize(const std::vector<PhraseScore>& scores) {
  AccuracySummary summary;
  for (const auto& score : scores) {
    summary.errors += score.wer.substitutions + score.wer.deletions + score.wer.insertions;
    summary.referenceWords += score.wer.referenceWords();
    ++summary.phrases;
  }
  return summary;
}

AccuracyProgress::AccuracyProgress(DefaultsStore& defaults, Clock clock)
    : defaults_(defaults), clock_(std::move(clock)) {}

void AccuracyProgress::readStored() {
  entries_.clear();
  auto data = defaults_.data(kKey);
  if (!data) return;
  auto array = nlohmann::json::parse(data->begin(), data->end(), nullptr, /*allow_exceptions=*/false);
  if (!array.is_array()) return;
  for (const auto& object : array) {
    // A damaged result costs only itself.
    if (!object.is_object()) continue;
    auto date = object.find("date");
    auto errors = object.find("errors");
    auto words = object.find("referenceWords");
    auto phrases = object.find("phrases");
    if (date == object.end() || !date->is_number_integer() || errors == object.end() ||
        !errors->is_number_integer() || words == object.end() || !words->is_number_integer() ||
        phrases == object.end() || !phrases->is_number_integer())
      continue;
    Entry entry;
    entry.date =
        TimePoint(std::chrono::duration_cast<TimePoint::duration>(Milliseconds(date->get<std::int64_t>())));
    entry.errors = errors->get<std::int64_t>();
    entry.referenceWords = words->get<std::int64_t>();
    entry.phrases = phrases->get<int>();
    if (entry.errors < 0 || entry.referenceWords <= 0 || entry.phrases <= 0) continue;
    entries_.push_back(entry);
  }
  std::stable_sort(entries_.begin(), entries_.end(),
                   [](const Entry& a, const Entry& b) { return a.date > b.date; });
}

bool AccuracyProgress::dropExpired() {
  const TimePoint oldest = clock_() - kMaxAge;
  return std::erase_if(entries_, [&](const Entry& entry) { return entry.date < oldest; }) > 0;
}

Status AccuracyProgress::save() {
  nlohmann::json array = nlohmann::json::array();
  for (const auto& entry : entries_) {
    array.push_back(
        {{"date", std::chrono::duration_cast<Milliseconds>(entry.date.time_since_epoch()).count()},
         {"errors", entry.errors},
         {"referenceWords", entry.referenceWords},
         {"phrases", entry.phrases}});
  }
  const std::string text = array.dump();
  return defaults_.setData(kKey, Bytes(text.begin(), text.end()));
}

void AccuracyProgress::load() {
  readStored();
  if (dropExpired()) defaults_.update([&] { return save(); });
}

Status AccuracyProgress::add(const AccuracySummary& summary) {
  if (summary.referenceWords <= 0 || summary.phrases <= 0) return Status::ok();
  Entry entry{std::chrono::floor<Milliseconds>(clock_()), summary.errors, summary.referenceWords,
              summary.phrases};
  return defaults_.update([&] {
    readStored();
    entries_.insert(entries_.begin(), entry);
    dropExpired();
    return save();
  });
}

}  // namespace murvelo
