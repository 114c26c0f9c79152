#include "desktop/HistoryWindow.h"

#include <QDateTime>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QTableWidget>
#include <QVBoxLayout>
#include <chrono>

#include "cleanup/CorrectionsDictionary.h"
#include "history/HistoryStore.h"

namespace murvelo::desktop {
namespace {

constexpr int kPreviewChars = 90;
constexpr int kIdRole = Qt::UserRole;

QString qs(const std::string& text) { return QString::fromStdString(text); }

// One line however long or many-lined the text is, so a row never grows.
QString oneLine(const std::string& text, int limit) {
  QString line = qs(text).simplified();
  if (line.size() > limit) line = line.left(limit - 1).trimmed() + "…";
  return line;
}

QString when(HistoryStore::TimePoint date) {
  auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(date.time_since_epoch()).count();
  QDateTime local = QDateTime::fromMSecsSinceEpoch(ms);
  if (local.date() == QDate::currentDate()) return local.toString("HH:mm");
  return local.toString("ddd d MMM HH:mm");
}

}  // namespace

HistoryWindow::HistoryWindow(HistoryStore& history, CorrectionsDictionary& corrections, Copy copy)
    : history_(history), corrections_(corrections), copy_(std::move(copy)) {
  setWindowTitle("Murvelo — History and My Words");
  resize(640, 460);
  auto* layout = new QVBoxLayout(this);
  tabs_ = new QTabWidget(this);
  tabs_->addTab(buildRecent(), "Recent dictations");
  tabs_->addTab(buildWords(), "My Words");
  layout->addWidget(tabs_);
  observer_ = history_.addObserver([this] { reloadHistory(); });
  reloadHistory();
  reloadWords();
}

HistoryWindow::~HistoryWindow() { history_.removeObserver(observer_); }

QWidget* HistoryWindow::buildRecent() {
  auto* page = new QWidget(this);
  auto* layout = new QVBoxLayout(page);
  list_ = new QListWidget(page);
  list_->setUniformItemSizes(true);
  list_->setTextElideMode(Qt::ElideRight);
  list_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  detail_ = new QPlainTextEdit(page);
  detail_->setReadOnly(true);
  detail_->setMaximumHeight(120);
  detail_->setPlaceholderText("Choose a dictation to see all of it.");
  copyButton_ = new QPushButton("Copy", page);
  flag_ = new QPushButton("Flag as wrong", page);
  flag_->setToolTip("Mark a dictation that came out wrong, so you can find it again");
  clear_ = new QPushButton("Clear all…", page);
  recentNote_ = new QLabel(page);
  recentNote_->setWordWrap(true);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(copyButton_);
  buttons->addWidget(flag_);
  buttons->addStretch();
  buttons->addWidget(clear_);
  layout->addWidget(list_, 1);
  layout->addWidget(detail_);
  layout->addLayout(buttons);
  layout->addWidget(recentNote_);
  connect(list_, &QListWidget::currentRowChanged, this, [this] { historySelectionChanged(); });
  connect(list_, &QListWidget::itemDoubleClicked, this, [this] { copySelected(); });
  connect(copyButton_, &QPushButton::clicked, this, [this] { copySelected(); });
  connect(flag_, &QPushButton::clicked, this, [this] { toggleFlagSelected(); });
  connect(clear_, &QPushButton::clicked, this, [this] { clearHistory(); });
  return page;
}

QWidget* HistoryWindow::buildWords() {
  auto* page = new QWidget(this);
  auto* layout = new QVBoxLayout(page);
  auto* intro = new QLabel(
      "When the recogniser keeps mishearing a word, tell Murvelo what it hears and what you want "
      "written. Any capitalisation of the heard word matches; changes count from your next dictation.",
      page);
  intro->setWordWrap(true);
  words_ = new QTableWidget(0, 2, page);
  words_->setHorizontalHeaderLabels({"Heard", "Write instead"});
  words_->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
  words_->verticalHeader()->hide();
  words_->setSelectionBehavior(QAbstractItemView::SelectRows);
  words_->setSelectionMode(QAbstractItemView::SingleSelection);
  words_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  words_->setWordWrap(false);
  words_->setTextElideMode(Qt::ElideRight);
  wrong_ = new QLineEdit(page);
  wrong_->setPlaceholderText("heard (e.g. git hub)");
  right_ = new QLineEdit(page);
  right_->setPlaceholderText("write instead (e.g. GitHub)");
  add_ = new QPushButton("Add", page);
  save_ = new QPushButton("Save change", page);
  remove_ = new QPushButton("Remove", page);
  wordsNote_ = new QLabel(page);
  wordsNote_->setWordWrap(true);
  auto* form = new QHBoxLayout;
  form->addWidget(wrong_, 1);
  form->addWidget(new QLabel("→", page));
  form->addWidget(right_, 1);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(add_);
  buttons->addWidget(save_);
  buttons->addStretch();
  buttons->addWidget(remove_);
  layout->addWidget(intro);
  layout->addWidget(words_, 1);
  layout->addLayout(form);
  layout->addLayout(buttons);
  layout->addWidget(wordsNote_);
  connect(words_, &QTableWidget::itemSelectionChanged, this, [this] { wordSelectionChanged(); });
  connect(add_, &QPushButton::clicked, this, [this] { addWord(); });
  connect(save_, &QPushButton::clicked, this, [this] { saveWord(); });
  connect(remove_, &QPushButton::clicked, this, [this] { removeWord(); });
  connect(wrong_, &QLineEdit::returnPressed, this, [this] { addWord(); });
  connect(right_, &QLineEdit::returnPressed, this, [this] { addWord(); });
  return page;
}

void HistoryWindow::present() {
  reloadWords();
  show();
  raise();
  activateWindow();
}

void HistoryWindow::showWords() {
  tabs_->setCurrentIndex(1);
  present();
}

void HistoryWindow::reloadHistory() {
  const std::string keep = selectedItemId();
  list_->clear();
  int row = 0, select = -1;
  for (const auto& item : history_.items()) {
    QString label =
        when(item.date) + "   " + (item.flaggedWrong ? "⚑ " : "") + oneLine(item.text, kPreviewChars);
    auto* entry = new QListWidgetItem(label, list_);
    entry->setData(kIdRole, qs(item.id));
    entry->setToolTip(item.flaggedWrong ? "Flagged as wrong" : QString());
    if (item.id == keep) select = row;
    ++row;
  }
  if (history_.items().empty())
    recentNote_->setText("No dictations in the last seven days.");
  else
    recentNote_->setText(QString("%1 dictation(s) from the last seven days, kept on this computer only.")
                             .arg(history_.items().size()));
  list_->setCurrentRow(select >= 0 ? select : (row > 0 ? 0 : -1));
  historySelectionChanged();
  clear_->setEnabled(row > 0);
}

void HistoryWindow::historySelectionChanged() {
  const std::string id = selectedItemId();
  const HistoryStore::Item* found = nullptr;
  for (const auto& item : history_.items())
    if (item.id == id) found = &item;
  detail_->setPlainText(found ? qs(found->text) : QString());
  copyButton_->setEnabled(found != nullptr);
  flag_->setEnabled(found != nullptr);
  flag_->setText(found && found->flaggedWrong ? "Remove flag" : "Flag as wrong");
}

std::string HistoryWindow::selectedItemId() const {
  auto* item = list_ ? list_->currentItem() : nullptr;
  return item ? item->data(kIdRole).toString().toStdString() : std::string();
}

void HistoryWindow::copySelected() {
  const std::string id = selectedItemId();
  for (const auto& item : history_.items()) {
    if (item.id != id) continue;
    if (copy_) copy_(item.text);
    recentNote_->setText("Copied.");
  }
}

void HistoryWindow::toggleFlagSelected() {
  const std::string id = selectedItemId();
  for (const auto& item : history_.items()) {
    if (item.id != id) continue;
    Status status = history_.setFlagged(id, !item.flaggedWrong);
    if (!status) recentNote_->setText("Not saved: " + qs(status.message()));
    return;
  }
}

void HistoryWindow::clearHistory(bool ask) {
  if (ask &&
      QMessageBox::question(this, "Clear history", "Forget every recent dictation?") != QMessageBox::Yes)
    return;
  Status status = history_.clear();
  if (!status) recentNote_->setText("Not saved: " + qs(status.message()));
}

void HistoryWindow::reloadWords() {
  corrections_.refresh();
  const std::string keep = selectedWordId();
  words_->blockSignals(true);
  words_->setRowCount(0);
  int row = 0;
  for (const auto& entry : corrections_.entries()) {
    words_->insertRow(row);
    auto* wrong = new QTableWidgetItem(oneLine(entry.wrong, kPreviewChars));
    wrong->setData(kIdRole, qs(entry.id));
    wrong->setToolTip(qs(entry.wrong).left(500));
    auto* right = new QTableWidgetItem(oneLine(entry.right, kPreviewChars));
    right->setToolTip(qs(entry.right).left(500));
    words_->setItem(row, 0, wrong);
    words_->setItem(row, 1, right);
    if (entry.id == keep) words_->selectRow(row);
    ++row;
  }
  words_->blockSignals(false);
  wordSelectionChanged();
}

std::string HistoryWindow::selectedWordId() const {
  if (!words_) return {};
  auto rows = words_->selectionModel()->selectedRows();
  if (rows.isEmpty()) return {};
  auto* item = words_->item(rows.first().row(), 0);
  return item ? item->data(kIdRole).toString().toStdString() : std::string();
}

void HistoryWindow::wordSelectionChanged() {
  const std::string id = selectedWordId();
  save_->setEnabled(!id.empty());
  remove_->setEnabled(!id.empty());
  if (id.empty()) return;
  for (const auto& entry : corrections_.entries()) {
    if (entry.id != id) continue;
    wrong_->setText(qs(entry.wrong));
    right_->setText(qs(entry.right));
  }
}

void HistoryWindow::say(const QString& text, bool problem) {
  wordsNote_->setStyleSheet(problem ? "color: #b00020;" : QString());
  wordsNote_->setText(text);
}

void HistoryWindow::addWord() {
  const std::string wrong = wrong_->text().trimmed().toStdString();
  const std::string right = right_->text().trimmed().toStdString();
  if (wrong.empty() || right.empty()) return say("Fill in both what is heard and what to write.", true);
  Status status = corrections_.add(wrong, right);
  words_->clearSelection();
  reloadWords();
  if (!status) return say("Not saved: " + qs(status.message()), true);
  wrong_->clear();
  right_->clear();
  say("Added. It counts from your next dictation.", false);
}

void HistoryWindow::saveWord() {
  const std::string id = selectedWordId();
  if (id.empty()) return say("Choose the word to change first.", true);
  Status status =
      corrections_.edit(id, wrong_->text().trimmed().toStdString(), right_->text().trimmed().toStdString());
  reloadWords();
  if (!status) return say("Not saved: " + qs(status.message()), true);
  say("Changed. It counts from your next dictation.", false);
}

void HistoryWindow::removeWord() {
  const std::string id = selectedWordId();
  for (const auto& entry : corrections_.entries()) {
    if (entry.id != id) continue;
    Status saved = Status::ok();
    corrections_.remove(entry.wrong, saved);
    words_->clearSelection();
    reloadWords();
    wrong_->clear();
    right_->clear();
    if (!saved) return say("Not saved: " + qs(saved.message()), true);
    return say("Removed.", false);
  }
}

}  // namespace murvelo::desktop
