// The desktop starts its opener for any scheme and calls that success, so the lists of applications
// are asked first.
#include <korvani/qt/log.h>
#include <korvani/qt/open_url.h>
#include <korvani/qt/sandbox.h>

#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QSet>
#include <QStandardPaths>
#include <QStringList>
#include <QUrl>
#include <algorithm>

namespace korvani::qt {

namespace {

constexpr std::size_t kLongestLogged = 200;

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

/// Schemes whose openers act on this machine itself with what the address says: they show or start
/// its files, run a script, or connect a terminal. A stranger may not ask for that.
/// docs/security.md tells why each.
bool actsLocally(const QString& scheme) {
  static const QSet<QString> kSchemes{
      // Files, under whatever name, among them descriptions of programs to start.
      "file", "admin", "applications", "archive", "burn", "computer", "desktop", "fonts", "network",
      "programs", "qrc", "recent", "recentdocuments", "starred", "tags", "trash",
      // Shares, which are mounted to be files.
      "afp", "dav", "davs", "fish", "ftp", "ftps", "kio", "mtp", "nfs", "sftp", "smb",
      // Scripts, and what a browser shows as its own.
      "about", "blob", "chrome", "data", "filesystem", "jar", "javascript", "resource", "vbscript",
      "view-source",
      // Terminals, remote controls and settings.
      "exec", "rdp", "rlogin", "settings", "ssh", "systemsettings", "telnet", "vnc"};
  return kSchemes.contains(scheme);
}

/// Does the list give something the application that the line begins with? It may also take some
/// away, in a group of their own.
bool gives(const QString& list, const QByteArray& beginning) {
  QFile file(list);
  if (!file.open(QIODevice::ReadOnly)) return false;
  bool isTaken = false;
  while (!file.atEnd()) {
    const QByteArray line = file.readLine();
    if (line.startsWith('[')) isTaken = line.startsWith("[Removed Associations]");
    if (!isTaken && line.startsWith(beginning)) return true;
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

bool mayHaveHandler(const std::string& scheme) {
  if (isInSandbox()) return true;
  const QByteArray line = "x-scheme-handler/" + QByteArray::fromStdString(scheme) + "=";
  const QStringList lists = handlerLists();
  return std::any_of(lists.begin(), lists.end(),
                     [&](const QString& list) { return gives(list, line); });
}

bool openOnDesktop(const std::string& uri) {
  const QUrl url(QString::fromStdString(uri), QUrl::StrictMode);
  if (!url.isValid() || url.scheme().isEmpty()) return false;
  if (actsLocally(url.scheme())) {
    qCWarning(phoneLog, "not opened, because of its scheme: %s",
              uri.substr(0, kLongestLogged).c_str());
    return false;
  }
  if (mayBeUnhandled(url.scheme()) && !mayHaveHandler(url.scheme().toStdString())) return false;
  return QDesktopServices::openUrl(url);
}

}  // namespace korvani::qt
