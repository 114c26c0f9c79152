#include "desktop/ToolWindows.h"

#include "accuracy/AccuracyTest.h"
#include "app/PhraseRecorder.h"
#include "desktop/AccuracyWindow.h"
#include "desktop/DictationBackends.h"
#include "desktop/HistoryWindow.h"
#include "desktop/SupportReportSaver.h"

namespace murvelo::desktop {

ToolWindows::ToolWindows(DictationBackends& dictation, DefaultsStore& defaults,
                         std::function<void(const std::string&)> copy)
    : dictation_(dictation), defaults_(defaults), copy_(std::move(copy)) {
  reports_ = std::make_unique<SupportReportSaver>(defaults_, [this] {
    std::vector<SupportReport::Probe> probes;
    if (auto* key = dictation_.talkKey())
      probes.push_back({"talk key in murvelo", key->listening() && !key->paused(),
                        key->paused()      ? "paused from the menu"
                        : key->listening() ? "listening"
                                           : "not listening"});
    else
      probes.push_back({"talk key in murvelo", false, dictation_.keySourceProblem()});
    probes.push_back(
        {"microphone in murvelo", dictation_.recorderAvailable(),
         dictation_.recorderAvailable() ? "the audio server answers" : "the audio server does not answer"});
    return probes;
  });
}

ToolWindows::~ToolWindows() {
  // The windows use the recorder and the stores: they go first.
  accuracy_.reset();
  history_.reset();
  phrases_.reset();
}

HistoryWindow& ToolWindows::historyWindow() {
  if (!history_)
    history_ =
        std::make_unique<HistoryWindow>(dictation_.env().history(), dictation_.env().corrections(), copy_);
  return *history_;
}

void ToolWindows::showHistory() { historyWindow().present(); }

void ToolWindows::showWords() { historyWindow().showWords(); }

void ToolWindows::showAccuracyTest() {
  if (!accuracy_) {
    progress_ = std::make_unique<AccuracyProgress>(defaults_);
    phrases_ = std::make_unique<PhraseRecorder>(dictation_.loop(), dictation_.recorder(),
                                                *dictation_.env().speechEngine());
    accuracy_ = std::make_unique<AccuracyWindow>(*phrases_, *progress_);
    // A reading and a dictation share the microphone: the talk key rests while the user reads.
    accuracy_->setReadingHooks(
        [this](bool reading) {
          auto* key = dictation_.talkKey();
          if (!key) return;
          if (reading && !key->paused()) {
            key->pause();
            pausedForReading_ = true;
          } else if (!reading && pausedForReading_) {
            key->resume();
            pausedForReading_ = false;
          }
        },
        [this] {
          auto& controller = dictation_.controller();
          return !controller.isRecording() && controller.inflightRuns().empty();
        });
  }
  accuracy_->present();
}

void ToolWindows::saveSupportReport() { reports_->save(nullptr); }

}  // namespace murvelo::desktop
