// What the simulated phone answers, records and does, port by port.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <korvani/simulator/simulated_phone.h>

#include <memory>
#include <string>
#include <vector>

namespace korvani::simulator {
namespace {

using namespace std::chrono_literals;
using platform::Value;
using testing::ElementsAre;

using Dictionary = Value::Dictionary;

class Phone : public testing::Test {
 protected:
  Phone() { platform::Platform::install(phone_); }

  /// The effects so far as one JSON text each, with the thread where it is not main; forgets them.
  std::vector<std::string> effects() {
    std::vector<std::string> lines;
    for (const Effect& effect : phone_->takeEffects()) {
      const std::string thread = effect.thread == "main" ? "" : std::string(effect.thread) + " ";
      lines.push_back(thread + effect.kind + " " + effect.content.jsonText());
    }
    return lines;
  }

  const std::shared_ptr<SimulatedPhone> phone_ = std::make_shared<SimulatedPhone>();
};

TEST_F(Phone, AnswersRequestsOneByOneAndTheLastForEver) {
  auto& answers = phone_->settings().answers["scenario"];
  answers = {Answer::json(Dictionary{{"n", 1}}), Answer::failure("no network"),
             Answer::text("<html>")};
  answers[0].after = 2s;
  answers[2].status = 500;

  std::vector<std::string> completions;
  const auto send = [&](const std::string& url) {
    phone_->urlConnection().sendAsynchronousRequest(
        {url, "POST", {{"X-Api-Key", "k"}}, "a=b"}, phone_->queues().newOperationQueue(),
        [&](const platform::URLResponse& response) {
          phone_->log().write(
              response.error.value_or(std::to_string(response.statusCode) + " " + response.data));
        });
  };
  for (int i = 0; i < 4; ++i) send("http://h/scenario");
  send("http://h/other");
  EXPECT_EQ(effects()[0], R"(request {"body":"a=b","headers":{"X-Api-Key":"k"},"method":"POST",)"
                          R"("url":"http://h/scenario"})");

  phone_->advance(99ms);
  EXPECT_THAT(effects(), ElementsAre());
  phone_->advance(1ms);
  EXPECT_THAT(effects(), ElementsAre("request log \"no network\"", "request log \"500 <html>\"",
                                     "request log \"500 <html>\"", "request log \"200 {}\""));
  phone_->advance(1900ms);
  EXPECT_THAT(effects(), ElementsAre(R"(request log "200 {\"n\":1}")"));
}

TEST_F(Phone, DownloadsWhatTheSettingsHold) {
  phone_->settings().files["http://h/a.png"] = "bytes";
  auto& connection = phone_->urlConnection();
  EXPECT_EQ(connection.dataWithContentsOfURL(*platform::URL::URLWithString("http://h/a.png")),
            "bytes");
  EXPECT_EQ(connection.dataWithContentsOfURL(*platform::URL::URLWithString("http://h/b.png")),
            std::nullopt);
  EXPECT_THAT(effects(), ElementsAre(R"(fetch {"url":"http://h/a.png"})",
                                     R"(fetch {"url":"http://h/b.png"})"));
}

TEST_F(Phone, DescribesItsDevice) {
  auto& device = phone_->device();
  EXPECT_EQ(device.batteryLevel(), -1.0F) << "not monitored yet";
  device.setBatteryMonitoringEnabled(true);
  EXPECT_EQ(device.batteryLevel(), 1.0F);
  phone_->settings().batteryLevel = 0.125F;
  phone_->settings().localeIdentifier = "fr_FR";
  phone_->settings().utcOffset = 90min;
  phone_->settings().screen = {100, 200};
  EXPECT_EQ(device.batteryLevel(), 0.125F);
  EXPECT_EQ(device.localeIdentifier(), "fr_FR");
  EXPECT_EQ(device.mainScreenBounds(), (platform::Rect{0, 0, 100, 200}));
  EXPECT_EQ(phone_->clock().utcOffset({}), 90min);
  EXPECT_THAT(effects(), ElementsAre(R"(battery {"monitoring":true})"));
}

TEST_F(Phone, MakesTheSameRandomUuidsEachTime) {
  SimulatedPhone other;
  std::vector<std::string> made;
  for (int i = 0; i < 3; ++i) {
    made.push_back(phone_->randomUuids().newUuid().UUIDString());
    EXPECT_EQ(other.randomUuids().newUuid().UUIDString(), made.back());
    EXPECT_EQ(made.back()[14], '4');
    EXPECT_NE(std::string("89AB").find(made.back()[19]), std::string::npos);
  }
  EXPECT_NE(made[0], made[1]);
  EXPECT_NE(made[1], made[2]);
}

TEST_F(Phone, KeepsAStore) {
  const platform::Date date = SimulatedPhone::kDefaultStart + 250ms;
  phone_->setStored("old", date);
  auto& store = phone_->standardUserDefaults();
  EXPECT_EQ(store.objectForKey("old"), Value(date));
  EXPECT_EQ(store.objectForKey("none"), Value());
  EXPECT_THAT(effects(), ElementsAre());

  store.setObject(date, "new");
  store.synchronize();
  EXPECT_EQ(store.dictionaryRepresentation(), Value(Dictionary{{"new", date}, {"old", date}}));
  EXPECT_THAT(effects(),
              ElementsAre(R"(store {"set":"new","value":{"date":"2026-01-01T12:00:00.250Z"}})",
                          R"(store {"synchronize":true})"));
  EXPECT_EQ(phone_->stored().at("old").at("date"), Value("2026-01-01T12:00:00.250Z"));
}

TEST_F(Phone, HandsEffectsToAHandlerInPlaceOfKeepingThem) {
  phone_->log().write("kept");
  std::vector<std::string> handed;
  phone_->setEffectHandler([&](const Effect& effect) { handed.push_back(effect.kind); });
  phone_->log().write("handed");
  phone_->record("mine", Dictionary{});
  EXPECT_THAT(handed, ElementsAre("log", "mine"));
  EXPECT_THAT(phone_->contents("log"), ElementsAre(Value("kept")));
}

class RecordingManagerDelegate : public platform::LocationManagerDelegate {
 public:
  using Manager = std::shared_ptr<platform::LocationManager>;
  using Region = std::shared_ptr<const platform::Region>;

  void locationManagerDidStartMonitoringForRegion(const Manager& m, const Region& r) override {
    told("started", m, r);
  }
  void locationManagerDidEnterRegion(const Manager& m, const Region& r) override {
    told("entered", m, r);
  }
  void locationManagerDidExitRegion(const Manager& m, const Region& r) override {
    told("left", m, r);
  }
  void locationManagerDidDetermineState(const Manager& m, platform::RegionState state,
                                        const Region& r) override {
    told("state " + std::to_string(static_cast<int>(state)), m, r);
  }
  void locationManagerDidRangeBeacons(const Manager& m,
                                      const std::vector<platform::Beacon>& beacons,
                                      const Region& r) override {
    told("ranged " + std::to_string(beacons.size()), m, r);
  }
  void locationManagerMonitoringDidFailForRegion(const Manager& m, const Region& r,
                                                 const std::string& description) override {
    told(description, m, r);
  }
  void locationManagerDidFailWithError(const Manager& m, const std::string& description) override {
    told(description, m, std::make_shared<platform::Region>("none"));
  }

  std::vector<Manager> managers;
  std::vector<std::string> lines;

 private:
  void told(const std::string& what, const Manager& manager, const Region& region) {
    std::string line = what;
    for (std::size_t i = 0; i < managers.size(); ++i) {
      if (managers[i] == manager) line += " by " + std::to_string(i + 1);
    }
    const auto* beacons = dynamic_cast<const platform::BeaconRegion*>(region.get());
    line += " of " + region->identifier;
    if (beacons) line += " " + beacons->proximityUUID.UUIDString().substr(0, 2);
    lines.push_back(line);
  }
};

TEST_F(Phone, ReportsOfTheLocationServiceNameTheirManagerAndRegion) {
  const auto delegate = std::make_shared<RecordingManagerDelegate>();
  const auto uuid = [](std::uint8_t first) { return platform::Uuid({first}); };
  phone_->enterRegion();  // There is no manager yet.
  for (int i = 0; i < 2; ++i) {
    delegate->managers.push_back(phone_->locationService().newLocationManager());
    delegate->managers.back()->setDelegate(delegate);
  }
  phone_->enterRegion();  // No region was started yet.
  auto& first = *delegate->managers[0];
  first.startMonitoringForRegion(std::make_shared<platform::BeaconRegion>(uuid(0x11), "r"));
  first.startMonitoringForRegion(std::make_shared<platform::BeaconRegion>(uuid(0x22), "r"));

  phone_->startMonitoring();
  phone_->enterRegion({.manager = 1});
  phone_->exitRegion({.proximityUUID = uuid(0x11)});
  phone_->determineState(platform::RegionState::kOutside, {.beaconRegion = false});
  phone_->rangeBeacons({{}, {}});
  phone_->failMonitoring("no radio");
  phone_->failLocation("no luck", {.manager = 1});
  phone_->enterRegion({.manager = 3});
  delegate->managers[1]->setDelegate({});
  phone_->enterRegion();
  EXPECT_THAT(delegate->lines,
              ElementsAre("started by 2 of r 22", "entered by 1 of r 22", "left by 2 of r 11",
                          "state 2 by 2 of other", "ranged 2 by 2 of r 22", "no radio by 2 of r 22",
                          "no luck by 1 of none"));
}

TEST_F(Phone, RecordsWhatALocationManagerIsAsked) {
  const auto manager = phone_->locationService().newLocationManager();
  const auto region = std::make_shared<platform::BeaconRegion>(platform::Uuid({0xAB}), "r");
  manager->startMonitoringForRegion(region);
  manager->requestStateForRegion(std::make_shared<platform::Region>("plain"));
  manager->stopUpdatingLocation();
  EXPECT_THAT(
      effects(),
      ElementsAre(R"(location {"manager":1,"operation":"create"})",
                  R"(location {"manager":1,"operation":"startMonitoringForRegion","region":)"
                  R"({"identifier":"r","notifyEntryStateOnDisplay":false,"notifyOnEntry":true,)"
                  R"("notifyOnExit":true,"proximityUUID":"AB000000-0000-0000-0000-000000000000"}})",
                  R"(location {"manager":1,"operation":"requestStateForRegion","region":)"
                  R"({"identifier":"plain"}})",
                  R"(location {"manager":1,"operation":"stopUpdatingLocation"})"));
  EXPECT_FALSE(manager->location());
  phone_->settings().location = platform::Coordinate{48.85, 2.35};
  EXPECT_EQ(manager->location()->longitude, 2.35);
}

TEST_F(Phone, RunsBackgroundTasksUntilTheyAreExpiredOrEnded) {
  auto& application = phone_->application();
  int expired = 0;
  const auto begin = [&] {
    return application.beginBackgroundTaskWithName("task", [&] { ++expired; });
  };
  phone_->expireBackgroundTime();
  EXPECT_EQ(begin(), 1U);
  phone_->expireBackgroundTime();
  phone_->expireBackgroundTime();
  EXPECT_EQ(expired, 1) << "a handler runs once";
  EXPECT_EQ(begin(), 2U);
  application.endBackgroundTask(2);
  phone_->expireBackgroundTime();
  EXPECT_EQ(expired, 1) << "an ended task does not expire";
  phone_->settings().allowsBackgroundTasks = false;
  EXPECT_EQ(begin(), platform::kBackgroundTaskInvalid);
  EXPECT_EQ(effects().back(), R"(backgroundTask {"begin":"task","identifier":0})");
}

TEST_F(Phone, OpensUrisByTheirBeginnings) {
  phone_->settings().openableUris = {"shop:", "http://a"};
  auto& application = phone_->application();
  EXPECT_TRUE(application.openURL(platform::URL::URLWithString("shop://today")));
  EXPECT_TRUE(application.openURL(platform::URL::URLWithString("http://a/b")));
  EXPECT_FALSE(application.openURL(platform::URL::URLWithString("http://b/shop:")));
  EXPECT_FALSE(application.openURL(std::nullopt));
  EXPECT_EQ(effects().back(), R"(openURL {"opened":false,"url":null})");
}

TEST_F(Phone, OpensNotificationsInAnyOrder) {
  std::vector<Value> opened;
  phone_->openNotification();
  for (int i = 0; i < 3; ++i) phone_->application().scheduleLocalNotification({"", "", i});
  phone_->openNotification();
  phone_->setLocalNotificationOpenedHandler([&](const Value& info) { opened.push_back(info); });
  phone_->openNotification();
  phone_->openNotification(0);
  phone_->openNotification(3);
  EXPECT_THAT(opened, ElementsAre(Value(2), Value(0)));
}

struct PressedDelegate : platform::AlertDelegate {
  explicit PressedDelegate(std::vector<std::string>& pressed) : out(pressed) {}
  void alertClickedButtonAtIndex(int index) override {
    out.push_back("pressed " + std::to_string(index));
  }
  std::vector<std::string>& out;
};

TEST_F(Phone, ShowsAlertsInTurn) {
  std::vector<std::string> pressed;
  auto delegate = std::make_shared<PressedDelegate>(pressed);
  phone_->dismissAlert();
  phone_->application().showAlert({std::nullopt, "first", {}, "OK"});
  phone_->application().showAlert({"title", "second", delegate, "OK"});
  phone_->dismissAlert();
  EXPECT_THAT(pressed, ElementsAre());
  phone_->dismissAlert();
  phone_->dismissAlert();
  EXPECT_THAT(pressed, ElementsAre("pressed 0"));
  EXPECT_THAT(effects(),
              ElementsAre(R"(alert {"buttons":["OK"],"message":"first","title":null})",
                          R"(alert {"buttons":["OK"],"message":"second","title":"title"})"));
}

TEST_F(Phone, TellsObserversInOrderOnceForEachTimeTheyWereAdded) {
  std::string told;
  auto& center = phone_->defaultNotificationCenter();
  const auto add = [&](std::string_view name, char letter) {
    center.addObserver(name, [&told, letter] { told += letter; });
  };
  add(platform::kApplicationDidEnterBackgroundNotification, 'a');
  add("another", 'x');
  add(platform::kApplicationDidEnterBackgroundNotification, 'b');
  add(platform::kApplicationDidEnterBackgroundNotification, 'a');
  phone_->enterBackground();
  EXPECT_EQ(told, "aba");
}

/// A screen with a button at its top left, a page below, and a picture without an image.
class ContentController : public platform::ViewController, public platform::WebViewDelegate {
 public:
  explicit ContentController(SimulatedPhone& phone) : phone_(phone) {}

  std::string_view className() const override { return "Content"; }
  int preferredStatusBarStyle() const override { return 1; }
  void webViewDidFailLoadWithError(const std::shared_ptr<platform::WebView>&,
                                   const std::string& description) override {
    phone_.log().write(description);
  }

  std::shared_ptr<platform::WebView> page;

 protected:
  void viewDidLoad() override {
    auto button = platform::Button::buttonWithType(platform::ButtonType::kCustom);
    button->setFrame({0, 0, 40, 40});
    button->addAction([this](const auto&) { phone_.log().write("tapped"); },
                      platform::ControlEvent::kTouchUpInside);
    auto holder = std::make_shared<platform::View>(platform::Rect{0, 0.5, 40, 40});
    auto picture = std::make_shared<platform::ImageView>(platform::Rect{0, 0, 1.5, 1});
    picture->setContentMode(platform::ContentMode::kScaleAspectFit);
    page = phone_.webViews().newWebView({0, 64, 390, 780});
    page->setDelegate(std::static_pointer_cast<ContentController>(shared_from_this()));
    holder->addSubview(picture);
    view()->addSubview(holder);
    view()->addSubview(button);
    view()->addSubview(page);
    view()->setBackgroundColor(platform::Color{1, 0xAB, 255});
  }

 private:
  SimulatedPhone& phone_;
};

TEST_F(Phone, PutsScreensOnItsStage) {
  const auto root = phone_->application().rootViewController();
  EXPECT_EQ(phone_->shown(), Value());
  const auto content = std::make_shared<ContentController>(*phone_);
  const auto navigation = platform::NavigationController::initWithRootViewController(content);
  navigation->setNavigationBarHidden(true);
  phone_->queues().globalQueue(platform::QueuePriority::kHigh).async([&] {
    root->presentViewController(navigation, true, [&] { phone_->log().write("presented"); });
  });
  phone_->advance(0ms);
  EXPECT_THAT(
      effects(),
      ElementsAre(R"(global screen {"animated":true,"navigation":true,"present":"Content"})",
                  "log \"presented\""));
  EXPECT_EQ(phone_->shown().jsonText(),
            R"({"backgroundColor":"#01abff","controller":"Content","navigation":true,)"
            R"("navigationBarHidden":true,"statusBarStyle":1,"views":[)"
            R"({"contentMode":1,"frame":[0,0,1.5,1],"image":null,"kind":"image"},)"
            R"({"frame":[0,0,40,40],"image":null,"kind":"button"},)"
            R"({"frame":[0,64,390,780],"image":null,"kind":"web","url":null}]})");

  phone_->tap({39, 39});
  phone_->tap({41, 39});
  phone_->presentHostScreen();  // Something is presented already.
  EXPECT_THAT(effects(), ElementsAre("log \"tapped\""));

  const auto pushed = std::make_shared<platform::ViewController>();
  navigation->pushViewController(pushed, true);
  EXPECT_EQ(phone_->shown().at("controller"), Value("ViewController"));
  pushed->dismissViewControllerAnimated(false, [&] { phone_->log().write("dismissed"); });
  root->dismissViewControllerAnimated(true);
  phone_->advance(0ms);
  EXPECT_THAT(effects(),
              ElementsAre(R"(screen {"animated":true,"push":"ViewController"})",
                          R"(screen {"animated":false,"dismiss":"Content"})",
                          R"(screen {"animated":true,"dismiss":null})", "log \"dismissed\""));
  EXPECT_EQ(phone_->shown(), Value());
  phone_->tap({1, 1});
  phone_->presentHostScreen();
  EXPECT_EQ(phone_->shown(), Value(Dictionary{{"controller", "host"}}));
  EXPECT_THAT(effects(),
              ElementsAre(R"(screen {"animated":true,"navigation":false,"present":"host"})"));
}

TEST_F(Phone, LoadsPagesAndTellsOfThoseThatFail) {
  phone_->settings().failingPages["http://h/down"] = "host is down";
  const auto content = std::make_shared<ContentController>(*phone_);
  content->view();
  content->page->loadRequest(platform::URL::URLWithString("http://h/up"));
  content->page->loadRequest(platform::URL::URLWithString("http://h/down"));
  content->page->loadRequest(std::nullopt);
  phone_->advance(0ms);
  EXPECT_THAT(effects(),
              ElementsAre(R"(page {"load":"http://h/up"})", R"(page {"load":"http://h/down"})",
                          R"(page {"load":null})", "log \"host is down\""));
}

}  // namespace
}  // namespace korvani::simulator
