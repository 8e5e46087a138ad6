// A watcher for each call, which goes with the answer or with the receiver.
#include <korvani/qt/when_answered.h>

#include <QDBusPendingCallWatcher>
#include <utility>

namespace korvani::qt {

void whenAnswered(const QDBusPendingCall& call, QObject* receiver,
                  std::function<void(const QDBusPendingCall&)> then) {
  auto* watcher = new QDBusPendingCallWatcher(call, receiver);
  QObject::connect(watcher, &QDBusPendingCallWatcher::finished, receiver,
                   [then = std::move(then)](QDBusPendingCallWatcher* finished) {
                     finished->deleteLater();
                     then(*finished);
                   });
}

}  // namespace korvani::qt
