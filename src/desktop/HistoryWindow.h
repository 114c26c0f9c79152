#pragma once

#include <QWidget>
#include <cstdint>
#include <functional>
#include <string>

class QLabel;
class QLineEdit;
class QListWidget;
class QPlainTextEdit;
class QPushButton;
class QTabWidget;
class QTableWidget;

namespace murvelo {
class CorrectionsDictionary;
class HistoryStore;
}  // namespace murvelo

namespace murvelo::desktop {

// Recent dictations (copy one, flag one that came out wrong, clear them all) and "My Words", the
// user's corrections (add, change, remove), which count from the next dictation on.
class HistoryWindow : public QWidget {
 public:
  using Copy = std::function<void(const std::string&)>;

  HistoryWindow(HistoryStore& history, CorrectionsDictionary& corrections, Copy copy);
  ~HistoryWindow() override;

  void present();
  void showWords();

  // The window's actions, as its buttons run them; clearHistory asks first unless told not to.
  void copySelected();
  void toggleFlagSelected();
  void clearHistory(bool ask = true);
  void addWord();
  void saveWord();
  void removeWord();

  QTabWidget* tabs() const { return tabs_; }
  QListWidget* list() const { return list_; }
  QPlainTextEdit* detail() const { return detail_; }
  QPushButton* flagButton() const { return flag_; }
  QTableWidget* words() const { return words_; }
  QLineEdit* wrongEdit() const { return wrong_; }
  QLineEdit* rightEdit() const { return right_; }
  QLabel* wordsNote() const { return wordsNote_; }

 private:
  QWidget* buildRecent();
  QWidget* buildWords();
  void reloadHistory();
  void reloadWords();
  void historySelectionChanged();
  void wordSelectionChanged();
  std::string selectedItemId() const;
  std::string selectedWordId() const;
  void say(const QString& text, bool problem);

  HistoryStore& history_;
  CorrectionsDictionary& corrections_;
  Copy copy_;
  std::uint64_t observer_ = 0;
  QTabWidget* tabs_ = nullptr;
  QListWidget* list_ = nullptr;
  QPlainTextEdit* detail_ = nullptr;
  QPushButton* copyButton_ = nullptr;
  QPushButton* flag_ = nullptr;
  QPushButton* clear_ = nullptr;
  QLabel* recentNote_ = nullptr;
  QTableWidget* words_ = nullptr;
  QLineEdit* wrong_ = nullptr;
  QLineEdit* right_ = nullptr;
  QPushButton* add_ = nullptr;
  QPushButton* save_ = nullptr;
  QPushButton* remove_ = nullptr;
  QLabel* wordsNote_ = nullptr;
};

}  // namespace murvelo::desktop
