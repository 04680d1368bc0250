#include "xml/xml_writer.h"

#include <limits>

#include <tinyxml.h>

#include "streams/com_ptr.h"
#include "tests/files/support.h"
#include "xml/element_reader.h"
#include "xml/my_writer.h"
#include "xml/tixml_helper.h"

namespace orvik::test {
namespace {

std::string Written(const std::function<void(IORVIKXMLWriter&)>& write) {
  CComPtr<IORVIKXMLWriter> writer;
  EXPECT_EQ(IORVIKXMLWriter::CreateORVIKXMLWriterOnString(&writer), S_OK);
  write(*writer);
  return std::string(writer->get_output().View());
}

boost::shared_ptr<TiXmlDocument> Parsed(const std::string& text) {
  boost::shared_ptr<TiXmlDocument> document(new TiXmlDocument());
  EXPECT_EQ(TiXmlHelper::InitializeTiXmlDocumentFromText(document, text.c_str()), S_OK);
  return document;
}

std::string Copied(TiXmlElement* element) {
  return Written([&](IORVIKXMLWriter& writer) {
    EXPECT_EQ(writer.CopyElementToXMLWriter(element), element == nullptr ? E_INVALIDARG : S_OK);
  });
}

using Step = std::function<void(IORVIKXMLWriter&)>;

TEST(XmlWriterTest, WritesExactlyWhatItIsAskedFor) {
  constexpr long kLongMin = std::numeric_limits<long>::min();
  const CAtlArray<CAtlStringA> none, items{"a", "b,<"};
  const unsigned char man[] = {'M', 'a', 'n'};
  const std::pair<Step, std::string> cases[] = {
      {[](auto& w) { w.OutputXMLHeader(); },
       "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>"},
      {[](auto& w) { w.WriteLongTextAttribute("q", "a<", "b", "c"); }, " q=\"a&lt;bc\""},
      {[](auto& w) { w.WriteLongTextAttribute("q", "a", nullptr, "c"); }, " q=\"a\""},
      {[](auto& w) { w.WriteTextAttributeW("q", u"gr\u00FCn<"); }, " q=\"gr\xC3\xBCn&lt;\""},
      {[](auto& w) { w.WriteTextAttributeBySingleQuotation("q", "a'b"); }, " q='a&apos;b'"},
      {[](auto& w) { w.WriteTextAttribute("q", std::string("1<2")); }, " q=\"1&lt;2\""},
      {[](auto& w) { w.WriteElementContents(std::string("<&\0x", 4)); }, "<&"},
      {[](auto& w) { w.WriteElementValue("a&b"); }, "a&amp;b"},
      {[](auto& w) { w.WriteSimpleTextElement("a", "<&"); }, "<a><&</a>"},
      {[](auto& w) { w.WriteEscapedSimpleTextElement("a", "<&"); }, "<a>&lt;&amp;</a>"},
      {[](auto& w) { w.WriteEscapedCDATAElement("a&b"); }, "<![CDATA[a&amp;b]]>"},
      {[](auto& w) { w.WriteBOOLAttribute("b", true), w.WriteBOOLAttribute("c", false); },
       " b=\"1\" c=\"0\""},
      {[](auto& w) { w.WriteCDATAElement("a&b"); }, "<![CDATA[a&b]]>"},
      {[](auto& w) { w.WriteLongAttribute("n", kLongMin); },
       " n=\"" + std::to_string(kLongMin) + "\""},
      {[](auto& w) { w.WriteFloatAttribute("f", -1.005f); }, " f=\"-1.00\""},
      {[](auto& w) { w.WriteFloatAttribute("f", std::numeric_limits<float>::max()); },
       " f=\"340282346638528859811704183484516925440.00\""},
      {[&](auto& w) { w.WriteBase64Attribute("d", man, 3); }, " d=\"data:;base64,TWFu\""},
      {[&](auto& w) { w.WriteCommaSeperatedArrayAttribute("s", items); }, " s=\"a,b,&lt;\""},
      {[&](auto& w) { w.WriteSemiColonSeperatedArrayAttribute("s", items); }, " s='a;b,&lt;'"},
      {[&](auto& w) { w.WriteCommaSeperatedArrayAttribute("s", none); }, ""},
      {[&](auto& w) { w.WriteSemiColonSeperatedArrayAttribute("s", none); }, ""},
      {[](auto& w) { w.WriteTextAttribute(nullptr, nullptr); }, " =\"\""},
      {[](auto& w) { w.WriteTextAttributeW(nullptr, nullptr); }, " =\"\""},
      {[](auto& w) { w.WriteSimpleTextElement(nullptr, nullptr); }, "<></>"},
      {[](auto& w) { w.WriteEscapedElementContents(nullptr); }, ""}};
  for (const auto& [step, text] : cases) EXPECT_EQ(Written(step), text);
  const std::pair<unsigned long, std::string> colors[] = {
      {0x12345678, "#785634"}, {0xFFFFFFFF, "none"}, {0xFFFFFFFE, "none"},
      {-1ul, "none"},          {-2ul, "none"},       {0xFFFFFFFD, "#fdffff"}};
  for (const auto& [color, text] : colors) {
    const unsigned long given = color;
    EXPECT_EQ(Written([&](auto& w) { w.WriteColorAttribute("c", given); }), " c=\"" + text + "\"");
  }
}

TEST(XmlWriterTest, EscapesEveryByteAtEveryPlace) {
  const std::map<char, std::string> references = {
      {'&', "&amp;"}, {'\'', "&apos;"}, {'"', "&quot;"}, {'<', "&lt;"}, {'>', "&gt;"}};
  for (int byte = 1; byte < 256; ++byte) {
    for (std::size_t place = 0; place < 18; ++place) {
      std::string text(18, '\xE9'), expected = text;
      text[place] = static_cast<char>(byte);
      const auto found = references.find(text[place]);
      expected.replace(place, 1, found == references.end() ? text.substr(place, 1) : found->second);
      ASSERT_EQ(Written([&](auto& w) { w.WriteTextAttribute("q", text.c_str()); }),
                " q=\"" + expected + '"')
          << byte << ' ' << place;
    }
  }
}

TEST(XmlWriterTest, ClosesTagsAndSaysWhetherTheTextCanBeXml) {
  using Fault = XMLWriterFault;
  const std::tuple<std::vector<std::string>, std::string, Fault> cases[] = {
      {{"<a", "@1<2", "<b", ">b", "=t", ">a"}, "<a b=\"1&lt;2\"><b/>t</a>", Fault::kNone},
      {{"<a", "!<&", ">a"}, "<a<&/>", Fault::kNone},
      {{"<a", "@\t\r\n\x7F\xC3\xA9", "<a", ">not used", "=<raw>\t\n0123456789</raw>", ">a"},
       "<a b=\"\t\r\n\x7F\xC3\xA9\"><a/><raw>\t\n0123456789</raw></a>",
       Fault::kNone},
      {{"<a", "@x\x01y", ">a"}, "<a b=\"x\x01y\"/>", Fault::kControlCharacter},
      {{"<a", "=\x1F is one", ">a"}, "<a>\x1F is one</a>", Fault::kControlCharacter},
      {{"<a\x0B", "=", ">a\x0B"}, "<a\x0B></a\x0B>", Fault::kControlCharacter},
      {{"<ab", "<c", "=", ">ab", ">c"}, "<ab><c></ab></c>", Fault::kNesting},
      {{">a"}, "</a>", Fault::kNesting},
      {{"<a"}, "<a", Fault::kNesting},
      {{"<a", "=b", ">a", "@c"}, "<a>b</a> b=\"c\"", Fault::kNesting}};
  for (const auto& [calls, text, fault] : cases) {
    CComPtr<IORVIKXMLWriter> writer;
    IORVIKXMLWriter::CreateORVIKXMLWriterOnString(&writer);
    for (const std::string& call : calls) {
      const char* const given = call.c_str() + 1;
      if (call[0] == '<') writer->startElement(given);
      if (call[0] == '>') writer->endElement(given);
      if (call[0] == '=') writer->WriteElementContents(given);
      if (call[0] == '@') writer->WriteTextAttribute("b", given);
      if (call[0] == '!') writer->OutputSVGBlockForExport(given);
    }
    EXPECT_EQ(writer->get_output().View(), text);
    EXPECT_EQ(writer->GetFault(), fault) << text;
    EXPECT_EQ(writer->GetStatus(), S_OK);
  }
}

// Writes into a stream of the test, or into none.
class WriterOn final : public CMyWriter {
 public:
  explicit WriterOn(IStream* stream) { SetOutput(stream); }
  CAtlStringA get_output() override { return CAtlStringA(); }
};

class PieceStream final : public StreamBase<IStream> {
 public:
  HRESULT Write(const void* data, unsigned long count, unsigned long*) override {
    pieces.emplace_back(static_cast<const char*>(data), count);
    return E_FAIL;
  }
  static inline std::vector<std::string> pieces;
};

TEST(XmlWriterTest, EveryPieceIsOneWriteWhoseResultIsNotLookedAt) {
  CComPtr<IStream> stream;
  stream.Attach(new PieceStream);
  CComPtr<WriterOn> writer;
  writer.Attach(new WriterOn(stream));
  writer->startElement("name");
  EXPECT_EQ(writer->WriteTextAttribute("a", "x&yz<"), S_OK);
  for (int i = 0; i < 2; ++i) writer->FinishOpenElement();
  EXPECT_EQ(std::exchange(PieceStream::pieces, {}),
            (std::vector<std::string>{"<", "name", " ", "a", "=\"", "x", "&amp;", "yz", "&lt;", "",
                                      "\"", ">"}));
  writer.Attach(new WriterOn(nullptr));
  EXPECT_EQ(
      (std::vector<HRESULT>{writer->startElement("a"), writer->WriteEscapedElementContents("b&"),
                            writer->endElement("a"), writer->WriteTextAttribute("a", "b<"),
                            writer->WriteLongTextAttribute("a", "b", "c", "d"),
                            writer->WriteTextAttributeBySingleQuotation("a", "b"),
                            writer->WriteElementContents("b")}),
      (std::vector<HRESULT>{S_OK, S_OK, S_OK, E_FAIL, E_FAIL, E_FAIL, E_FAIL}));
}

// The first room has 4000 bytes after the first piece; a byte written beyond it is detected.
TEST(XmlWriterTest, EveryPieceFitsItsRoom) {
  for (std::size_t left = 0; left < 60; ++left) {
    const std::string rest(4000 - left, 'r');
    EXPECT_EQ(Written([&](auto& w) {
                w.WriteElementContents("x");
                w.WriteElementContents(rest.c_str());
                w.startElement("name");
                w.WriteTextAttribute("a", "<&");
                w.startElement("in");
                w.endElement("in");
                w.endElement("name");
              }),
              "x" + rest + "<name a=\"&lt;&amp;\"><in/></name>");
    EXPECT_EQ(Written([&](auto& w) {
                w.startElement("name");
                w.WriteElementContents(rest.c_str());
                w.endElement("name");
              }),
              "<name>" + rest + "</name>");
  }
}

TEST(XmlWriterTest, CopiesElements) {
  const std::pair<const char*, const char*> cases[] = {
      {"<persistence k=\"1\">x&lt;y</persistence>",
       "<persistence k=\"1\"><![CDATA[x<y]]></persistence>"},
      {"<p>x&lt;y</p>", "<p>x&lt;y</p>"},
      {"<a><!--c--><b/>late text<c x='&quot;'> t </c></a>", "<a><b/><c x=\"&quot;\"> t </c></a>"},
  };
  for (const auto& [text, copied] : cases) EXPECT_EQ(Copied(Parsed(text)->RootElement()), copied);
  const auto document = Parsed("<a><b><c/></b><d/></a>");
  EXPECT_EQ(Copied(document->RootElement()->FirstChildElement()), "<b><c/></b>");
  EXPECT_EQ(Copied(nullptr), "");
}

TEST(XmlWriterTest, CopiesElementsOfAnyDepth) {
  constexpr int kDepth = 200'000;
  TiXmlElement root("a");
  TiXmlElement* last = &root;
  for (int i = 0; i < kDepth; ++i) last = last->LinkEndChild(new TiXmlElement("a"))->ToElement();
  EXPECT_EQ(Copied(&root).size(), kDepth * 3u + 4 + kDepth * 4u);
  // TinyXML's own destructor recurses for every level.
  while (last != &root) {
    TiXmlNode* const parent = last->Parent();
    parent->RemoveChild(last);
    last = parent->ToElement();
  }
}

using XmlWriterFileTest = FileTest;

TEST_F(XmlWriterFileTest, TheStatusAndFinishReportWhatTheOperationsDoNot) {
  for (const auto create :
       {IORVIKXMLWriter::CreateORVIKXMLWriter, IORVIKXMLWriter::CreateORVIKXMLWriterCompressed}) {
    const bool is_plain = create == IORVIKXMLWriter::CreateORVIKXMLWriter;
    CComPtr<IORVIKXMLWriter> writer;
    for (const bool finishes : {false, true}) {
      ASSERT_EQ(create(&writer, path_), S_OK);
      writer->WriteSimpleTextElement("a", "text");
      if (finishes) {
        writer->startElement("open");
        EXPECT_EQ(writer->Finish(), S_OK);
        EXPECT_EQ(writer->GetFault(), XMLWriterFault::kNesting);
        EXPECT_EQ(writer->WriteElementContents("late"), S_OK);
        EXPECT_LT(writer->GetStatus(), 0);
        EXPECT_LT(writer->Finish(), 0);
      }
      writer.Release();  // without Finish, the file is complete, too
      EXPECT_EQ(ReadFile(file_).substr(0, 2), is_plain ? "<a" : "x\x9C");
    }
    ASSERT_EQ(create(&writer, COrvikFilePath(u"/dev/full")), S_OK);
    for (int i = 0; i < 100'000; ++i) EXPECT_EQ(writer->WriteElementContents("0123456789"), S_OK);
    EXPECT_EQ(writer->GetStatus(), is_plain ? E_FAIL : S_OK);
    EXPECT_EQ(writer->Finish(), E_FAIL);
    EXPECT_EQ(writer->GetStatus(), E_FAIL);
    writer.Release();
    for (const COrvikFilePath& path : {File(At("no/file")), COrvikFilePath()}) {
      *&writer = reinterpret_cast<IORVIKXMLWriter*>(this);
      EXPECT_EQ(create(&writer, path), E_FAIL);
      ASSERT_EQ(writer, nullptr);
    }
    EXPECT_EQ(create(nullptr, path_), E_POINTER);
  }
  CComPtr<IORVIKXMLWriter> writer;
  IORVIKXMLWriter::CreateORVIKXMLWriterOnString(&writer);
  void* out = &writer;
  EXPECT_EQ(writer->QueryInterface(IID_IUnknown, &out), E_NOTIMPL);
  EXPECT_EQ(out, static_cast<void*>(&writer));
  EXPECT_EQ(writer->WriteElementContents("b") + writer->Finish(), S_OK);
  EXPECT_EQ(writer->get_output().View(), "b");
  EXPECT_EQ(writer->startElement("x"), S_OK);  // closed: later text is dropped
  EXPECT_EQ(writer->get_output().View(), "");
  EXPECT_EQ(IORVIKXMLWriter::CreateORVIKXMLWriterOnString(nullptr), E_POINTER);
}

TEST_F(XmlWriterFileTest, CopiesFilesInPieces) {
  const std::string many(10'000, '<');
  for (const std::string& content : {std::string(), many, std::string("ab\0cd", 5)}) {
    WriteFile(file_, content);
    EXPECT_EQ(Written([&](auto& w) { EXPECT_EQ(w.CopyFileToXMLWriter(path_), S_FALSE); }),
              content.c_str());
  }
  for (const char* none : {"no", "/dev/zero"}) {
    EXPECT_EQ(Written([&](auto& w) { EXPECT_EQ(w.CopyFileToXMLWriter(File(At(none))), E_FAIL); }),
              "");
  }
}

}  // namespace
}  // namespace orvik::test
