#pragma once

namespace varno {

// The flag is set while this lives.
class FlagScope {
 public:
  explicit FlagScope(bool& flag) : flag_(flag) { flag_ = true; }
  ~FlagScope() { flag_ = false; }
  FlagScope(const FlagScope&) = delete;
  FlagScope& operator=(const FlagScope&) = delete;

 private:
  bool& flag_;
};

}  // namespace varno
