// The one way to the service: the gate of disabled mode, the request, and the envelope of the
// answer.
#include <korvani/net/form_encoding.h>
#include <korvani/sdk/guard.h>
#include <korvani/sdk/korvani.h>
#include <korvani/sdk/stored_keys.h>

#include <atomic>
#include <chrono>

namespace korvani {

using platform::Value;

namespace {

constexpr std::chrono::seconds kDisabledModeInterval{86400};

}  // namespace

void Korvani::requestPostWithUrl(const std::string& endpoint,
                                 const std::optional<Record>& parameters,
                                 SuccessContinuation success, FailureContinuation failure) {
  if (isBlockedByDisabledMode()) {
    if (debug()) logLine("DISABLED MODE ACTIVE - last request < 24h");
    return;
  }
  standardUserDefaults_.load()->setObject(phone().clock().now(), kLastRequestKey);

  platform::URLRequest request;
  request.url = urlServer_ + "/" + endpoint;
  request.headers.emplace_back("X-Api-Key", APIKey_);
  request.HTTPMethod = "POST";
  if (parameters) request.HTTPBody = httpBodyForParamsDictionary(*parameters);
  auto queue = phone().queues().newOperationQueue();
  if (!queue) {
    failure("no queue for the answer");
    return;
  }
  // Each request has one answer, whatever a phone's connection does.
  auto isAnswered = std::make_shared<std::atomic_flag>();
  phone().urlConnection().sendAsynchronousRequest(
      std::move(request), std::move(queue),
      [kit = shared_from_this(), endpoint, success = std::move(success),
       failure = std::move(failure),
       isAnswered = std::move(isAnswered)](const platform::URLResponse& response) {
        if (isAnswered->test_and_set()) return;
        guarded([&] { kit->requestCompleted(endpoint, response, success, failure); });
      });
}

bool Korvani::isBlockedByDisabledMode() const {
  const platform::UserDefaults& store = *standardUserDefaults_.load();
  if (!store.objectForKey(kNotificationDisableKey).booleanReading()) return false;
  const Value lastRequest = store.objectForKey(kLastRequestKey);
  // A clock set back leaves a date in the future, which blocks until it has passed by a day.
  return lastRequest.date() && *lastRequest.date() > phone().clock().now() - kDisabledModeInterval;
}

void Korvani::requestCompleted(const std::string& endpoint, const platform::URLResponse& response,
                               const SuccessContinuation& success,
                               const FailureContinuation& failure) {
  if (response.error) {
    failure(*response.error);
    return;
  }
  const Value answer = phone().json().JSONObjectWithData(response.data);
  if (debug()) logLine("SUCCESS - request url : " + endpoint + " -- ", answer);
  if (answer.has("error_message")) {
    showErrorMessage(answer.at("error_message"));
    return;
  }
  if (answer.has("disabled")) {
    standardUserDefaults_.load()->setObject(answer.at("disabled").booleanReading(),
                                            kNotificationDisableKey);
  }
  success(answer);
}

void Korvani::showErrorMessage(const Value& message) {
  platform::Alert alert;
  if (!message.isNull()) alert.message = message.plainText();
  alert.delegate = shared_from_this();
  alert.cancelButtonTitle = "OK";
  phone().queues().mainQueue().async(
      [alert = std::move(alert)] { guarded([&] { phone().application().showAlert(alert); }); });
}

}  // namespace korvani
