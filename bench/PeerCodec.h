#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <utility>
#include <vector>

// What an application might write for itself, made to be fast: little-endian integers and strings
// behind their length, copied as they are, and consistent overhead byte stuffing that finds zeros
// by memchr and moves the runs between them at once. Lengths are checked, text is not.
namespace varno::peer {

static_assert(std::endian::native == std::endian::little, "integers are copied as they are");

struct Message {
  Message() = default;
  Message(const Message&) = default;
  Message& operator=(const Message&) = default;
  virtual ~Message() = default;
};

struct KeepAlive : Message {
  static constexpr std::uint8_t kType = 1;
  static void fields(auto&, auto& archive) { archive(); }
};

struct SystemTime : Message {
  static constexpr std::uint8_t kType = 2;
  std::int64_t timeInMillis = 0;
  std::string timeZoneId;
  static void fields(auto& self, auto& archive) { archive(self.timeInMillis, self.timeZoneId); }
};

struct Notification : Message {
  static constexpr std::uint8_t kType = 3;
  std::string packageName, title, message;
  static void fields(auto& self, auto& archive) {
    archive(self.packageName, self.title, self.message);
  }
};

struct Sizer {
  void operator()(const auto&... fields) { ((size += sizeOf(fields)), ...); }
  static std::size_t sizeOf(const std::int64_t& value) { return sizeof value; }
  static std::size_t sizeOf(const std::string& text) { return 2 + text.size(); }
  std::size_t size = 0;
};

struct Writer {
  void operator()(const auto&... fields) { (write(fields), ...); }
  void write(const std::int64_t& value) { copy(&value, sizeof value); }
  void write(const std::string& text) {
    const std::size_t length = text.size();
    if (length >= 0x80) *to++ = static_cast<std::uint8_t>(0x80 | length >> 8);
    *to++ = static_cast<std::uint8_t>(length);
    copy(text.data(), length);
  }
  void copy(const void* from, std::size_t size) {
    std::memcpy(to, from, size);
    to += size;
  }
  std::uint8_t* to;
};

struct Reader {
  void operator()(auto&... fields) { (read(fields), ...); }
  void read(std::int64_t& value) {
    if (has(sizeof value)) std::memcpy(&value, take(sizeof value), sizeof value);
  }
  void read(std::string& text) {
    std::size_t length = has(1) ? *take(1) : 0;
    if (length >= 0x80 && has(1)) length = (length & 0x7F) << 8 | *take(1);
    if (has(length)) text.assign(reinterpret_cast<const char*>(take(length)), length);
  }
  bool has(std::size_t size) { return isWhole = isWhole && size <= left.size(); }
  const std::uint8_t* take(std::size_t size) {
    return std::exchange(left, left.subspan(size)).data();
  }
  std::span<const std::uint8_t> left;
  bool isWhole = true;
};

constexpr std::size_t kLongestRun = 254;  // what one byte can tell the length of

// The first zero among so many bytes, or null. Integers have zeros close together: a few bytes are
// looked at before memchr is called.
inline const std::uint8_t* findZero(const std::uint8_t* from, std::size_t size) {
  const std::uint8_t* const near = from + std::min<std::size_t>(size, 8);
  const std::uint8_t* const zero = std::find(from, near, 0);
  if (zero != near) return zero;
  if (size <= 8) return nullptr;
  return static_cast<const std::uint8_t*>(std::memchr(near, 0, size - 8));
}

// The message is written behind a gap for what the stuffing adds, and stuffed into it.
template <class Type>
std::vector<std::uint8_t> frameOf(const Type& message) {
  Sizer sizer{1};
  Type::fields(message, sizer);
  const std::size_t gap = 1 + sizer.size / kLongestRun;
  std::vector<std::uint8_t> frame(gap + sizer.size + 1);
  Writer writer{frame.data() + gap};
  *writer.to++ = Type::kType;
  Type::fields(message, writer);

  std::uint8_t* to = frame.data();
  const std::uint8_t* from = frame.data() + gap;
  const std::uint8_t* const end = writer.to;
  for (bool isDone = false; !isDone;) {
    const std::size_t window = std::min(kLongestRun, static_cast<std::size_t>(end - from));
    const std::uint8_t* zero = findZero(from, window);
    const std::size_t run = zero ? static_cast<std::size_t>(zero - from) : window;
    if (to + 1 != from) std::memmove(to + 1, from, run);
    *to = static_cast<std::uint8_t>(run + 1);
    to += run + 1;
    from += run + (zero ? 1 : 0);
    isDone = !zero && from == end;
  }
  *to++ = 0;
  frame.resize(static_cast<std::size_t>(to - frame.data()));
  return frame;
}

struct Listener {
  virtual ~Listener() = default;
  virtual void onMessage(const std::shared_ptr<Message>& message) = 0;
};

class Receiver {
 public:
  explicit Receiver(std::shared_ptr<Listener> listener) : listener_(std::move(listener)) {}

  // False for a damaged frame. From one thread at a time.
  bool handle(std::span<const std::uint8_t> frame) {
    if (frame.empty() || frame.back() != 0) return false;
    if (plain_.size() < frame.size()) plain_.resize(frame.size());
    std::uint8_t* to = plain_.data();
    const std::uint8_t* from = frame.data();
    const std::uint8_t* const end = from + frame.size() - 1;
    while (from != end) {
      const std::size_t code = *from;
      if (code == 0 || code > static_cast<std::size_t>(end - from)) return false;
      std::memcpy(to, from + 1, code - 1);
      to += code - 1;
      from += code;
      if (code <= kLongestRun && from != end) *to++ = 0;
    }
    if (to == plain_.data()) return false;
    const std::span<const std::uint8_t> fields(plain_.data() + 1, to);
    switch (plain_.front()) {
      case KeepAlive::kType: return handOver<KeepAlive>(fields);
      case SystemTime::kType: return handOver<SystemTime>(fields);
      case Notification::kType: return handOver<Notification>(fields);
      default: return false;
    }
  }

 private:
  template <class Type>
  bool handOver(std::span<const std::uint8_t> fields) {
    auto message = std::make_shared<Type>();
    Reader reader{.left = fields};
    Type::fields(*message, reader);
    if (!reader.isWhole) return false;
    const std::lock_guard lock(mutex_);
    listener_->onMessage(std::move(message));
    return true;
  }

  std::vector<std::uint8_t> plain_;  // kept from frame to frame
  std::mutex mutex_;
  const std::shared_ptr<Listener> listener_;
};

}  // namespace varno::peer
