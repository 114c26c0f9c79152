#pragma once

#include <QColor>
#include <QImage>
#include <QRectF>

class QPainter;

namespace murvelo::desktop {

// The microphone that stands for Murvelo, drawn at any size so the tray icon and the installed
// application icons come from one drawing.
void paintMicrophone(QPainter& painter, const QRectF& box, const QColor& color);

// The application icon: a white microphone on a dark rounded square, `size` pixels wide.
QImage applicationIcon(int size);

}  // namespace murvelo::desktop
