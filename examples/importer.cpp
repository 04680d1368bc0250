// Imports the settings of an older program from its XML file into the configuration store.
//
//   importer [SETTINGS.xml CONFIGURATION.xml]      without arguments, imports a sample
#include <cstdio>

#include <tinyxml.h>
#include <boost/smart_ptr/shared_ptr.hpp>

#include <orvik/files/directory_path.h>
#include <orvik/files/file_manipulator.h>
#include <orvik/files/path_arguments.h>
#include <orvik/strings/utf8_strings.h>
#include <orvik/xml/config_store.h>
#include <orvik/xml/element_reader.h>
#include <orvik/xml/tixml_helper.h>

using namespace orvik;

namespace {

constexpr int kUser = 1;
constexpr char kSample[] =
    "<settings>"
    "<option section='Window/Main' name='title' value='Gr\u00FC\u00DFe &amp; mehr'/>"
    "<option section='Window/Main' name='width' value='640'/>"
    "<option section='Recent' name='last' value=''/>"
    "</settings>";

// The options of the file; -1 if it cannot be read or the configuration cannot be saved.
int Import(const COrvikFilePath& from, const COrvikFilePath& to) {
  const boost::shared_ptr<TiXmlDocument> document(new TiXmlDocument);
  // Refuses a document that is not well-formed.
  XMLDocumentError error;
  if (TiXmlHelper::InitializeTiXmlDocumentFromFile(document, from, &error) != S_OK) {
    std::fprintf(stderr, "line %d, column %d: %s\n", error.line, error.column,
                 error.reason.GetString());
    return -1;
  }

  SetXMLConfig(kUser, to);
  CAtlArray<TiXmlElement*> options;
  if (CXMLElementReader::GetChildNodes(document->RootElement(), options) != S_OK) return -1;
  int imported = 0;
  for (unsigned i = 0; i < options.GetCount(); ++i) {
    CAtlString section, name, value;
    if (CXMLElementReader::GetTextAttributeFromNodeW(options.GetAt(i), "section", section) !=
            S_OK ||
        CXMLElementReader::GetTextAttributeFromNodeW(options.GetAt(i), "name", name) != S_OK) {
      continue;
    }
    CXMLElementReader::GetTextAttributeFromNodeW(options.GetAt(i), "value", value);
    // The store cannot read an empty value back; a missing value means the same to it.
    if (value.IsEmpty()) continue;
    if (!WriteXMLConfigString(kUser, section, name, value)) return -1;
    ++imported;
  }
  return SaveXMLConfigFile(kUser) ? imported : -1;  // writes the file for the first time
}

int Show() {
  const COrvikFilePath from = COrvikFilePath::CreateTempFileName(u".xml", u"old-settings");
  const COrvikFilePath to = COrvikFilePath::CreateTempFileName(u".xml", u"configuration");
  if (CFileManipulator::WriteAsciiStringToFile(from, kSample, sizeof kSample - 1) != S_OK) return 1;
  const int imported = Import(from, to);
  CAtlString title;
  GetXMLConfigString(kUser, u"Window/Main", u"title", title);
  std::printf("imported %d: %s\n", imported, MakeUTF8StringFromUnicodeString(title).GetString());
  CFileManipulator::DeleteFile(from);
  CFileManipulator::DeleteFile(to);
  return imported == 2 && title == CAtlString(u"Gr\u00FC\u00DFe & mehr") ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return Show();
  return Import(PathFromBytes(argv[1]), PathFromBytes(argv[2])) < 0 ? 1 : 0;
}
