// Text: cheap copies, literal searching, formatting, and UTF-8 at the borders.
#include <cstdio>

#include <orvik/strings/atl_string.h>
#include <orvik/strings/utf8_strings.h>

using namespace orvik;

int main() {
  CAtlString greeting(u"Gr\u00FC\u00DFe, %name%");
  CAtlString copy = greeting;  // shares the buffer until one of them changes
  copy.Replace(u"%name%", u"Anna");

  CAtlString line;
  line.Format(u"%s (%d units)", copy.GetString(), copy.GetLength());
  std::printf("%s\n", MakeUTF8StringFromUnicodeString(line).GetString());

  int position = 0;
  const CAtlString list(u"red,green,,blue");
  for (CAtlString word = list.Tokenize(u",", position); !word.IsEmpty();
       word = position < 0 ? CAtlString() : list.Tokenize(u",", position)) {
    std::printf("- %s\n", MakeUTF8StringFromUnicodeString(word).GetString());
  }
  return greeting.Find(u"%name%") == 7 ? 0 : 1;
}
