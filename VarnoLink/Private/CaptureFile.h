#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <streambuf>
#include <string>
#include <vector>

namespace varno {

// A file that is written in large pieces, and that is cut back to the end of a call of sputn where
// one did not go in whole.
class CaptureFile : public std::streambuf {
 public:
  // Throws std::system_error where it cannot be made.
  explicit CaptureFile(const std::string& path);
  CaptureFile(const CaptureFile&) = delete;
  CaptureFile& operator=(const CaptureFile&) = delete;
  ~CaptureFile() override;

  // Why it cannot be written any more, as errno; 0 where it can.
  int error() const { return error_; }

  // How much is in it, and how much will be where nothing fails: each up to the end of a call.
  std::int64_t size() const { return size_; }
  std::int64_t wantedSize() const { return size_ + static_cast<std::int64_t>(kept_.size()); }

  // Writes what is kept. False where not everything went in.
  bool close();

  // A pipe whose reader does not read is given up after a second from here on. On any thread.
  void hurry() { isHurried_ = true; }

 private:
  std::streamsize xsputn(const char* characters, std::streamsize count) override;
  int_type overflow(int_type character) override;
  int sync() override;
  bool writeOut();
  bool waitForReader(int& patience) const;

  int descriptor_;
  bool isFile_ = false;
  int error_ = 0;
  std::int64_t size_ = 0;
  std::atomic<bool> isHurried_ = false;
  std::string kept_;
  std::vector<std::size_t> ends_;  // of the calls in it
};

}  // namespace varno
