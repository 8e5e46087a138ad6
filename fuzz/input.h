// What every fuzz target needs: a reader that takes its bytes apart, and a way to say what does not
// hold.
#pragma once

#include <korvani/platform/value.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace korvani::fuzz {

/// Aborts, which is how a fuzzer hears of it.
inline void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", what);
  std::abort();
}

/// Every input says something: past the end all is zero and empty.
class Input {
 public:
  Input(const std::uint8_t* bytes, std::size_t size)
      : rest_(reinterpret_cast<const char*>(bytes), size) {}

  bool isAtEnd() const { return rest_.empty(); }

  std::uint8_t byte() {
    const std::string_view taken = take(1);
    return taken.empty() ? std::uint8_t{0} : static_cast<std::uint8_t>(taken.front());
  }
  /// One of 0 to `limit` - 1, that is at most 256.
  int below(int limit) { return byte() % limit; }
  bool flag() { return (byte() & 1U) != 0; }

  std::int64_t integer() {
    std::uint64_t number = 0;
    for (int i = 0; i < 8; ++i) number = number << 8U | byte();
    return static_cast<std::int64_t>(number);
  }

  /// What stands before the next record separator of ASCII, which is passed over. People can write
  /// that, and neither JSON nor a URL has one.
  std::string piece() {
    const std::string_view taken = take(rest_.find('\x1E'));
    take(1);
    return std::string(taken);
  }
  std::string rest() { return std::string(take(rest_.size())); }

  /// A value of any kind.
  platform::Value value(int depth = 0) {
    constexpr int kMostDepth = 4;
    switch (below(depth < kMostDepth ? 9 : 7)) {
      case 0:
        return {};
      case 1:
        return flag();
      case 2:
        return integer();
      case 3:
        return static_cast<std::uint64_t>(integer());
      case 4:
        return static_cast<double>(integer()) / 1000;
      case 5:
        return piece();
      case 6:
        return platform::Date(std::chrono::milliseconds(integer()));
      case 7: {
        platform::Value::Array items;
        for (int count = below(4); count > 0; --count) items.push_back(value(depth + 1));
        return items;
      }
      default: {
        platform::Value::Dictionary entries;
        for (int count = below(4); count > 0; --count) {
          std::string key = piece();
          entries.insert_or_assign(std::move(key), value(depth + 1));
        }
        return entries;
      }
    }
  }

 private:
  std::string_view take(std::size_t count) {
    const std::string_view taken = rest_.substr(0, count);
    rest_.remove_prefix(taken.size());
    return taken;
  }

  std::string_view rest_;
};

}  // namespace korvani::fuzz
