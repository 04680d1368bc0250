// Text: cheap copies, literal searching, formatting, tokens, and UTF-8 in streams.
#include <iostream>

#include <orvik/strings/atl_string.h>

using namespace orvik;

int main() {
  CAtlString greeting(u"Gr\u00FC\u00DFe, %name%");
  CAtlString copy = greeting;  // shares the buffer until one of them changes
  copy.Replace(u"%name%", u"Anna");

  CAtlString line;
  line.Format(u"%s (%d units)", copy, copy.GetLength());
  std::cout << line << '\n';  // in UTF-8

  const CAtlString list = u"red,green,,blue"_s;
  for (const std::u16string_view word : list.Tokens(u",")) {
    std::cout << "- " << CAtlString(word) << '\n';
  }
  return greeting.Find(u"%name%") == 7 ? 0 : 1;
}
