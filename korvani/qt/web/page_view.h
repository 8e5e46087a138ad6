// The interface between the phone and its web plug-in, which is loaded when the first page is asked
// for, so that a host pays nothing for a web engine before.
#pragma once

#include <QString>
#include <QUrl>
#include <QWidget>
#include <QtPlugin>
#include <functional>

namespace korvani::qt {

/// Shows one web page after another. Main thread.
class PageView : public QWidget {
 public:
  using QWidget::QWidget;
  virtual void load(const QUrl& url) = 0;

  /// The pages that are shown; every other address is a failure.
  static bool accepts(const QUrl& url) {
    const QString scheme = url.scheme();
    return scheme == u"http" || scheme == u"https" || url == QUrl("about:blank");
  }
};

/// What the plug-in's root object is.
class PageViews {
 public:
  virtual ~PageViews() = default;
  /// The parent owns the view. `loadFailed` is told the text of each failure, once, and nothing of
  /// a load that was given up for another.
  virtual PageView* newPageView(QWidget* parent,
                                std::function<void(const QString&)> loadFailed) = 0;
};

}  // namespace korvani::qt

#define KORVANI_PAGE_VIEWS "korvani.PageViews/1"
Q_DECLARE_INTERFACE(korvani::qt::PageViews, KORVANI_PAGE_VIEWS)
