#include "plist/forms.h"

#include <memory>
#include <utility>

#include "plist/encoding.h"
#include "plist/events.h"
#include "plist/xml.h"

namespace orvik::plist {
namespace {

bool BeginsWithMarkup(std::string_view text) {
  constexpr std::string_view kBlank = " \t\r\n", kDigits = " \t\r\n0123456789abcdefABCDEF";
  const std::size_t start = text.find_first_not_of(kBlank);
  if (start == text.npos || text[start] != '<') return false;
  // "<" with hexadecimal digits is data in the old text form.
  const std::size_t end = text.find_first_not_of(kDigits, start + 1);
  return end == text.npos || text[end] != '>';
}

}  // namespace

// A dictionary that is no deeper here than in its text fits, because its text was checked.
Taking Checker::Dictionary(const XmlDictionary& dictionary) {
  const bool is_checked = static_cast<std::size_t>(dictionary.depth()) >= depth_;
  return is_checked ? Taking::kTaken : Taking::kWantsEntries;
}

Reading Read(std::string_view bytes) {
  return Read(std::make_shared<const std::string>(bytes));
}

// The binary mark decides first. A text that begins with "<" is XML, unless this is data of the old
// form. Everything else is the old form, which has no mark.
Reading Read(const Bytes& bytes) {
  if (bytes->starts_with("bplist")) return ReadBinary(*bytes);
  Reading reading;
  if (bytes->empty()) {
    reading.error = "The data is empty";
    return reading;
  }
  std::optional<Utf8Text> utf8 = TextAsUtf8(*bytes);
  if (!utf8) {
    reading.error = WhyNotText(*bytes);
    return reading;
  }
  if (!BeginsWithMarkup(utf8->text)) return ReadOldText(utf8->text);
  Bytes holder = utf8->converted != nullptr ? utf8->converted : bytes;
  const auto xml = XmlText::Read(std::move(holder), utf8->text, reading.error);
  ValueBuilder builder;
  if (xml == nullptr || !XmlText::Send(xml, builder)) return reading;
  reading.root = builder.Take();
  reading.format = Format::kXml;
  return reading;
}

std::optional<std::string> FindFault(const Value& value) {
  Checker checker;
  ValueWalk walk(EntryOrder::kByKey, checker);
  return walk.Run(&value) ? std::nullopt : std::optional(walk.Path());
}

}  // namespace orvik::plist
