// The desktop starts its opener for any scheme and calls that success, so the lists of applications
// are asked first.
#include <korvani/qt/log.h>
#include <korvani/qt/open_url.h>

#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QStandardPaths>
#include <QStringList>
#include <QUrl>
#include <algorithm>

namespace korvani::qt {

namespace {

/// Where desktops note which application handles what (shared MIME-info and MIME applications).
QStringList handlerLists() {
  QStringList files;
  const auto add = [&files](QStandardPaths::StandardLocation location, const QString& name) {
    for (const QString& folder : QStandardPaths::standardLocations(location)) {
      files.append(QDir(folder).filePath(name));
    }
  };
  add(QStandardPaths::GenericConfigLocation, QStringLiteral("mimeapps.list"));
  add(QStandardPaths::ApplicationsLocation, QStringLiteral("mimeapps.list"));
  add(QStandardPaths::ApplicationsLocation, QStringLiteral("mimeinfo.cache"));
  return files;
}

bool hasLineBeginning(const QString& path, const QByteArray& beginning) {
  QFile file(path);
  if (!file.open(QIODevice::ReadOnly)) return false;
  while (!file.atEnd()) {
    if (file.readLine().startsWith(beginning)) return true;
  }
  return false;
}

/// The web and mail have openers of their own, which no list need name. A platform without a
/// desktop starts nothing, so Qt's own answer holds there.
bool mayBeUnhandled(const QString& scheme) {
  static const QStringList kAlways{QStringLiteral("http"), QStringLiteral("https"),
                                   QStringLiteral("mailto")};
  const QString platform = QGuiApplication::platformName();
  const bool isDesktop =
      platform == QLatin1String("xcb") || platform.startsWith(QLatin1String("wayland"));
  return isDesktop && !kAlways.contains(scheme);
}

}  // namespace

bool hasSchemeHandler(const std::string& scheme) {
  const QByteArray line = "x-scheme-handler/" + QByteArray::fromStdString(scheme) + "=";
  const QStringList lists = handlerLists();
  return std::any_of(lists.begin(), lists.end(),
                     [&](const QString& list) { return hasLineBeginning(list, line); });
}

bool openOnDesktop(const std::string& uri) {
  const QUrl url(QString::fromStdString(uri), QUrl::StrictMode);
  if (!url.isValid() || url.scheme().isEmpty()) return false;
  if (url.isLocalFile()) {
    qCWarning(phoneLog, "not opened, because it is a local file: %s", uri.c_str());
    return false;
  }
  if (mayBeUnhandled(url.scheme()) && !hasSchemeHandler(url.scheme().toStdString())) return false;
  return QDesktopServices::openUrl(url);
}

}  // namespace korvani::qt
