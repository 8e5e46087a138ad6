// Requests and downloads of the simulated phone.
#include <korvani/simulator/network.h>
#include <korvani/simulator/queues.h>

#include <utility>

namespace korvani::simulator {

using platform::Value;

Answer Answer::json(const Value& value) { return text(value.jsonText()); }

Answer Answer::text(std::string body) {
  Answer answer;
  answer.body = std::move(body);
  return answer;
}

Answer Answer::failure(std::string description) {
  Answer answer;
  answer.error = std::move(description);
  return answer;
}

void SimulatedConnection::sendAsynchronousRequest(platform::URLRequest request,
                                                  std::shared_ptr<platform::Queue> queue,
                                                  CompletionHandler completionHandler) {
  Value::Dictionary headers;
  for (const auto& [name, value] : request.headers) headers.insert_or_assign(name, value);
  recorder_.record("request", Value::Dictionary{
                                  {"method", request.HTTPMethod},
                                  {"url", request.url},
                                  {"headers", std::move(headers)},
                                  {"body", request.HTTPBody ? Value(*request.HTTPBody) : Value()}});

  Answer answer = takeAnswer(request.url);
  const milliseconds after = answer.after;
  platform::URLResponse response{answer.status, std::move(answer.body), std::move(answer.error)};
  // Every queue of a simulated phone is one of ours.
  static_cast<SimulatedQueue&>(*queue).asyncAfter(
      after, [handler = std::move(completionHandler), response = std::move(response)] {
        handler(response);
      });
}

std::optional<std::string> SimulatedConnection::dataWithContentsOfURL(const platform::URL& url) {
  recorder_.record("fetch", Value::Dictionary{{"url", url.absoluteString()}});
  const auto file = settings_.files.find(url.absoluteString());
  if (file == settings_.files.end()) return std::nullopt;
  return file->second;
}

/// The answer whose turn it is; a list moves on with each request.
Answer SimulatedConnection::takeAnswer(std::string_view address) {
  const auto found = settings_.answers.find(address.substr(address.rfind('/') + 1));
  if (found == settings_.answers.end() || found->second.empty()) return {};
  std::deque<Answer>& answers = found->second;
  Answer answer = answers.front();
  if (answers.size() > 1) answers.pop_front();
  return answer;
}

}  // namespace korvani::simulator
