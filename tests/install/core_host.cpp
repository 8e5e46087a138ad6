// A host's own test, on the installed simulated phone: the kit starts and asks for its
// configuration.
#include <korvani/sdk/korvani.h>
#include <korvani/simulator/simulated_phone.h>

#include <chrono>
#include <iostream>
#include <memory>

int main() {
  const auto phone = std::make_shared<korvani::simulator::SimulatedPhone>();
  korvani::platform::Platform::install(phone);
  korvani::Korvani::initWithAPIKey("a key", nullptr, false);
  phone->advance(std::chrono::seconds(1));
  for (const auto& effect : phone->takeEffects()) {
    if (effect.kind != "request") continue;
    std::cout << "asked for the configuration\n";
    return 0;
  }
  return 1;
}
