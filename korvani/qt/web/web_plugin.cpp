// The engine ends the process, or crashes, where it does not find what it wants: so that is looked
// at first.
#include <dlfcn.h>
#include <korvani/qt/web/web_plugin.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QOpenGLContext>
#include <QPluginLoader>

#ifdef KORVANI_SETS_SHARE_CONTEXT
// Exported by Qt for its own modules, in no header; the build has looked for it.
void qt_gl_set_global_share_context(QOpenGLContext* context);
#endif

namespace korvani::qt {
namespace {

/// In the folder "korvani" beside the library that this code is in.
QString pluginFile() {
  static const char here = 0;
  Dl_info library;
  if (!dladdr(&here, &library)) return {};
  const QFileInfo file(QString::fromLocal8Bit(library.dli_fname));
  return QDir(file.absolutePath()).filePath("korvani/libkorvani-web.so");
}

/// Contexts of the engine share with this one, which a host need not have asked for. A platform
/// without OpenGL has an empty one, as Qt's own would be; the engine then draws without.
bool haveShareContext() {
#ifdef KORVANI_SETS_SHARE_CONTEXT
  if (!QOpenGLContext::globalShareContext()) {
    auto* const context = new QOpenGLContext;
    context->create();
    qt_gl_set_global_share_context(context);
    // The engine, loaded later, ends earlier; the platform ends later.
    qAddPostRoutine([] {
      delete QOpenGLContext::globalShareContext();
      qt_gl_set_global_share_context(nullptr);
    });
  }
#endif
  return QOpenGLContext::globalShareContext() != nullptr;
}

bool isSandboxOff() {
  return qgetenv("QTWEBENGINE_DISABLE_SANDBOX") == "1" ||
         qgetenv("QTWEBENGINE_CHROMIUM_FLAGS").contains("--no-sandbox");
}

/// Empty when all is there.
QString whyNotToLoad(const QString& plugin) {
  if (plugin.isEmpty()) return "the web plug-in is not installed";
  if (geteuid() == 0 && !isSandboxOff()) return "the web engine has no sandbox for root";
  if (!haveShareContext())
    return "there is no OpenGL context that Phone::prepareApplication() asks for";
  return {};
}

}  // namespace

PageViews* pageViews(QString& reason) {
  static QPluginLoader loader(pluginFile());
  if (!loader.isLoaded()) reason = whyNotToLoad(loader.fileName());
  if (!reason.isEmpty()) return nullptr;
  auto* const views = qobject_cast<PageViews*>(loader.instance());
  if (!views) reason = "the web plug-in cannot be loaded: " + loader.errorString();
  return views;
}

}  // namespace korvani::qt
