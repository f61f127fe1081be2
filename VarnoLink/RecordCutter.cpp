#include <VarnoLink/RecordCutter.h>

#include <utility>

namespace varno {
namespace {

constexpr std::array kDirections = {Direction::kToDisplay, Direction::kToPhone};

}  // namespace

RecordCutter::RecordCutter(OnRecord onRecord) : onRecord_(std::move(onRecord)) {}
RecordCutter::~RecordCutter() = default;

void RecordCutter::onBytes(LinkTime time, Direction direction, std::span<const std::uint8_t> bytes,
                           std::string_view note) {
  Way& way = ways_[static_cast<std::size_t>(direction)];
  if (!note.empty()) way.note = note;
  way.cutter.feed(bytes, [&](const FrameCutter::Piece& piece) { give(time, direction, piece); });
}

void RecordCutter::onRecord(const TrafficRecord& record) {
  const bool endsStreams =
      record.kind == RecordKind::kLinkUp || record.kind == RecordKind::kLinkDown;
  const LinkTime time{std::chrono::nanoseconds(record.time.value_or(0))};
  for (const Direction direction : kDirections) {
    const bool isMeant = record.direction.value_or(direction) == direction;
    if (isMeant && (endsStreams || !record.bytes.empty())) finish(time, direction);
  }
  onRecord_(record);
}

void RecordCutter::finish(LinkTime time) {
  for (const Direction direction : kDirections) finish(time, direction);
}

void RecordCutter::finish(LinkTime time, Direction direction) {
  Way& way = ways_[static_cast<std::size_t>(direction)];
  if (const auto piece = way.cutter.finish()) give(time, direction, *piece);
  way.note.clear();
}

void RecordCutter::give(LinkTime time, Direction direction, const FrameCutter::Piece& piece) {
  record_.time = time.time_since_epoch().count();
  record_.direction = direction;
  record_.kind = piece.kind;
  record_.bytes.assign(piece.bytes.begin(), piece.bytes.end());
  record_.note.swap(ways_[static_cast<std::size_t>(direction)].note);
  ways_[static_cast<std::size_t>(direction)].note.clear();
  onRecord_(record_);
}

}  // namespace varno
