#pragma once

#include <VarnoNetwork/Export.h>
#include <VarnoNetwork/Network/PacketCatalogue.h>
#include <VarnoNetwork/Network/PacketType.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace varno {

// The packet types that traffic is read and shown with: a copy of the catalogue, or of another
// list, that finds types by what stands in frames and by what people write. A value; any number of
// threads may read it.
class VARNO_EXPORT PacketDirectory {
 public:
  // One packet type, and what is known of all its packets.
  struct Entry {
    PacketType type;
    PacketIdentifiers identifiers;
    // Whether a packet of the type may have a secret field.
    bool mayHaveSecrets = false;
    // Whether the type reads its payload in another way than its list of fields says.
    bool isIrregular = false;
    // Whether entry.type.name() finds this entry and is one plain word.
    bool hasPlainName = false;
  };

  // The types that the catalogue has now. Types that cannot tell their identifiers are left out,
  // and of several with the same identifiers all but the first.
  PacketDirectory() : PacketDirectory(PacketCatalogue::packetTypes()) {}
  explicit PacketDirectory(const std::vector<PacketType>& types);

  // By identifiers.
  const std::vector<Entry>& entries() const { return entries_; }

  // Null where there is no such type. Valid while the directory is.
  const Entry* find(PacketIdentifiers identifiers) const noexcept;

  // The type that the word names: its name, the name without "Packet" or without the family's
  // ending ("KeepAlive" for KeepAliveCommandPacket), or the beginning of one type's name only.
  // Null where none or several are named.
  const Entry* find(std::string_view word) const;

  // The names of the types that the word may stand for: several where it is ambiguous, one that is
  // alike where it is unknown, none where nothing is alike.
  std::vector<std::string_view> alike(std::string_view word) const;

  // The type whose identifiers are nearest; null in an empty directory.
  const Entry* nearest(PacketIdentifiers identifiers) const noexcept;

 private:
  std::vector<const Entry*> named(std::string_view word) const;

  std::vector<Entry> entries_;
};

}  // namespace varno
