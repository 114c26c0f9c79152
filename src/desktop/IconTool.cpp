// Writes the application icon as a PNG for the package: murvelo-icon SIZE FILE.
#include <QImage>
#include <cstdlib>
#include <iostream>

#include "desktop/AppIcon.h"

int main(int argc, char** argv) {
  const int size = argc == 3 ? std::atoi(argv[1]) : 0;
  if (size < 8 || size > 1024) {
    std::cerr << "usage: murvelo-icon SIZE FILE (SIZE 8 to 1024)\n";
    return 2;
  }
  if (!murvelo::desktop::applicationIcon(size).save(QString::fromLocal8Bit(argv[2]), "PNG")) {
    std::cerr << "murvelo-icon: cannot write " << argv[2] << "\n";
    return 1;
  }
  return 0;
}
