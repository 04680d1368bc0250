#include "plist/xml.h"

#include <utility>

#include "plist/leaves.h"
#include "plist/xml_values.h"
#include "text/shown_text.h"

namespace orvik::plist {
namespace {

// Writes the text and the attributes of simple values as the XML writer does.
class Rewriter final : public Checker {
 public:
  // Whether the XML writer would give a value at this depth exactly the text and attributes that it
  // has.
  bool Matches(const XmlValue& value, std::size_t depth) {
    depth_ = static_cast<int>(depth);
    text_.clear();
    attributes_.clear();
    return sender_.Send(value, *this) && text_ == value.text && attributes_ == value.attributes;
  }

  bool String(const Text& text, const Value*) override { return Key(text, nullptr); }
  bool Integer(plist::Integer value) override {
    AppendInteger(text_, value);
    return true;
  }
  bool Real(double value, int) override {
    AppendReal(text_, value);
    return true;
  }
  bool Date(double seconds) override {
    AppendDate(text_, seconds);
    AppendExactDate(attributes_, seconds);
    return true;
  }
  bool Data(std::string_view bytes, const Bytes&) override {
    text_ += '\n';
    AppendData(text_, bytes, depth_);
    text_.append(static_cast<std::size_t>(depth_), '\t');
    return true;
  }
  bool Key(const Text& text, const Value*) override {
    AppendEscapedText(text_, text);
    return true;
  }

 private:
  XmlValueSender sender_;
  std::string text_;
  std::string attributes_;
  int depth_ = 0;
};

// Whether the gap is the line end and the tabs that the writer puts before a value at this depth.
bool IsWrittenGap(std::string_view gap, std::size_t depth) {
  return gap.size() == depth + 1 && gap[0] == '\n' &&
         gap.find_first_not_of('\t', 1) == std::string_view::npos;
}

}  // namespace

// Goes through the whole text once. A dictionary's extent is added to the list when it opens, so
// that those inside follow it, and completed when it closes. If a dictionary is not `is_written` or
// not `in_order`, neither are those around it.
class XmlText::Check {
 public:
  explicit Check(XmlText& xml) : xml_(xml), values_(xml.text_) {}

  bool Run() {
    FindRoot();
    do {
      if (!values_.Next(value_)) return Fail(values_.reason(), values_.failed_at());
      const bool fits = value_.part == XmlValue::kCloses ? Close() : TakePlace() && TakeValue();
      if (!fits) return false;
    } while (!open_.empty());
    return CheckEnd();
  }

  std::string Error() const {
    const TextPlace place = PlaceInText(xml_.text_, failed_at_);
    return std::string("The XML is not a property list: ") + reason_ + " in line " +
           std::to_string(place.line) + ", column " + std::to_string(place.column);
  }

 private:
  static constexpr std::size_t kNoExtent = static_cast<std::size_t>(-1);

  struct Container {
    std::size_t extent;  // kNoExtent for an array
    bool has_key = false;
    bool is_empty = true;
    bool is_written = true;
    bool in_order = true;
    std::string_view last_key = {};
    bool last_key_is_plain = true;
  };

  bool Fail(const char* reason, std::size_t at) {
    reason_ = reason;
    failed_at_ = at;
    return false;
  }

  // The root is inside "plist", or stands alone.
  void FindRoot() {
    XmlScanner scanner(xml_.text_);
    const XmlScanner::Tag tag = scanner.Next();
    if (tag == XmlScanner::Tag::kStart && scanner.name() == "plist" && IsBlankXml(scanner.text())) {
      is_in_plist_ = true;
      xml_.root_ = scanner.position();
      values_.MoveTo(xml_.root_);
    }
  }

  bool CheckEnd() {
    XmlScanner scanner(xml_.text_, value_.end);
    XmlScanner::Tag tag = scanner.Next();
    if (is_in_plist_ && tag == XmlScanner::Tag::kEnd && scanner.name() == "plist" &&
        IsBlankXml(scanner.text())) {
      tag = scanner.Next();
    } else if (is_in_plist_) {
      return Fail("the end tag of \"plist\" is missing", scanner.begin());
    }
    return (tag == XmlScanner::Tag::kNone && IsBlankXml(scanner.text())) ||
           Fail("something follows the property list", scanner.begin());
  }

  // A value is allowed as the root, in an array, or after a key.
  bool TakePlace() {
    if (open_.empty()) {
      return value_.element != XmlElement::kKey || Fail("a key outside a dictionary", value_.begin);
    }
    Container& container = open_.back();
    container.is_empty = false;
    container.is_written = container.is_written && IsWrittenGap(value_.gap, open_.size());
    const bool is_key = value_.element == XmlElement::kKey;
    const bool is_dictionary = container.extent != kNoExtent;
    if (is_key && !is_dictionary) return Fail("a key outside a dictionary", value_.begin);
    if (is_dictionary && is_key == container.has_key) {
      return Fail(is_key ? "a key without a value" : "a value without a key", value_.begin);
    }
    container.has_key = is_key;
    return true;
  }

  bool TakeValue() {
    switch (value_.part) {
      case XmlValue::kOpens:
        return Open();
      case XmlValue::kEmpty:
        NoteSpelling(value_.has_plain_tags);
        return open_.size() < kMaximumDepth || FailTooDeep();
      default:
        return TakeSimple();
    }
  }

  bool TakeSimple() {
    const bool is_key = value_.element == XmlElement::kKey;
    const bool is_text = is_key || value_.element == XmlElement::kString;
    if (is_text && value_.is_plain) {
      NoteSpelling(value_.has_plain_tags);
    } else {
      const bool matches = rewriter_.Matches(value_, open_.size());
      NoteSpelling(matches && value_.has_plain_tags && !value_.is_mixed);
      if (!matches && !sender_.Send(value_, checker_)) {
        return Fail("not a value of its element", value_.begin);
      }
    }
    if (is_key) TakeKey(value_.is_plain);
    return true;
  }

  // Plain keys are ASCII, so the order of their bytes is that of their units. Other keys are
  // decoded.
  void TakeKey(bool is_plain) {
    Container& container = open_.back();
    if (container.in_order && container.last_key.data() != nullptr) {
      container.in_order = container.last_key_is_plain && is_plain
                               ? container.last_key < value_.text
                               : DecodedKeyAscends(container.last_key);
    }
    container.last_key = value_.text;
    container.last_key_is_plain = is_plain;
  }

  bool DecodedKeyAscends(std::string_view before) {
    return XmlValueSender::Decode(before, last_decoded_) &&
           XmlValueSender::Decode(value_.text, decoded_) && last_decoded_ < decoded_;
  }

  bool Open() {
    if (open_.size() == kMaximumDepth) return FailTooDeep();
    Container container{kNoExtent};
    container.is_written = value_.has_plain_tags;
    if (value_.element == XmlElement::kDictionary) {
      container.extent = xml_.extents_.size();
      xml_.extents_.push_back(
          {.begin = value_.begin, .depth = static_cast<std::uint16_t>(open_.size())});
    }
    open_.push_back(container);
    return true;
  }

  bool Close() {
    const XmlElement open_element = open_.empty()                      ? XmlElement::kUnknown
                                    : open_.back().extent == kNoExtent ? XmlElement::kArray
                                                                       : XmlElement::kDictionary;
    if (value_.element != open_element) return Fail("unexpected end tag", value_.begin);
    const Container container = open_.back();
    if (container.has_key) return Fail("a key without a value", value_.begin);
    open_.pop_back();
    const bool is_written = container.is_written && !container.is_empty && container.in_order &&
                            value_.has_plain_tags && IsWrittenGap(value_.gap, open_.size());
    if (container.extent != kNoExtent) {
      Extent& extent = xml_.extents_[container.extent];
      extent.end = value_.end;
      extent.next = xml_.extents_.size();
      extent.is_written = is_written;
      extent.in_order = container.in_order;
    }
    NoteSpelling(is_written);
    if (!container.in_order && !open_.empty()) open_.back().in_order = false;
    return true;
  }

  void NoteSpelling(bool is_written) {
    if (!is_written && !open_.empty()) open_.back().is_written = false;
  }

  bool FailTooDeep() { return Fail("too many containers inside one another", value_.begin); }

  XmlText& xml_;
  XmlValues values_;
  XmlValue value_;
  bool is_in_plist_ = false;
  std::vector<Container> open_;
  Rewriter rewriter_;
  XmlValueSender sender_;
  Checker checker_;
  std::u16string last_decoded_;
  std::u16string decoded_;
  const char* reason_ = "";
  std::size_t failed_at_ = 0;
};

std::shared_ptr<const XmlText> XmlText::Read(Bytes data, std::string_view text,
                                             std::string& error) {
  auto xml = std::make_shared<XmlText>();
  xml->data_ = std::move(data);
  xml->text_ = text;
  Check check(*xml);
  if (check.Run()) return xml;
  error = check.Error();
  return nullptr;
}

bool XmlText::Send(const std::shared_ptr<const XmlText>& xml, Sink& sink) {
  return SendFrom(xml, xml->root_, 0, false, sink);
}

// Sends the value that begins at `begin`. `extent` is the index of the next dictionary in the list
// of extents. Skips a dictionary that the sink takes whole, with everything inside. With `is_open`
// the sink has already opened the first dictionary.
bool XmlText::SendFrom(const std::shared_ptr<const XmlText>& xml, std::size_t begin,
                       std::size_t extent, bool is_open, Sink& sink) {
  XmlValues values(xml->text_, begin);
  XmlValueSender sender;
  XmlValue value;
  std::size_t open = 0;
  do {
    if (!values.Next(value)) return false;
    if (value.part == XmlValue::kSimple) {
      if (!sender.Send(value, sink)) return false;
      continue;
    }
    if (value.part == XmlValue::kCloses) {
      --open;
      if (!sink.Close()) return false;
      continue;
    }
    const bool is_dictionary = value.element == XmlElement::kDictionary;
    if (is_dictionary && value.part == XmlValue::kOpens) {
      const std::size_t own = extent++;
      if (std::exchange(is_open, false)) {
        ++open;
        continue;
      }
      const Taking taking = sink.Dictionary(XmlDictionary(xml, own));
      if (taking == Taking::kFailed) return false;
      if (taking == Taking::kTaken) {
        values.MoveTo(xml->extents_[own].end);
        extent = xml->extents_[own].next;
        continue;
      }
    }
    if (!(is_dictionary ? sink.OpenDictionary(0) : sink.OpenArray(0))) return false;
    if (value.part == XmlValue::kOpens) {
      ++open;
    } else if (!sink.Close()) {
      return false;
    }
  } while (open > 0);
  return true;
}

bool XmlDictionary::Send(Sink& sink) const {
  return sink.OpenDictionary(0) && XmlText::SendFrom(xml_, extent().begin, index_, true, sink);
}

}  // namespace orvik::plist
