// The port for HTTP, answered from the settings: no byte leaves the process.
#pragma once

#include <korvani/platform/url_connection.h>
#include <korvani/simulator/recorder.h>
#include <korvani/simulator/settings.h>

namespace korvani::simulator {

class SimulatedConnection : public platform::URLConnection {
 public:
  SimulatedConnection(Recorder& recorder, Settings& settings)
      : recorder_(recorder), settings_(settings) {}

  void sendAsynchronousRequest(platform::URLRequest request, std::shared_ptr<platform::Queue> queue,
                               CompletionHandler completionHandler) override;
  std::optional<std::string> dataWithContentsOfURL(const platform::URL& url) override;

 private:
  Answer takeAnswer(std::string_view address);

  Recorder& recorder_;
  Settings& settings_;
};

}  // namespace korvani::simulator
