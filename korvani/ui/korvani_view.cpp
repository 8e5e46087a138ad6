// Building the image pop-up, and what a tap on its image does.
#include <korvani/sdk/guard.h>
#include <korvani/ui/korvani_view.h>
#include <korvani/ui/korvani_web_view.h>
#include <korvani/ui/uri_pair.h>

namespace korvani {

using platform::Button;
using platform::URL;
using platform::Value;

void KorvaniView::viewDidLoad() {
  PopUp::viewDidLoad();
  imageView_ = std::make_shared<platform::ImageView>(ui::contentFrame());
  imageView_->setContentMode(platform::ContentMode::kScaleAspectFit);
  view()->addSubview(imageView_);

  const auto tapArea = Button::buttonWithType(platform::ButtonType::kCustom);
  // As high as the whole view, and so below the screen's edge, where nobody can tap.
  tapArea->setFrame({0, ui::kContentTop, view()->bounds().width, view()->bounds().height});
  tapArea->addAction(ui::onTouch(shared_from_this(), &KorvaniView::imageTouchUpInside),
                     platform::ControlEvent::kTouchUpInside);
  view()->addSubview(tapArea);
}

void KorvaniView::imageTouchUpInside(const std::shared_ptr<Button>&) {
  const Value& action = dictionaryInfos_.at("image").at("action");
  const std::string* type = action.at("type").text();
  if (!type) return;
  if (*type == "WVW") {
    pushWebPage(action.at("url"));
  } else if (*type == "URI") {
    openURI(action.at("uri"));
  }
}

void KorvaniView::pushWebPage(const Value& address) {
  // The page keeps the default close image and never logs; only style and colour are passed on.
  const auto page = std::make_shared<KorvaniWebView>();
  page->setStatusBarStyle(preferredStatusBarStyle());
  page->view()->setBackgroundColor(view()->backgroundColor());
  if (const std::string* text = address.text()) page->setWebviewURL(*text);
  if (const auto navigation = navigationController()) navigation->pushViewController(page, true);
}

void KorvaniView::openURI(const Value& uri) {
  const ui::UriPair pair(uri);
  platform::Application& application = phone().application();
  const auto log = [this](const std::optional<URL>& url) {
    if (debug()) logLine("ERROR - can't open URI ", url ? Value(url->absoluteString()) : Value());
  };
  if (application.openURL(pair.preferred)) {
    // The line says the opposite of what happened; developers know it so, and it stays.
    log(pair.preferred);
  } else if (!application.openURL(pair.fallback)) {
    log(pair.fallback);
  }
}

}  // namespace korvani
