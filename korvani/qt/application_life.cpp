// The end of the application: who is inside Qt leaves, who comes later stays outside.
#include <korvani/qt/application_life.h>
#include <stdlib.h>
#include <unistd.h>

#include <QCoreApplication>
#include <chrono>

namespace korvani::qt {

namespace {

// A thread that is inside Qt may itself wait for the main thread; the end does not wait for it
// long.
constexpr std::chrono::seconds kPatience{1};

}  // namespace

ApplicationLife& ApplicationLife::ofProcess() {
  static ApplicationLife* const life = new ApplicationLife;
  return *life;
}

ApplicationLife::ApplicationLife() {
  QObject::connect(qApp, &QObject::destroyed, [this] { end(); });
}

void ApplicationLife::endAtExit(const void* owner, std::function<void()> farewell) {
  farewells_.emplace_back(owner, std::move(farewell));
  // A host may call exit() and leave its QApplication standing.
  ::on_exit([](int, void* self) { static_cast<ApplicationLife*>(self)->end(); }, this);
}

void ApplicationLife::dropFarewell(const void* owner) {
  std::erase_if(farewells_, [owner](const auto& entry) { return entry.first == owner; });
}

ApplicationLife::Stay::~Stay() {
  if (here_) life_.leave();
}

bool ApplicationLife::hasEnded() const {
  const std::lock_guard lock(mutex_);
  return ended_;
}

void ApplicationLife::haltIfEnded() const {
  if (std::this_thread::get_id() == mainThread_ || !hasEnded()) return;
  while (true) ::pause();
}

bool ApplicationLife::enter() {
  const std::lock_guard lock(mutex_);
  if (!ended_) ++inside_;
  return !ended_;
}

void ApplicationLife::leave() {
  const std::lock_guard lock(mutex_);
  --inside_;
  left_.notify_all();
}

void ApplicationLife::end() {
  {
    std::unique_lock lock(mutex_);
    if (ended_) return;
    ended_ = true;
    left_.wait_for(lock, kPatience, [this] { return inside_ == 0; });
  }
  for (const auto& [owner, farewell] : std::exchange(farewells_, {})) farewell();
}

}  // namespace korvani::qt
