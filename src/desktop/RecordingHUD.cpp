#include "desktop/RecordingHUD.h"

#include <QCursor>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QGuiApplication>
#include <QPainter>
#include <QPainterPath>
#include <QScreen>
#include <QTimer>

namespace murvelo::desktop {
namespace {

constexpr int kPadding = 14;
constexpr int kIndicator = 13;
constexpr int kSpacing = 9;
constexpr int kTicks = 8;

void paintIndicator(QPainter& painter, const QRectF& box, bool animated, int tick) {
  painter.save();
  painter.translate(box.center());
  if (!animated) {
    // A still dot: nothing is in progress, the text is the message.
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(240, 240, 240));
    painter.drawEllipse(QPointF(0, 0), 3.5, 3.5);
    painter.restore();
    return;
  }
  QPen pen(QColor(240, 240, 240));
  pen.setWidthF(1.6);
  pen.setCapStyle(Qt::RoundCap);
  for (int i = 0; i < kTicks; ++i) {
    // The leading tick is brightest; the others fade behind it.
    int age = ((tick - i) % kTicks + kTicks) % kTicks;
    QColor color = pen.color();
    color.setAlphaF(1.0 - 0.8 * age / (kTicks - 1));
    QPen tickPen = pen;
    tickPen.setColor(color);
    painter.setPen(tickPen);
    painter.save();
    painter.rotate(360.0 * i / kTicks);
    painter.drawLine(QPointF(0, -3.2), QPointF(0, -kIndicator / 2.0 + 0.5));
    painter.restore();
  }
  painter.restore();
}

}  // namespace

void paintHUDContent(QPainter& painter, const QRect& rect, const HUDPhase& phase, int tick) {
  painter.setRenderHint(QPainter::Antialiasing);
  QPainterPath shape;
  shape.addRoundedRect(QRectF(rect).adjusted(0.5, 0.5, -0.5, -0.5), 10, 10);
  painter.fillRect(rect, QColor(24, 24, 27));
  painter.fillPath(shape, QColor(38, 38, 43));
  painter.setPen(QColor(70, 70, 78));
  painter.drawPath(shape);

  QRectF indicator(rect.left() + kPadding, rect.center().y() - kIndicator / 2.0 + 0.5, kIndicator,
                   kIndicator);
  paintIndicator(painter, indicator, phase.animated(), tick);

  QRect textBox(rect.left() + kPadding + kIndicator + kSpacing, rect.top() + 4,
                rect.width() - 2 * kPadding - kIndicator - kSpacing + 8, rect.height() - 8);
  const QString text = QString::fromStdString(phase.text());
  QFont font = painter.font();
  painter.setPen(QColor(245, 245, 245));
  // One line when it fits; a longer notice shrinks and wraps onto two.
  for (int size : {12, 11, 10}) {
    font.setPixelSize(size);
    if (QFontMetrics(font).horizontalAdvance(text) <= textBox.width()) {
      painter.setFont(font);
      painter.drawText(textBox, Qt::AlignVCenter | Qt::AlignLeft, text);
      return;
    }
  }
  font.setPixelSize(10);
  painter.setFont(font);
  QFontMetrics metrics(font);
  QString wrapped = text;
  QRect needed = metrics.boundingRect(textBox, Qt::TextWordWrap, text);
  if (needed.height() > textBox.height()) {
    // Keep what fits on two lines and mark the cut.
    while (wrapped.size() > 1 &&
           metrics.boundingRect(textBox, Qt::TextWordWrap, wrapped + "…").height() > textBox.height())
      wrapped.chop(1);
    wrapped = wrapped.trimmed() + "…";
  }
  painter.drawText(textBox, Qt::AlignVCenter | Qt::AlignLeft | Qt::TextWordWrap, wrapped);
}

HUDWindow::HUDWindow(std::function<std::optional<HUDPhase>()> phase)
    : QWidget(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                           Qt::WindowDoesNotAcceptFocus | Qt::X11BypassWindowManagerHint),
      phase_(std::move(phase)) {
  setAttribute(Qt::WA_ShowWithoutActivating);
  setAttribute(Qt::WA_X11DoNotAcceptFocus);
  setFocusPolicy(Qt::NoFocus);
  setFixedSize(RecordingHUD::kWidth, RecordingHUD::kHeight);
  setWindowTitle("Murvelo");
}

void HUDWindow::paintEvent(QPaintEvent*) {
  auto phase = phase_();
  if (!phase) return;
  QPainter painter(this);
  paintHUDContent(painter, rect(), *phase, tick);
}

RecordingHUD::RecordingHUD(PhaseSource phase, bool reduceMotion)
    : phase_(std::move(phase)), reduceMotion_(reduceMotion) {}

RecordingHUD::~RecordingHUD() = default;

void RecordingHUD::show() {
  if (!window_) {
    window_ = std::make_unique<HUDWindow>(phase_);
    timer_ = std::make_unique<QTimer>();
    timer_->setInterval(kRefreshMs);
    QObject::connect(timer_.get(), &QTimer::timeout, [this] { refresh(); });
  }
  place();
  window_->show();
  window_->raise();
  timer_->start();
}

void RecordingHUD::hide() {
  if (!window_) return;
  timer_->stop();
  window_->hide();
}

void RecordingHUD::phaseChanged() {
  if (window_ && window_->isVisible()) window_->update();
}

bool RecordingHUD::refreshing() const { return timer_ && timer_->isActive(); }

void RecordingHUD::refresh() {
  place();
  auto phase = phase_();
  if (phase && phase->animated() && !reduceMotion_) {
    ++window_->tick;
    window_->update();
  }
}

void RecordingHUD::place() {
  QScreen* screen = QGuiApplication::screenAt(QCursor::pos());
  if (!screen) screen = QGuiApplication::primaryScreen();
  if (!screen) return;
  QRect area = screen->availableGeometry();
  QPoint at(area.left() + (area.width() - kWidth) / 2,
            area.bottom() + 1 - kHeight - std::min(kBottomMargin, area.height() / 8));
  if (window_->pos() != at) window_->move(at);
}

bool desktopPrefersReducedMotion() {
  QDBusConnection bus = QDBusConnection::sessionBus();
  if (!bus.isConnected()) return false;
  auto read = [&bus](const QString& ns, const QString& key) -> QVariant {
    QDBusMessage call =
        QDBusMessage::createMethodCall("org.freedesktop.portal.Desktop", "/org/freedesktop/portal/desktop",
                                       "org.freedesktop.portal.Settings", "Read");
    call << ns << key;
    QDBusMessage reply = bus.call(call, QDBus::Block, 200);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) return {};
    QVariant value = reply.arguments().first();
    // The portal wraps the value in a variant, some versions twice.
    while (value.canConvert<QDBusVariant>() && value.userType() == qMetaTypeId<QDBusVariant>())
      value = value.value<QDBusVariant>().variant();
    return value;
  };
  QVariant animations = read("org.gnome.desktop.interface", "enable-animations");
  if (animations.isValid() && animations.typeId() == QMetaType::Bool && !animations.toBool()) return true;
  QVariant factor = read("org.kde.kdeglobals.KDE", "AnimationDurationFactor");
  return factor.isValid() && factor.canConvert<double>() && factor.toDouble() == 0.0;
}

}  // namespace murvelo::desktop
