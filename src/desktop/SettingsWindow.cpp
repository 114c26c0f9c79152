#include "desktop/SettingsWindow.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QLabel>

namespace murvelo::desktop {

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

}  // namespace

SettingsWindow::SettingsWindow(AppSettings& settings) : settings_(settings) {
  setWindowTitle("Murvelo Settings");
  auto* form = new QFormLayout(this);
  hotkey_ = new QComboBox(this);
  for (auto key :
       {HotkeyChoice::rightOption, HotkeyChoice::rightCommand, HotkeyChoice::rightControl, HotkeyChoice::fn})
    addChoice(hotkey_, hotkeyLabel(key), key);
  mode_ = new QComboBox(this);
  addChoice(mode_, "Hold to talk", RecordingMode::hold);
  addChoice(mode_, "Tap to start, tap to stop", RecordingMode::toggle);
  level_ = new QComboBox(this);
  addChoice(level_, "Off", CleanupLevel::none);
  addChoice(level_, "Tidy", CleanupLevel::light);
  addChoice(level_, "Format", CleanupLevel::format);
  engine_ = new QComboBox(this);
  addChoice(engine_, "Automatic (whisper when a model is installed)", SpeechEngineChoice::automatic);
  addChoice(engine_, "Whisper", SpeechEngineChoice::whisper);
  addChoice(engine_, "PocketSphinx", SpeechEngineChoice::pocketsphinx);
  autoPaste_ = new QCheckBox("Paste at the cursor (otherwise copy only)", this);
  openAtLogin_ = new QCheckBox("Open Murvelo when I log in", this);
  note_ = new QLabel(this);
  note_->setWordWrap(true);
  form->addRow("Talk key", hotkey_);
  form->addRow("Mode", mode_);
  form->addRow("Cleanup", level_);
  form->addRow("Speech engine", engine_);
  form->addRow(autoPaste_);
  form->addRow(openAtLogin_);
  form->addRow(note_);
  load();

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
  connect(openAtLogin_, &QCheckBox::toggled, this,
          onChange([this] { settings_.setOpenAtLogin(openAtLogin_->isChecked()); }));
  observer_ = settings_.addObserver([this](AppSettings::Field) { load(); });
}

SettingsWindow::~SettingsWindow() { settings_.removeObserver(observer_); }

void SettingsWindow::load() {
  loading_ = true;
  select(hotkey_, settings_.hotkey());
  select(mode_, settings_.recordingMode());
  select(level_,
         settings_.cleanupLevel() == CleanupLevel::medium ? CleanupLevel::format : settings_.cleanupLevel());
  select(engine_, settings_.speechEngine());
  autoPaste_->setChecked(settings_.autoPaste());
  openAtLogin_->setChecked(settings_.openAtLogin());
  loading_ = false;
}

void SettingsWindow::setTalkKeyNote(const QString& text) { note_->setText(text); }

void SettingsWindow::present() {
  show();
  raise();
  activateWindow();
}

}  // namespace murvelo::desktop
