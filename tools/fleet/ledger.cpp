// The shared memory of the counts.
#include "ledger.h"

#include <sys/mman.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <functional>
#include <system_error>

namespace korvani::fleet {
namespace {

constexpr std::size_t kRequestBytes = 0;
constexpr std::size_t kAnswerBytes = 1;
constexpr std::size_t kFirstSecond = 2;

}  // namespace

Figures& Figures::operator+=(const Figures& other) {
  perSecond.resize(std::max(perSecond.size(), other.perSecond.size()));
  std::transform(other.perSecond.begin(), other.perSecond.end(), perSecond.begin(),
                 perSecond.begin(), std::plus<>());
  requestBytes += other.requestBytes;
  answerBytes += other.answerBytes;
  return *this;
}

Ledger::Ledger(std::size_t seconds) : width_(kFirstSecond + seconds), cells_(nullptr, Unmap{0}) {
  const std::size_t size = kEndpoints.size() * width_ * sizeof(std::uint64_t);
  void* const memory =
      ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) {
    throw std::system_error(errno, std::generic_category(), "no memory for the counts");
  }
  cells_ = {static_cast<std::uint64_t*>(memory), Unmap{size}};
}

void Ledger::Unmap::operator()(std::uint64_t* cells) const { ::munmap(cells, size); }

std::span<std::uint64_t> Ledger::row(std::size_t endpoint) const {
  return {cells_.get() + endpoint * width_, width_};
}

void Ledger::add(std::string_view endpoint, std::size_t second, std::size_t requestBytes,
                 std::size_t answerBytes) {
  const auto found = std::find(kEndpoints.begin(), kEndpoints.end(), endpoint);
  const auto cells = row(static_cast<std::size_t>(found - kEndpoints.begin()));
  if (kFirstSecond + second >= width_) return;
  std::atomic_ref(cells[kRequestBytes]) += requestBytes;
  std::atomic_ref(cells[kAnswerBytes]) += answerBytes;
  ++std::atomic_ref(cells[kFirstSecond + second]);
}

std::array<Figures, kEndpoints.size()> Ledger::figures() const {
  std::array<Figures, kEndpoints.size()> figures;
  for (std::size_t i = 0; i < figures.size(); ++i) {
    const auto cells = row(i);
    figures[i] = {
        {cells.begin() + kFirstSecond, cells.end()}, cells[kRequestBytes], cells[kAnswerBytes]};
  }
  return figures;
}

}  // namespace korvani::fleet
