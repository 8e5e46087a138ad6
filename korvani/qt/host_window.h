// What a host hands the phone to show things over.
#pragma once

#include <variant>

class QWidget;
class QWindow;

namespace korvani::qt {

/// A window of Qt Widgets, or of Qt Quick or any other QWindow; without one (or with null) the
/// phone shows things in a window of its own, which is there while something is shown.
using HostWindow = std::variant<std::monostate, QWidget*, QWindow*>;

}  // namespace korvani::qt
