#include "xml/tixml_helper.h"

#include <climits>

#include <tinyxml.h>

#include "tests/files/support.h"
#include "xml/document_check.h"

namespace orvik::test {
namespace {

boost::shared_ptr<TiXmlElement> Element(const char* value) {
  boost::shared_ptr<TiXmlElement> element(new TiXmlElement("e"));
  if (value != nullptr) element->SetAttribute("v", value);
  return element;
}

TEST(TiXmlHelperTest, LoadsAttributesOrTheirDefaults) {
  using Helper = TiXmlHelper;
  const std::tuple<const char*, std::u16string, int, float, bool, bool> cases[] = {
      {nullptr, u"f", 9, 9.5f, true, false},
      {"-99999999999", u"-99999999999", INT_MIN, -99999999999.f, true, false},
      {"TRUE", u"TRUE", 0, 0, true, true},
      {"False", u"False", 0, 0, false, false},
      {"1", u"1", 1, 1, true, false},
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

// Where and why a text is refused: "2:5 reason", or "" when it is taken.
std::string Refusal(const std::string& text) {
  boost::shared_ptr<TiXmlDocument> document(new TiXmlDocument());
  XMLDocumentError error;
  const HRESULT result =
      TiXmlHelper::InitializeTiXmlDocumentFromText(document, text.c_str(), &error);
  EXPECT_EQ(result, error.reason.IsEmpty() ? S_OK : E_INVALIDARG) << text.substr(0, 80);
  EXPECT_EQ(TiXmlHelper::InitializeTiXmlDocumentFromText(
                boost::shared_ptr<TiXmlDocument>(new TiXmlDocument()), text.c_str()),
            result);
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
      {"<a>\u00E9\xE9</a>", "1:5 not well-formed (invalid token)"},
      // What TinyXML would take for something else.
      {"<a>\n<b :c=''/></a>", "2:1 a name begins with a colon"},
      {"<:a/>", "1:1 a name begins with a colon"},
      {"<!DOCTYPE a PUBLIC 'x' 'y'><a b='&amp;&c;'/>", "1:28 undefined entity"},
      {"<!-- <!DOCTYPE b> -->\n<!DOCTYPE a SYSTEM\n'<!DOCTYPE c'><a>&b;</a>",
       "3:18 undefined entity"},
      {"<a>\uFEFF<b/></a>", "1:5 a text holds only a byte order mark"},
      {"<a><b/> \uFEFF\n</a>", "2:1 a text holds only a byte order mark"},
      {"<a>\uFEFF<!-- x --></a>", "1:5 a text holds only a byte order mark"},
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

struct Shape {
  int elements = 0;
  int depth = 0;
  bool operator==(const Shape&) const = default;
};

Shape ShapeOf(const TiXmlElement* first) {
  Shape shape;
  for (const TiXmlElement* child = first; child != nullptr; child = child->NextSiblingElement()) {
    const Shape below = ShapeOf(child->FirstChildElement());
    shape.elements += below.elements + 1;
    shape.depth = std::max(shape.depth, below.depth + 1);
  }
  return shape;
}

// Well-formed documents at random, with all that could hide markup from one of two parsers or show
// it to one only.
class Document {
 public:
  explicit Document(unsigned seed) : random_(seed) {
    text = std::string(Pick({"", "<?xml version='1.0' encoding=\"UTF-8\"?>",
                             "\xEF\xBB\xBF<?xml version=\"1.0\" ?>"})) +
           Pick({"", "<!DOCTYPE a>", "<!DOCTYPE a SYSTEM '<b><b>'>",
                 "<!DOCTYPE a [<!ENTITY x \"<b><b>\">]>", "<!DOCTYPE a PUBLIC 'x' \"'/><b>\">"});
    AddElement(1);
  }

  std::string text;
  Shape shape;

 private:
  const char* Pick(std::initializer_list<const char*> pieces) {
    return pieces.begin()[random_() % pieces.size()];
  }

  void AddElement(int depth) {
    const std::string name = Pick({"a", "_b", "\xC3\xA9\xC2\xB7", "a:b.c-1", "xml"});
    ++shape.elements;
    shape.depth = std::max(shape.depth, depth);
    text += "<" + name +
            Pick({"", " c='>'", "\tc = \"'/>\" d=''", " c='&lt;b>'", " c=']]>'",
                  "\r\nxml='\xF0\x9F\x98\x80'"});
    if (random_() % 4 == 0) {
      text += "/>";
      return;
    }
    text += ">";
    for (unsigned n = random_() % 5; n > 0; --n) {
      if (depth < 6 && random_() % 2 == 0) {
        AddElement(depth + 1);
      } else {
        text += Pick({"x", "&#60;b>", "<![CDATA[<b></a>]]]]>", "<!-- <b> ->> -->", "<?p <b ?>",
                      "<?p ><b><b>?>", "<?xmlp version='1' <b ?>", "<!---->", "<![CDATA[]]>",
                      "<?xml-p c='>'<b>?>", "\n \xEF\xBB\xBF", "&quot;&apos;&amp;"});
      }
    }
    text += "</" + name + " >";
  }

  std::mt19937 random_;
};

TEST(DocumentCheckTest, TheParserFindsTheElementsThatXmlHas) {
  int taken = 0;
  for (unsigned seed = 0; seed < 4000; ++seed) {
    const Document document(seed);
    XMLDocumentError error;
    if (!CheckDocument(document.text.c_str(), &error)) {
      ASSERT_TRUE(error.reason.Contains("hold")) << error.reason.GetString() << document.text;
      continue;
    }
    ++taken;
    TiXmlDocument parsed;
    parsed.Parse(document.text.c_str(), nullptr, TIXML_ENCODING_UTF8);
    ASSERT_FALSE(parsed.Error()) << parsed.ErrorDesc() << " in " << document.text;
    ASSERT_EQ(ShapeOf(parsed.FirstChildElement()), document.shape) << document.text;
  }
  EXPECT_TRUE(taken > 1000 && taken < 3000);
}

}  // namespace
}  // namespace orvik::test
