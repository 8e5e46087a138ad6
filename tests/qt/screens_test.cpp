// The screens of the Linux phone, on offscreen windows: what the models say is seen, what the user
// presses reaches them, and the order of things holds.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <korvani/qt/banner.h>
#include <korvani/qt/canvas.h>
#include <korvani/qt/image.h>
#include <korvani/qt/motion.h>
#include <korvani/qt/queues.h>
#include <korvani/qt/screens.h>
#include <unistd.h>

#include <QAbstractButton>
#include <QBuffer>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QScroller>
#include <QShortcut>
#include <QTest>
#include <QVariantAnimation>
#include <string>
#include <thread>
#include <vector>

#include "waiting.h"

namespace korvani::qt {
namespace {

using platform::Button;
using platform::Color;
using platform::ImageView;
using platform::NavigationController;
using platform::View;
using platform::ViewController;
using testing::ElementsAre;

constexpr Color kBlue{0, 0, 255};

/// A screen like the kit's: a close button, an image, and a tap area that reaches past the edge.
class PopUp final : public ViewController {
 public:
  explicit PopUp(Color background = kBlue) : background_(background) {}

  std::shared_ptr<Button> close = Button::buttonWithType(platform::ButtonType::kCustom);
  std::shared_ptr<Button> tapArea = Button::buttonWithType(platform::ButtonType::kCustom);
  std::shared_ptr<ImageView> image = std::make_shared<ImageView>(platform::Rect{0, 64, 200, 236});
  int taps = 0;

 protected:
  void viewDidLoad() override {
    view()->setBackgroundColor(background_);
    close->setFrame({2, 22, 40, 40});
    close->setImage(std::make_shared<QtImage>(filled(QSize(75, 75), Qt::white), 3),
                    platform::ControlState::kNormal);
    close->addAction([this](const auto&) { dismissViewControllerAnimated(true); },
                     platform::ControlEvent::kTouchUpInside);
    image->setContentMode(platform::ContentMode::kScaleAspectFit);
    tapArea->setFrame({0, 64, 200, 300});
    tapArea->addAction([this](const auto&) { ++taps; }, platform::ControlEvent::kTouchUpInside);
    for (const std::shared_ptr<View>& part :
         {std::shared_ptr<View>(close), std::shared_ptr<View>(image),
          std::shared_ptr<View>(tapArea)}) {
      view()->addSubview(part);
    }
  }

 public:
  static QImage filled(QSize size, QColor color) {
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(color);
    return image;
  }

 private:
  const Color background_;
};

class ScreensTest : public testing::Test {
 protected:
  ScreensTest() {
    host_->resize(200, 300);
    host_->show();
  }

  std::shared_ptr<ViewController> root() { return screens_.rootViewController(); }
  platform::Completion note(std::string what) {
    return [this, what] { events_.push_back(what); };
  }
  void untilEvents(std::size_t count) {
    runUntil([&] { return events_.size() == count; });
  }
  /// Presents it without a slide and waits until it stands there.
  void show(const std::shared_ptr<ViewController>& popUp) {
    bool shown = false;
    root()->presentViewController(popUp, false, [&] { shown = true; });
    runUntil([&] { return shown; });
  }
  /// The pop-ups in the window, bottom to top.
  QList<QWidget*> popUps() const { return host_->findChildren<QWidget*>("korvaniPopUp"); }
  /// The button of that accessible name that the user can press now; null when there is none.
  QAbstractButton* button(const QString& name) const {
    for (auto* found : host_->findChildren<QAbstractButton*>()) {
      if (found->accessibleName() == name && found->isVisible()) return found;
    }
    return nullptr;
  }
  /// The animation that has just begun, stopped where it is.
  QVariantAnimation* haltedSlide() const {
    runUntil([&] { return host_->findChild<QVariantAnimation*>(); });
    auto* const slide = host_->findChild<QVariantAnimation*>();
    slide->pause();
    return slide;
  }
  /// Tells it to `events_` when the host's window gets that key as a shortcut.
  void giveHostShortcut(Qt::Key key) {
    auto* const shortcut = new QShortcut(key, host_.get());
    QObject::connect(shortcut, &QShortcut::activated, note("the host's shortcut"));
    QObject::connect(shortcut, &QShortcut::activatedAmbiguously, note("one of two"));
  }
  QColor pixel(int x, int y) const { return host_->grab().toImage().pixelColor(x, y); }

  MainQueue mainQueue_;
  std::unique_ptr<QWidget> host_ = std::make_unique<QWidget>();
  Screens screens_{host_.get(), mainQueue_};
  std::vector<std::string> events_;
};

TEST_F(ScreensTest, TransitionsFollowEachOtherInTheOrderAskedFor) {
  const auto first = std::make_shared<PopUp>();
  const auto second = std::make_shared<PopUp>();
  std::thread([&] {
    root()->presentViewController(first, true, note("first presented"));
    root()->dismissViewControllerAnimated(true, [&] {
      EXPECT_TRUE(popUps().empty());
      note("first dismissed")();
      root()->presentViewController(second, true, note("second presented"));
    });
    root()->dismissViewControllerAnimated(false, note("nothing to dismiss"));
  }).join();
  EXPECT_TRUE(events_.empty());
  untilEvents(4);
  EXPECT_THAT(events_, ElementsAre("first presented", "first dismissed", "nothing to dismiss",
                                   "second presented"));
  ASSERT_EQ(popUps().size(), 1);
  EXPECT_EQ(popUps().front()->geometry(), host_->rect());
  EXPECT_EQ(second->presentingViewController(), root());
}

TEST_F(ScreensTest, MirrorsTheModelsAndTheirChanges) {
  const auto popUp = std::make_shared<PopUp>();
  show(popUp);
  popUp->image->setImage(std::make_shared<QtImage>(PopUp::filled({20, 10}, Qt::red), 1));
  EXPECT_EQ(pixel(100, 182), QColor(Qt::red));
  EXPECT_EQ(pixel(100, 70), QColor(Qt::blue));
  popUp->image->setContentMode(platform::ContentMode::kScaleToFill);
  EXPECT_EQ(pixel(100, 70), QColor(Qt::red));
  popUp->image->setFrame({0, 200, 200, 100});
  EXPECT_EQ(pixel(100, 70), QColor(Qt::blue));
  popUp->view()->setBackgroundColor(Color{0, 128, 0});
  EXPECT_EQ(pixel(100, 10), QColor(0, 128, 0));
  const auto late = std::make_shared<View>(platform::Rect{150, 0, 20, 20});
  late->setBackgroundColor(Color{255, 0, 0});
  popUp->view()->addSubview(late);
  EXPECT_EQ(pixel(160, 10), QColor(Qt::red));
}

TEST_F(ScreensTest, TouchesReachTheFrontMostButton) {
  int hostClicks = 0;
  QPushButton behind("behind", host_.get());
  behind.setGeometry(host_->rect());
  behind.show();
  QObject::connect(&behind, &QPushButton::clicked, [&] { ++hostClicks; });
  const auto popUp = std::make_shared<PopUp>();
  show(popUp);

  const auto click = [&](QPoint place) {
    QTest::mouseClick(host_->windowHandle(), Qt::LeftButton, {}, place);
  };
  click({100, 65});  // on the band above the image
  click({100, 290});
  EXPECT_EQ(popUp->taps, 2);
  click({100, 10});  // beside the close button
  EXPECT_EQ(popUp->taps, 2);
  EXPECT_EQ(root()->presentedViewController(), popUp);
  click({22, 42});
  EXPECT_EQ(root()->presentedViewController(), nullptr);
  runUntil([&] { return popUps().empty(); });
  EXPECT_EQ(hostClicks, 0);
  click({100, 290});
  EXPECT_EQ(hostClicks, 1);
}

TEST_F(ScreensTest, SlideFromBelowOrTheRightAndGoWithTheirNavigation) {
  const auto bottom = std::make_shared<PopUp>();
  const auto pushed = std::make_shared<PopUp>(Color{255, 0, 0});
  const auto navigation = NavigationController::initWithRootViewController(bottom);
  root()->presentViewController(navigation, true, note("presented"));
  QVariantAnimation* slide = haltedSlide();
  slide->setCurrentTime(0);
  EXPECT_EQ(popUps().front()->pos(), QPoint(0, 300));
  EXPECT_TRUE(events_.empty());
  slide->resume();
  untilEvents(1);
  runUntil([&] { return !host_->findChild<QVariantAnimation*>(); });
  EXPECT_EQ(pixel(100, 10), QColor(Qt::blue));

  navigation->pushViewController(pushed, true);
  slide = haltedSlide();
  slide->setCurrentTime(slide->duration() / 2);
  EXPECT_EQ(pixel(199, 10), QColor(Qt::red)) << "it comes from the right";
  EXPECT_EQ(pixel(1, 10), QColor(Qt::blue));
  slide->resume();
  runUntil([&] { return !host_->findChild<QVariantAnimation*>(); });
  EXPECT_EQ(pixel(1, 10), QColor(Qt::red));
  pushed->close->sendActionsForControlEvent(platform::ControlEvent::kTouchUpInside);
  runUntil([&] { return popUps().empty(); });
  EXPECT_EQ(root()->presentedViewController(), nullptr);
}

TEST_F(ScreensTest, DismissingTakesWhatStandsOnTop) {
  const auto lower = std::make_shared<PopUp>();
  show(lower);
  lower->presentViewController(std::make_shared<PopUp>(Color{255, 0, 0}), false, note("upper"));
  untilEvents(1);
  EXPECT_EQ(popUps().size(), 2);
  root()->dismissViewControllerAnimated(true, note("both"));
  untilEvents(2);
  EXPECT_TRUE(popUps().empty());
}

TEST_F(ScreensTest, WhatReachesAnEdgeGoesOnReachingIt) {
  const auto screen = std::make_shared<ViewController>();
  screen->view()->setFrame({0, 0, 200, 300});
  const platform::Rect frames[] = {{2, 22, 40, 40}, {0, 64, 200, 236}, {0, 64, 200, 300}};
  for (const auto& frame : frames) screen->view()->addSubview(std::make_shared<View>(frame));
  show(screen);
  const auto places = [this] {
    QList<QRect> all;
    const auto* root = popUps().front()->findChild<QWidget*>(QString(), Qt::FindDirectChildrenOnly);
    for (const auto* part : root->findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly)) {
      all << part->geometry();
    }
    return all;
  };
  EXPECT_EQ(places(), (QList<QRect>{{2, 22, 40, 40}, {0, 64, 200, 236}, {0, 64, 200, 300}}));
  host_->resize(300, 200);
  EXPECT_EQ(screens_.mainScreenBounds(), (platform::Rect{0, 0, 300, 200}));
  EXPECT_EQ(places(), (QList<QRect>{{2, 22, 40, 40}, {0, 64, 300, 136}, {0, 64, 300, 200}}));
  host_->resize(200, 300);
  EXPECT_EQ(places(), (QList<QRect>{{2, 22, 40, 40}, {0, 64, 200, 236}, {0, 64, 200, 300}}));
}

TEST_F(ScreensTest, WithoutAWindowCompletionsStillRun) {
  root()->presentViewController(std::make_shared<PopUp>(), true, note("presented"));
  runUntil([&] { return !popUps().empty(); });
  host_.reset();
  untilEvents(1);
  root()->dismissViewControllerAnimated(true, note("dismissed"));
  root()->presentViewController(std::make_shared<PopUp>(), true, note("presented again"));
  screens_.showAlert({{}, "nobody sees it", {}, "OK"});
  screens_.showBanners([&] { return Banner{"nor this", note("opened")}; });
  untilEvents(3);
  EXPECT_THAT(events_, ElementsAre("presented", "dismissed", "presented again"));
  EXPECT_EQ(screens_.mainScreenBounds(), (platform::Rect{0, 0, 0, 0}));
}

TEST_F(ScreensTest, TheKeyboardStaysInThePopUpUntilItGoes) {
  QLineEdit field(host_.get());
  field.show();
  field.setFocus();
  host_->activateWindow();
  for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Delete, Qt::Key_Escape}) giveHostShortcut(key);
  const auto popUp = std::make_shared<PopUp>();
  show(popUp);
  const auto press = [](Qt::Key key) { QTest::keyClick(QApplication::focusWidget(), key); };

  press(Qt::Key_Tab);
  EXPECT_EQ(QApplication::focusWidget(), button("Close"));
  press(Qt::Key_Tab);
  EXPECT_EQ(QApplication::focusWidget(), button("Image"));
  press(Qt::Key_Return);
  press(Qt::Key_Space);
  EXPECT_EQ(popUp->taps, 2);
  press(Qt::Key_Tab);
  EXPECT_EQ(QApplication::focusWidget(), button("Close"));
  press(Qt::Key_Delete);

  popUp->presentViewController(std::make_shared<PopUp>(), false);
  runUntil([&] { return popUps().size() == 2; });
  press(Qt::Key_Tab);
  press(Qt::Key_Escape);
  runUntil([&] { return popUps().size() == 1; });
  press(Qt::Key_Escape);
  EXPECT_EQ(root()->presentedViewController(), nullptr);
  runUntil([&] { return popUps().empty(); });
  EXPECT_EQ(QApplication::focusWidget(), &field);
  EXPECT_TRUE(events_.empty());
  press(Qt::Key_Escape);
  EXPECT_THAT(events_, ElementsAre("the host's shortcut"));
}

class AnsweredAlert final : public platform::AlertDelegate {
 public:
  void alertClickedButtonAtIndex(int index) override { indexes.push_back(index); }
  std::vector<int> indexes;
};

TEST_F(ScreensTest, AlertsAreShownInTurnAndAnswered) {
  giveHostShortcut(Qt::Key_Escape);
  const auto delegate = std::make_shared<AnsweredAlert>();
  screens_.showAlert({{}, "<b>wrong</b> key &amp; more", delegate, "OK"});
  screens_.showAlert({"Title", std::string(100'000, 'x'), delegate, "OK"});
  screens_.showAlert({{}, "its delegate has gone", std::make_shared<AnsweredAlert>(), "OK"});
  runUntil([&] { return button("OK"); });
  const auto message = [&] { return host_->findChild<QScrollArea*>("message"); };
  EXPECT_EQ(message()->widget()->accessibleName(), "<b>wrong</b> key &amp; more");
  EXPECT_EQ(message()->height(), message()->widget()->height()) << "no more, no less";

  // A pop-up that comes while an alert waits stands under it, and leaves it the keyboard.
  show(std::make_shared<PopUp>());
  EXPECT_EQ(QApplication::focusWidget(), button("OK"));
  QTest::keyClick(button("OK"), Qt::Key_Escape);
  EXPECT_THAT(delegate->indexes, ElementsAre(0));
  EXPECT_EQ(popUps().size(), 1) << "Escape was for the alert";
  EXPECT_TRUE(events_.empty());

  EXPECT_LT(message()->widget()->accessibleName().size(), 5000);
  EXPECT_TRUE(host_->rect().contains(button("OK")->geometry())) << "a long text scrolls";
  QWidget* const text = message()->viewport();
  static QPointingDevice* const finger = QTest::createTouchDevice();
  QTest::touchEvent(text, finger).press(0, {50, 90}, text);
  QTest::touchEvent(text, finger).move(0, {50, 10}, text);
  EXPECT_EQ(QScroller::scroller(text)->state(), QScroller::Dragging);
  QTest::touchEvent(text, finger).release(0, {50, 10}, text);
  QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
  EXPECT_THAT(delegate->indexes, ElementsAre(0, 0));
  button("OK")->click();
  EXPECT_EQ(button("OK"), nullptr);
  EXPECT_TRUE(popUps().front()->parentWidget()->hasFocus());
}

TEST_F(ScreensTest, BannersAreOpenedOnceAndLeaveInTurn) {
  const auto canvas = Canvas::over(host_.get());
  const Motion motion;
  Banners banners(*canvas, motion, std::chrono::hours(1));
  const auto banner = [&](const QString& text) { return button(text); };
  std::vector<std::string> waiting{"fifth", "fourth", "third", "second", "first"};
  const auto next = [&]() -> std::optional<Banner> {
    if (waiting.empty()) return std::nullopt;
    const std::string text = waiting.back();
    waiting.pop_back();
    return Banner{text, note(text)};
  };
  banners.show(next);
  banners.show(next);
  EXPECT_EQ(waiting.size(), 4U);
  ASSERT_TRUE(banner("first"));
  EXPECT_FALSE(banner("second"));
  banner("first")->click();
  banner("first")->click();
  EXPECT_THAT(events_, ElementsAre("first"));

  runUntil([&] { return banner("second"); });
  EXPECT_FALSE(banner("first"));
  banners.show([] { return std::nullopt; });
  button("Close")->click();
  runUntil([&] { return !banner("second"); });

  // One that nobody touches leaves by itself.
  Banners hasty(*canvas, motion, std::chrono::milliseconds(1));
  hasty.show(next);
  runUntil([&] { return banner("fourth"); });
  host_->showMinimized();
  runUntil([&] { return !banner("fourth"); });
  hasty.show(next);
  EXPECT_EQ(waiting.size(), 1U) << "nobody would see it";
  EXPECT_THAT(events_, ElementsAre("first"));
}

std::string encoded(const QImage& image, const char* format) {
  QByteArray bytes;
  QBuffer buffer(&bytes);
  buffer.open(QIODevice::WriteOnly);
  image.save(&buffer, format);
  return bytes.toStdString();
}

/// An animation of one pixel: a red frame and a blue one, 30 milliseconds each; `loops` 0: for
/// ever.
std::string redAndBlue(char loops) {
  using namespace std::string_literals;
  const std::string delay = "\x21\xF9\x04\x00\x03\x00\x00\x00"s;
  const std::string pixel = "\x2C\0\0\0\0\x01\0\x01\0\0\x02\x02"s;
  return "GIF89a\x01\0\x01\0\x80\0\0\xFF\0\0\0\0\xFF"s + "\x21\xFF\x0BNETSCAPE2.0\x03\x01"s +
         loops + "\0\0"s + delay + pixel + "\x44\x01\0"s + delay + pixel + "\x4C\x01\0\x3B"s;
}

TEST_F(ScreensTest, ImagesThatMoveAreMoving) {
  // A frame may be under way at the end, so like a phone's they stay.
  static auto* const queues = new Queues(ApplicationLife::ofProcess());
  ImageDecoder decoder(ApplicationLife::ofProcess(), *queues);
  const auto popUp = std::make_shared<PopUp>();
  popUp->image->setImage(decoder.imageWithData(redAndBlue(0), 1));
  show(popUp);
  for (const QColor color : {Qt::red, Qt::blue, Qt::red, Qt::blue}) {
    runUntil([&] { return pixel(100, 180) == color; });
  }
  // One that ends rests at its last frame; one that is taken away stops.
  popUp->image->setImage(decoder.imageWithData(redAndBlue(1), 1));
  for (const QColor color : {Qt::red, Qt::blue, Qt::red, Qt::blue}) {
    runUntil([&] { return pixel(100, 180) == color; });
  }
  popUp->image->setImage(decoder.imageWithData(redAndBlue(0).substr(0, 60), 1));
  popUp->image->setImage(nullptr);
  EXPECT_EQ(pixel(100, 180), QColor(Qt::blue)) << "the background";
}

TEST(ImageDecoderTest, BoundsAndTurnsPicturesAndRefusesBadOnes) {
  Queues queues(ApplicationLife::ofProcess());
  ImageDecoder decoder(ApplicationLife::ofProcess(), queues);
  const QImage pixels = PopUp::filled({30, 60}, Qt::red);
  // More than any screen shows is not kept.
  for (const int height : {30, 1}) {
    const auto wide =
        decoder.imageWithData(encoded(PopUp::filled({9000, height}, Qt::red), "PNG"), 1);
    ASSERT_TRUE(wide);
    EXPECT_EQ(wide->size(), (platform::Size{9000, 1.0 * height}));
    EXPECT_LE(dynamic_cast<const QtImage&>(*wide).pixels().width(), 4096);
  }

  for (const QColor color : {QColor(1, 2, 3), QColor(255, 0, 0, 51)}) {
    const auto image = decoder.imageWithData(encoded(PopUp::filled({31, 7}, color), "PNG"), 1);
    ASSERT_TRUE(image);
    EXPECT_EQ(dynamic_cast<const QtImage&>(*image).pixels(), PopUp::filled({31, 7}, color));
  }

  // A quarter turn by EXIF, right behind the start marker.
  const std::string_view turned(
      "\xFF\xE1\x00\x22"
      "Exif\0\0MM\0\x2A\0\0\0\x08\0\x01\x01\x12\0\x03"
      "\0\0\0\x01\0\x06\0\0\0\0\0\0",
      36);
  const auto upright = decoder.imageWithData(encoded(pixels, "JPG").insert(2, turned), 1);
  ASSERT_TRUE(upright);
  EXPECT_EQ(upright->size(), (platform::Size{60, 30}));

  std::string huge = encoded(PopUp::filled({1, 1}, Qt::red), "BMP");
  huge.replace(18, 8, std::string("\x20\x4E\0\0\x20\x4E\0\0", 8));  // says 20,000 × 20,000
  const std::string png = encoded(pixels, "PNG");
  for (const std::string& bad : {std::string(), std::string("no image"), huge, png.substr(0, 30)}) {
    EXPECT_FALSE(decoder.imageWithData(bad, 1)) << bad.size();
  }
}

/// A download may come in while the process ends; what is decoded after the application has gone
/// would load Qt's readers anew.
void decodeAfterTheEnd() {
  Queues queues(ApplicationLife::ofProcess());
  ImageDecoder decoder(ApplicationLife::ofProcess(), queues);
  const std::string png = encoded(PopUp::filled({1, 1}, Qt::red), "PNG");
  const bool before = decoder.imageWithData(png, 1) != nullptr;
  delete qApp;
  const bool after = decoder.imageWithData(png, 1) != nullptr;
  ::_exit(before && !after ? 0 : 1);
}

TEST(ImageDecoderTest, DecodesNothingAfterTheEnd) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(decodeAfterTheEnd(), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace korvani::qt
