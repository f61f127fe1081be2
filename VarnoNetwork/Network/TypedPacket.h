#pragma once

#include <VarnoNetwork/Network/HudPacket.h>
#include <VarnoNetwork/Network/PayloadCodec.h>

#include <cstdint>
#include <string_view>
#include <typeinfo>

namespace varno {

// Gives `Derived` its identifiers and its type name, `Derived::kTypeName`.
template <class Derived, class Base, std::uint8_t kParam1, std::uint8_t kParam2>
class IdentifiedPacket : public Base {
 public:
  std::uint8_t getParam1() const override { return kParam1; }
  std::uint8_t getParam2() const override { return kParam2; }
  std::string_view typeName() const override {
    static_assert(Derived::kTypeName != Base::kTypeName, "a packet type tells its own kTypeName");
    return Derived::kTypeName;
  }

 protected:
  // Writes the same frame as the base, with constant identifiers and without virtual calls. A class
  // derived from Derived may override what is called here, so for it the base writes the frame. So
  // does the base when an identifier throws: what precedes it has to be in the stream then.
  void appendFrame(HudOutputStream& stream) const override {
    if (typeid(*this) != typeid(Derived)) return Base::appendFrame(stream);
    const auto& packet = static_cast<const Derived&>(*this);
    std::uint8_t command = 0;
    std::uint8_t param1 = 0;
    std::uint8_t param2 = 0;
    try {
      command = packet.Derived::getCommand();
      param1 = packet.Derived::getParam1();
      param2 = packet.Derived::getParam2();
    } catch (...) {
      return Base::appendFrame(stream);
    }
    stream.writeHead(command, param1, param2);
    packet.Derived::appendPayload(stream);
    stream.directWrite(ETX);
  }
};

// Gives `Derived` its payload from its field list, a static function template
//
//   template <class Self, class Visit>
//   static void fields(Self& self, Visit& visit) {
//     visit("name", self.name_);
//   }
//
// that names every field in wire order (see PayloadCodec.h). A type without payload has none.
template <class Derived, class Base>
class FieldPacket : public Base {
 public:
  void appendPayload(HudOutputStream& stream) const override {
    PayloadWriter visit(stream);
    Derived::fields(derived(), visit);
  }

  // Returns false when the payload ends before its last field, or holds what a field cannot take.
  // Fields before the failure keep the values that were read, the others are unchanged. What
  // follows the last field is ignored. Throws only std::bad_alloc.
  bool parsePayload(HudInputStream& stream) override {
    try {
      PayloadReader visit(stream);
      Derived::fields(derived(), visit);
      return true;
    } catch (const HudException&) {
      return false;
    }
  }

  void visitFields(FieldVisitor& visitor) const override {
    FieldPresenter<true> visit(visitor);
    Derived::fields(derived(), visit);
  }

  std::string_view fieldSeparator() const override {
    if constexpr (requires { Derived::kFieldSeparator; }) {
      return Derived::kFieldSeparator;
    } else {
      return Base::fieldSeparator();
    }
  }

  void editFields(FieldEditor& editor) override {
    FieldPresenter<false> visit(editor);
    Derived::fields(derived(), visit);
  }

 private:
  const Derived& derived() const { return static_cast<const Derived&>(*this); }
  Derived& derived() { return static_cast<Derived&>(*this); }
};

// A packet type of family `Base` (CommandPacket, NotificationPacket, EventPacket, or an
// application's own): class Derived : public TypedPacket<Derived, Base, param1, param2>.
template <class Derived, class Base, std::uint8_t kParam1, std::uint8_t kParam2>
using TypedPacket = FieldPacket<Derived, IdentifiedPacket<Derived, Base, kParam1, kParam2>>;

}  // namespace varno
