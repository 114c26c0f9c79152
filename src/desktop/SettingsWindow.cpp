// clang-format off
// Before any Qt header: Qt's keyword macros (emit) clash with the capture session's names.
#include "audio/pulse/MicrophoneWatcher.h"
// clang-format on

#include "desktop/SettingsWindow.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QInputDialog>
#include <QLabel>
#include <QListWidget>
#include <QPointer>
#include <QPushButton>
#include <QTabWidget>
#include <QVBoxLayout>

#include "app/SettingsTexts.h"
#include "delivery/PasteKeyChoice.h"

namespace murvelo::desktop {

std::unique_ptr<MicrophoneWatcher> watchMicrophones(
    QObject* owner, int intervalMs, std::function<void(bool serverAnswers, const DeviceList& found)> apply) {
  QPointer<QObject> guard(owner);
  MicrophoneWatcher::Options options;
  options.interval = std::chrono::milliseconds(intervalMs);
  return std::make_unique<MicrophoneWatcher>(
      [guard, apply = std::move(apply)](const MicrophoneWatcher::Snapshot& snapshot) {
        QMetaObject::invokeMethod(
            guard,
            [guard, apply, snapshot] {
              if (guard) apply(snapshot.serverAnswers, snapshot.found);
            },
            Qt::QueuedConnection);
      },
      options);
}

QString hotkeyLabel(HotkeyChoice key) {
  switch (key) {
    case HotkeyChoice::rightOption: return "Right Alt";
    case HotkeyChoice::rightCommand: return "Right Super";
    case HotkeyChoice::rightControl: return "Right Ctrl";
    case HotkeyChoice::fn: return "Fn";
  }
  return {};
}

namespace {

QString qs(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

template <typename E>
void addChoice(QComboBox* box, const QString& label, E value) {
  box->addItem(label, static_cast<int>(value));
}

template <typename E>
void select(QComboBox* box, E value) {
  box->setCurrentIndex(box->findData(static_cast<int>(value)));
}

template <typename E>
E chosen(QComboBox* box) {
  return static_cast<E>(box->currentData().toInt());
}

QLabel* wrapped(QWidget* parent, const QString& text = {}) {
  auto* label = new QLabel(text, parent);
  label->setWordWrap(true);
  return label;
}

}  // namespace

SettingsWindow::SettingsWindow(AppSettings& settings, Services services)
    : settings_(settings), services_(std::move(services)) {
  setWindowTitle("Murvelo Settings");
  auto* layout = new QVBoxLayout(this);
  tabs_ = new QTabWidget(this);
  tabs_->addTab(buildDictationTab(), "Dictation");
  tabs_->addTab(buildMicrophoneTab(), "Microphone");
  tabs_->addTab(buildPasteTab(), "Pasting");
  tabs_->addTab(buildSpeechTab(), "Speech");
  layout->addWidget(tabs_);
  if (services_.openGuide) {
    auto* guide = new QPushButton("Open the first-start guide…", this);
    auto* line = new QHBoxLayout;
    line->addWidget(guide);
    line->addStretch(1);
    layout->addLayout(line);
    connect(guide, &QPushButton::clicked, this, [this] { services_.openGuide(); });
  }
  resize(560, 500);
  load();
  showMicrophones();

  auto onChange = [this](auto apply) {
    return [this, apply] {
      if (!loading_) apply();
    };
  };
  connect(hotkey_, &QComboBox::currentIndexChanged, this,
          onChange([this] { settings_.setHotkey(chosen<HotkeyChoice>(hotkey_)); }));
  connect(mode_, &QComboBox::currentIndexChanged, this,
          onChange([this] { settings_.setRecordingMode(chosen<RecordingMode>(mode_)); }));
  connect(level_, &QComboBox::currentIndexChanged, this,
          onChange([this] { settings_.setCleanupLevel(chosen<CleanupLevel>(level_)); }));
  connect(engine_, &QComboBox::currentIndexChanged, this,
          onChange([this] { settings_.setSpeechEngine(chosen<SpeechEngineChoice>(engine_)); }));
  connect(autoPaste_, &QCheckBox::toggled, this,
          onChange([this] { settings_.setAutoPaste(autoPaste_->isChecked()); }));
  connect(developerWords_, &QCheckBox::toggled, this,
          onChange([this] { settings_.setDeveloperToolsVocabularyEnabled(developerWords_->isChecked()); }));
  connect(openAtLogin_, &QCheckBox::toggled, this,
          onChange([this] { settings_.setOpenAtLogin(openAtLogin_->isChecked()); }));
  connect(microphone_, &QComboBox::currentIndexChanged, this, onChange([this] {
            auto at = static_cast<std::size_t>(microphone_->currentIndex());
            if (at < choices_.entries.size())
              settings_.setMicrophoneSelection(choices_.entries[at].selection);
          }));
  observer_ = settings_.addObserver([this](AppSettings::Field field) {
    load();
    if (field == AppSettings::Field::microphoneSelection ||
        field == AppSettings::Field::microphoneStartupHistory)
      showMicrophones();
  });
}

SettingsWindow::~SettingsWindow() {
  settings_.removeObserver(observer_);
  watcher_.reset();
}

QWidget* SettingsWindow::buildDictationTab() {
  auto* page = new QWidget(this);
  auto* form = new QFormLayout(page);
  hotkey_ = new QComboBox(page);
  for (auto key :
       {HotkeyChoice::rightOption, HotkeyChoice::rightCommand, HotkeyChoice::rightControl, HotkeyChoice::fn})
    addChoice(hotkey_, hotkeyLabel(key), key);
  mode_ = new QComboBox(page);
  addChoice(mode_, "Hold to talk", RecordingMode::hold);
  addChoice(mode_, "Tap to start, tap to stop", RecordingMode::toggle);
  level_ = new QComboBox(page);
  addChoice(level_, "Off — exactly what was said", CleanupLevel::none);
  addChoice(level_, "Tidy — punctuation, capitals, no fillers", CleanupLevel::light);
  addChoice(level_, "Format — Tidy plus paragraphs, lists and e-mail layout", CleanupLevel::format);
  autoPaste_ = new QCheckBox(qs(texts::kAutoPaste), page);
  autoPasteSummary_ = wrapped(page);
  developerWords_ = new QCheckBox("Know developer words (tool, language and library names)", page);
  openAtLogin_ = new QCheckBox("Open Murvelo when I log in", page);
  note_ = wrapped(page);
  form->addRow("Talk key", hotkey_);
  form->addRow("Mode", mode_);
  form->addRow("Cleanup", level_);
  form->addRow(autoPaste_);
  form->addRow(autoPasteSummary_);
  form->addRow(developerWords_);
  form->addRow(openAtLogin_);
  form->addRow(note_);
  return page;
}

QWidget* SettingsWindow::buildMicrophoneTab() {
  auto* page = new QWidget(this);
  auto* layout = new QVBoxLayout(page);
  layout->addWidget(new QLabel("Dictate with", page));
  microphone_ = new QComboBox(page);
  microphone_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
  microphone_->setMinimumContentsLength(30);
  layout->addWidget(microphone_);
  microphoneHint_ = wrapped(page);
  microphoneNote_ = wrapped(page);
  layout->addWidget(microphoneHint_);
  layout->addWidget(microphoneNote_);
  layout->addStretch(1);
  return page;
}

QWidget* SettingsWindow::buildPasteTab() {
  auto* page = new QWidget(this);
  auto* layout = new QVBoxLayout(page);
  QStringList known;
  for (auto name : knownTerminalClasses()) known << qs(name);
  layout->addWidget(wrapped(page,
                            "Terminals take Ctrl+V as a control key, so Murvelo pastes into them with "
                            "Ctrl+Shift+V. It knows " +
                                known.join(", ") +
                                ". Add the window class of any other terminal you use (xprop WM_CLASS "
                                "shows it):"));
  terminals_ = new QListWidget(page);
  layout->addWidget(terminals_, 1);
  auto* buttons = new QHBoxLayout;
  auto* add = new QPushButton("Add…", page);
  removeTerminal_ = new QPushButton("Remove", page);
  buttons->addWidget(add);
  buttons->addWidget(removeTerminal_);
  buttons->addStretch(1);
  layout->addLayout(buttons);
  connect(add, &QPushButton::clicked, this, [this] {
    bool ok = false;
    QString text = QInputDialog::getText(this, "Add a terminal", "Window class:", QLineEdit::Normal, {}, &ok);
    if (ok) addTerminal(text);
  });
  connect(removeTerminal_, &QPushButton::clicked, this, [this] {
    delete terminals_->currentItem();
    storeTerminals();
  });
  connect(terminals_, &QListWidget::itemChanged, this, [this] {
    if (!loading_) storeTerminals();
  });
  connect(terminals_, &QListWidget::currentRowChanged, this,
          [this](int row) { removeTerminal_->setEnabled(row >= 0); });
  return page;
}

QWidget* SettingsWindow::buildSpeechTab() {
  auto* page = new QWidget(this);
  auto* layout = new QVBoxLayout(page);
  auto* form = new QFormLayout;
  engine_ = new QComboBox(page);
  addChoice(engine_, "Automatic (whisper when a model is installed)", SpeechEngineChoice::automatic);
  addChoice(engine_, "Whisper", SpeechEngineChoice::whisper);
  addChoice(engine_, "PocketSphinx (no download, less accurate)", SpeechEngineChoice::pocketsphinx);
  form->addRow("Speech engine", engine_);
  layout->addLayout(form);
  models_ = new ModelManager(services_.models, page);
  layout->addWidget(models_, 1);
  return page;
}

void SettingsWindow::addTerminal(const QString& windowClass) {
  QString name = windowClass.trimmed().toLower();
  if (name.isEmpty() || !terminals_->findItems(name, Qt::MatchFixedString).isEmpty()) return;
  auto* item = new QListWidgetItem(name, terminals_);
  item->setFlags(item->flags() | Qt::ItemIsEditable);
  storeTerminals();
}

void SettingsWindow::storeTerminals() {
  std::vector<std::string> classes;
  for (int i = 0; i < terminals_->count(); ++i) {
    std::string name = terminals_->item(i)->text().trimmed().toLower().toStdString();
    if (!name.empty()) classes.push_back(name);
  }
  settings_.setTerminalWindowClasses(std::move(classes));
}

void SettingsWindow::load() {
  loading_ = true;
  select(hotkey_, settings_.hotkey());
  select(mode_, settings_.recordingMode());
  select(level_,
         settings_.cleanupLevel() == CleanupLevel::medium ? CleanupLevel::format : settings_.cleanupLevel());
  select(engine_, settings_.speechEngine());
  autoPaste_->setChecked(settings_.autoPaste());
  autoPasteSummary_->setText(qs(settings_.autoPaste() ? texts::kAutoPasteOn : texts::kAutoPasteOff));
  developerWords_->setChecked(settings_.developerToolsVocabularyEnabled());
  openAtLogin_->setChecked(settings_.openAtLogin());
  QStringList shown;
  for (int i = 0; i < terminals_->count(); ++i) shown << terminals_->item(i)->text();
  QStringList stored;
  for (const auto& name : settings_.terminalWindowClasses()) stored << QString::fromStdString(name);
  if (shown != stored) {
    terminals_->clear();
    for (const auto& name : stored) {
      auto* item = new QListWidgetItem(name, terminals_);
      item->setFlags(item->flags() | Qt::ItemIsEditable);
    }
  }
  removeTerminal_->setEnabled(terminals_->currentRow() >= 0);
  loading_ = false;
}

void SettingsWindow::showMicrophones() {
  choices_ = listMicrophoneChoices(found_.value_or(DeviceList{}), settings_.microphoneSelection(),
                                   settings_.microphoneStartupHistory());
  loading_ = true;
  microphone_->clear();
  for (const auto& entry : choices_.entries) microphone_->addItem(QString::fromStdString(entry.label));
  microphone_->setCurrentIndex(static_cast<int>(choices_.selected));
  loading_ = false;
  microphoneHint_->setText(QString::fromStdString(choices_.entries[choices_.selected].hint));
  std::string note = choices_.note;
  if (!found_)
    note = "Looking for the audio server…";
  else if (!serverAnswers_)
    note = "No audio server answers: Murvelo cannot hear you. Start PipeWire or PulseAudio.";
  microphoneNote_->setText(QString::fromStdString(note));
}

void SettingsWindow::showEvent(QShowEvent* event) {
  QWidget::showEvent(event);
  models_->refresh();
  if (watcher_) return;
  watcher_ =
      watchMicrophones(this, services_.microphoneIntervalMs, [this](bool answers, const DeviceList& found) {
        serverAnswers_ = answers;
        found_ = found;
        showMicrophones();
      });
}

void SettingsWindow::hideEvent(QHideEvent* event) {
  QWidget::hideEvent(event);
  watcher_.reset();  // nobody looks: no polling
}

void SettingsWindow::setTalkKeyNote(const QString& text) { note_->setText(text); }

void SettingsWindow::present() {
  show();
  raise();
  activateWindow();
}

}  // namespace murvelo::desktop
