// A property list as a sequence of events: each reader calls a sink and each writer is one.
//
//   caller                                      sink
//   reader of the XML form                      builder of values
//   reader of the old text form                 writer of the XML form
//   walk over values                            writer of the binary form
//                                               Checker: stops at values that cannot be written
//
// The calls for { a = (1, 2); b = x; }:
//
//   OpenDictionary  Key a  OpenArray  Integer 1  Integer 2  Close  Key b  String x  Close
//
// A caller makes the calls in this order and keeps the limit kMaximumDepth. Texts and bytes are
// valid only during the call; a sink that keeps them shares the memory of `holder` if that is not
// null.
#pragma once

#include <cstddef>
#include <string_view>

#include "plist/value.h"

namespace orvik {
namespace [[gnu::visibility("default")]] plist {

// The most nested containers, in reading and in writing.
inline constexpr std::size_t kMaximumDepth = 512;

// The most bytes of a property list, in reading and in writing.
inline constexpr std::size_t kMaximumFileSize = std::size_t{512} << 20;

// A unique identifier of a keyed archive is the dictionary { "CF$UID" = number }.
inline constexpr std::string_view kUniqueIdentifierKey = "CF$UID";

// The answer to a dictionary that is offered as a piece of XML. kTaken: the sink took all of it.
// kWantsEntries: it wants OpenDictionary, the entries and Close instead. kFailed: it cannot take
// the value.
enum class Taking { kTaken, kWantsEntries, kFailed };

// Each call returns false if the sink cannot take the value; then the caller stops and must not use
// the sink again. The sink itself keeps the reason.
class Sink {
 public:
  virtual ~Sink() = default;

  // `text` is any sequence of units. `holder`, unless null, is the string value that owns the text.
  virtual bool String(const Text& text, const Value* holder = nullptr) = 0;
  virtual bool Integer(plist::Integer value) = 0;
  // `width` is the size of the number in the binary form: 4 or 8 bytes.
  virtual bool Real(double value, int width) = 0;
  virtual bool Boolean(bool value) = 0;
  // `seconds` counts from 2001-01-01 00:00 UTC.
  virtual bool Date(double seconds) = 0;
  // `holder`, unless null, owns the bytes.
  virtual bool Data(std::string_view bytes, const Bytes& holder) = 0;
  // Followed by the elements, or by keys and values in turn, and by Close. `count` is a hint.
  virtual bool OpenArray(std::size_t count) = 0;
  virtual bool OpenDictionary(std::size_t count) = 0;
  virtual bool Key(const Text& key, const Value* holder = nullptr) = 0;
  virtual bool Close() = 0;
  // In place of OpenDictionary, for entries that are still text.
  virtual Taking Dictionary(const XmlDictionary&) { return Taking::kWantsEntries; }
};

// Accepts every value and keeps nothing. A dictionary that is still text was checked when it was
// read; its entries are needed only if it is deeper here than in its text.
class Checker : public Sink {
 public:
  bool String(const Text&, const Value*) override { return true; }
  bool Integer(plist::Integer) override { return true; }
  bool Real(double, int) override { return true; }
  bool Boolean(bool) override { return true; }
  bool Date(double) override { return true; }
  bool Data(std::string_view, const Bytes&) override { return true; }
  bool OpenArray(std::size_t) override { return Open(); }
  bool OpenDictionary(std::size_t) override { return Open(); }
  bool Key(const Text&, const Value*) override { return true; }
  bool Close() override {
    --depth_;
    return true;
  }
  Taking Dictionary(const XmlDictionary& dictionary) override;

 private:
  bool Open() {
    ++depth_;
    return true;
  }

  std::size_t depth_ = 0;
};

}  // namespace plist
}  // namespace orvik
