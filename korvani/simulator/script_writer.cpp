// Writing of scripts, whose last lines may still change.
#include <korvani/platform/utf8.h>
#include <korvani/simulator/device.h>
#include <korvani/simulator/script_writer.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

namespace korvani::simulator {

using platform::Value;

namespace {

/// For writing; children of the process do not inherit the descriptor.
constexpr const char* kNotForChildren = "we";
/// Longer than any replay waits.
constexpr double kNever = 1e9;

double seconds(std::chrono::milliseconds duration) {
  return static_cast<double>(duration.count()) / 1000;
}

bool isUtf8(std::string_view text) {
  std::size_t length = 0;
  for (; !text.empty(); text.remove_prefix(length)) {
    length = platform::utf8SequenceLength(text);
    if (length == 0) return false;
  }
  return true;
}

Value answerValue(const platform::URLResponse& response, std::chrono::milliseconds after) {
  Value::Dictionary answer{{"after", seconds(after)}};
  if (response.error) {
    answer.emplace("error", *response.error);
  } else {
    // A script holds no other bytes, and no JSON does either: neither may what stands for them.
    answer.emplace("text", (isUtf8(response.data) ? "" : "not UTF-8: ") + response.data);
    if (response.statusCode >= 100 && response.statusCode <= 999) {
      answer.emplace("status", response.statusCode);
    }
  }
  return answer;
}

}  // namespace

ScriptWriter::ScriptWriter(const platform::Clock& clock, std::string file, Say say)
    : clock_(clock), file_(std::move(file)), say_(std::move(say)), start_(clock.now()) {
  output_ = std::fopen(file_.c_str(), kNotForChildren);
  if (!output_) say_("no recording: " + file_ + ": " + std::strerror(errno));
  begin({}).phone.emplace("now", platform::ISO8601Text(start_));
  save();
}

ScriptWriter::~ScriptWriter() {
  if (output_) std::fclose(output_);
}

void ScriptWriter::write(Dictionary line) {
  const std::lock_guard lock(mutex_);
  begin(std::move(line));
  save();
}

void ScriptWriter::note(std::string_view key, const Value& value) {
  const std::lock_guard lock(mutex_);
  const auto known = known_.find(key);
  if (known != known_.end() && known->second == value) return noteTime();
  known_.insert_or_assign(std::string(key), value);
  groupFor(&Group::phone, key).phone.emplace(key, value);
  save();
}

void ScriptWriter::noteStored(std::string_view key, const Value& value) {
  const std::lock_guard lock(mutex_);
  const auto known = stored_.find(key);
  if (known == stored_.end() ? value.isNull() : known->second == value) return noteTime();
  stored_.insert_or_assign(std::string(key), value);
  groupFor(&Group::stored, key).stored.emplace(key, withDatesAsText(value));
  save();
}

void ScriptWriter::setStored(std::string_view key, const Value& value) {
  const std::lock_guard lock(mutex_);
  stored_.insert_or_assign(std::string(key), value);
}

void ScriptWriter::noteOpening(const std::string& uri, bool opened) {
  const std::lock_guard lock(mutex_);
  const auto begins = [&](const std::string& beginning) { return uri.starts_with(beginning); };
  const bool known = std::any_of(openable_.begin(), openable_.end(), begins);
  if (opened == known) return;
  if (opened) {
    openable_.push_back(uri);
  } else {
    std::erase_if(openable_, begins);
  }
  // One list tells of all that a line opens.
  groups_.back()->phone["opens"] = Value::Array(openable_.begin(), openable_.end());
  save();
}

void ScriptWriter::noteUuid(const Value& uuid) {
  const std::lock_guard lock(mutex_);
  Value& uuids = groups_.back()->phone["uuids"];
  Value::Array all = uuids.array() ? *uuids.array() : Value::Array();
  all.push_back(uuid);
  uuids = std::move(all);
  save();
}

std::function<void(const platform::URLResponse&)> ScriptWriter::request(std::string_view url) {
  const std::lock_guard lock(mutex_);
  const auto group = groups_.back();
  const std::string endpoint(url.substr(url.rfind('/') + 1));
  Value::Array& answers = group->answers[endpoint];
  const std::size_t place = answers.size();
  const Milliseconds asked = now();
  answers.emplace_back();
  ++group->missing;
  save();
  return [this, group, endpoint, place, asked](const platform::URLResponse& response) {
    const std::lock_guard held(mutex_);
    group->answers[endpoint][place] = answerValue(response, now() - asked);
    --group->missing;
    save();
  };
}

platform::Job ScriptWriter::work(platform::Job job) {
  const std::lock_guard lock(mutex_);
  const auto group = groups_.back();
  ++group->missing;
  return [this, group, job = std::move(job)] {
    const auto thread = std::this_thread::get_id();
    {
      const std::lock_guard held(mutex_);
      working_[thread] = group;
    }
    job();
    const std::lock_guard held(mutex_);
    working_.erase(thread);
    --group->missing;
    save();
  };
}

std::function<void(const std::optional<std::string>&)> ScriptWriter::download(
    const std::string& url) {
  const std::lock_guard lock(mutex_);
  const auto working = working_.find(std::this_thread::get_id());
  const auto group = working == working_.end() ? groups_.back() : working->second;
  ++group->missing;
  return [this, group, url](const std::optional<std::string>& bytes) {
    const std::lock_guard held(mutex_);
    --group->missing;
    // A replay gives what the address gave before; that it gives nothing any more, an empty file.
    if (bytes || downloaded_.contains(url)) {
      group->files.insert_or_assign(url, copyOf(bytes.value_or("")));
      downloaded_.insert(url);
    }
    save();
  };
}

/// Without its folder, so that the recording and its copies may be moved together.
std::string ScriptWriter::copyOf(const std::string& bytes) {
  const std::string name = file_ + '.' + std::to_string(++downloads_);
  if (std::FILE* const copy = std::fopen(name.c_str(), kNotForChildren)) {
    std::fwrite(bytes.data(), 1, bytes.size(), copy);
    std::fclose(copy);
  }
  return std::filesystem::path(name).filename().string();
}

/// A clock that is set back stands still here.
ScriptWriter::Milliseconds ScriptWriter::now() {
  last_ = std::max(last_, clock_.now() - start_);
  return last_;
}

ScriptWriter::Group& ScriptWriter::begin(Dictionary line) {
  groups_.push_back(std::make_shared<Group>());
  groups_.back()->at = now();
  groups_.back()->line = std::move(line);
  return *groups_.back();
}

ScriptWriter::Group& ScriptWriter::groupFor(Dictionary Group::*part, std::string_view key) {
  Group& last = *groups_.back();
  if ((last.*part).find(key) == (last.*part).end()) return last;
  // A line comes after all work of its moment, and this one must come before.
  const Milliseconds before = std::max(last.at, now() - Milliseconds(1));
  begin({}).at = before;
  return *groups_.back();
}

std::string ScriptWriter::text(const Group& group) {
  const Value never = Value::Dictionary{{"error", "not recorded"}, {"after", kNever}};
  Dictionary phone = group.phone;
  Dictionary answers;
  for (const auto& [endpoint, list] : group.answers) {
    Value::Array said = list;
    std::replace(said.begin(), said.end(), Value(), never);
    answers.emplace(endpoint, std::move(said));
  }
  if (!answers.empty()) phone.emplace("answers", std::move(answers));
  if (!group.stored.empty()) phone.emplace("store", group.stored);
  if (!group.files.empty()) phone.emplace("files", group.files);
  const Value at = seconds(group.at);
  std::string lines;
  if (!phone.empty()) lines += Value(Dictionary{{"at", at}, {"phone", phone}}).jsonText() + '\n';
  if (!group.line.empty()) lines += Value(group.line).with("at", at).jsonText() + '\n';
  return lines;
}

/// Something was told that changes nothing: the replay has to last until now all the same.
void ScriptWriter::noteTime() {
  if (now() > groups_.back()->at + kTimeAfterLastLine) save();
}

/// Writes what may have changed. Whatever does not change any more is let go of.
void ScriptWriter::save() {
  if (!output_) {
    groups_.erase(groups_.begin(), groups_.end() - 1);
    return;
  }
  while (groups_.size() > 1 && groups_.front()->missing == 0) {
    const std::string lines = text(*groups_.front());
    std::fseek(output_, static_cast<long>(settled_), SEEK_SET);
    std::fwrite(lines.data(), 1, lines.size(), output_);
    settled_ += lines.size();
    groups_.pop_front();
  }
  std::string rest;
  for (const auto& group : groups_) rest += text(*group);
  // What was told last, such as a late answer, has no line that comes after it.
  const Milliseconds at = now() - kTimeAfterLastLine;
  if (at > groups_.back()->at) rest += Value(Dictionary{{"at", seconds(at)}}).jsonText() + '\n';
  std::fseek(output_, static_cast<long>(settled_), SEEK_SET);
  std::fwrite(rest.data(), 1, rest.size(), output_);
  const std::size_t end = settled_ + rest.size();
  std::error_code wrong;
  if (std::fflush(output_) == 0 && end < end_) std::filesystem::resize_file(file_, end, wrong);
  end_ = end;
  if (std::ferror(output_) == 0 && !wrong) return;
  say_("the recording ends: " + file_ + ": " + std::strerror(errno));
  std::fclose(std::exchange(output_, nullptr));
}

}  // namespace korvani::simulator
