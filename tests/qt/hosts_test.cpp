// The phone in each kind of host, at the scale and on the window system that the environment asks
// for: where things are in a picture of its window, and what becomes of keys and clicks.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <korvani/qt/phone.h>
#include <korvani/ui/korvani_view.h>
#include <korvani/ui/korvani_web_view.h>
#include <unistd.h>

#include <QAbstractButton>
#include <QAccessible>
#include <QApplication>
#include <QBuffer>
#include <QInputMethodEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPointer>
#include <QQuickWindow>
#include <QShortcut>
#include <QTemporaryDir>
#include <QTest>

#include "private_bus.h"
#include "raw_server.h"

namespace korvani::qt {
namespace {

using platform::NavigationController;
using platform::ViewController;
using testing::Contains;

enum class Kind { kWidgets, kWindowInWidgets, kQuick, kNone };

constexpr QSize kSize(200, 300);
constexpr QColor kHost(38, 80, 58);
constexpr QColor kBack(0, 0, 200);

class QuickHost final : public QQuickWindow {
 public:
  int clicks = 0;
  int keys = 0;

 protected:
  void mousePressEvent(QMouseEvent*) override { ++clicks; }
  void keyPressEvent(QKeyEvent*) override { ++keys; }
};

std::string encoded(const QImage& image) {
  QByteArray bytes;
  QBuffer buffer(&bytes);
  buffer.open(QIODevice::WriteOnly);
  image.save(&buffer, "PNG");
  return bytes.toStdString();
}

QStringList namesIn(QAccessibleInterface* interface) {
  QStringList names;
  for (int i = 0; interface && i < interface->childCount(); ++i) {
    QAccessibleInterface* const child = interface->child(i);
    if (!child->state().invisible) names << child->text(QAccessible::Name) << namesIn(child);
  }
  return names;
}

class Hosts : public testing::TestWithParam<Kind> {
 protected:
  Hosts() {
    HostWindow window;
    if (GetParam() == Kind::kWidgets || GetParam() == Kind::kWindowInWidgets) {
      widget_ = std::make_unique<QWidget>();
      if (GetParam() == Kind::kWindowInWidgets) {
        QWidget::createWindowContainer(new QWindow, widget_.get())->resize(kSize);
      }
      window = widget_.get();
      widget_->resize(kSize);
      widget_->show();
      widget_->activateWindow();
      runUntil([this] { return widget_->isActiveWindow(); });
    } else if (GetParam() == Kind::kQuick) {
      QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
      quick_ = std::make_unique<QuickHost>();
      quick_->setColor(kHost);
      window = quick_.get();
      quick_->resize(kSize);
      quick_->show();
      quick_->requestActivate();
      runUntil([this] { return QGuiApplication::focusWindow() == quick_.get(); });
    }
    QGuiApplication::setDesktopFileName("org.example.Shop");
    phone_ = Phone::create(
        window,
        {.walkFile = {}, .mappedHosts = {}, .settingsFile = folder_.filePath("settings.ini")});
    platform::Platform::install(phone_);
  }
  ~Hosts() override {
    // Answers that are still under way would be lost with all that waits for them.
    for (const auto& bus : {QDBusConnection::sessionBus(), QDBusConnection::systemBus()}) {
      bus.call(QDBusMessage::createMethodCall("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                              "org.freedesktop.DBus", "GetId"));
    }
    QCoreApplication::processEvents();
  }

  std::shared_ptr<ViewController> root() { return phone_->application().rootViewController(); }
  /// The widget that the phone draws on, while it draws.
  QWidget* canvas() const {
    if (GetParam() == Kind::kWidgets) return widget_.get();
    for (QWidget* top : QApplication::topLevelWidgets()) {
      if (top->isVisible() && top != widget_.get()) return top;
    }
    return nullptr;
  }
  /// As it is seen: what the canvas leaves out is the host's.
  QImage picture() const {
    QPixmap drawn = canvas()->grab();
    const qreal ratio = drawn.devicePixelRatio();
    QImage seen(drawn.size(), QImage::Format_ARGB32);
    seen.setDevicePixelRatio(ratio);
    seen.fill(kHost);
    QPainter painter(&seen);
    if (!canvas()->mask().isEmpty()) painter.setClipRegion(canvas()->mask());
    painter.drawPixmap(0, 0, drawn);
    return seen;
  }
  static QColor at(const QImage& picture, QPointF point) {
    return picture.pixelColor((point * picture.devicePixelRatio()).toPoint());
  }
  QAbstractButton* button(const QString& name) const {
    if (!canvas()) return nullptr;
    for (auto* found : canvas()->findChildren<QAbstractButton*>()) {
      if (found->accessibleName() == name && found->isVisible()) return found;
    }
    return nullptr;
  }
  void resizeHost(QSize size) {
    if (widget_) widget_->resize(size);
    if (quick_) quick_->resize(size);
    if (GetParam() == Kind::kNone) canvas()->resize(size);
    runUntil([&] { return canvas()->size() == size; });
  }
  void present(const std::shared_ptr<ViewController>& controller) {
    bool shown = false;
    root()->presentViewController(controller, false, [&] { shown = true; });
    runUntil([&] { return shown; });
  }
  /// The kit's image pop-up with that image.
  void presentImage(const QImage& image) {
    const auto view = std::make_shared<KorvaniView>();
    view->view()->setBackgroundColor(platform::Color{0, 0, 200});
    view->imageView()->setImage(phone_->images().imageWithData(encoded(image), 1));
    present(NavigationController::initWithRootViewController(view));
  }
  void untilNothingIsPresented() {
    runUntil([this] {
      return !root()->presentedViewController() && !button("Close") &&
             (GetParam() == Kind::kWidgets || !canvas());
    });
  }

  const PrivateBus bus_;  // without any service
  QTemporaryDir folder_;
  std::unique_ptr<QWidget> widget_;
  std::unique_ptr<QuickHost> quick_;
  std::shared_ptr<Phone> phone_;
};

TEST_P(Hosts, TheImagePopUpIsWhereItBelongs) {
  const platform::Rect screen = phone_->device().mainScreenBounds();
  const double width = screen.width;
  const double height = screen.height;
  QImage image(QSize(20, 10), QImage::Format_RGB32);
  image.fill(Qt::red);
  presentImage(image);
  EXPECT_EQ(canvas()->size(), QSizeF(width, height).toSize());

  const auto expectImage = [&](double w, double h) {
    const QImage seen = picture();
    EXPECT_EQ(at(seen, {22, 33}), QColor(Qt::white)) << "the close button's disc";
    EXPECT_EQ(at(seen, {22, 42}), kBack) << "its cross";
    EXPECT_EQ(at(seen, {6, 26}), kBack) << "beside it";
    const double top = 64 + (h - 64 - w / 2) / 2;
    const double bottom = top + w / 2;
    for (const double x : {1.0, w / 2, w - 2}) {
      EXPECT_EQ(at(seen, {x, top - 2}), kBack);
      EXPECT_EQ(at(seen, {x, top + 2}), QColor(Qt::red));
      EXPECT_EQ(at(seen, {x, bottom - 2}), QColor(Qt::red));
      EXPECT_EQ(at(seen, {x, bottom + 2}), kBack);
    }
    EXPECT_EQ(at(seen, {w - 1, h - 1}), kBack);
  };
  expectImage(width, height);
  resizeHost({260, 400});
  expectImage(260, 400);
  EXPECT_THAT(namesIn(QAccessible::queryAccessibleInterface(canvas())),
              testing::AllOf(Contains("Close"), Contains("Image")));
}

TEST_P(Hosts, PicturesAreAsSharpAsTheScreen) {
  const platform::Rect screen = phone_->device().mainScreenBounds();
  // A column for each pixel of the device: they come out one by one, or all grey.
  const int columns = qRound(screen.width * qApp->devicePixelRatio());
  QImage stripes(columns, 4, QImage::Format_RGB32);
  for (int x = 0; x < columns; ++x) {
    for (int y = 0; y < 4; ++y) stripes.setPixelColor(x, y, x % 2 ? Qt::white : Qt::black);
  }
  presentImage(stripes);
  const QImage seen = picture();
  ASSERT_EQ(seen.width(), columns);
  const int row = qRound((64 + (screen.height - 64) / 2) * seen.devicePixelRatio());
  for (int x = 10; x < 20; ++x) {
    EXPECT_EQ(seen.pixelColor(x, row), stripes.pixelColor(x, 0)) << x;
  }
}

TEST_P(Hosts, KeysCloseAndTheHostHasThemAgain) {
  for (const Qt::Key key : {Qt::Key_Escape, Qt::Key_Back}) {
    present(std::make_shared<KorvaniView>());
    runUntil([this] { return GetParam() == Kind::kNone || canvas()->isActiveWindow(); });
    QTest::keyClick(canvas()->windowHandle(), Qt::Key_A);
    EXPECT_TRUE(button("Close"));
    QTest::keyClick(canvas()->windowHandle(), key);
    untilNothingIsPresented();
    runUntil([this] { return !widget_ || widget_->isActiveWindow(); });
    runUntil([this] { return !quick_ || QGuiApplication::focusWindow() == quick_.get(); });
  }
  if (!quick_) return;
  EXPECT_EQ(quick_->keys, 0);
  QTest::keyClick(quick_.get(), Qt::Key_A);
  EXPECT_EQ(quick_->keys, 1);
  // Where only the host's window gets keys, they reach what lies over it.
  present(std::make_shared<KorvaniView>());
  QTest::keyClick(quick_.get(), Qt::Key_Escape);
  untilNothingIsPresented();
  EXPECT_EQ(quick_->keys, 1);
}

TEST_P(Hosts, AlertsLeaveTheHostInSight) {
  phone_->application().showAlert({{}, "first", {}, "OK"});
  runUntil([this] { return button("OK"); });
  const QSize size = canvas()->size();
  const QImage seen = picture();
  const QPointF card(button("OK")->mapTo(canvas(), QPoint(8, 8)));
  EXPECT_GT(at(seen, card).lightness(), 230);
  EXPECT_EQ(button("OK")->mapTo(canvas(), button("OK")->rect().center()).x(),
            QRect({}, size).center().x());
  if (quick_) {
    EXPECT_EQ(at(seen, {5, size.height() / 2.0}), kHost);
    QTest::mouseClick(quick_.get(), Qt::LeftButton, {}, QPoint(5, 150));
    EXPECT_EQ(quick_->clicks, 0) << "it is seen, not touched";
  }
  button("OK")->click();
  untilNothingIsPresented();
}

TEST_P(Hosts, BannersLeaveTheHostInUse) {
  bool opened = false;
  phone_->setLocalNotificationOpenedHandler([&](const platform::Value&) { opened = true; });
  platform::LocalNotification notification;
  notification.alertBody = "An offer";
  phone_->application().scheduleLocalNotification(notification);
  runUntil([this] {
    return button("An offer") && button("An offer")->mapTo(canvas(), QPoint()).y() > 0;
  });
  const QRect card(button("An offer")->mapTo(canvas(), QPoint()), button("An offer")->size());
  runUntil([&] { return button("An offer")->mapTo(canvas(), QPoint()).y() >= 10; });
  const QImage seen = picture();
  EXPECT_GT(at(seen, QPointF(canvas()->width() / 2.0, 16)).lightness(), 230);
  EXPECT_TRUE(canvas()->rect().contains(card));
  if (quick_) {
    EXPECT_EQ(at(seen, {100, 250}), kHost);
    QTest::mouseClick(quick_.get(), Qt::LeftButton, {}, QPoint(100, 250));
    EXPECT_EQ(quick_->clicks, 1);
  }
  button("An offer")->click();
  EXPECT_TRUE(opened);
  untilNothingIsPresented();
}

TEST_P(Hosts, TheDesktopBringsTheWindowUp) {
  present(std::make_shared<KorvaniView>());
  QWidget* const drawnIn = widget_ ? widget_.get() : canvas();
  QWindow* const window = quick_ ? quick_.get() : drawnIn->windowHandle();
  quick_ ? quick_->showMinimized() : drawnIn->showMinimized();
  auto activate = QDBusMessage::createMethodCall("org.example.Shop", "/org/example/Shop",
                                                 "org.freedesktop.Application", "Activate");
  activate.setArguments({QVariantMap()});
  QDBusConnection::sessionBus().send(activate);
  runUntil([&] { return !window->windowStates().testFlag(Qt::WindowMinimized); });
}

TEST_P(Hosts, ScreensOfTheHostKeepToTheSameRules) {
  QPointer<QLabel> first = new QLabel("first");
  QPointer<QLabel> second = new QLabel("second");
  EXPECT_EQ(phone_->presentHostScreen(nullptr), nullptr);
  phone_->presentHostScreen(std::unique_ptr<QWidget>(first));
  const auto later = phone_->presentHostScreen(std::unique_ptr<QWidget>(second));
  runUntil([&] { return first->isVisible(); });
  EXPECT_EQ(first->size(), canvas()->size());
  EXPECT_FALSE(second->isVisible()) << "it waits";
  resizeHost({240, 320});
  EXPECT_EQ(first->size(), QSize(240, 320));
  int shortcuts = 0;
  QObject::connect(new QShortcut(QKeySequence("Ctrl+S"), first), &QShortcut::activated,
                   [&] { ++shortcuts; });
  runUntil([this] { return canvas()->isActiveWindow(); });
  QTest::keyClick(canvas()->windowHandle(), Qt::Key_S, Qt::ControlModifier);
  EXPECT_EQ(shortcuts, 1);
  if (quick_) {
    // Where only the host's window has the focus, input methods write into what lies over it.
    QLineEdit field(first);
    field.show();
    field.setFocus();
    QInputMethodQueryEvent asked(Qt::ImEnabled);
    QCoreApplication::sendEvent(quick_->focusObject(), &asked);
    EXPECT_TRUE(asked.value(Qt::ImEnabled).toBool());
    QInputMethodEvent written;
    written.setCommitString("word");
    QCoreApplication::sendEvent(quick_->focusObject(), &written);
    EXPECT_EQ(field.text(), "word");
  }

  // As the kit does when the application goes into the background.
  root()->dismissViewControllerAnimated(false);
  runUntil([&] { return !first && second->isVisible(); });
  EXPECT_EQ(root()->presentedViewController(), later);
  later->dismissViewControllerAnimated(true);
  untilNothingIsPresented();
  runUntil([&] { return !second; });
}

TEST_P(Hosts, TheWindowMayGo) {
  if (GetParam() == Kind::kNone) {
    EXPECT_FALSE(canvas()) << "before it is needed";
    present(std::make_shared<KorvaniView>());
    canvas()->close();
    untilNothingIsPresented();
    return;
  }
  present(std::make_shared<KorvaniView>());
  if (quick_) {
    quick_->destroy();  // as a window does that is closed
    EXPECT_FALSE(canvas());
    quick_->show();
    runUntil([this] { return button("Close"); });
  }
  widget_.reset();
  quick_.reset();
  bool done = false;
  phone_->application().showAlert({{}, "nobody sees it", {}, "OK"});
  root()->dismissViewControllerAnimated(true, [&] { done = true; });
  runUntil([&] { return done; });
  EXPECT_EQ(phone_->device().mainScreenBounds(), (platform::Rect{0, 0, 0, 0}));
}

#ifdef WITH_WEB
TEST_P(Hosts, ThePageIsBelowTheCloseButton) {
  RawServer server([](std::size_t, const std::string&) {
    return RawServer::reply("<!doctype html><title>page</title><body style='background:red'>",
                            "200 OK", "Content-Type: text/html\r\n");
  });
  const auto view = std::make_shared<KorvaniWebView>();
  view->view()->setBackgroundColor(platform::Color{0, 0, 200});
  view->setWebviewURL(server.url("/page"));
  present(view);
  const QWidget* page = nullptr;
  for (const QWidget* widget : canvas()->findChildren<QWidget*>()) {
    if (widget->inherits("QWebEngineView")) page = widget;
  }
  ASSERT_TRUE(page && page->isVisible());
  const QSize size = canvas()->size();
  EXPECT_EQ(QRect(page->mapTo(canvas(), QPoint()), page->size()),
            QRect(0, 64, size.width(), size.height() - 64));
  const QPoint inPage(size.width() / 2, 70);
  runUntil([&] { return at(picture(), inPage) == QColor(Qt::red); });
  const QImage seen = picture();
  EXPECT_EQ(at(seen, {22, 33}), QColor(Qt::white)) << "the close button's disc";
  EXPECT_EQ(at(seen, {size.width() / 2.0, 58}), kBack) << "the band beside it";
  EXPECT_EQ(at(seen, {size.width() - 2.0, size.height() - 2.0}), QColor(Qt::red));

  runUntil([this] { return GetParam() == Kind::kNone || canvas()->isActiveWindow(); });
  QTest::keyClick(canvas()->windowHandle(), Qt::Key_Escape);
  untilNothingIsPresented();
}
#endif

std::string nameOf(const testing::TestParamInfo<Kind>& kind) {
  constexpr const char* kNames[] = {"Widgets", "WindowInWidgets", "Quick", "None"};
  return kNames[static_cast<std::size_t>(kind.param)];
}

INSTANTIATE_TEST_SUITE_P(OfEachKind, Hosts,
                         testing::Values(Kind::kWidgets, Kind::kWindowInWidgets, Kind::kQuick,
                                         Kind::kNone),
                         nameOf);

}  // namespace
}  // namespace korvani::qt

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  // A list needs no window system, whose drivers may leak.
  if (GTEST_FLAG_GET(list_tests)) return RUN_ALL_TESTS();
  qputenv("no_proxy", "*");
  if (geteuid() == 0) qputenv("QTWEBENGINE_DISABLE_SANDBOX", "1");  // it refuses to run as root
  korvani::qt::Phone::prepareApplication();
  QApplication application(argc, argv);
  QApplication::setApplicationName("hosts-test");
  return RUN_ALL_TESTS();
}
