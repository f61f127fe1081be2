#pragma once

#include <stdexcept>
#include <string>

namespace varno {

// A connection ended or could not be made. what() is the status's reason.
class LinkFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// What an error of the system means to people.
std::string reasonOf(int error);

// The reason of what is caught just now: a LinkFailure, an error of the system, std::bad_alloc.
// Throws std::bad_alloc.
std::string currentReason();

}  // namespace varno
