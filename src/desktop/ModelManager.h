#pragma once

#include <QWidget>
#include <atomic>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "base/Status.h"

class QComboBox;
class QLabel;
class QProgressBar;
class QPushButton;
class QTreeWidget;

namespace murvelo::desktop {

// Where a model is fetched from, what it must hash to, and the most it may weigh.
struct ModelSource {
  std::string url;
  std::string sha1;
  std::uint64_t maxBytes = 0;
};
using ModelSourceLookup = std::function<std::optional<ModelSource>(const std::string& name)>;
// The official file of a catalogue model; none for a name the catalogue does not have.
std::optional<ModelSource> officialSource(const std::string& name);

// One model download at a time, off the GUI thread: a progress bar with the sizes, a Cancel
// button, and a line that says how it ended and why. The downloader checks the published
// checksum before anything is installed.
class ModelDownloadRow : public QWidget {
 public:
  explicit ModelDownloadRow(QWidget* parent = nullptr);
  ~ModelDownloadRow() override;

  // Told on the GUI thread when a download ends, installed or not.
  void setFinished(std::function<void(const std::string& name, const Status&)> finished) {
    finished_ = std::move(finished);
  }
  // False when a download is already running.
  bool start(const std::string& name);
  void cancel();
  bool busy() const { return running_; }
  void setSource(ModelSourceLookup source) { source_ = std::move(source); }

  QProgressBar* bar() const { return bar_; }
  QPushButton* cancelButton() const { return cancel_; }
  QLabel* status() const { return status_; }

 private:
  void progressed(std::uint64_t received, std::uint64_t total);
  void ended(const std::string& name, const Status& status);

  QProgressBar* bar_;
  QPushButton* cancel_;
  QLabel* status_;
  std::function<void(const std::string&, const Status&)> finished_;
  ModelSourceLookup source_ = officialSource;
  std::shared_ptr<std::atomic<bool>> cancelFlag_;
  bool running_ = false;
  std::thread worker_;
};

// The speech models of the settings: the installed ones (which one the engine uses, delete),
// and the official ones to download.
class ModelManager : public QWidget {
 public:
  struct Hooks {
    std::function<std::optional<std::filesystem::path>()> modelInUse;
    std::function<void()> modelsChanged;  // an install or a removal: the engine reloads
    ModelSourceLookup source;             // none: the official files
  };

  explicit ModelManager(Hooks hooks, QWidget* parent = nullptr);

  void refresh();
  void download(const std::string& name);
  // Removes the model of the selected row.
  void removeSelected();

  QTreeWidget* installedList() const { return installed_; }
  QComboBox* offers() const { return offers_; }
  QPushButton* downloadButton() const { return download_; }
  QPushButton* deleteButton() const { return delete_; }
  ModelDownloadRow* row() const { return row_; }
  QLabel* message() const { return message_; }

 private:
  Hooks hooks_;
  QTreeWidget* installed_;
  QPushButton* delete_;
  QComboBox* offers_;
  QPushButton* download_;
  ModelDownloadRow* row_;
  QLabel* message_;
};

}  // namespace murvelo::desktop
