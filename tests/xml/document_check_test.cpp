#include "xml/document_check.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

#include <tinyxml.h>

namespace orvik {
namespace {

int DepthOf(const TiXmlDocument& document) {
  int depth = 0, deepest = 0;
  const TiXmlNode* node = &document;
  for (;;) {
    if (node->FirstChild() != nullptr) {
      node = node->FirstChild();
      deepest = std::max(deepest, ++depth);
      continue;
    }
    while (node != &document && node->NextSibling() == nullptr) {
      node = node->Parent();
      --depth;
    }
    if (node == &document) return deepest;
    node = node->NextSibling();
  }
}

// The parser must never go deeper than the check believed: markup that hides or shows other markup
// is put together at random and repeated, so that one level too few in it becomes a thousand.
TEST(DocumentCheckTest, NeverTakesADocumentForFlatterThanTheParserDoes) {
  static const char* const kPieces[] = {
      "<a>", "<a>",  "</a>", "<a",     "<b ",      " c=",       "c='",          "'",
      "\"",  "=",    ">",    "/>",     "/",        "<",         "<!--",         "-->",
      "-",   "<?",   "?>",   "<?xml ", "version=", "encoding'", "<![CDATA[",    "]]>",
      "<!",  "x",    "&#x",  ";",      "&quot;",   "\xC3\xA9",  "\xEF\xBB\xBF", " ",
      "</",  "</a ", "_",    "\x7F",   "\n",       "1",         "\xEF\xBF\xBE", "<\xC3\xA9>"};
  std::mt19937 random(11);
  int safe = 0, refused = 0;
  for (int i = 0; i < 4000; ++i) {
    std::string piece, text;
    for (unsigned n = 1 + random() % 7; n > 0; --n) piece += kPieces[random() % std::size(kPieces)];
    for (int n = 0; n < kMostXmlDepth + 50; ++n) text += piece;
    if (!IsSafeToParse(text.c_str())) {
      ++refused;
      continue;
    }
    ++safe;
    TiXmlDocument document;
    document.Parse(text.c_str(), nullptr, TIXML_ENCODING_UTF8);
    // What stands in the deepest element counts as one more.
    ASSERT_LE(DepthOf(document), kMostXmlDepth + 1) << piece;
  }
  EXPECT_GT(safe, 1000);
  EXPECT_GT(refused, 100);
}

}  // namespace
}  // namespace orvik
