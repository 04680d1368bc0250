// Writes JSON as it is made up, in time proportional to its length.
//
// Control characters, and those that reorder text on a terminal (text.h), are written as "\u"
// escapes, so that what is read back is the same and what is seen is harmless.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace orvik::prefstool {

class JsonWriter {
 public:
  enum class Layout { kOneLine, kIndented };  // indented by two blanks

  explicit JsonWriter(Layout layout = Layout::kIndented) : indented_(layout == Layout::kIndented) {}

  // The writer itself comes back, so that an object can be written as one chain of calls.
  JsonWriter& BeginObject() { return Begin('{'); }
  JsonWriter& EndObject() { return End('}'); }
  JsonWriter& BeginArray() { return Begin('['); }
  JsonWriter& EndArray() { return End(']'); }
  JsonWriter& Name(std::string_view utf8);

  JsonWriter& Text(std::string_view utf8);
  // What is JSON already, such as a number.
  JsonWriter& Raw(std::string_view json);
  JsonWriter& Boolean(bool value) { return Raw(value ? "true" : "false"); }
  JsonWriter& Integer(std::int64_t value) { return Raw(std::to_string(value)); }
  JsonWriter& Texts(const std::vector<std::string>& texts);

  const std::string& json() const { return json_; }
  std::string Take() { return std::move(json_); }

 private:
  JsonWriter& Begin(char bracket);
  JsonWriter& End(char bracket);
  void BeginValue();
  void BreakLine();
  void Append(std::string_view utf8);

  bool indented_;
  bool empty_ = true;  // nothing has been written into the open container yet
  bool after_name_ = false;
  int depth_ = 0;
  std::string json_;
};

}  // namespace orvik::prefstool
