#pragma once

#include <VarnoNetwork/Export.h>
#include <VarnoNetwork/Network/HudString.h>
#include <VarnoNetwork/Network/Wire.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace varno {

// A bounds-checked reader of the wire bytes that HudOutputStream writes, forward only. Every read
// but directRead undoes the stuffing: a byte after the mark 7D is XORed with 7D, whatever it is.
//
// A read past the end throws IndexOutOfBoundsException. The bytes before the missing one stay
// consumed (also a lone mark at the end), and the stream can still be used, in the middle of a
// field. Used by one thread at a time.
class VARNO_EXPORT HudInputStream {
 public:
  // A stream over a copy of the bytes. A null pointer counts as no bytes.
  explicit HudInputStream(std::span<const std::uint8_t> bytes);
  // This constructor is the factory initWithBytes: a static function cannot have the name and the
  // parameters of the member function below.
  HudInputStream(const std::uint8_t* bytes, std::uint64_t length);
  static HudInputStream initWithNSData(std::span<const std::uint8_t> buffer);

  // A stream over the bytes themselves, which must outlive it.
  static HudInputStream borrowing(std::span<const std::uint8_t> bytes) noexcept {
    return {Borrowed(), bytes};
  }

  HudInputStream(const HudInputStream&) = delete;
  HudInputStream& operator=(const HudInputStream&) = delete;
  ~HudInputStream() = default;

  // Starts this stream over, on a copy of the bytes.
  void initWithBytes(const std::uint8_t* bytes, std::uint64_t length);

  // The number of bytes that the stream was made over: the total, not what is left to read.
  std::int64_t available() const noexcept { return static_cast<std::int64_t>(available_); }

  // The index of the next byte to read, counted in wire bytes.
  std::uint64_t offset() const noexcept { return offset_; }

  // Fills `buffer` with `length` bytes. Those before a failure are stored. Does nothing if `buffer`
  // is null.
  void read(std::uint8_t* buffer, std::uint64_t length);

  // The next byte as it is, with its stuffing.
  std::uint8_t directRead() {
    if (offset_ >= available_) throwOutOfBounds();
    return ptrBuffer_[offset_++];
  }

  std::uint8_t readByte() {
    const std::uint8_t byte = directRead();
    return byte == ESCAPE ? static_cast<std::uint8_t>(directRead() ^ ESCAPE) : byte;
  }
  std::int16_t readShort();
  std::int32_t readInt();
  std::int64_t readLong();
  float readFloat();
  double readDouble();
  bool readBoolean() { return readByte() != 0; }  // true for every byte but 0

  // A string; absent if its bytes are not valid UTF-8. A count of 0 or below yields the empty
  // string and leaves what follows unread. So text of 32,768 to 65,535 bytes, whose count is read
  // as negative, reads as empty; this is part of the protocol.
  HudString readUTF();

  // The same, into an existing string, whose memory is reused. A failure leaves the string
  // unchanged.
  void readUTF(HudString& into);

 private:
  struct Borrowed {};
  HudInputStream(Borrowed, std::span<const std::uint8_t> bytes) noexcept
      : ptrBuffer_(bytes.data()), available_(bytes.size()) {}

  [[noreturn]] static void throwOutOfBounds();
  const std::uint8_t* next() const noexcept { return ptrBuffer_ + offset_; }
  std::size_t left() const noexcept { return available_ - offset_; }
  template <class Unsigned>
  VARNO_INTERNAL Unsigned readBigEndian();

  std::vector<std::uint8_t> internalBuffer_;  // the stream's own copy; empty when it borrows
  const std::uint8_t* ptrBuffer_ = nullptr;
  std::size_t offset_ = 0;
  std::size_t available_ = 0;
};

}  // namespace varno
