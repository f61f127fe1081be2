#pragma once

#include <VarnoNetwork/Network/PayloadCodec.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace varno {

// Reads a packet's fields from its payload, with the same values and failures as its parsePayload,
// and tells how far it got:
//
//   HudInputStream stream(payload);
//   FieldReader reader(stream);
//   packet.editFields(reader);  // throws where the payload is not usable; reader.path() says where
//
// Slower than parsePayload. Does not fit a type that overrides parsePayload: the fields of such a
// payload have no place of their own. The stream and the witness must outlive the reader.
class FieldReader : public UniformFieldVisitor<FieldReader, FieldEditor> {
 public:
  // witness: receives each field after it was read, and the size that a list announces (0 if
  // negative) before the list's elements. During these calls begin() and end() tell which bytes
  // were read. May be null.
  explicit FieldReader(HudInputStream& stream, FieldVisitor* witness = nullptr)
      : stream_(stream), witness_(witness) {}

  // The field that was read last, or whose reading failed; empty before the first.
  const std::string& path() const { return path_; }

  // The bytes of that field, as offsets in the stream; for a list, the bytes of its count.
  std::uint64_t begin() const { return begin_; }
  std::uint64_t end() const { return stream_.offset(); }

  template <class Value>
  void onField(const FieldInfo& field, Value& value) {
    if (!field.isOnWire) return;
    read(field, value);
    if (witness_ != nullptr) witness_->visit(field, value);
  }

  void beginRecord(const FieldInfo& field, std::string_view typeName) override {
    if (++nesting_ > PayloadReader::kMostNesting) PayloadReader::throwNestedTooDeep();
    if (witness_ != nullptr) witness_->beginRecord(field, typeName);
  }
  void endRecord() override {
    --nesting_;
    if (witness_ != nullptr) witness_->endRecord();
  }

  void beginList(const FieldInfo& field, std::size_t& size) override {
    List list{.isOnWire = field.isOnWire};
    if (field.isOnWire) {
      size = 0;
      read(field, list.left);
      const auto announced = static_cast<std::size_t>(list.left > 0 ? list.left : 0);
      if (witness_ != nullptr) witness_->beginList(field, announced);
    }
    lists_.push_back(list);
  }
  bool wantsElement(const FieldInfo& /*list*/, std::size_t index) override {
    List& list = lists_.back();
    if (!list.isOnWire) return false;
    if (index > 0 && list.elementBegin == stream_.offset()) {
      PayloadReader::throwElementWithoutBytes();
    }
    list.elementBegin = stream_.offset();
    return list.left > 0 && list.left-- > 0;
  }
  void endList() override {
    if (lists_.back().isOnWire && witness_ != nullptr) witness_->endList();
    lists_.pop_back();
  }

 private:
  struct List {
    bool isOnWire = true;
    std::int32_t left = 0;
    std::uint64_t elementBegin = 0;
  };

  template <class Value>
  void read(const FieldInfo& field, Value& value) {
    path_ = field.path();
    begin_ = stream_.offset();
    PayloadReader read(stream_);
    read("", value);
  }

  HudInputStream& stream_;
  FieldVisitor* witness_;
  std::string path_;
  std::uint64_t begin_ = 0;
  std::vector<List> lists_;
  int nesting_ = 0;
};

}  // namespace varno
