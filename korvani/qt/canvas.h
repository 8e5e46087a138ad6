// The widget that pop-ups, banners and alerts stand on, whatever the host's window is made of.
#pragma once

#include <korvani/qt/host_window.h>

#include <QObject>
#include <QRect>
#include <QWidget>
#include <memory>

namespace korvani::qt {

/// Main thread.
class Canvas : public QObject {
 public:
  static std::unique_ptr<Canvas> over(const HostWindow& window);

  /// What layers are children of, as large as the window's content; null when the host's window has
  /// gone. It dies with the window.
  virtual QWidget* widget() = 0;
  /// The window's content, in points; empty when the window has gone.
  virtual QSize size() const = 0;
  /// Would the user see what is shown now?
  virtual bool isSeen() const = 0;
  /// Brings the window before the user, from wherever it is.
  virtual void raise() = 0;
};

/// A canvas of the phone's own, seen only while a layer on it is shown.
class Sheet : public QWidget {
 public:
  using QWidget::QWidget;
  /// Called by a layer that has been shown, hidden, moved or resized.
  virtual void layersChanged() = 0;

 protected:
  void childEvent(QChildEvent* event) override;
};

}  // namespace korvani::qt
