// The count of all requests, which the processes of all phones write together.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace korvani::fleet {

constexpr std::array<std::string_view, 3> kEndpoints{"configuration", "scenario", "confirm"};

/// Of one endpoint, or of several.
struct Figures {
  std::vector<std::uint64_t> perSecond;
  std::uint64_t requestBytes = 0;
  std::uint64_t answerBytes = 0;

  Figures& operator+=(const Figures& other);
};

/// Lives in memory that the processes forked from this one share with it.
class Ledger {
 public:
  explicit Ledger(std::size_t seconds);

  /// What comes after the last second is not counted.
  void add(std::string_view endpoint, std::size_t second, std::size_t requestBytes,
           std::size_t answerBytes);
  /// In the order of `kEndpoints`. Call it when all who write have ended.
  std::array<Figures, kEndpoints.size()> figures() const;

 private:
  struct Unmap {
    std::size_t size;
    void operator()(std::uint64_t* cells) const;
  };
  /// One row an endpoint: the bytes of requests, those of answers, then the requests each second.
  std::span<std::uint64_t> row(std::size_t endpoint) const;

  const std::size_t width_;
  std::unique_ptr<std::uint64_t, Unmap> cells_;
};

}  // namespace korvani::fleet
