// Reading XML: attributes and elements, and the check before parsing.
#include <climits>
#include <limits>

#include <tinyxml.h>

#include "tests/files/support.h"
#include "tests/support/decimal_comma.h"
#include "xml/element_reader.h"
#include "xml/tixml_helper.h"

namespace orvik::test {
namespace {

using Reader = CXMLElementReader;

class Document {
 public:
  explicit Document(const std::string& text) : document_(new TiXmlDocument()) {
    EXPECT_EQ(TiXmlHelper::InitializeTiXmlDocumentFromText(document_, text.c_str()), S_OK);
  }
  TiXmlElement* root() const { return document_->RootElement(); }

 private:
  boost::shared_ptr<TiXmlDocument> document_;
};

TEST(ElementReaderTest, ReadsTexts) {
  const Document document("<e a='' b='x&amp;\xC3\xA9'/>");
  TiXmlElement* const root = document.root();
  const std::tuple<TiXmlElement*, const char*, HRESULT, HRESULT, std::string> cases[] = {
      {root, "z", E_INVALIDARG, E_INVALIDARG, "old"},
      {root, nullptr, E_INVALIDARG, E_INVALIDARG, "old"},
      {nullptr, "a", E_INVALIDARG, E_INVALIDARG, "old"},
      {root, "a", S_OK, E_FAIL, ""},
      {root, "b", S_OK, S_OK, "x&\xC3\xA9"}};
  for (const auto& [node, name, result, wide_result, expected] : cases) {
    CAtlStringA text("old");
    CAtlString wide(u"old");
    EXPECT_EQ(Reader::GetTextAttributeFromNode(node, name, text), result);
    EXPECT_EQ(text.View(), expected);
    EXPECT_EQ(Reader::GetTextAttributeFromNodeW(node, name, wide), wide_result);
    EXPECT_EQ(wide.View(), wide_result == S_OK ? u"x&\u00E9" : u"old");
  }
}

// One attribute read as each kind of number.
struct Numbers {
  long number;
  float decimal;
  bool truth;
  unsigned long color;

  bool operator==(const Numbers&) const = default;
  HRESULT Read(const Document& document, const char* name) {
    const HRESULT result = Reader::GetLongAttributeFromNode(document.root(), name, &number);
    EXPECT_EQ(Reader::GetFloatAttributeFromNode(document.root(), name, &decimal), result);
    EXPECT_EQ(Reader::GetBOOLAttributeFromNode(document.root(), name, &truth), result);
    EXPECT_EQ(Reader::GetColorAttributeFromNode(document.root(), name, &color), result);
    return result;
  }
};

TEST(ElementReaderTest, ReadsNumbersAndColors) {
  const DecimalComma comma;
  const std::pair<std::string, Numbers> cases[] = {
      {"5x", {5, 5, true, 0}},
      {"-7", {-7, -7, true, 0}},
      {" 12.75", {12, 12.75f, true, 0}},
      {"99999999999999999999", {std::numeric_limits<long>::max(), 1e20f, true, 0}},
      {"none", {0, 0, false, 0xFFFFFFFF}},
      {"None", {0, 0, false, 0}},
      {"#FF8000ab", {0, 0, false, 0x000080FF}},
      {"#12zz34", {0, 0, false, 0x12}}};
  const Numbers untouched = {3, 3, true, 3};
  for (const auto& [value, expected] : cases) {
    const Document document("<e a='' v='" + value + "'/>");
    Numbers numbers = untouched;
    EXPECT_EQ(numbers.Read(document, "a"), E_FAIL);
    EXPECT_EQ(numbers.Read(document, "z"), E_INVALIDARG);
    EXPECT_EQ(numbers, untouched);
    EXPECT_EQ(numbers.Read(document, "v"), S_OK);
    EXPECT_EQ(numbers, expected) << value;
  }
  EXPECT_EQ((std::vector{Reader::GetLongAttributeFromNode(nullptr, "v", nullptr),
                         Reader::GetFloatAttributeFromNode(nullptr, "v", nullptr),
                         Reader::GetBOOLAttributeFromNode(nullptr, "v", nullptr),
                         Reader::GetColorAttributeFromNode(nullptr, "v", nullptr)}),
            std::vector(4, E_POINTER));
}

TEST(ElementReaderTest, SplitsAtCommas) {
  const std::pair<std::string, std::vector<std::string>> cases[] = {
      {"a, b", {"a", " b"}}, {"a,,b", {"a", "", "b"}}, {"", {""}}, {",", {"", ""}}};
  CAtlArray<CAtlStringA> pieces;
  for (const auto& [value, expected] : cases) {
    const Document document("<e v='" + value + "'/>");
    for (const auto& [name, result] : {std::pair{"v", S_OK}, {"z", E_INVALIDARG}}) {
      EXPECT_EQ(Reader::GetCommaSeperatedArrayAttribute(document.root(), name, pieces), result);
      EXPECT_TRUE(std::ranges::equal(pieces, expected)) << value;
    }
  }
}

TEST(ElementReaderTest, TakesBase64OutOfItsPrefix) {
  const std::string flash = "data:application/x-shockwave-flash;base64,";
  const std::tuple<std::string, HRESULT, std::string, HRESULT, std::string> cases[] = {
      {"TWdata:;base64,Fudata:;base64,", S_OK, "TWFu", E_FAIL, "TWdata:;base64,Fudata:;base64,"},
      {"TWFu", E_FAIL, "old", E_FAIL, "TWFu"},
      {"", E_FAIL, "old", E_FAIL, ""},
      {flash + "TW Fu" + flash + " x", E_FAIL, "old", S_OK, "TWFux"},
      {" " + flash + "TWFu", E_FAIL, "old", E_FAIL, " " + flash + "TWFu"}};
  for (const auto& [value, plain_result, plain_text, flash_result, flash_text] : cases) {
    const Document document("<e v='" + value + "'/>");
    CAtlStringA plain("old"), data("old");
    EXPECT_EQ(Reader::GetBase64AttributeFromNode(document.root(), "v", plain), plain_result);
    EXPECT_EQ(plain.View(), plain_text);
    EXPECT_EQ(Reader::GetBase64FlashDataFromNode(document.root(), "v", data), flash_result);
    EXPECT_EQ(data.View(), flash_text);
    EXPECT_EQ(Reader::GetBase64AttributeFromNode(document.root(), "z", plain), E_INVALIDARG);
    EXPECT_EQ(Reader::GetBase64FlashDataFromNode(document.root(), "z", data), E_INVALIDARG);
  }
}

TEST(ElementReaderTest, TheValueIsTheFirstTextIfItComesFirst) {
  const std::pair<std::string, const char*> cases[] = {
      {"<e> text <f/></e>", " text "},  {"<e><![CDATA[<x>]]></e>", "<x>"},
      {"<e>a<!--c-->b</e>", "a"},       {"<e><f/>text</e>", nullptr},
      {"<e><!--c-->text</e>", nullptr}, {"<e/>", nullptr}};
  CAtlStringA text("old");
  CAtlString wide(u"old");
  for (const auto& [xml, value] : cases) {
    const Document document(xml);
    text = "old";
    wide = u"old";
    const HRESULT expected = value == nullptr ? E_INVALIDARG : S_OK;
    EXPECT_EQ(Reader::GetElementValue(document.root(), text), expected) << xml;
    EXPECT_EQ(Reader::GetDataElementValue(document.root(), text), expected);
    EXPECT_EQ(text.View(), value == nullptr ? "old" : value);
    EXPECT_EQ(Reader::GetElementValueW(document.root(), wide), S_OK);
    EXPECT_EQ(CAtlStringA(wide).View(), text.View());
  }
  EXPECT_EQ(
      (std::vector{Reader::GetElementValue(nullptr, text), Reader::GetElementValueW(nullptr, wide),
                   Reader::GetNodeName(nullptr, text)}),
      std::vector(3, E_INVALIDARG));
}

std::string Named(const CAtlArray<TiXmlElement*>& elements) {
  std::string names;
  for (TiXmlElement* const element : elements) {
    CAtlStringA name;
    EXPECT_EQ(Reader::GetNodeName(element, name), S_OK);
    names += std::string(name.View()) + (element->Attribute("n") ? element->Attribute("n") : "");
  }
  return names;
}

TEST(ElementReaderTest, FindsChildren) {
  const Document document("<r>t<!--c--><a n='1'/><b n='2'/><a n='3'/>t</r>");
  TiXmlElement* const root = document.root();
  EXPECT_EQ(Named({Reader::GetNamedChildNode(root, "b"), Reader::GetFirstNonEmptyChild(root)}),
            "b2a1");
  EXPECT_EQ((std::vector{
                Reader::GetNamedChildNode(root, "B"), Reader::GetNamedChildNode(root, nullptr),
                Reader::GetNamedChildNode(nullptr, "b"), Reader::GetFirstNonEmptyChild(nullptr)}),
            std::vector<TiXmlElement*>(4));
  CAtlArray<TiXmlElement*> children;
  EXPECT_EQ(Reader::GetChildNodes(root, children), S_OK);
  EXPECT_EQ(Named(children), "a1b2a3");
  EXPECT_EQ(Reader::GetChildNodes(nullptr, children), E_INVALIDARG);
  EXPECT_TRUE(children.IsEmpty());
}

TEST(ElementReaderTest, FindsElementsAtAPathOfNames) {
  const Document document(
      "<r><i><x n='1'/></i><j><x n='2'/></j><i><x n='3'/><y/><x n='4'/></i></r>");
  const std::tuple<const char*, HRESULT, std::string> cases[] = {
      {"/i/x", S_OK, "x1x3x4"}, {"any/j", S_OK, "j"},     {"/i/", S_OK, ""},
      {"/I/x", S_OK, ""},       {"i", E_INVALIDARG, "r"}, {nullptr, E_INVALIDARG, "r"}};
  for (const auto& [path, result, names] : cases) {
    CAtlArray<TiXmlElement*> found;
    found.Add(document.root());
    EXPECT_EQ(Reader::GetNamedChildNodes(document.root(), found, path), result);
    EXPECT_EQ(Named(found), names);
  }
}

TEST(ElementReaderTest, ListsAttributesAndGivesXml) {
  const Document document("<r b='1' a='2'><c/></r>");
  CAtlArray<TiXmlAttribute*> attributes;
  EXPECT_EQ(GetNodeAttributes(document.root(), attributes), S_OK);
  EXPECT_EQ(GetNodeAttributes(document.root(), attributes), S_OK);
  ASSERT_EQ(attributes.GetCount(), 4u);
  EXPECT_STREQ(attributes[1]->Name(), "a");
  EXPECT_EQ(GetNodeAttributes(nullptr, attributes), E_INVALIDARG);
  CAtlStringA text;
  EXPECT_EQ(Reader::GetNodeXML(document.root(), text), S_OK);
  EXPECT_EQ(text.View(), "<r b=\"1\" a=\"2\"><c/></r>");
  EXPECT_EQ(Reader::GetNodeXML(nullptr, text), S_OK);
  EXPECT_EQ(text.View(), "");
}

boost::shared_ptr<TiXmlElement> Element(const char* value) {
  boost::shared_ptr<TiXmlElement> element(new TiXmlElement("e"));
  if (value != nullptr) element->SetAttribute("v", value);
  return element;
}

TEST(TiXmlHelperTest, LoadsAttributesOrTheirDefaults) {
  const DecimalComma comma;
  using Helper = TiXmlHelper;
  const std::tuple<const char*, std::u16string, int, float, bool, bool> cases[] = {
      {nullptr, u"f", 9, 9.5f, true, false},
      {"-99999999999", u"-99999999999", INT_MIN, -99999999999.f, true, false},
      {"TRUE", u"TRUE", 0, 0, true, true},
      {"False", u"False", 0, 0, false, false},
      {"1.5", u"1.5", 1, 1.5f, true, false},
      {"gr\xC3\xBCn", u"gr\u00FCn", 0, 0, true, false}};
  for (const auto& [value, text, integer, decimal, yes_by_default, no_by_default] : cases) {
    const auto owner = Element(value);
    const TiXmlElement* const e = owner.get();
    for (const bool before : {false, true}) {
      bool found = before;
      EXPECT_EQ(Helper::LoadStringAttributeFromXmlElement(e, "v", found).View(),
                value == nullptr ? u"" : text);
      EXPECT_EQ(found, before && value != nullptr);
    }
    EXPECT_EQ(Helper::LoadStringAttributeFromXmlElementWithDefault(e, "v", u"f").View(), text);
    EXPECT_EQ(Helper::LoadIntAttributeFromXmlElementWithDefault(e, "v", 9), integer);
    EXPECT_EQ(Helper::LoadFloatAttributeFromXmlElementWithDefault(e, "v", 9.5f), decimal);
    EXPECT_EQ(Helper::LoadBoolAttributeFromXmlElementWithDefault(e, "v", true), yes_by_default);
    EXPECT_EQ(Helper::LoadBoolAttributeFromXmlElementWithDefault(e, "v", false), no_by_default);
  }
}

TEST(TiXmlHelperTest, SavesOnlyWhatDiffersFromTheDefault) {
  const DecimalComma comma;
  const auto saved = [](const auto& value, const auto& default_value, const char* old = nullptr) {
    const auto member = Element(old), free = Element(old);
    TiXmlHelper::SaveAttributeToXmlElementIfNotDefault(member, "v", value, default_value);
    SaveAttributeToXmlElementIfNotDefault(free, "v", value, default_value);
    const char* const text = member->Attribute("v");
    EXPECT_STREQ(text, free->Attribute("v"));
    return std::string(text == nullptr ? "(none)" : text);
  };
  EXPECT_EQ(
      (std::vector{saved(true, false), saved(false, true), saved(true, true),
                   saved(CAtlString(u"\u00C9t\u00E9"), CAtlString(u"x")),
                   saved(CAtlString(u"ABC"), CAtlString(u"abc")), saved(0.5, 0.25), saved(0.5, 0.5),
                   saved(7u, 0u), saved(0x80000000u, 0u), saved(1u, 1u, "kept")}),
      (std::vector<std::string>{"true", "false", "(none)", "\xC3\x89t\xC3\xA9", "(none)", "0.5",
                                "(none)", "7", "-2147483648", "kept"}));
}

// The place and reason of a refusal: "2:5 reason", or "" for an accepted text.
std::string Refusal(const std::string& text) {
  boost::shared_ptr<TiXmlDocument> document(new TiXmlDocument());
  XMLDocumentError error;
  const HRESULT result =
      TiXmlHelper::InitializeTiXmlDocumentFromText(document, text.c_str(), &error);
  EXPECT_EQ(result, error.reason.IsEmpty() ? S_OK : E_INVALIDARG) << text.substr(0, 80);
  if (result == S_OK) return "";
  return std::to_string(error.line) + ":" + std::to_string(error.column) + " " +
         error.reason.GetString();
}

TEST(TiXmlHelperTest, RefusesWhatIsNotWellFormedOrNotSafe) {
  std::string many = "<a";
  for (int i = 0; i <= 1000; ++i) many += " b" + std::to_string(i) + "=''";
  const std::pair<std::string, const char*> cases[] = {
      {"\xEF\xBB\xBF<?xml version='1.0' encoding='UTF-8' standalone='yes'?>\n<a/>\n<!-- x -->", ""},
      {"<!DOCTYPE a PUBLIC '-//x' 'y.dtd'><a>&lt;&#x41;&#65;</a>", ""},
      {"<a:b xml:space='preserve'><?php x?><![CDATA[<b>]]></a:b>", ""},
      {"\xEF\xBB\xBF<a b='\uFEFF'>x\uFEFF<b/>\uFEFFy<b/>&#xFEFF;<![CDATA[\uFEFF]]></a>", ""},
      {"<a b='" + std::string(10'000'000, 'x') + "'/>", ""},
      {"<r>" + Repeated("<a><b/></a>", 20'000) + "</r>", ""},
      {Repeated("<a>", 1000) + Repeated("</a>", 1000), ""},
      // Not well-formed.
      {"", "1:1 no element found"},
      {"<a>\n<b>\n</a>\n</b>", "3:3 mismatched tag"},
      {"<a/>x", "1:5 junk after document element"},
      {"<a>\u00E9\xE9</a>", "1:5 not well-formed (invalid token)"},
      // TinyXML would misread these.
      {"<a>\n<b :c=''/></a>", "2:1 a name begins with a colon"},
      {"<?xml version=''?><a/>", "1:1 the XML declaration has no version"},
      {"<!DOCTYPE a PUBLIC 'x' 'y'><a b='&amp;&c;'/>", "1:28 undefined entity"},
      {"<!-- <!DOCTYPE b> -->\n<!DOCTYPE a SYSTEM\n'<!DOCTYPE c'><a>&b;</a>",
       "3:18 undefined entity"},
      {"<a>\uFEFF<b/></a>", "1:5 a text holds only a byte order mark"},
      {"<a><![CDATA[x]]>\uFEFF</a>", "1:18 a text holds only a byte order mark"},
      {"<!DOCTYPE a [<!ENTITY d '<b><b>'>]><a>&d;</a>",
       "1:13 the document type holds declarations"},
      {"<!DOCTYPE a SYSTEM 'x><b><b>'><a/>", "1:30 the document type holds \">\""},
      {"<a><?x ><b><b>?></a>", "1:4 a processing instruction holds \">\""},
      {Repeated("<a>", 100'000), "1:3001 elements are nested too deep"},
      {many + "/>", "1:1 an element has too many attributes"}};
  for (const auto& [text, refusal] : cases) EXPECT_EQ(Refusal(text), refusal) << text.substr(0, 80);
  boost::shared_ptr<TiXmlDocument> document(new TiXmlDocument());
  EXPECT_EQ(TiXmlHelper::InitializeTiXmlDocumentFromText(document, nullptr), E_INVALIDARG);
  EXPECT_EQ(TiXmlHelper::InitializeTiXmlDocumentFromText({}, "<a/>"), E_INVALIDARG);
}

using TiXmlHelperFileTest = EnvironmentTest;

TEST_F(TiXmlHelperFileTest, LoadsFilesWithTheirWhiteSpace) {
  const fs::path file = env_.folder() / "a.xml";
  boost::shared_ptr<TiXmlDocument> document;
  XMLDocumentError error;
  const auto load = [&](const fs::path& path) {
    document.reset(new TiXmlDocument());
    return TiXmlHelper::InitializeTiXmlDocumentFromFile(document, File(path), &error);
  };
  EXPECT_EQ(load(file), E_INVALIDARG);
  TiXmlBase::SetCondenseWhiteSpace(true);
  WriteFile(file, "<?xml version='1.0'?>\n<a>  x \n y </a>");
  EXPECT_EQ(load(file), S_OK);
  EXPECT_STREQ(document->RootElement()->GetText(), "  x \n y ");
  EXPECT_EQ(load(env_.folder()), E_INVALIDARG);
  WriteFile(file, std::string("<a></a>\0<b/>", 12));
  EXPECT_EQ(load(file), E_INVALIDARG);
  EXPECT_STREQ(error.reason.GetString(), "the file holds a NUL byte");
}

}  // namespace
}  // namespace orvik::test
