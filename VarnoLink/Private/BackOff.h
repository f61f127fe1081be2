#pragma once

#include <VarnoLink/LinkOptions.h>

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
        random_(static_cast<std::minstd_rand::result_type>(
            options.seed ? *options.seed % std::minstd_rand::modulus : std::random_device{}())) {}

  std::chrono::nanoseconds next() {
    constexpr double kRange = std::minstd_rand::max() - std::minstd_rand::min();
    const double cut = static_cast<double>(random_() - std::minstd_rand::min()) / kRange / 2;
    const std::chrono::nanoseconds pause = pause_;
    pause_ = pause_ > longest_ / 2 ? longest_ : 2 * pause_;
    return pause - std::chrono::nanoseconds(static_cast<std::chrono::nanoseconds::rep>(
                       static_cast<double>(pause.count()) * cut));
  }

  void reset() { pause_ = first_; }

  std::chrono::nanoseconds longest() const { return longest_; }

 private:
  std::chrono::nanoseconds first_;
  std::chrono::nanoseconds longest_;
  std::chrono::nanoseconds pause_;
  std::minstd_rand random_;
};

}  // namespace varno
