#include <VarnoTraffic/Private/SecretTail.h>

#include <VarnoNetwork/Network/Wire.h>
#include <VarnoTraffic/Explanation.h>

#include <algorithm>

namespace varno {

std::vector<bool> SecretTail::hiddenBytes(const TrafficRecord& record,
                                          const PacketDirectory& directory) {
  if (record.bytes.empty() || !mayHaveBytes(record.kind)) return {};
  if (record.bytes.front() != STX) return std::vector<bool>(record.bytes.size(), goesOn(record));
  const Explanation explanation = explainFrame(record.bytes, directory);
  const auto& entries = directory.entries();
  goesOn(record) = std::any_of(entries.begin(), entries.end(), [&](const auto& entry) {
    return entry.mayHaveSecrets && entry.type.name() == explanation.typeName;
  });
  return explanation.secretBytes();
}

}  // namespace varno
