// Reads a setting, lists a folder, converts the names and writes them as XML.
#include <cstdio>

#include <orvik/files/directory_path.h>
#include <orvik/files/path_arguments.h>
#include <orvik/prefs/preferences.h>
#include <orvik/streams/com_ptr.h>
#include <orvik/strings/utf8_strings.h>
#include <orvik/xml/xml_writer.h>

using namespace orvik;

int main(int argc, char** argv) {
  // A setting of this user; "*" if nobody set one.
  constexpr int kUser = 1;
  unsigned long error = 0;
  const CAtlString pattern = GetPreferenceString(kUser, u"Software/Example/Lister", u"Pattern",
                                                 u"*", &error, u"com.example.lister");

  // A path from outside is bytes. PathFromBytes takes every path, also one that is not UTF-8.
  const COrvikDirectoryPath folder(PathFromBytes(argc > 1 ? argv[1] : "."));
  CAtlArray<COrvikFilePath> files;
  if (folder.FindFilesInDirectory(pattern, files) != 0) return 1;

  CComPtr<IORVIKXMLWriter> writer;
  if (IORVIKXMLWriter::CreateORVIKXMLWriterOnString(&writer) != S_OK) return 1;
  writer->startElement("folder");
  for (unsigned i = 0; i < files.GetCount(); ++i) {
    const COrvikFilePath& file = files.GetAt(i);
    writer->startElement("file");
    // Everything that XML holds is UTF-8.
    writer->WriteTextAttribute("name", MakeUTF8StringFromUnicodeString(file.GetFileName()));
    writer->WriteLongAttribute("bytes", static_cast<long>(file.GetFileSize()));
    writer->endElement("file");
  }
  writer->endElement("folder");
  std::printf("%s\n", writer->get_output().GetString());
  return 0;
}
