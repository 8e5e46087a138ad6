// The cover over the host's window holds one page a presented controller; the stage moves them.
#include <korvani/qt/cover.h>
#include <korvani/qt/mirror.h>
#include <korvani/qt/stage.h>

#include <QPropertyAnimation>
#include <QResizeEvent>
#include <QShortcut>
#include <algorithm>
#include <vector>

namespace korvani::qt {

using platform::Completion;
using platform::NavigationController;
using platform::ViewController;

namespace {

constexpr int kSlideMilliseconds = 300;

/// The animation that brings the widget there; none when it has been put there at once.
QAbstractAnimation* slide(QWidget* widget, const QPoint& from, const QPoint& to, bool animated) {
  widget->move(animated ? from : to);
  if (!animated) return nullptr;
  auto* animation = new QPropertyAnimation(widget, "pos", widget);
  animation->setDuration(kSlideMilliseconds);
  animation->setStartValue(from);
  animation->setEndValue(to);
  animation->setEasingCurve(QEasingCurve::OutCubic);
  return animation;
}

/// What one presented controller shows: its view, or those of all that a navigation holds.
class Page final : public QWidget {
 public:
  Page(std::shared_ptr<ViewController> controller, QWidget* parent)
      : QWidget(parent), controller_(std::move(controller)) {
    setObjectName("korvaniPopUp");
    resize(parent->size());
    const auto navigation = std::dynamic_pointer_cast<NavigationController>(controller_);
    if (!navigation) {
      add(controller_);
      return;
    }
    for (const auto& held : navigation->viewControllers()) add(held);
  }

  const std::shared_ptr<ViewController>& controller() const { return controller_; }

  /// The new screen; null when it is shown already.
  QWidget* add(const std::shared_ptr<ViewController>& controller) {
    if (std::find(shown_.begin(), shown_.end(), controller) != shown_.end()) return nullptr;
    shown_.push_back(controller);
    screens_.push_back(mirrorView(controller->view(), this, true));
    return screens_.back();
  }

  /// The screens under the top one leave sight and the way of the Tab key.
  void hideCovered() {
    for (QWidget* screen : screens_) screen->setVisible(screen == screens_.back());
  }

 protected:
  void resizeEvent(QResizeEvent* event) override {
    for (QWidget* screen : screens_) screen->resize(event->size());
  }

 private:
  const std::shared_ptr<ViewController> controller_;
  std::vector<std::shared_ptr<ViewController>> shown_;
  std::vector<QWidget*> screens_;
};

}  // namespace

class StageCover final : public Cover {
 public:
  explicit StageCover(QWidget* window) : Cover(window, Order::kStage) {}

  Page* add(const std::shared_ptr<ViewController>& controller) {
    pages_.push_back(new Page(controller, this));
    pages_.back()->show();
    return pages_.back();
  }
  Page* top() const { return pages_.empty() ? nullptr : pages_.back(); }
  Page* find(const std::shared_ptr<ViewController>& controller) const {
    const auto found = std::find_if(pages_.begin(), pages_.end(), [&](const Page* page) {
      return page->controller() == controller;
    });
    return found == pages_.end() ? nullptr : *found;
  }
  /// Hides what stands between this page and the top one, which is what leaves in sight of the
  /// user.
  void hideBelowTop(const Page* page) {
    for (auto it = std::find(pages_.begin(), pages_.end(), page); *it != top(); ++it) (*it)->hide();
  }
  /// Drops this page and all that stand on it.
  void removeFrom(const Page* page) {
    const auto first = std::find(pages_.begin(), pages_.end(), page);
    std::for_each(first, pages_.end(), [](Page* leaving) {
      leaving->hide();
      leaving->setParent(nullptr);  // nobody finds its widgets any more
      leaving->deleteLater();       // one of its buttons may be on the stack
    });
    pages_.erase(first, pages_.end());
  }

 protected:
  const QWidget* focusScope() const override {
    return top() ? static_cast<const QWidget*>(top()) : this;
  }
  void resizeEvent(QResizeEvent* event) override {
    for (Page* page : pages_) page->resize(event->size());
  }

 private:
  std::vector<Page*> pages_;
};

WindowStage::WindowStage(QWidget* window) : window_(window) {
  if (!window) return;
  cover_ = new StageCover(window);
  // A shortcut, as the Escape key reaches it from inside a web page too.
  auto* escape = new QShortcut(Qt::Key_Escape, cover_);
  escape->setContext(Qt::WidgetWithChildrenShortcut);
  const auto close = [this] {
    if (cover_->top() && !playing_)
      cover_->top()->controller()->dismissViewControllerAnimated(true);
  };
  QObject::connect(escape, &QShortcut::activated, &context_, close);
  QObject::connect(escape, &QShortcut::activatedAmbiguously, &context_, close);
}

WindowStage::~WindowStage() { delete cover_; }

void WindowStage::present(std::shared_ptr<ViewController> presented, bool animated,
                          Completion completion) {
  enqueue({Kind::kPresent, std::move(presented), animated, std::move(completion)});
}

void WindowStage::dismiss(std::shared_ptr<ViewController> presented, bool animated,
                          Completion completion) {
  enqueue({Kind::kDismiss, std::move(presented), animated, std::move(completion)});
}

void WindowStage::push(std::shared_ptr<NavigationController> navigation,
                       std::shared_ptr<ViewController> pushed, bool animated) {
  enqueue({Kind::kPush, std::move(pushed), animated, {}, std::move(navigation)});
}

void WindowStage::enqueue(Transition transition) {
  waiting_.push_back(std::move(transition));
  play();
}

void WindowStage::play() {
  while (!playing_ && !waiting_.empty()) {
    playing_ = std::move(waiting_.front());
    waiting_.pop_front();
    QAbstractAnimation* const animation = begin(*playing_);
    if (!animation) {
      end();
      continue;
    }
    // It goes when it has run, or with the window: so the end comes either way. Queued, as in the
    // second case half of the window stands no more.
    QObject::connect(
        animation, &QObject::destroyed, &context_,
        [this] {
          end();
          play();
        },
        Qt::QueuedConnection);
    animation->start(QAbstractAnimation::DeleteWhenStopped);
  }
}

QAbstractAnimation* WindowStage::begin(const Transition& transition) {
  if (!cover_) return nullptr;
  const QPoint below(0, window_->height());
  const QPoint right(window_->width(), 0);
  switch (transition.kind) {
    case Kind::kPresent:
      cover_->reveal();
      return slide(cover_->add(transition.controller), below, {}, transition.animated);
    case Kind::kDismiss: {
      const Page* const leaving = cover_->find(transition.controller);
      if (!leaving) return nullptr;
      cover_->hideBelowTop(leaving);
      return slide(cover_->top(), {}, below, transition.animated);
    }
    case Kind::kPush: {
      Page* const page = cover_->find(transition.navigation);
      QWidget* const screen = page ? page->add(transition.controller) : nullptr;
      return screen ? slide(screen, right, {}, transition.animated) : nullptr;
    }
  }
  return nullptr;
}

void WindowStage::end() {
  const Transition ended = std::move(*playing_);
  playing_.reset();
  if (cover_ && ended.kind == Kind::kDismiss) {
    if (const Page* leaving = cover_->find(ended.controller)) cover_->removeFrom(leaving);
    if (!cover_->top()) cover_->retire();
  }
  if (cover_ && ended.kind == Kind::kPush) {
    if (Page* page = cover_->find(ended.navigation)) page->hideCovered();
  }
  if (ended.completion) ended.completion();
}

}  // namespace korvani::qt
