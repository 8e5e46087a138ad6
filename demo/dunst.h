// The visitor's hand on the desktop: opens the notifications that dunst shows.
#pragma once

#include <QString>
#include <QVariantList>

namespace demo {

/// dunst on the session's bus, by its own interface. It shows nothing but while the visitor looks,
/// so that no notification leaves before there is a hand free; afterwards it is as before.
class Dunst {
 public:
  Dunst() { setHeld(true); }
  ~Dunst() { setHeld(wasHeld_); }
  Dunst(const Dunst&) = delete;
  Dunst& operator=(const Dunst&) = delete;

  void setHeld(bool held);
  bool showsSomething() const;
  /// As a click on the uppermost does.
  void open();

 private:
  static bool isHeld();

  const bool wasHeld_ = isHeld();
};

}  // namespace demo
