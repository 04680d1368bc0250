#include "xml/tixml_helper.h"

#include <climits>

#include <tinyxml.h>

#include "tests/files/support.h"

namespace orvik::test {
namespace {

boost::shared_ptr<TiXmlElement> Element(const char* value) {
  boost::shared_ptr<TiXmlElement> element(new TiXmlElement("e"));
  if (value != nullptr) element->SetAttribute("v", value);
  return element;
}

TEST(TiXmlHelperTest, LoadsAttributesOrTheirDefaults) {
  const auto text = Element("gr\xC3\xBCn");
  const auto empty = Element("");
  const auto missing = Element(nullptr);
  const CAtlString fallback(u"f");
  bool found = true;
  EXPECT_EQ(TiXmlHelper::LoadStringAttributeFromXmlElement(text.get(), "v", found).View(),
            u"gr\u00FCn");
  EXPECT_TRUE(found);
  EXPECT_EQ(TiXmlHelper::LoadStringAttributeFromXmlElement(missing.get(), "v", found).View(), u"");
  EXPECT_FALSE(found);
  const auto string = [&](const auto& element) {
    return std::u16string(
        TiXmlHelper::LoadStringAttributeFromXmlElementWithDefault(element.get(), "v", fallback)
            .View());
  };
  EXPECT_EQ(string(text), u"gr\u00FCn");
  EXPECT_EQ(string(empty), u"");
  EXPECT_EQ(string(missing), u"f");

  const struct {
    const char* value;
    int integer;
    float decimal;
    bool yes_by_default;
    bool no_by_default;
  } cases[] = {
      {nullptr, 9, 9.5f, true, false},
      {"12abc", 12, 12, true, false},
      {"-99999999999", INT_MIN, -99999999999.f, true, false},
      {"TRUE", 0, 0, true, true},
      {"False", 0, 0, false, false},
      {"1", 1, 1, true, false},
      {"", 0, 0, true, false},
  };
  for (const auto& c : cases) {
    const auto element = Element(c.value);
    const auto boolean = [&](bool default_value) {
      return TiXmlHelper::LoadBoolAttributeFromXmlElementWithDefault(element.get(), "v",
                                                                     default_value);
    };
    EXPECT_EQ(TiXmlHelper::LoadIntAttributeFromXmlElementWithDefault(element.get(), "v", 9),
              c.integer);
    EXPECT_EQ(TiXmlHelper::LoadFloatAttributeFromXmlElementWithDefault(element.get(), "v", 9.5f),
              c.decimal);
    EXPECT_EQ(boolean(true), c.yes_by_default);
    EXPECT_EQ(boolean(false), c.no_by_default);
  }
}

TEST(TiXmlHelperTest, SavesOnlyWhatDiffersFromTheDefault) {
  const auto saved = [](const auto& value, const auto& default_value) {
    const auto member = Element(nullptr), free = Element(nullptr);
    TiXmlHelper::SaveAttributeToXmlElementIfNotDefault(member, "v", value, default_value);
    SaveAttributeToXmlElementIfNotDefault(free, "v", value, default_value);
    const char* const text = member->Attribute("v");
    EXPECT_STREQ(text, free->Attribute("v"));
    return std::string(text == nullptr ? "(none)" : text);
  };
  EXPECT_EQ(saved(true, false), "true");
  EXPECT_EQ(saved(false, true), "false");
  EXPECT_EQ(saved(true, true), "(none)");
  EXPECT_EQ(saved(CAtlString(u"\u00C9t\u00E9"), CAtlString(u"x")), "\xC3\x89t\xC3\xA9");
  EXPECT_EQ(saved(CAtlString(u"ABC"), CAtlString(u"abc")), "(none)");
  EXPECT_EQ(saved(0.5, 0.25), "0.5");
  EXPECT_EQ(saved(0.5, 0.5), "(none)");
  EXPECT_EQ(saved(7u, 0u), "7");
  EXPECT_EQ(saved(0x80000000u, 0u), "-2147483648");
  const auto element = Element("kept");
  SaveAttributeToXmlElementIfNotDefault(element, "v", 1u, 1u);
  EXPECT_STREQ(element->Attribute("v"), "kept");
}

HRESULT Load(const std::string& text) {
  boost::shared_ptr<TiXmlDocument> document(new TiXmlDocument());
  return TiXmlHelper::InitializeTiXmlDocumentFromText(document, text.c_str());
}

TEST(TiXmlHelperTest, RefusesWhatIsNotWellFormedOrNotSafe) {
  const struct {
    std::string text;
    HRESULT result;
  } cases[] = {
      {"<a/>", S_OK},
      {"<a>", E_INVALIDARG},
      {"", E_INVALIDARG},
      {"<a b='1' b='2'/>", E_INVALIDARG},
      {"<a></b>", E_INVALIDARG},
      {"<a b='1", E_INVALIDARG},
      {"<?xml ", E_INVALIDARG},
      {"<?xml version='1.0", E_INVALIDARG},
      {"<!DOCTYPE a [<!ENTITY b 'c'><!ENTITY d '&b;&b;&b;'>]><a>&d;</a>", S_OK},
      {"<a>&#x110000000;&#0;&#xFFFFFFFFFFFFFFFF;&bogus;</a>", S_OK},
      {"<a>&#xZZ;</a>", E_INVALIDARG},
      {"<a>\xE9</a>", E_INVALIDARG},
      {"<a b='\xE2\x82'/>", E_INVALIDARG},
      {"<a>x\xEF", E_INVALIDARG},
      {"\xEF\xBB\xBF<a/>", S_OK},
      {Repeated("<a>", 1000) + Repeated("</a>", 1000), S_OK},
      {Repeated("<a>", 1001) + Repeated("</a>", 1001), E_INVALIDARG},
      {Repeated("<a>", 100'000), E_INVALIDARG},
      {Repeated("<a b='</a>' c=d>", 100'000), E_INVALIDARG},
      {Repeated("<a><!--</a>--><![CDATA[</a>]]><?x </a?>", 100'000), E_INVALIDARG},
      {Repeated("<a \uFEFFb=\uFEFF'</a>'>", 100'000), E_INVALIDARG},
      {"<r>" + Repeated("<a><b/></a>", 20'000) + "</r>", S_OK},
      {"<a " + Repeated("b='' ", 1001) + "/>", E_INVALIDARG},
      {"<a b='" + std::string(10'000'000, 'x') + "'/>", S_OK},
  };
  for (const auto& c : cases) EXPECT_EQ(Load(c.text), c.result) << c.text.substr(0, 80);
  boost::shared_ptr<TiXmlDocument> document(new TiXmlDocument());
  EXPECT_EQ(TiXmlHelper::InitializeTiXmlDocumentFromText(document, nullptr), E_INVALIDARG);
  EXPECT_EQ(TiXmlHelper::InitializeTiXmlDocumentFromText({}, "<a/>"), E_INVALIDARG);
}

using TiXmlHelperFileTest = EnvironmentTest;

TEST_F(TiXmlHelperFileTest, LoadsFilesWithTheirWhiteSpace) {
  const fs::path file = env_.folder() / "a.xml";
  const COrvikFilePath path = File(file);
  boost::shared_ptr<TiXmlDocument> document(new TiXmlDocument());
  EXPECT_EQ(TiXmlHelper::InitializeTiXmlDocumentFromFile(document, path), E_INVALIDARG);
  TiXmlBase::SetCondenseWhiteSpace(true);
  WriteFile(file, "<?xml version='1.0'?>\n<a>  x \n y </a>");
  EXPECT_EQ(TiXmlHelper::InitializeTiXmlDocumentFromFile(document, path), S_OK);
  EXPECT_STREQ(document->RootElement()->GetText(), "  x \n y ");
  boost::shared_ptr<TiXmlDocument> cut(new TiXmlDocument());
  WriteFile(file, std::string("<a><b/>\0</a>", 12));
  EXPECT_EQ(TiXmlHelper::InitializeTiXmlDocumentFromFile(cut, path), E_INVALIDARG);
  EXPECT_EQ(TiXmlHelper::InitializeTiXmlDocumentFromFile(cut, File(env_.folder())), E_INVALIDARG);
}

}  // namespace
}  // namespace orvik::test
