#pragma once

#include <cstddef>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace varno::bench {

// Does what is measured, the given number of times.
using Loop = std::function<void(std::size_t times)>;

// One job, done in up to four ways: by the library; by hand, with only the steps that no
// implementation can avoid (the floor); by a codec of another design (the peer); and with the
// byte-at-a-time streams (the reference). Ways that do not apply are empty.
struct Case {
  std::string name;
  Loop library;
  Loop floor = {};
  Loop peer = {};
  Loop reference = {};
  bool waits = false;  // on another thread, so that only the wall clock tells how long it took
};

struct Way {
  std::string_view name;
  Loop Case::*loop;
};

constexpr Way kWays[] = {{"library", &Case::library},
                         {"floor", &Case::floor},
                         {"peer", &Case::peer},
                         {"reference", &Case::reference}};

template <class Action>
Loop repeat(Action action) {
  return [action = std::move(action)](std::size_t times) {
    while (times-- > 0) action();
  };
}

// The ways are comparable only if they do the same.
inline void require(bool condition, const std::string& what) {
  if (condition) return;
  std::cerr << "The benchmark compares different things: " << what << '\n';
  std::exit(1);  // NOLINT(concurrency-mt-unsafe): while the cases are made there is one thread
}

std::vector<Case> sendCases();
std::vector<Case> receiveCases();
std::vector<Case> mixedCases();
std::vector<Case> handOverCases();
std::vector<Case> startCases();

inline std::vector<Case> allCases() {
  std::vector<Case> all;
  for (auto* cases : {sendCases, receiveCases, mixedCases, handOverCases, startCases}) {
    for (Case& one : cases()) all.push_back(std::move(one));
  }
  return all;
}

}  // namespace varno::bench
