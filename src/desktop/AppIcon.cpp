#include "desktop/AppIcon.h"

#include <QPainter>
#include <QPen>

namespace murvelo::desktop {

void paintMicrophone(QPainter& painter, const QRectF& box, const QColor& color) {
  // Laid out on a 64-unit grid and scaled to the box.
  painter.save();
  painter.translate(box.topLeft());
  painter.scale(box.width() / 64.0, box.height() / 64.0);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Qt::NoPen);
  painter.setBrush(color);
  painter.drawRoundedRect(QRectF(22, 6, 20, 34), 10, 10);
  painter.setPen(QPen(color, 5, Qt::SolidLine, Qt::RoundCap));
  painter.setBrush(Qt::NoBrush);
  painter.drawArc(QRectF(13, 16, 38, 34), 180 * 16, 180 * 16);
  painter.drawLine(QPointF(32, 50), QPointF(32, 58));
  painter.drawLine(QPointF(22, 58), QPointF(42, 58));
  painter.restore();
}

QImage applicationIcon(int size) {
  QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
  image.fill(Qt::transparent);
  QPainter painter(&image);
  painter.setRenderHint(QPainter::Antialiasing);
  const qreal margin = size / 16.0;
  const QRectF tile(margin, margin, size - 2 * margin, size - 2 * margin);
  painter.setPen(Qt::NoPen);
  painter.setBrush(QColor(43, 47, 54));
  painter.drawRoundedRect(tile, tile.width() * 0.22, tile.width() * 0.22);
  const qreal inset = tile.width() * 0.16;
  paintMicrophone(painter, tile.adjusted(inset, inset, -inset, -inset), QColor(245, 245, 245));
  return image;
}

}  // namespace murvelo::desktop
