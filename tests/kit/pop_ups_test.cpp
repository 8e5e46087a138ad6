// What no record of effects shows: the pop-ups' own operations, the close image's pixels, and the
// rules of presentation.
#include <gtest/gtest.h>
#include <korvani/codec/png.h>
#include <korvani/simulator/simulated_phone.h>
#include <korvani/ui/korvani_view.h>
#include <korvani/ui/korvani_web_view.h>

#include <memory>

namespace korvani {
namespace {

using namespace std::chrono_literals;
using platform::ControlState;
using platform::Image;
using platform::Rect;
using platform::ViewController;

class PopUps : public testing::Test {
 protected:
  PopUps() { platform::Platform::install(phone); }

  std::shared_ptr<ViewController> root() { return phone->application().rootViewController(); }

  const std::shared_ptr<simulator::SimulatedPhone> phone =
      std::make_shared<simulator::SimulatedPhone>();
  const std::shared_ptr<const Image> custom = std::make_shared<Image>(80, 40, 2.0);
};

template <typename PopUp>
void expectOwnImageIsKept(const std::shared_ptr<const Image>& own) {
  const auto popUp = std::make_shared<PopUp>();
  popUp->setImageButton(own);
  EXPECT_EQ(popUp->buttonClose(), nullptr);
  popUp->view();
  EXPECT_EQ(popUp->imageButton(), own);
  EXPECT_EQ(popUp->buttonClose()->image(ControlState::kNormal), own);
  EXPECT_EQ(popUp->buttonClose()->frame(), (Rect{2, 22, 40, 40}));

  popUp->setImageButton(nullptr);
  EXPECT_EQ(popUp->buttonClose()->image(ControlState::kNormal), own);
  const auto later = std::make_shared<Image>(1, 1, 1.0);
  popUp->setImageButton(later);
  EXPECT_EQ(popUp->buttonClose()->image(ControlState::kNormal), later);
}

TEST_F(PopUps, CloseImageBeforeAndAfterLoading) {
  expectOwnImageIsKept<KorvaniView>(custom);
  expectOwnImageIsKept<KorvaniWebView>(custom);
}

TEST_F(PopUps, DefaultCloseImageIsAWhiteDiscWithATransparentCross) {
  const auto popUp = std::make_shared<KorvaniView>();
  popUp->view();
  const auto image = std::dynamic_pointer_cast<const codec::PngImage>(popUp->imageButton());
  ASSERT_TRUE(image);
  ASSERT_EQ(image->pixelWidth(), 75);
  ASSERT_EQ(image->pixelHeight(), 75);
  EXPECT_EQ(image->size(), (platform::Size{25, 25}));

  const auto pixels = image->pixels();
  const auto alpha = [&](std::size_t x, std::size_t y) { return pixels[4 * (75 * y + x) + 3]; };
  int partly = 0;
  for (std::size_t y = 0; y < 75; ++y) {
    for (std::size_t x = 0; x < 75; ++x) {
      for (std::size_t channel = 0; channel < 3; ++channel) {
        ASSERT_EQ(pixels[4 * (75 * y + x) + channel], 255) << x << ',' << y;
      }
      if (alpha(x, y) != 0 && alpha(x, y) != 255) ++partly;
      EXPECT_EQ(alpha(x, y), alpha(74 - x, y)) << "the picture is symmetric";
      EXPECT_EQ(alpha(x, y), alpha(y, x)) << "the picture is symmetric";
    }
  }
  EXPECT_GT(partly, 75) << "edges are smooth";
  EXPECT_EQ(alpha(37, 37), 0) << "the middle of the cross";
  EXPECT_EQ(alpha(30, 30), 0) << "an arm of the cross";
  EXPECT_EQ(alpha(0, 0), 0) << "outside of the disc";
  EXPECT_EQ(alpha(37, 2), 255) << "the disc fills the canvas";
  EXPECT_EQ(alpha(37, 25), 255) << "between the arms";
}

TEST_F(PopUps, APageIsLoadedByTheWebViewThatExists) {
  const auto popUp = std::make_shared<KorvaniWebView>();
  popUp->setWebviewURL("http://a.example/early");
  popUp->view();
  EXPECT_TRUE(phone->contents("page").empty());
  EXPECT_EQ(popUp->webView()->frame(), (Rect{0, 64, 390, 844 - 64}));
  popUp->setWebviewURL(std::nullopt);
  EXPECT_TRUE(phone->contents("page").empty());
  popUp->setWebviewURL("http://a.example/");
  EXPECT_EQ(phone->contents("page").at(0).at("load"), platform::Value("http://a.example/"));
}

TEST_F(PopUps, PresentationRules) {
  const auto first = std::make_shared<KorvaniWebView>();
  const auto second = std::make_shared<KorvaniWebView>();
  int completions = 0;
  const auto count = [&] { ++completions; };

  root()->presentViewController(first, true, count);
  root()->presentViewController(first, true, count);
  root()->presentViewController(second, true, count);
  root()->presentViewController(second, true, count);
  EXPECT_EQ(root()->presentedViewController(), first) << "what is there stays";
  root()->dismissViewControllerAnimated(true, count);
  EXPECT_EQ(root()->presentedViewController(), second) << "what came meanwhile follows, once";
  second->presentViewController(first, false, count);
  root()->dismissViewControllerAnimated(true, count);
  EXPECT_EQ(root()->presentedViewController(), nullptr) << "all that stood there went";
  first->dismissViewControllerAnimated(true, count);
  second->dismissViewControllerAnimated(true, count);
  EXPECT_EQ(completions, 0) << "completions come later";
  phone->advance(0ms);
  EXPECT_EQ(completions, 5) << "of the three presentations and the two dismissals of the root";

  // A page that was pushed closes the navigation that holds it.
  const auto navigation =
      platform::NavigationController::initWithRootViewController(std::make_shared<KorvaniView>());
  root()->presentViewController(navigation, true);
  const auto pushed = std::make_shared<KorvaniWebView>();
  navigation->pushViewController(pushed, true);
  pushed->dismissViewControllerAnimated(true, count);
  EXPECT_EQ(root()->presentedViewController(), nullptr);
  root()->dismissViewControllerAnimated(true, count);
  phone->advance(0ms);
  EXPECT_EQ(completions, 7) << "a dismissal completes though nothing was there";
}

}  // namespace
}  // namespace korvani
