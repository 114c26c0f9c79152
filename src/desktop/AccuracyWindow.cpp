#include "desktop/AccuracyWindow.h"

#include <QDateTime>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

#include "app/PhraseRecorder.h"

namespace murvelo::desktop {
namespace {

QString percent(double value) { return QString::number(value, 'f', 0) + " %"; }

QString scoreLine(const AccuracyPhrase& phrase, const PhraseScore& score) {
  const double accuracy = std::max(0.0, 100.0 * (1.0 - score.wer.errorRate()));
  QString line = percent(accuracy) + "   " + QString::fromStdString(phrase.text);
  if (!score.missedWords.empty()) {
    QStringList missed;
    for (const auto& word : score.missedWords) missed << QString::fromStdString(word);
    line += "\n        missed: " + missed.join(", ");
  }
  return line;
}

}  // namespace

AccuracyWindow::AccuracyWindow(PhraseRecorder& recorder, AccuracyProgress& progress,
                               std::vector<AccuracyPhrase> phrases)
    : recorder_(recorder), progress_(progress), phrases_(std::move(phrases)) {
  setWindowTitle("Murvelo — Accuracy test");
  resize(620, 560);
  auto* layout = new QVBoxLayout(this);
  auto* intro = new QLabel(
      "Read each phrase aloud at your usual pace: press Start, read, then press Done. Every reading is "
      "scored by how many words were heard wrong. Nothing is sent anywhere.",
      this);
  intro->setWordWrap(true);
  counter_ = new QLabel(this);
  phrase_ = new QLabel(this);
  phrase_->setWordWrap(true);
  phrase_->setMinimumHeight(64);
  QFont big = phrase_->font();
  big.setPointSizeF(big.pointSizeF() * 1.4);
  phrase_->setFont(big);
  status_ = new QLabel(this);
  status_->setWordWrap(true);
  read_ = new QPushButton(this);
  skip_ = new QPushButton("Skip", this);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(read_);
  buttons->addWidget(skip_);
  buttons->addStretch();
  results_ = new QListWidget(this);
  results_->setWordWrap(true);
  overall_ = new QLabel(this);
  QFont bold = overall_->font();
  bold.setBold(true);
  overall_->setFont(bold);
  progressList_ = new QListWidget(this);
  progressList_->setMaximumHeight(90);
  layout->addWidget(intro);
  layout->addWidget(counter_);
  layout->addWidget(phrase_);
  layout->addLayout(buttons);
  layout->addWidget(status_);
  layout->addWidget(results_, 1);
  layout->addWidget(overall_);
  layout->addWidget(new QLabel("Your scores of the last 14 days", this));
  layout->addWidget(progressList_);
  connect(read_, &QPushButton::clicked, this, [this] { toggleReading(); });
  connect(skip_, &QPushButton::clicked, this, [this] { skip(); });
  progress_.load();
  showProgress();
  showPhrase();
}

AccuracyWindow::~AccuracyWindow() {
  recorder_.cancel();
  setReading(false);
}

void AccuracyWindow::setReadingHooks(std::function<void(bool)> reading, std::function<bool()> mayRecord) {
  readingHook_ = std::move(reading);
  mayRecord_ = std::move(mayRecord);
}

void AccuracyWindow::setReading(bool reading) {
  if (reading == reading_) return;
  reading_ = reading;
  if (readingHook_) readingHook_(reading);
}

void AccuracyWindow::present() {
  show();
  raise();
  activateWindow();
}

void AccuracyWindow::restart() {
  recorder_.cancel();
  setReading(false);
  index_ = 0;
  scores_.clear();
  results_->clear();
  overall_->clear();
  status_->clear();
  showPhrase();
}

void AccuracyWindow::showPhrase() {
  if (finished()) {
    counter_->setText("Done");
    phrase_->setText("That was the last phrase.");
    read_->setText("Start over");
    read_->setEnabled(true);
    skip_->setEnabled(false);
    return;
  }
  const auto& phrase = phrases_[index_];
  counter_->setText(QString("Phrase %1 of %2%3")
                        .arg(index_ + 1)
                        .arg(phrases_.size())
                        .arg(phrase.challenge ? " — challenge: numbers, names and punctuation" : ""));
  phrase_->setText(QString::fromStdString(phrase.text));
  read_->setText("Start");
  read_->setEnabled(true);
  skip_->setEnabled(true);
}

void AccuracyWindow::toggleReading() {
  if (finished()) return restart();
  if (recorder_.recording()) {
    read_->setEnabled(false);
    skip_->setEnabled(false);
    status_->setText("Listening to what you read…");
    recorder_.finish(
        [this](PhraseRecorder::Heard heard) { this->heard(std::move(heard.text), heard.problem); });
    return;
  }
  if (recorder_.busy()) return;
  if (mayRecord_ && !mayRecord_()) {
    status_->setText("A dictation is under way; start the reading when it is done.");
    return;
  }
  setReading(true);
  if (Status started = recorder_.start(); !started) {
    setReading(false);
    status_->setText(QString::fromStdString(started.message()) + "; check the microphone and try again.");
    return;
  }
  status_->setText("Recording — read the phrase, then press Done.");
  read_->setText("Done");
  skip_->setEnabled(false);
}

void AccuracyWindow::skip() {
  if (finished() || recorder_.busy()) return;
  ++index_;
  status_->clear();
  if (finished()) return finish();
  showPhrase();
}

void AccuracyWindow::heard(std::optional<std::string> text, const std::string& problem) {
  setReading(false);
  if (!text) {
    status_->setText(QString::fromStdString(problem) + " — try this phrase again.");
    showPhrase();
    return;
  }
  const auto& phrase = phrases_[index_];
  scores_.push_back(scorePhrase(phrase.text, *text));
  results_->addItem(scoreLine(phrase, scores_.back()));
  results_->scrollToBottom();
  status_->clear();
  ++index_;
  if (finished()) return finish();
  showPhrase();
}

void AccuracyWindow::finish() {
  showPhrase();
  if (scores_.empty()) {
    overall_->setText("No phrase was scored.");
    return;
  }
  const AccuracySummary summary = summarize(scores_);
  overall_->setText(QString("Overall: %1 of words right (%2 errors in %3 words, %4 %5)")
                        .arg(percent(summary.accuracyPercent()))
                        .arg(summary.errors)
                        .arg(summary.referenceWords)
                        .arg(summary.phrases)
                        .arg(summary.phrases == 1 ? "phrase" : "phrases"));
  if (Status saved = progress_.add(summary); !saved)
    status_->setText("The score was not kept: " + QString::fromStdString(saved.message()));
  showProgress();
}

void AccuracyWindow::showProgress() {
  progressList_->clear();
  for (const auto& entry : progress_.entries()) {
    const AccuracySummary summary{entry.errors, entry.referenceWords, entry.phrases};
    auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(entry.date.time_since_epoch()).count();
    progressList_->addItem(
        QDateTime::fromMSecsSinceEpoch(ms).toString("ddd d MMM HH:mm") + "   " +
        percent(summary.accuracyPercent()) +
        QString("   (%1 %2)").arg(entry.phrases).arg(entry.phrases == 1 ? "phrase" : "phrases"));
  }
  if (progress_.entries().empty()) progressList_->addItem("No finished test yet.");
}

}  // namespace murvelo::desktop
