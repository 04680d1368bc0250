// Cleans a text file that fits into memory: line ends become "\n", one word is replaced by another,
// and lines and words are counted.
//
//   text_tool [FILE WORD REPLACEMENT]      without arguments, works on 10 MB of its own
#include <cstdio>

#include <orvik/files/directory_path.h>
#include <orvik/files/file_manipulator.h>
#include <orvik/files/path_arguments.h>
#include <orvik/strings/utf8_strings.h>

using namespace orvik;

namespace {

struct Counts {
  int lines = 0;
  int words = 0;
  int replaced = 0;
};

bool Clean(const COrvikFilePath& file, const CAtlString& word, const CAtlString& replacement,
           Counts* counts) {
  CAtlStringA bytes;
  if (CFileManipulator::ReadAsciiFileIntoAsciiString(file, bytes, nullptr) != S_OK) return false;
  CAtlString text = MakeWideStringFromUTF8String(bytes);
  // A file that is not UTF-8 would become an empty text, and its content would be lost.
  if (text.IsEmpty() && !bytes.IsEmpty()) return false;

  text.Replace(u"\r\n", u"\n");
  text.Replace(u'\r', u'\n');
  counts->replaced = text.Replace(word, replacement);
  bool in_word = false;
  for (const char16_t unit : text.View()) {
    const bool space = unit == u' ' || unit == u'\n' || unit == u'\t';
    if (unit == u'\n') ++counts->lines;
    if (!space && !in_word) ++counts->words;
    in_word = !space;
  }
  const CAtlStringA cleaned = MakeUTF8StringFromUnicodeString(text);
  return CFileManipulator::WriteAsciiStringToFile(
             file, cleaned, static_cast<unsigned long>(cleaned.GetLength())) == S_OK;
}

int Show() {
  const CAtlStringA line =
      MakeUTF8StringFromUnicodeString(u"Zw\u00F6lf gro\u00DFe Worte \u4E2D\r\n");
  const int lines = 10'000'000 / line.GetLength();
  CAtlStringA sample;
  for (int i = 0; i < lines; ++i) sample += line;
  const COrvikFilePath file = COrvikFilePath::CreateTempFileName(u".txt", u"text-tool");
  if (CFileManipulator::WriteAsciiStringToFile(
          file, sample, static_cast<unsigned long>(sample.GetLength())) != S_OK) {
    return 1;
  }
  Counts counts;
  const bool done = Clean(file, u"Worte", u"W\u00F6rter", &counts);
  CFileManipulator::DeleteFile(file);
  std::printf("%d lines, %d words, %d replaced\n", counts.lines, counts.words, counts.replaced);
  return done && counts.lines == lines && counts.words == 4 * lines && counts.replaced == lines ? 0
                                                                                                : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return Show();
  Counts counts;
  const bool done = Clean(PathFromBytes(argv[1]), MakeWideStringFromUTF8String(argv[2]),
                          MakeWideStringFromUTF8String(argv[3]), &counts);
  std::printf("%d lines, %d words, %d replaced\n", counts.lines, counts.words, counts.replaced);
  return done ? 0 : 1;
}
