#include "cleanup/TidyWordSets.h"

#include <array>
#include <initializer_list>
#include <string>
#include <unordered_set>

namespace murvelo::cleanup::words {
namespace {

using Members = std::initializer_list<std::string_view>;

// Word sets as written in one place; the order of the table follows `Set`.
const Members kHesitations = {"um",   "umm", "ummm", "uhm", "uh",   "uhh",
                              "uhhh", "erm", "hmm",  "ahh", "ahhh", "mmm"};
const Members kPronounI = {"i", "i'm", "i'll", "i've", "i'd", "i’m", "i’ll", "i’ve", "i’d"};
const Members kShortWords = {"the",  "a",    "an",   "and",  "i",   "to", "of", "it", "is",  "are",
                             "was",  "were", "but",  "or",   "my",  "in", "on", "he", "she", "we",
                             "they", "you",  "this", "with", "for", "at", "if", "as", "im"};
const Members kQuantifiers = {"any", "some", "every", "each", "another", "other", "both", "these", "those"};
const Members kAbbreviations = {"etc", "inc", "vs", "mr", "mrs",  "ms",    "dr",
                                "st",  "jr",  "sr", "no", "dept", "approx"};
// The introductory members of the phrase set; the closing ones ("with love", "on my way") take no
// comma after them.
const Members kIntroductory = {"in fact",          "for example",       "for instance",   "in short",
                               "in general",       "in that case",      "in any case",    "on the other hand",
                               "at the same time", "in conclusion",     "in summary",     "by all means",
                               "for the record",   "on second thought", "with that said", "in other words",
                               "by the way",       "in the meantime",   "on that note",   "with that in mind",
                               "in addition"};
const Members kDeterminers = {"the",  "a",     "an",    "my",    "your", "our",  "their", "his", "its",
                              "this", "these", "those", "every", "each", "some", "any",   "no"};
const Members kDeterminersAndConjunctions = {"the", "a",  "an",   "and", "but",   "or", "nor",
                                             "of",  "my", "your", "our", "their", "its"};
const Members kPrepositions = {
    "at",     "in",      "on",         "for",    "with",      "from",      "into",    "onto",
    "about",  "by",      "near",       "inside", "outside",   "under",     "over",    "across",
    "around", "through", "throughout", "during", "without",   "within",    "between", "behind",
    "toward", "towards", "via",        "per",    "regarding", "including", "except",  "beyond",
    "among",  "along",   "against",    "upon",   "above",     "below",     "beside"};
const Members kNounsBeforePeriod = {
    "a",           "the",       "this",       "that",     "what",      "which",        "grace",
    "time",        "trial",     "waiting",    "rest",     "cooling",   "probationary", "short",
    "long",        "of",        "pay",        "billing",  "oxford",    "serial",       "no",
    "any",         "my",        "her",        "his",      "your",      "our",          "their",
    "its",         "warranty",  "notice",     "review",   "reporting", "accounting",   "vesting",
    "holding",     "lookback",  "benefit",    "coverage", "menstrual", "recovery",     "incubation",
    "orientation", "probation", "settlement", "lease",    "election",  "enrollment",   "honeymoon"};
const Members kWeekdays = {"monday", "tuesday", "wednesday", "thursday", "friday", "saturday", "sunday"};
const Members kListWordNeighbours = {"of", "item",  "items",  "for",     "in",
                                     "on", "style", "number", "numbers", "spacing"};
const Members kFillerFunctionWords = {
    "to",         "that",       "and",      "but",    "or",        "so",        "as",       "of",
    "for",        "in",         "on",       "at",     "with",      "from",      "by",       "into",
    "about",      "a",          "an",       "the",    "is",        "are",       "was",      "were",
    "be",         "been",       "being",    "am",     "it's",      "its",       "i",        "we",
    "you",        "they",       "he",       "she",    "it",        "i'm",       "we're",    "you're",
    "they're",    "i'd",        "we'd",     "i'll",   "we'll",     "just",      "really",   "very",
    "can",        "could",      "would",    "should", "will",      "have",      "has",      "had",
    "do",         "does",       "did",      "don't",  "can't",     "won't",     "gonna",    "going",
    "want",       "wanna",      "need",     "get",    "got",       "like",      "also",     "then",
    "than",       "if",         "because",  "when",   "where",     "what",      "why",      "how",
    "who",        "which",      "my",       "your",   "our",       "their",     "his",      "her",
    "me",         "us",         "them",     "him",    "obviously", "basically", "probably", "maybe",
    "definitely", "literally",  "honestly", "even",   "still",     "only",      "always",   "never",
    "already",    "kind",       "sort",     "pretty", "quite",     "almost",    "mostly",   "usually",
    "totally",    "essentially"};
const Members kObjectsAndSofteners = {"it",        "me",   "us",     "them",   "him",         "her",
                                      "you",       "like", "just",   "really", "very",        "even",
                                      "still",     "only", "almost", "pretty", "quite",       "totally",
                                      "literally", "kind", "sort",   "mostly", "essentially", "also"};
const Members kCopulasAndSenseVerbs = {
    "is",      "are",    "was",    "were",   "be",      "been",    "being", "am",
    "it's",    "i'm",    "we're",  "you're", "they're", "he's",    "she's", "that's",
    "there's", "seems",  "seemed", "looks",  "looked",  "feels",   "felt",  "sounds",
    "sounded", "tastes", "tasted", "taste",  "smells",  "smelled", "smell"};
const Members kInterjections = {"yeah",   "okay",  "ok",      "yes",      "yep",  "nope",
                                "no",     "hey",   "oh",      "well",     "sure", "alright",
                                "anyway", "right", "exactly", "whatever", "boom", "blah"};
const Members kSubjects = {"i",      "we",       "you",     "they",     "he",        "she",   "it",
                           "i'm",    "we're",    "you're",  "they're",  "it's",      "he's",  "she's",
                           "i'll",   "we'll",    "let's",   "there's",  "that's",    "there", "here",
                           "nobody", "somebody", "someone", "everyone", "everybody", "people"};
const Members kClauseOpeners = {
    "to",    "of",    "in",    "for",    "on",      "at",       "with",     "from",      "about", "into",
    "by",    "the",   "a",     "an",     "my",      "your",     "our",      "their",     "his",   "her",
    "its",   "can",   "could", "should", "would",   "will",     "shall",    "might",     "may",   "must",
    "don't", "can't", "won't", "didn't", "doesn't", "couldn't", "wouldn't", "shouldn't", "do",    "does",
    "did",   "have",  "has",   "had",    "haven't", "hasn't",   "is",       "are",       "was",   "were",
    "am",    "be",    "been",  "being",  "i'm",     "we're",    "you're",   "they're",   "it's",  "he's",
    "she's", "i'll",  "we'll", "gonna",  "going"};
const Members kConjunctions = {"because", "and",  "but",   "or",    "so",       "then",
                               "if",      "when", "while", "since", "although", "unless"};
const Members kSentenceStarters = {
    "yeah",   "yes",  "no", "not",   "we",   "we'll", "we're", "we've", "it",     "it's",  "and",  "so",
    "anyway", "okay", "ok", "there", "this", "that",  "what",  "how",   "when",   "why",   "can",  "do",
    "does",   "did",  "is", "are",   "was",  "were",  "let's", "maybe", "just",   "also",  "if",   "you",
    "your",   "they", "he", "she",   "my",   "our",   "to",    "be",    "should", "would", "could"};

using Table = std::unordered_set<std::string_view>;

const std::array<Table, 20>& tables() {
  static const std::array<Table, 20> built = {
      Table(kHesitations),
      Table(kPronounI),
      Table(kShortWords),
      Table(kQuantifiers),
      Table(kAbbreviations),
      Table(kIntroductory),
      Table(kDeterminers),
      Table(kDeterminersAndConjunctions),
      Table(kPrepositions),
      Table(kNounsBeforePeriod),
      Table(kListWordNeighbours),
      Table(kWeekdays),
      Table(kFillerFunctionWords),
      Table(kObjectsAndSofteners),
      Table(kCopulasAndSenseVerbs),
      Table(kInterjections),
      Table(kSubjects),
      Table(kClauseOpeners),
      Table(kConjunctions),
      Table(kSentenceStarters),
  };
  return built;
}

}  // namespace

bool contains(Set set, std::string_view lowerWord) {
  const auto& table = tables()[static_cast<std::size_t>(set)];
  if (table.contains(lowerWord)) return true;
  // Curly apostrophes are the same word as straight ones.
  const std::string_view curly = "\u2019";
  const std::size_t at = lowerWord.find(curly);
  if (at == std::string_view::npos) return false;
  std::string straight;
  straight.reserve(lowerWord.size());
  straight.append(lowerWord.substr(0, at)).push_back('\'');
  straight.append(lowerWord.substr(at + curly.size()));
  return table.contains(straight);
}

}  // namespace murvelo::cleanup::words
