#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace murvelo {

// Word error rate of a recognised text against the text that was read out. Both pass through the
// same normalisation, so case, punctuation, apostrophes, thousands separators and the spoken form
// of dollar amounts are not errors. Pure and thread-safe.
class WER {
 public:
  using Token = std::string;

  enum class Op { hit, substitution, deletion, insertion };

  struct Result {
    std::int64_t substitutions = 0;
    std::int64_t deletions = 0;
    std::int64_t insertions = 0;
    std::int64_t hits = 0;
    std::vector<std::int64_t> missedReferencePositions;  // reference token indexes not hit

    std::int64_t referenceWords() const { return substitutions + deletions + hits; }
    // (S + D + I) / reference words. With no reference words: 0 when the hypothesis is empty
    // too, else 1.
    double errorRate() const;
    // Adds another text's counts, for a rate over several; the missed positions stay this one's.
    Result& operator+=(const Result& other);

    bool operator==(const Result&) const = default;
  };

  static Result score(std::string_view reference, std::string_view hypothesis);
  static std::vector<Token> normalize(std::string_view text);
  // The alignment steps from the first tokens to the last.
  static std::vector<Op> align(const std::vector<Token>& reference, const std::vector<Token>& hypothesis);
};

}  // namespace murvelo
