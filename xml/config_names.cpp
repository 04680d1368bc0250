#include "xml/config_names.h"

#include <array>
#include <string_view>

#include <tinyxml.h>

#include "platform/core_foundation/encodings.h"
#include "platform/core_foundation/string_case.h"
#include "strings/utf8_strings.h"

namespace orvik {
namespace {

// What each byte, taken as Mac OS Roman, is folded to: one unit, or two for a few.
using Folds = std::array<std::u16string, 256>;

const Folds& GetFolds() {
  static const Folds kFolds = [] {
    Folds folds;
    for (std::size_t byte = 0; byte < folds.size(); ++byte) {
      const char16_t unit = UnitOfMacRoman(static_cast<unsigned char>(byte));
      folds[byte] = FoldCase({&unit, 1});
    }
    return folds;
  }();
  return kFolds;
}

const std::u16string& FoldOf(char byte) {
  return GetFolds()[static_cast<unsigned char>(byte)];
}

}  // namespace

AnyCaseName::AnyCaseName(const CAtlStringA& name) {
  for (const char byte : std::string_view(name.GetString())) folded_ += FoldOf(byte);
}

bool AnyCaseName::Matches(const char* text) const {
  if (text == nullptr) return false;
  const char16_t* expected =
      folded_.c_str();  // ends in a 0, which no byte of the text is folded to
  for (; *text != '\0'; ++text) {
    for (const char16_t unit : FoldOf(*text)) {
      if (*expected != unit) return false;
      ++expected;
    }
  }
  return *expected == u'\0';
}

TiXmlElement* FindConfigChild(TiXmlElement* parent, const char* type, const CAtlString& name) {
  const AnyCaseName wanted_type{CAtlStringA(type)};
  const AnyCaseName wanted_name(MakeUTF8StringFromUnicodeString(name));
  TiXmlElement* child = parent->FirstChildElement();
  while (child != nullptr &&
         !(wanted_type.Matches(child->Value()) && wanted_name.Matches(child->Attribute("name")))) {
    child = child->NextSiblingElement();
  }
  return child;
}

}  // namespace orvik
