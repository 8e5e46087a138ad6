// The simulated phone's screens: the stage on which controllers appear, its pages, and the finger
// that taps them.
#pragma once

#include <korvani/platform/screens/view_controller.h>
#include <korvani/platform/screens/web_view.h>
#include <korvani/simulator/queues.h>
#include <korvani/simulator/recorder.h>
#include <korvani/simulator/settings.h>

#include <memory>

namespace korvani::simulator {

/// Records each change; animations take no time.
class SimulatedStage : public platform::Stage {
 public:
  SimulatedStage(Recorder& recorder, platform::Queue& mainQueue);

  /// The host's root screen.
  const std::shared_ptr<platform::ViewController>& root() const { return root_; }
  /// The screen in front of all others; null when nothing is presented over the root screen.
  std::shared_ptr<platform::ViewController> front() const;

  void tap(platform::Point point);
  /// Nothing happens where something is presented already.
  void presentHostScreen();
  /// The front screen as the effect `shown` has it.
  platform::Value describeFront() const;

  void present(std::shared_ptr<platform::ViewController> presented, bool animated,
               platform::Completion completion) override;
  void dismiss(std::shared_ptr<platform::ViewController> presented, bool animated,
               platform::Completion completion) override;
  void push(std::shared_ptr<platform::NavigationController> navigation,
            std::shared_ptr<platform::ViewController> pushed, bool animated) override;

 private:
  void complete(platform::Completion completion);

  Recorder& recorder_;
  platform::Queue& mainQueue_;
  const std::shared_ptr<platform::ViewController> root_;
};

class SimulatedWebViews : public platform::WebViews {
 public:
  SimulatedWebViews(Recorder& recorder, const Settings& settings, platform::Queue& mainQueue)
      : recorder_(recorder), settings_(settings), mainQueue_(mainQueue) {}

  std::shared_ptr<platform::WebView> newWebView(platform::Rect frame) override;

 private:
  Recorder& recorder_;
  const Settings& settings_;
  platform::Queue& mainQueue_;
};

}  // namespace korvani::simulator
