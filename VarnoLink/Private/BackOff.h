#pragma once

#include <VarnoLink/LinkOptions.h>
#include <VarnoLink/Private/SeededRandom.h>

#include <algorithm>
#include <chrono>
#include <random>

namespace varno {

// How long to pause before the next attempt, as LinkOptions describes it.
class BackOff {
 public:
  explicit BackOff(const LinkOptions& options)
      : first_(std::max(options.firstPause, std::chrono::nanoseconds(0))),
        longest_(std::max(options.longestPause, first_)),
        pause_(first_),
        random_(options.seed ? *options.seed : std::random_device{}(), 0) {}

  std::chrono::nanoseconds next() {
    const auto half = static_cast<std::uint64_t>(pause_.count()) / 2;
    const std::chrono::nanoseconds cut(
        static_cast<std::chrono::nanoseconds::rep>(random_.below(half + 1)));
    const std::chrono::nanoseconds pause = pause_ - cut;
    pause_ =
        pause_ > longest_ / 2 ? longest_ : std::max(2 * pause_, std::min(kSecondPause, longest_));
    return pause;
  }

  void reset() { pause_ = first_; }

  std::chrono::nanoseconds longest() const { return longest_; }

 private:
  // At least: a first one of zero would stay zero.
  static constexpr std::chrono::nanoseconds kSecondPause = std::chrono::milliseconds(1);

  std::chrono::nanoseconds first_;
  std::chrono::nanoseconds longest_;
  std::chrono::nanoseconds pause_;
  SeededRandom random_;
};

}  // namespace varno
