#pragma once

#include "cleanup/FormatEngine.h"
#include "cleanup/TranscriptCleaner.h"

namespace murvelo {

class CorrectionsDictionary;

// The cleanup of one transcript at the user's level, then the user's corrections: what the
// dictation controller runs between recognition and delivery.
//   none:   the transcript as recognised;
//   light:  the Tidy stages, the dangling-ending rule, then the reconciliation with the raw text;
//   format, medium: the Format engine; without one, the transcript unchanged ("format-unchanged").
// The corrections follow at every level. Neither engine nor dictionary may fail the run.
class CleanupStep : public TranscriptCleaner {
 public:
  // `format` may be null while there is no layout engine.
  CleanupStep(const cleanup::FormatEngine* format, CorrectionsDictionary& corrections)
      : format_(format), corrections_(corrections) {}

  CleanedTranscript clean(std::string_view rawTranscript, CleanupLevel level, bool sentenceStart,
                          bool developerVocabulary) const override;

  // The level's cleanup alone, without the corrections.
  CleanedTranscript cleanLevel(std::string_view rawTranscript, CleanupLevel level, bool sentenceStart) const;

 private:
  const cleanup::FormatEngine* format_;
  CorrectionsDictionary& corrections_;
};

}  // namespace murvelo
