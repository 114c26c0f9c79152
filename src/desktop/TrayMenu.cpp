#include "desktop/TrayMenu.h"

#include <QActionGroup>
#include <QMenu>
#include <QPainter>
#include <QSystemTrayIcon>

#include "desktop/AppIcon.h"

namespace murvelo::desktop {
namespace {

// Drawn at run time, so the program carries no image files.
QIcon microphoneIcon(bool active) {
  QPixmap pixmap(64, 64);
  pixmap.fill(Qt::transparent);
  QPainter painter(&pixmap);
  paintMicrophone(painter, QRectF(0, 0, 64, 64), active ? QColor(220, 50, 47) : QColor(200, 200, 200));
  return QIcon(pixmap);
}

struct LevelChoice {
  CleanupLevel level;
  const char* label;
};
constexpr LevelChoice kLevels[] = {
    {CleanupLevel::none, "Off — exactly what you said"},
    {CleanupLevel::light, "Tidy — punctuation, capitals, fillers"},
    {CleanupLevel::format, "Format — Tidy plus paragraphs and lists"},
};

}  // namespace

TrayMenu::TrayMenu(Hooks hooks) : hooks_(std::move(hooks)), menu_(std::make_unique<QMenu>()) {
  status_ = menu_->addAction("Starting…");
  status_->setEnabled(false);
  menu_->addSeparator();
  pause_ = menu_->addAction("Pause talk key", [this] {
    if (hooks_.togglePause) hooks_.togglePause();
  });
  QMenu* levelMenu = menu_->addMenu("Cleanup");
  levels_ = new QActionGroup(levelMenu);
  for (const auto& choice : kLevels) {
    QAction* action = levelMenu->addAction(choice.label);
    action->setCheckable(true);
    action->setData(static_cast<int>(choice.level));
    levels_->addAction(action);
    connect(action, &QAction::triggered, this, [this, level = choice.level] {
      if (hooks_.setLevel) hooks_.setLevel(level);
    });
  }
  recentMenu_ = menu_->addMenu("Recent dictations");
  connect(recentMenu_, &QMenu::aboutToShow, this, &TrayMenu::refreshRecent);
  refreshRecent();
  menu_->addSeparator();
  menu_->addAction("Settings…", [this] {
    if (hooks_.settings) hooks_.settings();
  });
  report_ = menu_->addAction("Save support report…", [this] {
    if (hooks_.supportReport) hooks_.supportReport();
  });
  menu_->addSeparator();
  menu_->addAction("Quit Murvelo", [this] {
    if (hooks_.quit) hooks_.quit();
  });
}

TrayMenu::~TrayMenu() = default;

bool TrayMenu::showIcon() {
  if (!QSystemTrayIcon::isSystemTrayAvailable()) return false;
  icon_ = std::make_unique<QSystemTrayIcon>(microphoneIcon(active_));
  icon_->setContextMenu(menu_.get());
  icon_->setToolTip("Murvelo");
  // A left click opens the same menu: there is nothing else to open.
  connect(icon_.get(), &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
    if (reason == QSystemTrayIcon::Trigger) menu_->popup(QCursor::pos());
  });
  icon_->show();
  return true;
}

void TrayMenu::setStatus(const std::string& text, bool active) {
  status_->setText(QString::fromStdString(text));
  if (icon_) icon_->setToolTip("Murvelo — " + QString::fromStdString(text));
  if (active == active_) return;
  active_ = active;
  if (icon_) icon_->setIcon(microphoneIcon(active));
}

void TrayMenu::addToolActions(std::function<void()> history, std::function<void()> accuracyTest) {
  auto* historyAction = new QAction("History and My Words…", menu_.get());
  connect(historyAction, &QAction::triggered, this, std::move(history));
  auto* accuracyAction = new QAction("Accuracy test…", menu_.get());
  connect(accuracyAction, &QAction::triggered, this, std::move(accuracyTest));
  menu_->insertActions(report_, {historyAction, accuracyAction});
}

void TrayMenu::setPaused(bool paused) { pause_->setText(paused ? "Resume talk key" : "Pause talk key"); }

void TrayMenu::setLevel(CleanupLevel level) {
  if (level == CleanupLevel::medium) level = CleanupLevel::format;
  for (QAction* action : levels_->actions())
    action->setChecked(action->data().toInt() == static_cast<int>(level));
}

QString TrayMenu::preview(const std::string& text) {
  QString line = QString::fromStdString(text).simplified();
  if (line.size() > kPreviewChars) line = line.left(kPreviewChars - 1).trimmed() + "…";
  // A lone & would become a keyboard accelerator.
  return line.replace("&", "&&");
}

void TrayMenu::refreshRecent() {
  recentMenu_->clear();
  std::vector<std::string> items = hooks_.recent ? hooks_.recent() : std::vector<std::string>{};
  if (items.empty()) {
    recentMenu_->addAction("No dictations yet")->setEnabled(false);
    return;
  }
  int shown = 0;
  for (const std::string& text : items) {
    if (shown++ == kRecentShown) break;
    recentMenu_->addAction(preview(text), [this, text] {
      if (hooks_.copy) hooks_.copy(text);
    });
  }
  recentMenu_->addSeparator();
  recentMenu_->addAction("Click one to copy it")->setEnabled(false);
}

}  // namespace murvelo::desktop
