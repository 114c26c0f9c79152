#pragma once

#include <QWidget>
#include <functional>
#include <vector>

#include "accuracy/AccuracyTest.h"

class QLabel;
class QListWidget;
class QPushButton;

namespace murvelo {
class PhraseRecorder;
}

namespace murvelo::desktop {

// The accuracy test: the user reads each phrase aloud into the program's own microphone and
// speech engine; each reading is scored by word error rate with the words that were missed, then
// the whole test, and the scores of the last 14 days are shown. Nothing leaves the computer.
class AccuracyWindow : public QWidget {
 public:
  AccuracyWindow(PhraseRecorder& recorder, AccuracyProgress& progress,
                 std::vector<AccuracyPhrase> phrases = accuracyPhrases());

  // Told when a reading starts and ends, so the program can keep its talk key off meanwhile; a
  // false `mayRecord` keeps a reading from starting (a dictation is under way).
  void setReadingHooks(std::function<void(bool)> reading, std::function<bool()> mayRecord);
  ~AccuracyWindow() override;

  void present();
  // Starts over from the first phrase.
  void restart();
  // What the main button does: start reading the current phrase, or stop and score it.
  void toggleReading();
  // Skips the current phrase unscored.
  void skip();

  bool finished() const { return index_ >= phrases_.size(); }
  std::size_t index() const { return index_; }
  const std::vector<PhraseScore>& scores() const { return scores_; }
  QPushButton* readButton() const { return read_; }
  QLabel* statusLabel() const { return status_; }
  QLabel* overallLabel() const { return overall_; }
  QListWidget* results() const { return results_; }
  QListWidget* progressList() const { return progressList_; }

 private:
  void showPhrase();
  void heard(std::optional<std::string> text, const std::string& problem);
  void finish();
  void showProgress();

  void setReading(bool reading);

  PhraseRecorder& recorder_;
  std::function<void(bool)> readingHook_;
  std::function<bool()> mayRecord_;
  bool reading_ = false;
  AccuracyProgress& progress_;
  std::vector<AccuracyPhrase> phrases_;
  std::size_t index_ = 0;
  std::vector<PhraseScore> scores_;
  QLabel* counter_ = nullptr;
  QLabel* phrase_ = nullptr;
  QLabel* status_ = nullptr;
  QPushButton* read_ = nullptr;
  QPushButton* skip_ = nullptr;
  QListWidget* results_ = nullptr;
  QLabel* overall_ = nullptr;
  QListWidget* progressList_ = nullptr;
};

}  // namespace murvelo::desktop
