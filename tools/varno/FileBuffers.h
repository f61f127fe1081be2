#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <streambuf>
#include <string>
#include <string_view>
#include <vector>

namespace varno::tool {

// A file descriptor, closed at the end unless it is one of the standard ones.
class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor();

  int number() const { return number_; }
  // What closing says: on some systems only that tells that a file could not be written.
  bool close();

 private:
  int number_;
};

// Reads a file, or standard input for "-".
class InputFile : public std::streambuf {
 public:
  // Throws Failure where the file cannot be opened.
  explicit InputFile(const std::string& path);

  // Called before each read that would wait: what was written so far is to be seen meanwhile.
  void setOnWait(std::function<void()> onWait) { onWait_ = std::move(onWait); }
  // Called behind each read, with how many bytes were read and how many the file has; none where
  // that is not known.
  using OnRead = std::function<void(std::uint64_t read, std::optional<std::uint64_t> size)>;
  void setOnRead(OnRead onRead) { onRead_ = std::move(onRead); }

  const std::string& name() const { return name_; }

 private:
  // Throws Failure where the file cannot be read.
  int_type underflow() override;

  std::string name_;
  Descriptor descriptor_;
  std::optional<std::uint64_t> size_;
  std::uint64_t read_ = 0;
  std::function<void()> onWait_;
  OnRead onRead_;
  std::vector<char> buffer_;
};

// Writes a file, or standard output for "-". What is written is kept until it is much, or flushed.
class OutputFile : public std::streambuf {
 public:
  // Throws Failure where the file cannot be made.
  explicit OutputFile(const std::string& path);
  // Drops what was not flushed.
  ~OutputFile() override = default;

  // Each throws Failure where the file cannot be written, ReaderIsGone where it is a pipe that
  // nobody reads.
  void write(std::string_view text) {
    sputn(text.data(), static_cast<std::streamsize>(text.size()));
  }
  void flush();
  void close();
  // Takes away the file, unless it is a device or a pipe: a part of it is of no use.
  void remove() noexcept;

  bool isTerminal() const { return isTerminal_; }

 private:
  int_type overflow(int_type character) override;
  int sync() override;
  [[noreturn]] void fail(int error) const;

  std::string path_;
  std::string name_;
  Descriptor descriptor_;
  bool isTerminal_ = false;
  std::vector<char> buffer_;
};

// Writes the text to standard output; throws as OutputFile does.
void print(std::string_view text);

}  // namespace varno::tool
