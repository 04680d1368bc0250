// Writes and reads a value of the store, and uses a string, a file path and the XML writer.
#include <cstdio>

#include <orvik/files/file_path.h>
#include <orvik/prefs/preferences.h>
#include <orvik/strings/atl_string.h>
#include <orvik/strings/utf8_strings.h>
#include <orvik/xml/xml_writer.h>

using namespace orvik;

int main() {
  const CAtlString domain(u"com.example.Outside"), key(u"Software/Outside");
  if (WritePreferenceString(0, key, u"Title", u"Hello", domain) != 0) return 1;
  unsigned long error = 0;
  CAtlString text = GetPreferenceString(0, key, u"Title", u"", &error, domain);
  if (error != 0) return 2;
  text.Append(u", outside");

  const COrvikFilePath path(u"/tmp/report.txt");
  IORVIKXMLWriter* writer = nullptr;
  if (IORVIKXMLWriter::CreateORVIKXMLWriterOnString(&writer) != S_OK) return 3;
  writer->startElement("outside");
  writer->endElement("outside");
  std::printf("%s %s %s\n", MakeUTF8StringFromUnicodeString(text).GetString(),
              MakeUTF8StringFromUnicodeString(path.GetFileName()).GetString(),
              writer->get_output().GetString());
  writer->Release();
  return 0;
}
