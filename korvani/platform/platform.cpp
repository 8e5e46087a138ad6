// The one phone of this process.
#include <korvani/platform/platform.h>

#include <atomic>

namespace korvani::platform {
namespace {

std::atomic<Platform*>& installedPlatform() {
  static std::atomic<Platform*> platform{nullptr};
  return platform;
}

}  // namespace

Platform::~Platform() = default;

void Platform::hostCalled(std::string_view, const Value&) {}
void Platform::buttonTouched(const Button&) {}

bool Platform::install(std::shared_ptr<Platform> platform) {
  Platform* none = nullptr;
  if (!platform || !installedPlatform().compare_exchange_strong(none, platform.get())) return false;
  // Background threads may use the phone until the process ends, so nothing ever lets go of it.
  static auto& held = *new std::shared_ptr<Platform>;
  held = std::move(platform);
  return true;
}

Platform* Platform::installed() { return installedPlatform().load(); }

}  // namespace korvani::platform
