// The answer of a D-Bus call, without waiting for it.
#pragma once

#include <QDBusPendingCall>
#include <functional>

class QObject;

namespace korvani::qt {

/// Calls `then` once, later, on the thread of the receiver; not when that has gone by then. A
/// QDBusPendingReply as its parameter also tells an answer of another type as an error.
void whenAnswered(const QDBusPendingCall& call, QObject* receiver,
                  std::function<void(const QDBusPendingCall&)> then);

}  // namespace korvani::qt
