// Sandboxes leave marks by which programs tell them; Qt goes by the same.
#include <korvani/qt/sandbox.h>

#include <QFile>

namespace korvani::qt {

bool isInSandbox() {
  return QFile::exists(QStringLiteral("/.flatpak-info")) || !qEnvironmentVariableIsEmpty("SNAP");
}

}  // namespace korvani::qt
