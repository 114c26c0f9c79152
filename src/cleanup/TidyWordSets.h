#pragma once

#include <string_view>

namespace murvelo::cleanup::words {

// The fixed word sets of the Tidy engine, lower case. Each is a hashed set built once on first use
// and immutable afterwards; `contains` takes a lower-cased word without surrounding punctuation.
enum class Set {
  hesitations,
  pronounI,
  shortWords,
  quantifiers,
  abbreviationsNotEnding,
  introductoryPhrases,
  determiners,
  determinersAndConjunctions,
  prepositions,
  nounsBeforePeriod,
  listWordNeighbours,
  weekdays,
  // The "like" decisions of the filler stage.
  fillerFunctionWords,
  objectsAndSofteners,
  copulasAndSenseVerbs,
  interjections,
  subjects,
  clauseOpeners,
  conjunctions,
  sentenceStarters,
};

bool contains(Set set, std::string_view lowerWord);

}  // namespace murvelo::cleanup::words
