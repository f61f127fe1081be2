#include "tools/varno/RecordFilter.h"

#include "tools/varno/Failure.h"

#include <VarnoTraffic/FrameContent.h>

#include <VarnoTraffic/Notation.h>

#include <algorithm>

namespace varno::tool {

const PacketDirectory::Entry& entryNamed(const std::string& word,
                                         const PacketDirectory& directory) {
  if (const PacketDirectory::Entry* const entry = directory.find(word)) return *entry;
  std::string message = "no packet type is named '" + shown(word) + "'";
  const std::vector<std::string_view> alike = directory.alike(word);
  const char* separator = alike.size() > 1 ? "; several begin so: " : " (nearest: ";
  for (const std::string_view name : alike) {
    message.append(separator).append(name);
    separator = ", ";
  }
  if (alike.size() == 1) message += ')';
  if (alike.empty()) message += "; `varno types` lists them";
  throw Failure(kUsage, message);
}

void RecordFilter::define(CLI::App& app) {
  app.add_option("--direction", directionName_, "Only what went this way")
      ->check(CLI::IsMember({"to-display", "to-phone", ">", "<"}))
      ->type_name("WAY")
      ->group("Filters");
  app.add_option("--type", typeNames_,
                 "Only packets of this type; of any of these where it is repeated")
      ->type_name("TYPE")
      ->allow_extra_args(false)
      ->group("Filters");
  app.add_option("--where", conditionTexts_,
                 "Only packets with such a field, by = != < > <= >= or ~, which is\n"
                 "a regular expression; all of these where it is repeated")
      ->type_name("FIELD=VALUE")
      ->allow_extra_args(false)
      ->group("Filters");
}

void RecordFilter::prepare() {
  if (!directionName_.empty()) {
    const bool isToDisplay = directionName_ == ">" || directionName_ == "to-display";
    direction_ = isToDisplay ? Direction::kToDisplay : Direction::kToPhone;
  }
  for (const std::string& name : typeNames_) types_.push_back(&entryNamed(name, directory_));
  for (const std::string& text : conditionTexts_) {
    NotationError error;
    const auto read = FieldCondition::read(text, error);
    if (!read) throw Failure(kUsage, "--where '" + shown(text) + "': " + error.text());
    const FieldCondition& condition = conditions_.emplace_back(*read);
    const auto& all = directory_.entries();
    const bool isOfSome =
        types_.empty()
            ? std::any_of(all.begin(), all.end(),
                          [&](const auto& entry) { return condition.fits(entry, error); })
            : std::any_of(types_.begin(), types_.end(),
                          [&](const auto* entry) { return condition.fits(*entry, error); });
    if (!isOfSome) {
      throw Failure(kUsage, "--where '" + shown(text) + "': no such packet has a field '" +
                                shown(condition.path()) + "' with such a value");
    }
  }
}

bool RecordFilter::takes(const TrafficRecord& record) const {
  if (direction_ && record.direction != direction_) return false;
  return (types_.empty() && conditions_.empty()) || isWantedPacket(record);
}

bool RecordFilter::isWantedPacket(const TrafficRecord& record) const {
  if (record.kind != RecordKind::kFrame) return false;
  const PacketDirectory::Entry* const entry = entryOf(record.bytes, directory_);
  if (entry == nullptr) return false;
  if (!types_.empty() && std::find(types_.begin(), types_.end(), entry) == types_.end())
    return false;
  if (conditions_.empty()) return true;
  const std::shared_ptr<HudPacket> packet = packetIn(record.bytes, *entry);
  return packet != nullptr &&
         std::all_of(conditions_.begin(), conditions_.end(),
                     [&](const auto& condition) { return condition.holds(*packet); });
}

}  // namespace varno::tool
