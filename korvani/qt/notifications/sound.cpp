// Finds sounds, and brings them to where another process can read them.
#include <korvani/qt/log.h>
#include <korvani/qt/notifications/sound.h>
#include <sys/mman.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

namespace korvani::qt::notifications {

namespace {

constexpr qint64 kLargestSound = 8 << 20;

/// Empty when it cannot be read, or is no sound by its size.
QByteArray contentOf(const QString& file) {
  QFile reading(file);
  if (file.isEmpty() || reading.size() > kLargestSound || !reading.open(QIODevice::ReadOnly)) {
    return {};
  }
  return reading.readAll();
}

}  // namespace

QString findSound(const QString& name) {
  if (name.isEmpty() || QFileInfo(name).fileName() != name) return {};
  const QString resource = QStringLiteral(":/") + name;
  if (QFile::exists(resource)) return resource;
  return QStandardPaths::locate(QStandardPaths::AppDataLocation, name);
}

QString soundOnDisk(const QString& sound) {
  if (!sound.startsWith(QLatin1Char(':'))) return sound;
  const QDir folder(QStandardPaths::writableLocation(QStandardPaths::CacheLocation));
  const QString copy = folder.filePath(QFileInfo(sound).fileName());
  const QByteArray content = contentOf(sound);
  if (content.isEmpty() || contentOf(copy) == content) return content.isEmpty() ? QString() : copy;
  QSaveFile writing(copy);
  if (folder.mkpath(QStringLiteral(".")) && writing.open(QIODevice::WriteOnly) &&
      writing.write(content) == content.size() && writing.commit()) {
    return copy;
  }
  qCWarning(phoneLog, "%s cannot be written: the notification is silent", qUtf8Printable(copy));
  return {};
}

QDBusUnixFileDescriptor soundInMemory(const QString& sound) {
  QDBusUnixFileDescriptor given;
  const QByteArray content = contentOf(sound);
  const int descriptor =
      content.isEmpty() ? -1 : memfd_create("sound", MFD_CLOEXEC | MFD_ALLOW_SEALING);
  if (descriptor == -1) return given;
  given.giveFileDescriptor(descriptor);
  QFile memory;
  const bool isWritten = memory.open(descriptor, QIODevice::WriteOnly | QIODevice::Unbuffered) &&
                         memory.write(content) == content.size() && memory.seek(0);
  return isWritten ? given : QDBusUnixFileDescriptor();
}

}  // namespace korvani::qt::notifications
