// A property list handed over value by value. This is the one list of the kinds of values: each
// reader calls a sink and each writer is one.
//
//   who calls                     who is called
//   the XML form                  the builder of objects
//   the binary form               the writer of the XML form
//   the old text form             the writer of the binary form
//   objects in memory
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/core_foundation/property_list.h"

namespace orvik {

class XmlDictionary;

// An integer of -2^63 to 2^64 - 1: the bits of a signed value, or of an unsigned one that the
// signed range does not hold.
struct PropertyListInteger {
  std::uint64_t bits = 0;
  bool is_unsigned = false;
};

// A text in the form that its source has: an object, bytes below 0x80, or UTF-16 units.
struct PropertyListText {
  explicit PropertyListText(const NSString* string) : object(string) {}
  // `element` is the whole element of the text when it is written as the XML writer writes it.
  explicit PropertyListText(std::string_view bytes, std::string_view element = {})
      : ascii(bytes), xml_element(element) {}
  explicit PropertyListText(std::u16string_view text) : units(text), is_wide(true) {}

  const NSString* object = nullptr;
  std::string_view ascii;
  std::string_view xml_element;
  std::u16string_view units;
  bool is_wide = false;
};

// What became of a dictionary that was offered as a piece of XML: the sink has taken it, wants its
// entries one by one, or failed.
enum class PropertyListTaking { kTaken, kWantsEntries, kFailed };

class PropertyListSink {
 public:
  virtual ~PropertyListSink() = default;

  // Each is false when the sink cannot take the value; then the caller stops.
  virtual bool String(const PropertyListText& text) = 0;
  virtual bool Integer(PropertyListInteger value) = 0;
  // The binary form keeps a width of 4 bytes.
  virtual bool Real(double value, int width) = 0;
  virtual bool Boolean(bool value) = 0;
  // Seconds since 2001-01-01 00:00 UTC.
  virtual bool Date(double seconds) = 0;
  // `object` is the object that holds the bytes, or null.
  virtual bool Data(std::string_view bytes, const NSData* object) = 0;
  // Then the elements, or keys and values in turn, then Close. The count is a hint.
  virtual bool OpenArray(std::size_t count) = 0;
  virtual bool OpenDictionary(std::size_t count) = 0;
  virtual bool Key(const PropertyListText& key) = 0;
  virtual bool Close() = 0;
  // In place of OpenDictionary, for entries that are still text.
  virtual PropertyListTaking Dictionary(const XmlDictionary&) {
    return PropertyListTaking::kWantsEntries;
  }
};

// Takes every value and does nothing with it.
class PropertyListChecker : public PropertyListSink {
 public:
  bool String(const PropertyListText&) override { return true; }
  bool Integer(PropertyListInteger) override { return true; }
  bool Real(double, int) override { return true; }
  bool Boolean(bool) override { return true; }
  bool Date(double) override { return true; }
  bool Data(std::string_view, const NSData*) override { return true; }
  bool OpenArray(std::size_t) override { return true; }
  bool OpenDictionary(std::size_t) override { return true; }
  bool Key(const PropertyListText&) override { return true; }
  bool Close() override { return true; }
};

}  // namespace orvik
