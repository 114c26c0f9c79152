// The second half of the controller: one run's transcript, from the end of its capture to text
// at the cursor.
#include <filesystem>

#include "app/AppSettings.h"
#include "app/DictationController.h"
#include "audio/Recorder.h"
#include "base/Log.h"
#include "base/TextLength.h"
#include "base/TextTrim.h"
#include "cleanup/TranscriptCleaner.h"
#include "delivery/CursorContextReader.h"
#include "history/HistoryStore.h"
#include "speech/SpeechService.h"

namespace murvelo {
namespace {

const Logger kLog("controller");

bool endsWithLineBreak(std::string_view text) {
  return !text.empty() && (text.back() == '\n' || text.back() == '\r' || text.ends_with("\u2029") ||
                           text.ends_with("\u2028") || text.ends_with("\u0085"));
}

bool startsWithWhitespace(std::string_view text) {
  std::string trimmed = trimWhitespaceAndNewlines(text);
  return !text.empty() && text.compare(0, trimmed.size(), trimmed) != 0;
}

std::int64_t wordCount(std::string_view text) {
  std::int64_t count = 0;
  bool inWord = false;
  for (char c : text) {
    bool space = c == ' ' || c == '\n' || c == '\t' || c == '\r';
    if (!space && !inWord) ++count;
    inWord = !space;
  }
  return count;
}

}  // namespace

void DictationController::finalize(std::int64_t number) {
  Run* run = findRun(number);
  if (!run) return;
  stage(*run, "finalize");
  run->hint = DeviceHint::prepare(run->facts);
  if (!run->usedStreaming) {
    fileFallback(number, "streaming off");
    return;
  }
  std::weak_ptr<int> alive = alive_;
  services_.speech.finishStreaming([alive, this, number](std::optional<std::string> text) {
    if (alive.lock()) streamingAnswered(number, std::move(text));
  });
}

void DictationController::streamingAnswered(std::int64_t number, std::optional<std::string> text) {
  Run* run = findRun(number);
  if (!run) return;
  if (!text) {
    if (services_.speech.streamingSkippedForQuarantine()) {
      fileFallback(number, "finalizer quarantined");
      return;
    }
    stage(*run, "finalize-timeout");
    fileFallback(number, "finalize timed out");
    return;
  }
  run->raw = trimWhitespaceAndNewlines(*text);
  if (run->raw.empty()) {
    fileFallback(number, "empty streaming text");
    return;
  }
  haveTranscript(number);
}

void DictationController::fileFallback(std::int64_t number, const std::string& reason) {
  Run* run = findRun(number);
  if (!run) return;
  stage(*run, "wav-write");
  auto written = services_.recorder.writeWAV(run->audio);
  kLog.info("streaming empty → WAV fallback " + reason);
  if (!written.ok() || !written.value()) {
    noWords(number);
    return;
  }
  std::filesystem::path file = *written.value();
  stage(*run, "wav-transcribe");
  run->awaitingFile = true;
  run->fileLimit =
      services_.loop.postAfter(kFileTranscriptionLimit, guarded([this, number, file] {
                                 Run* waiting = findRun(number);
                                 if (!waiting || !waiting->awaitingFile) return;
                                 kLog.warning("WAV transcribe timed out after " +
                                              std::to_string(kFileTranscriptionLimit.count()) + "s");
                                 std::error_code ignored;
                                 std::filesystem::remove(file, ignored);
                                 fileAnswered(number, {});
                               }));
  std::weak_ptr<int> alive = alive_;
  services_.speech.transcribe(file, [alive, this, number, file](Result<std::string, SpeechError> result) {
    if (!alive.lock()) return;
    Run* waiting = findRun(number);
    if (!waiting || !waiting->awaitingFile) return;  // the limit passed first
    services_.loop.cancel(waiting->fileLimit);
    std::error_code ignored;
    std::filesystem::remove(file, ignored);
    fileAnswered(number, result.ok() ? result.value() : std::string());
  });
}

void DictationController::fileAnswered(std::int64_t number, std::string text) {
  Run* run = findRun(number);
  if (!run) return;
  run->awaitingFile = false;
  run->raw = trimWhitespaceAndNewlines(text);
  if (run->raw.empty()) {
    noWords(number);
    return;
  }
  haveTranscript(number);
}

void DictationController::noWords(std::int64_t number) {
  Run* run = findRun(number);
  if (!run) return;
  // A run the watchdog already reset has had its notice.
  if (isLive(number) && !status_.is(DictationStatus::Kind::recording) &&
      inflightRuns_.size() < kMaxInflight) {
    setStatus(DictationStatus::idle());
    if (!showHint(*run)) flash(notices::kNoWords, notices::kShort);
  }
  finishRun(number);
}

void DictationController::haveTranscript(std::int64_t number) {
  Run* run = findRun(number);
  if (!run) return;
  kLog.info("raw transcript len=" + std::to_string(characterCount(run->raw)));
  if (!isLive(number)) {
    kLog.info("run " + std::to_string(number) + " abandoned pre-cleanup");
    finishRun(number);
    return;
  }
  stage(*run, "context");
  std::weak_ptr<int> alive = alive_;
  services_.cursor.read([alive, this, number](CursorContext context) {
    if (alive.lock()) contextRead(number, std::move(context));
  });
}

void DictationController::contextRead(std::int64_t number, CursorContext context) {
  Run* run = findRun(number);
  if (!run) return;
  run->cursor = std::move(context);
  stage(*run, "cleanup");
  if (!status_.is(DictationStatus::Kind::recording) && !status_.is(DictationStatus::Kind::message))
    setStatus(DictationStatus::cleaning());
  CleanedTranscript cleaned = services_.cleaner.clean(run->raw, run->level, run->cursor.startsSentence(),
                                                      services_.settings.developerToolsVocabularyEnabled());
  run->working = std::move(cleaned.text);

  if (!isLive(number)) {
    kLog.info("run " + std::to_string(number) + " abandoned pre-insert");
    finishRun(number);
    return;
  }
  // Cleanup can remove everything that was said ("um"); a lone space is not worth pasting.
  if (trimWhitespaceAndNewlines(run->working).empty()) {
    noWords(number);
    return;
  }
  stage(*run, "insert");
  std::string payload;
  if (run->cursor.needsLeadingSpace() && !startsWithWhitespace(run->working)) payload = " ";
  payload += run->working;
  if (!endsWithLineBreak(run->working)) payload += " ";
  pasteQueue_.push({number, std::move(payload), services_.settings.autoPaste()});
  drainPasteQueue();
}

void DictationController::drainPasteQueue() {
  if (drainingPaste_) return;
  drainingPaste_ = true;
  while (auto entry = pasteQueue_.popReady(inflightRuns_)) {
    if (!isLive(entry->run)) {
      kLog.info("run " + std::to_string(entry->run) + " abandoned pre-insert");
      finishRun(entry->run);
      continue;
    }
    TextInserter::Outcome outcome = services_.inserter.insert(entry->payload, entry->autoPaste, entry->run);
    lastOutcome_ = outcome;
    delivered(entry->run, outcome, entry->payload);
  }
  drainingPaste_ = false;
}

void DictationController::delivered(std::int64_t number, TextInserter::Outcome outcome,
                                    const std::string& payload) {
  Run* run = findRun(number);
  if (!run) return;
  kLog.info("insert outcome=" + std::string(outcomeName(outcome)) +
            " rawLen=" + std::to_string(characterCount(run->raw)) +
            " finalLen=" + std::to_string(characterCount(payload)));
  stage(*run, "done");
  double elapsed = std::chrono::duration<double>(services_.loop.now() - run->releasedAt).count();
  services_.history.add(run->working, run->heldSeconds, elapsed, run->level, wordCount(run->raw));

  if (!status_.is(DictationStatus::Kind::recording)) {
    if (outcome == TextInserter::Outcome::copiedToClipboard)
      flash(notices::kCopied, notices::kCopyHint);
    else if (!showHint(*run))
      flash(notices::kTyping, notices::kTypingFlash);
  }
  finishRun(number);
}

void DictationController::finishRun(std::int64_t number) {
  if (Run* run = findRun(number)) {
    services_.loop.cancel(run->watchdog);
    services_.loop.cancel(run->fileLimit);
    runs_.erase(number);
  }
  inflightRuns_.erase(number);
  processing_ = !inflightRuns_.empty();
  if (inflightRuns_.empty() &&
      (status_.is(DictationStatus::Kind::transcribing) || status_.is(DictationStatus::Kind::cleaning)))
    setStatus(DictationStatus::idle());
  drainDeferredBegin();
  drainPasteQueue();
}

}  // namespace murvelo
