#include "FuzzSupport.h"

#include <VarnoNetwork/Network/HudException.h>
#include <VarnoNetwork/Network/HudInputStream.h>
#include <VarnoNetwork/Network/HudOutputStream.h>
#include <tests/reference/ReferenceCodec.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Takes an input for a script of writes, then of reads, and does all of it twice: with the
// library's streams and with the reference codec. Every byte, result, offset and failure has to be
// the same.

namespace varno::fuzz {
namespace {

using Bytes = std::vector<std::uint8_t>;

// What a stream may hold before its script is cut off, so that no input takes long.
constexpr std::int64_t kMostBytes = 140'000;

// A length: mostly short, otherwise close to one at which the streams or the protocol behave
// differently.
std::size_t pieceLength(Script& script) {
  constexpr std::size_t kStreamTurns[] = {64, 256, 512, 1024, 4096, 8192};
  constexpr std::size_t kProtocolTurns[] = {32768, 65536, 131072};
  const std::uint8_t byte = script.byte();
  if (byte < 0xC0) return byte;
  const std::size_t turn = byte < 0xF8 ? kStreamTurns[byte % std::size(kStreamTurns)]
                                       : kProtocolTurns[byte % std::size(kProtocolTurns)];
  return turn + script.byte() - 64;
}

// A few of the script's bytes. As text, one of them may stand for a character at or just beyond the
// limits of strict UTF-8.
Bytes pattern(Script& script, bool isText) {
  constexpr std::string_view kCharacters[] = {
      "\x7F",         "\xC2\x80",         "\xDF\xBF",         "\xE0\xA0\x80",
      "\xED\x9F\xBF", "\xEE\x80\x80",     "\xEF\xBF\xBF",     "\xF0\x90\x80\x80",
      "\xC1\xBF",     "\xF4\x8F\xBF\xBF", "\xE0\x9F\xBF",     "\xED\xA0\x80",
      "\xED\xBF\xBF", "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80"};
  const ByteSpan bytes = script.bytes(1 + script.choice(8));
  Bytes pattern;
  for (const std::uint8_t byte : bytes) {
    if (isText && byte >= 0x80) {
      const std::string_view character = kCharacters[byte % std::size(kCharacters)];
      pattern.insert(pattern.end(), character.begin(), character.end());
    } else {
      pattern.push_back(byte);
    }
  }
  return pattern;
}

// A pattern, repeated, with a few bytes changed at places close to either end.
Bytes piece(Script& script) {
  const std::size_t kind = script.choice(4);
  const Bytes repeated = pattern(script, kind < 2);
  if (repeated.empty()) return {};
  std::size_t length = pieceLength(script);
  if (kind % 2 == 0) length -= length % repeated.size();  // no character of the text is cut
  Bytes piece(length);
  for (std::size_t at = 0; at < length; ++at) piece[at] = repeated[at % repeated.size()];
  if (length == 0) return piece;
  for (std::size_t changes = script.choice(4); changes > 0; --changes) {
    const auto place = script.number<std::uint16_t>();
    const std::size_t distance = (place >> 1) % length;
    piece[place % 2 == 0 ? distance : length - 1 - distance] = script.byte();
  }
  return piece;
}

std::string_view textOf(const Bytes& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

class Writers {
 public:
  // Runs the script's writes up to the one that ends them.
  Bytes run(Script& script) {
    while (!script.isAtEnd() && step(script)) {
      require(stream_.size() == expected_.size(), "size after a write");
      if (stream_.size() > kMostBytes) break;
    }
    return take(script);
  }

 private:
  template <class Write>
  bool both(Write write) {
    write(stream_);
    write(expected_);
    return true;
  }

  bool step(Script& script) {
    switch (script.choice(16)) {
      case 0: return both([byte = script.byte()](auto& to) { to.directWrite(byte); });
      case 1: return both([byte = script.byte()](auto& to) { to.writeByte(byte); });
      case 2:
        return both([value = script.number<std::int16_t>()](auto& to) { to.writeShort(value); });
      case 3:
        return both([value = script.number<std::int32_t>()](auto& to) { to.writeInt(value); });
      case 4:
        return both([value = script.number<std::int64_t>()](auto& to) { to.writeLong(value); });
      case 5:
        return both([value = std::bit_cast<float>(script.number<std::uint32_t>())](auto& to) {
          to.writeFloat(value);
        });
      case 6:
        return both([value = std::bit_cast<double>(script.number<std::uint64_t>())](auto& to) {
          to.writeDouble(value);
        });
      case 7: return both([value = script.choice(2) != 0](auto& to) { to.writeBoolean(value); });
      case 8:
        return both([bytes = piece(script)](auto& to) { to.write(bytes.data(), bytes.size()); });
      case 9:
      case 10: return both([text = piece(script)](auto& to) { to.writeUTF(textOf(text)); });
      case 11: return both([](auto& to) { to.writeUTF(std::nullopt); });
      case 12: stream_.write(nullptr, script.byte()); return true;
      case 13:
        return both([bytes = piece(script)](auto& to) {
          for (const std::uint8_t byte : bytes) to.directWrite(byte);
        });
      case 14: take(script); return true;
      default: return false;
    }
  }

  // All bytes held, in each way of getting them; the last way leaves both streams empty.
  Bytes take(Script& script) {
    Bytes expected = expected_.toNSData();
    require(stream_.toNSData() == expected, "toNSData");

    const std::size_t length = pieceLength(script);
    Bytes front(length, 0xA5);
    Bytes expectedFront = front;
    stream_.toByteArray(front.data(), length);
    expected_.toByteArray(expectedFront.data(), length);
    require(front == expectedFront, "toByteArray");

    if (script.choice(2) != 0) {
      require(std::move(stream_).toNSData() == expected, "toNSData of a stream that is given up");
      expected_ = {};
    }
    return expected;
  }

  HudOutputStream stream_;
  reference::OutputStream expected_;
};

class Readers {
 public:
  // With `borrows` the wire has to outlive this.
  Readers(ByteSpan wire, bool borrows)
      : stream_(borrows ? HudInputStream::borrowing(wire) : HudInputStream(wire)),
        expected_(wire) {}

  void startOver(ByteSpan wire) {
    stream_.initWithBytes(wire.data(), wire.size());
    expected_ = reference::InputStream(wire);
  }

  void run(Script& script) {
    while (!script.isAtEnd()) step(script);
  }

 private:
  // If both fail, that is the same result; both then go on with the next read.
  template <class Read>
  void both(Read read) {
    const auto attempt = [&](auto& from) {
      std::optional<decltype(read(from))> result;
      try {
        result.emplace(read(from));
      } catch (const IndexOutOfBoundsException&) {
        result.reset();
      }
      return result;
    };
    require(attempt(stream_) == attempt(expected_), "result of a read");
    require(stream_.offset() == expected_.offset(), "offset after a read");
    require(stream_.available() == expected_.available(), "available after a read");
  }

  void step(Script& script) {
    switch (script.choice(12)) {
      case 0: return both([](auto& from) { return from.directRead(); });
      case 1: return both([](auto& from) { return from.readByte(); });
      case 2: return both([](auto& from) { return from.readShort(); });
      case 3: return both([](auto& from) { return from.readInt(); });
      case 4: return both([](auto& from) { return from.readLong(); });
      case 5:
        return both([](auto& from) { return std::bit_cast<std::uint32_t>(from.readFloat()); });
      case 6:
        return both([](auto& from) { return std::bit_cast<std::uint64_t>(from.readDouble()); });
      case 7: return both([](auto& from) { return from.readBoolean(); });
      case 8: return stream_.read(nullptr, script.byte());
      case 9: return readArray(pieceLength(script));
      case 10: return readArray(script.number<std::uint64_t>());
      default: return both([](auto& from) { return from.readUTF(); });
    }
  }

  // The arrays hold what a read can store before it fails, however much it was to read.
  void readArray(std::uint64_t length) {
    const auto available = static_cast<std::uint64_t>(stream_.available());
    Bytes bytes(static_cast<std::size_t>(std::min(length, available)) + 1, 0xA5);
    Bytes expectedBytes = bytes;
    Bytes* into = &bytes;
    both([&](auto& from) {
      Bytes& array = *std::exchange(into, &expectedBytes);
      from.read(array.data(), length);
      return true;
    });
    require(bytes == expectedBytes, "bytes of a read");
  }

  HudInputStream stream_;
  reference::InputStream expected_;
};

}  // namespace
}  // namespace varno::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace varno::fuzz;
  Script script({data, size});
  Bytes wire = Writers().run(script);
  wire.resize(wire.size() - std::min<std::size_t>(script.byte(), wire.size()));  // torn

  const std::size_t source = script.choice(3);
  if (source == 0) {
    Readers(wire, true).run(script);
    return 0;
  }
  Readers readers(wire, false);
  if (source == 2) {
    readers.startOver(wire);
  }
  std::fill(wire.begin(), wire.end(), std::uint8_t{0});  // the streams have a copy
  readers.run(script);
  return 0;
}
