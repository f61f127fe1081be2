#include "tools/page/RecordRing.h"

#include <utility>

namespace varno::tool {
namespace {

std::size_t bytesOf(const RecordRing::Kept& kept) {
  return sizeof kept + kept.record.bytes.size() + kept.record.note.size() + kept.row.size() +
         kept.hiddenBytes.size();
}

}  // namespace

void RecordRing::add(Kept kept) {
  bytes_ += bytesOf(kept);
  kept_.push_back(std::move(kept));
  ++last_;
  // The newest one stays, however long it is.
  while (kept_.size() > maxRecords_ || (bytes_ > maxBytes_ && kept_.size() > 1)) dropFirst();
}

void RecordRing::dropFirst() {
  bytes_ -= bytesOf(kept_.front());
  kept_.pop_front();
}

const RecordRing::Kept* RecordRing::find(std::uint64_t number) const {
  if (number < first() || number > last_) return nullptr;
  return &kept_[static_cast<std::size_t>(number - first())];
}

}  // namespace varno::tool
