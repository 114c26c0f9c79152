// clang-format off
// Before any Qt header: Qt's keyword macros (emit) clash with the capture session's names.
#include "audio/pulse/MicrophoneWatcher.h"
// clang-format on

#include "desktop/SetupGuide.h"

#include <QApplication>
#include <QClipboard>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPointer>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

#include "audio/DeviceResolution.h"
#include "audio/InputLevel.h"
#include "desktop/ModelManager.h"
#include "desktop/SettingsWindow.h"

namespace murvelo::desktop {
namespace {

QString qs(const std::string& text) { return QString::fromStdString(text); }

QString mark(CheckOutcome::State state) {
  switch (state) {
    case CheckOutcome::State::ready: return "✔ ";
    case CheckOutcome::State::needsAction: return "✘ ";
    case CheckOutcome::State::checking: return "… ";
  }
  return {};
}

}  // namespace

CheckPage::CheckPage(const QString& title, std::function<CheckOutcome()> check, QWidget* parent)
    : QWizardPage(parent), check_(std::move(check)) {
  setTitle(title);
  auto* layout = new QVBoxLayout(this);
  status_ = new QLabel(this);
  status_->setWordWrap(true);
  QFont bold = status_->font();
  bold.setBold(true);
  status_->setFont(bold);
  fix_ = new QLabel(this);
  fix_->setWordWrap(true);
  // The whole command in view, wrapped, to read and to select.
  command_ = new QLabel(this);
  command_->setWordWrap(true);
  command_->setTextFormat(Qt::PlainText);
  command_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  command_->setFrameShape(QFrame::StyledPanel);
  command_->setMargin(4);
  command_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  copy_ = new QPushButton("Copy", this);
  auto* commandLine = new QHBoxLayout;
  commandLine->addWidget(command_, 1);
  commandLine->addWidget(copy_);
  extra_ = new QWidget(this);
  auto* extraLayout = new QVBoxLayout(extra_);
  extraLayout->setContentsMargins(0, 8, 0, 0);
  layout->addWidget(status_);
  layout->addWidget(fix_);
  layout->addLayout(commandLine);
  layout->addWidget(extra_);
  layout->addStretch(1);
  connect(copy_, &QPushButton::clicked, this,
          [this] { QApplication::clipboard()->setText(command_->text()); });
  timer_ = new QTimer(this);
  timer_->setInterval(1000);
  connect(timer_, &QTimer::timeout, this, [this] { recheck(); });
}

void CheckPage::recheck() {
  outcome_ = check_ ? check_() : CheckOutcome{};
  status_->setText(mark(outcome_.state) + qs(outcome_.status));
  QPalette palette = status_->palette();
  palette.setColor(QPalette::WindowText, outcome_.ready() ? QColor(0x1a, 0x7f, 0x37)
                                         : outcome_.state == CheckOutcome::State::needsAction
                                             ? QColor(0xb3, 0x26, 0x1e)
                                             : palette.color(QPalette::WindowText));
  status_->setPalette(palette);
  fix_->setText(qs(outcome_.fix));
  fix_->setVisible(!outcome_.fix.empty());
  command_->setText(qs(outcome_.command));
  command_->setVisible(!outcome_.command.empty());
  copy_->setVisible(!outcome_.command.empty());
}

void CheckPage::initializePage() { recheck(); }
void CheckPage::cleanupPage() { timer_->stop(); }

void CheckPage::showEvent(QShowEvent* event) {
  QWizardPage::showEvent(event);
  recheck();
  timer_->start();
}

void CheckPage::hideEvent(QHideEvent* event) {
  QWizardPage::hideEvent(event);
  timer_->stop();
}

SetupGuide::SetupGuide(AppSettings& settings, Probes probes)
    : settings_(settings), probes_(std::move(probes)) {
  setWindowTitle("Welcome to Murvelo");
  setWizardStyle(QWizard::ClassicStyle);
  setOption(QWizard::NoBackButtonOnStartPage);

  auto* microphone = addCheck(microphonePage, "Microphone", [this] { return microphoneOutcome(); });
  auto* meterBox = microphone->extra()->layout();
  meterBox->addWidget(new QLabel("Say something: the bar follows your voice.", microphone->extra()));
  level_ = new QProgressBar(microphone->extra());
  level_->setRange(0, 100);
  level_->setTextVisible(false);
  meterBox->addWidget(level_);
  levelTimer_ = new QTimer(this);
  levelTimer_->setInterval(50);
  connect(levelTimer_, &QTimer::timeout, this, [this] { meterLevel(); });
  levelTimer_->start();

  addCheck(talkKeyPage, "Talk key", [this] {
    TalkKeyFacts facts = probes_.talkKey ? probes_.talkKey() : TalkKeyFacts{};
    facts.keyName = hotkeyLabel(settings_.hotkey()).toStdString();
    return checkTalkKey(facts);
  });

  auto* accessibility = addCheck(accessibilityPage, "Accessibility", [this] {
    auto enabled = probes_.accessibility ? probes_.accessibility() : std::nullopt;
    if (enableAccessibility_) enableAccessibility_->setVisible(enabled.has_value() && !*enabled);
    return checkAccessibility(enabled);
  });
  enableAccessibility_ = new QPushButton("Turn accessibility on for this session", accessibility->extra());
  accessibilityResult_ = new QLabel(accessibility->extra());
  accessibilityResult_->setWordWrap(true);
  static_cast<QVBoxLayout*>(accessibility->extra()->layout())
      ->addWidget(enableAccessibility_, 0, Qt::AlignLeft);
  accessibility->extra()->layout()->addWidget(accessibilityResult_);
  connect(enableAccessibility_, &QPushButton::clicked, this, [this, accessibility] {
    Status turned =
        probes_.enableAccessibility ? probes_.enableAccessibility() : Status::error("not available");
    accessibilityResult_->setText(turned ? QString() : qs("It could not be turned on: " + turned.message()));
    accessibility->recheck();
  });

  addCheck(postingPage, "Pasting for you",
           [this] { return checkPostingKeys(probes_.postingKeys ? probes_.postingKeys() : PostingFacts{}); });

  auto* model = addCheck(modelPage, "Speech model", [this] {
    auto used = probes_.model ? probes_.model() : std::nullopt;
    if (download_) download_->setVisible(!used && !downloadRow_->busy());
    return checkSpeechModel(used);
  });
  download_ = new QPushButton(qs(std::string("Download ") + kGuideModel), model->extra());
  downloadRow_ = new ModelDownloadRow(model->extra());
  static_cast<QVBoxLayout*>(model->extra()->layout())->addWidget(download_, 0, Qt::AlignLeft);
  model->extra()->layout()->addWidget(downloadRow_);
  connect(download_, &QPushButton::clicked, this, [this] {
    if (downloadRow_->start(kGuideModel)) download_->hide();
  });
  downloadRow_->setFinished([this, model](const std::string&, const Status& status) {
    if (status && probes_.modelsChanged) probes_.modelsChanged();
    model->recheck();
  });

  auto* tryIt = new QWizardPage(this);
  tryIt->setTitle("Try it");
  auto* tryLayout = new QVBoxLayout(tryIt);
  auto* how = new QLabel(tryIt);
  how->setWordWrap(true);
  how->setText("Click in the box, hold " + hotkeyLabel(settings_.hotkey()) +
               ", say a sentence, and let go. Your words appear where the cursor is — here now, and in "
               "any program later.");
  tryBox_ = new QPlainTextEdit(tryIt);
  tryBox_->setPlaceholderText("Your words land here.");
  tryLayout->addWidget(how);
  tryLayout->addWidget(tryBox_, 1);
  setPage(tryPage, tryIt);
  setStartId(microphonePage);
  resize(660, 440);
  // The dictation lands where the keyboard focus is: in the box, once the page shows.
  connect(this, &QWizard::currentIdChanged, this, [this](int id) {
    if (id == tryPage) tryBox_->setFocus();
    if (id != microphonePage) microphoneOutcome();
  });

  watcher_ =
      watchMicrophones(this, probes_.microphoneIntervalMs, [this](bool answers, const DeviceList& found) {
        microphone_ = MicrophoneFacts{answers, found.devices.size()};
        found_ = found;
        if (auto* page = checkPage(microphonePage)) page->recheck();
      });
}

SetupGuide::~SetupGuide() { watcher_.reset(); }

CheckPage* SetupGuide::addCheck(PageId id, const QString& title, std::function<CheckOutcome()> check) {
  auto* page = new CheckPage(title, std::move(check), this);
  setPage(id, page);
  return page;
}

CheckPage* SetupGuide::checkPage(PageId id) const { return dynamic_cast<CheckPage*>(page(id)); }

CheckOutcome SetupGuide::microphoneOutcome() {
  // The meter listens to the input a dictation would use now, and only while its page shows:
  // an open recording stream would hold the microphone (and a headset's profile) for nothing.
  auto resolved = resolveDevice(found_, settings_.microphoneSelection());
  std::string wanted = resolved && currentId() == microphonePage ? resolved->device.id : std::string();
  if (wanted != metered_ && watcher_) {
    metered_ = wanted;
    watcher_->meter(wanted);
  }
  return checkMicrophone(microphone_);
}

void SetupGuide::meterLevel() {
  if (!watcher_ || !level_->isVisible()) return;
  level_->setValue(static_cast<int>(InputLevel::meterFraction(watcher_->levelDb()) * 100));
}

void SetupGuide::done(int result) {
  if (result == QDialog::Accepted) {
    settings_.setOnboardingComplete(true);
    settings_.setOnboardingFinished(true);
  }
  watcher_.reset();
  QWizard::done(result);
}

void SetupGuide::present() {
  show();
  raise();
  activateWindow();
}

}  // namespace murvelo::desktop
