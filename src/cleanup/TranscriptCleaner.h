#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cleanup/CleanupLevel.h"
#include "cleanup/FormatEdit.h"

namespace murvelo {

// The cleanup of one transcript as the dictation controller runs it: the chosen level's cleanup,
// then the user's corrections.
struct CleanedTranscript {
  std::string text;
  std::vector<FormatEdit> edits;
  std::optional<std::string> fallback;  // the identifier of the guard or check that fell back
};

class TranscriptCleaner {
 public:
  virtual ~TranscriptCleaner() = default;
  virtual CleanedTranscript clean(std::string_view rawTranscript, CleanupLevel level, bool sentenceStart,
                                  bool developerVocabulary) const = 0;
};

}  // namespace murvelo
