// The system's locale in the form that services expect.
#include <korvani/qt/device.h>

#include <QLocale>

namespace korvani::qt {

std::string systemLocaleIdentifier() {
  const QLocale locale = QLocale::system();
  return locale.language() == QLocale::C ? "en_US" : locale.name().toStdString();
}

}  // namespace korvani::qt
