// Writes and reads a value of the store, and uses a string, the collation, a file path and the XML
// writer. Catches what the library throws and asks for the types of its objects.
#include <climits>
#include <cstdio>
#include <new>
#include <string_view>

#include <orvik/files/file_path.h>
#include <orvik/platform/core_foundation/string.h>
#include <orvik/prefs/preferences.h>
#include <orvik/streams/stream_factory.h>
#include <orvik/strings/atl_string.h>
#include <orvik/strings/utf8_strings.h>
#include <orvik/xml/xml_writer.h>

using namespace orvik;

// No text is that long, and nothing reads it: the string refuses the length.
bool CatchesByType() {
  try {
    const CAtlStringA text(std::string_view("", std::size_t{INT_MAX} + 1));
  } catch (const std::bad_array_new_length&) {
    return true;
  }
  return false;
}

bool KnowsTypes() {
  IStreamOnBuffer* stream = nullptr;
  CStreamFactory::CreateWritableBufferStream(&stream);
  IUnknown* const unknown = stream;
  const bool knows_interface = dynamic_cast<IStreamOnBuffer*>(unknown) == stream &&
                               dynamic_cast<IORVIKXMLWriter*>(unknown) == nullptr;
  stream->Release();
  const auto* const object = static_cast<const NSObject*>(CFSTR(u"text"));
  return knows_interface && dynamic_cast<const NSString*>(object) == object;
}

int main() {
  if (!CatchesByType() || !KnowsTypes()) return 4;
  if (CAtlString(u"z").Collated(u"\u00E9") <= 0) return 5;
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
