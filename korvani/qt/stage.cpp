// The cover over the host's window holds one page a presented controller; the stage moves them.
#include <korvani/qt/canvas.h>
#include <korvani/qt/cover.h>
#include <korvani/qt/mirror.h>
#include <korvani/qt/motion.h>
#include <korvani/qt/stage.h>

#include <QGuiApplication>
#include <QPropertyAnimation>
#include <QResizeEvent>
#include <algorithm>
#include <vector>

namespace korvani::qt {

using platform::Completion;
using platform::NavigationController;
using platform::ViewController;

namespace {

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
    screens_.push_back(mirrorView(controller->view(), this));
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
  explicit StageCover(QWidget* canvas) : Cover(canvas, Order::kStage) {
    setAccessibleName(QGuiApplication::applicationDisplayName());
  }

  /// Where the pages are now.
  QRegion shape() const override {
    QRegion shape;
    for (const Page* page : pages_) {
      if (!page->isHidden()) shape += page->geometry();
    }
    return shape & rect();
  }
  void goBack() override {
    if (Cover* const above = shownAbove()) return above->goBack();
    if (top() && !moves_) top()->controller()->dismissViewControllerAnimated(true);
  }
  /// While screens move, nobody leaves them.
  void setMoves(bool moves) { moves_ = moves; }

  Page* add(const std::shared_ptr<ViewController>& controller) {
    pages_.push_back(new Page(controller, this));
    pages_.back()->installEventFilter(this);
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
  bool eventFilter(QObject* watched, QEvent* event) override {
    const bool isPage = watched->parent() == this;
    if (isPage && (event->type() == QEvent::Move || event->type() == QEvent::Hide)) shapeChanged();
    return Cover::eventFilter(watched, event);
  }

 private:
  std::vector<Page*> pages_;
  bool moves_ = false;
};

WindowStage::~WindowStage() { delete cover_; }

StageCover* WindowStage::cover() {
  QWidget* const canvas = canvas_.widget();
  if (cover_ && !cover_->top() && cover_->parentWidget() != canvas) {
    cover_->deleteLater();
    cover_.clear();
  }
  if (!cover_ && canvas) cover_ = new StageCover(canvas);
  return cover_;
}

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
  if (!cover()) return nullptr;
  cover_->setMoves(true);
  const QSize size = canvas_.size();
  const QPoint below(0, size.height());
  const QPoint right(size.width(), 0);
  const bool animated = transition.animated;
  switch (transition.kind) {
    case Kind::kPresent: {
      Page* const page = cover_->add(transition.controller);
      if (animated) page->move(below);
      cover_->reveal();
      return animated ? slide(page, below, {}) : nullptr;
    }
    case Kind::kDismiss: {
      const Page* const leaving = cover_->find(transition.controller);
      if (!leaving) return nullptr;
      cover_->hideBelowTop(leaving);
      return animated ? slide(cover_->top(), {}, below) : nullptr;
    }
    case Kind::kPush: {
      Page* const page = cover_->find(transition.navigation);
      QWidget* const screen = page ? page->add(transition.controller) : nullptr;
      return screen && animated ? slide(screen, right, {}) : nullptr;
    }
  }
  return nullptr;
}

/// None where the system asks for none.
QAbstractAnimation* WindowStage::slide(QWidget* widget, const QPoint& from, const QPoint& to) {
  const int duration = motion_.slideMilliseconds();
  widget->move(duration > 0 ? from : to);
  if (duration <= 0) return nullptr;
  auto* animation = new QPropertyAnimation(widget, "pos", widget);
  animation->setDuration(duration);
  animation->setStartValue(from);
  animation->setEndValue(to);
  animation->setEasingCurve(QEasingCurve::OutCubic);
  return animation;
}

void WindowStage::end() {
  const Transition ended = std::move(*playing_);
  playing_.reset();
  if (cover_) cover_->setMoves(false);
  if (cover_ && ended.kind == Kind::kDismiss) {
    if (const Page* leaving = cover_->find(ended.controller)) cover_->removeFrom(leaving);
    // The keyboard was in what has left.
    cover_->top() ? cover_->reveal() : cover_->retire();
  }
  if (cover_ && ended.kind == Kind::kPush) {
    if (Page* page = cover_->find(ended.navigation)) page->hideCovered();
  }
  if (ended.completion) ended.completion();
}

}  // namespace korvani::qt
