#pragma once

#include <cstdint>

namespace varno {

// Numbers that a seed alone decides, the same ones with every compiler and library, as those of the
// standard library's distributions are not.
class SeededRandom {
 public:
  SeededRandom(std::uint64_t seed, std::uint64_t stream) : state_(seed) {
    state_ = next() ^ stream;
    state_ = next();
  }

  std::uint64_t next() {
    state_ += 0x9E3779B97F4A7C15;
    std::uint64_t mixed = state_;
    mixed = (mixed ^ mixed >> 30) * 0xBF58476D1CE4E5B9;
    mixed = (mixed ^ mixed >> 27) * 0x94D049BB133111EB;
    return mixed ^ mixed >> 31;
  }

  // Below the limit, which is not 0.
  std::uint64_t below(std::uint64_t limit) { return next() % limit; }

 private:
  std::uint64_t state_;
};

}  // namespace varno
