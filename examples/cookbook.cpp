// The answers of docs/cookbook.md, each a function that says whether it worked.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <orvik/files/directory_manipulator.h>
#include <orvik/files/directory_path.h>
#include <orvik/files/file_manipulator.h>
#include <orvik/files/file_path.h>
#include <orvik/files/progress.h>
#include <orvik/files/whole_file.h>
#include <orvik/prefs/preference_watch.h>
#include <orvik/prefs/transaction.h>
#include <orvik/prefs/typed_preferences.h>
#include <orvik/streams/stream_factory.h>
#include <orvik/streams/stream_interfaces.h>
#include <orvik/strings/utf8_strings.h>
#include <orvik/xml/base64.h>
#include <orvik/xml/config_store.h>
#include <orvik/xml/tixml_helper.h>
#include <orvik/xml/xml_writer.h>

#include <tinyxml.h>
#include <boost/smart_ptr/make_shared.hpp>

using namespace orvik;

namespace {

bool ReadASettingWithADefault() {
  const TypedPreferences settings(u"com.example.cookbook", kUserScope);
  const std::int64_t width = settings.Integer(u"Window", u"Width").value_or(800);
  return width == 800;
}

bool TellAMissingSettingFromAnUnreadableOne() {
  const TypedPreferences settings(u"com.example.cookbook", kUserScope);
  PrefStatus status;
  const PreferenceValue value = settings.Value(u"Window", u"Width", &status);
  if (value) return false;
  if (status.error == PrefError::kNotFound) return true;  // use the default
  std::cerr << Describe(status) << '\n';                  // the file is damaged, or not ours
  return false;
}

bool ReadManySettingsOfOneMoment() {
  const PreferenceSnapshot settings(u"com.example.cookbook", kUserScope);  // reads the file once
  const std::int64_t width = settings.Integer(u"Window", u"Width").value_or(800);
  PrefStatus status;
  const std::u16string title = settings.String(u"Window", u"Title", &status).value_or(u"Untitled");
  if (status.error == PrefError::kWrongType) std::cerr << "Title: " << Describe(status) << '\n';
  return width == 800 && !title.empty();
}

bool SaveASettingAndKnowThatItIsOnDisk() {
  TypedPreferences settings(u"com.example.cookbook", kUserScope);
  const PrefStatus status = settings.Set(u"Window", u"Title", u"Caf\u00E9");
  if (!status.ok()) std::cerr << Describe(status) << '\n';
  return status.ok();
}

bool ListTheEntriesOfAKey() {
  TypedPreferences settings(u"com.example.cookbook", kUserScope);
  const PreferenceValue files = PreferenceValue::Array({u"a.txt", u"b.txt"});
  if (!settings.Set(u"Recent", u"Files", files).ok()) return false;
  std::size_t names = 0;
  for (const auto& [key, value] : settings.Key(u"Recent").entries()) {
    if (value.is_dictionary()) continue;  // a key below this one
    std::cerr << key.text().ToUtf8() << '\n';
    for (const PreferenceValue& name : value.elements()) names += name.is_string() ? 1 : 0;
  }
  return names == 2;
}

bool ChangeThreeSettingsAtOnceOrNone() {
  Transaction change(kUserScope, u"com.example.cookbook");
  change.Set(u"Window", u"Left", 10);
  change.Set(u"Window", u"Top", 20);
  change.Set(u"Window", u"Title", u"Both or neither");
  const PrefStatus status = change.Commit();
  if (!status.ok()) std::cerr << "step " << status.step << ": " << Describe(status) << '\n';
  return status.ok();
}

bool SetASettingOnlyIfThereIsNone() {
  Transaction change(kUserScope, u"com.example.cookbook");
  change.RequireAbsent(u"Server", u"Port");
  change.Set(u"Server", u"Port", 8080);
  const PrefStatus status = change.Commit();
  return status.ok() || status.error == PrefError::kConditionNotMet;
}

bool WatchSettings() {
  PreferenceWatch watch(kUserScope, u"Window", u"com.example.cookbook");
  TypedPreferences settings(u"com.example.cookbook", kUserScope);
  if (!settings.Set(u"Window", u"Width", 1024).ok()) return false;
  // In a program: add watch.descriptor() to poll or to the event loop, and call this when it can be
  // read.
  bool seen = false;
  for (const PreferenceChange& change : watch.TakeChanges()) {
    seen = change.path == std::vector<std::u16string>{u"Width"} && change.after == 1024;
  }
  return seen;
}

bool TakeAndGiveUtf8() {
  const std::string outside =
      "Stra\xC3\x9F"
      "e";
  const CAtlString text = CAtlString::FromUtf8(outside);
  return text.GetLength() == 6 && text.ToUtf8() == outside;
}

bool KnowWhetherATextWasMalformed() {
  CAtlString text;
  const ConversionReport report = WideFromUtf8("ab\xFF", text);
  if (!report) std::cerr << "malformed at byte " << report.position << '\n';
  return !report && report.position == 2;
}

bool ReadTextInACodePage() {
  CAtlString text;
  const auto report = WideFromCodePage(1252, "\x80 5", text);  // Windows, Western Europe
  if (!report) return false;                                   // the code page is not known
  return *report && text == std::u16string_view(u"\u20AC 5");
}

bool ReadANumberFromText() {
  const std::optional<std::int64_t> port = CAtlString(u"8080").ToInteger();
  const std::optional<std::int64_t> wrong = CAtlString(u"80 and more").ToInteger();
  return port == 8080 && !wrong;
}

bool SplitAText() {
  const CAtlString list(u"red,green,,blue");
  std::vector<CAtlString> colours;
  for (const std::u16string_view colour : list.Tokens(u",")) colours.emplace_back(colour);
  return colours.size() == 3 && colours[2] == CAtlString(u"blue");
}

bool OpenNamesThatAreNotUtf8() {
  const std::string name = "caf\xE9.txt";  // from argv, readdir or another library
  const COrvikFilePath file = COrvikFilePath::FromBytes(name);
  if (CFileManipulator::WriteAsciiStringToFile(file, "hot", 3) != S_OK) return false;
  return file.FileExists() && file.ToBytes() == name;
}

bool ExchangePathsWithTheStandardLibrary() {
  const COrvikDirectoryPath here = COrvikDirectoryPath::FromPath(std::filesystem::current_path());
  const COrvikFilePath file = (here / u"notes").CreateFilePath(u"today.txt");
  return file.ToPath<std::filesystem::path>() ==
         std::filesystem::current_path() / "notes" / "today.txt";
}

bool ListTheFilesOfAFolder() {
  const COrvikDirectoryPath folder(u"letters");
  if (!CDirectoryManipulator::CreateDirectory(folder)) return false;
  if (CFileManipulator::WriteAsciiStringToFile(folder.CreateFilePath(u"a.b.txt"), "x", 1) != S_OK) {
    return false;
  }
  CAtlArray<COrvikFilePath> files;
  if (folder.FindFilesInDirectory(u"*", files) != 0) return false;
  std::size_t texts = 0;
  for (const COrvikFilePath& file : files) texts += file.GetFileExtension() == u".txt"_s;
  return texts == 1;
}

bool CopyAFolderAndKnowWhatFailed() {
  TreeReport report;
  const HRESULT result = CDirectoryManipulator::RecursivelyCopyDirectory(
      COrvikDirectoryPath(u"letters"), COrvikDirectoryPath(u"copies"), FALSE, &report);
  for (const TreeFailure& failure : report.failures) {
    std::cerr << failure.path << ": " << failure.reason << '\n';
  }
  return result == S_OK && report.failed == 0;
}

bool ReplaceAFileAsAWhole() {
  // A reader sees the old content or the new one, also when the program is killed meanwhile.
  return WriteWholeFile(COrvikFilePath(u"settings.txt"), "all of it");
}

bool CompressIntoAFile() {
  const CComPtr<IStream> stream =
      CStreamFactory::CreateWritableCompressedFileStream(COrvikFilePath(u"log.z"));
  if (stream == nullptr) return false;
  if (stream->Write("many bytes", 10, nullptr) != S_OK) return false;
  return FinishStream(stream) == S_OK;  // the file has its new content now, whole
}

bool ReadACompressedFile() {
  const CComPtr<IStream> stream =
      CStreamFactory::CreateReadableCompressedFileStream(COrvikFilePath(u"log.z"));
  if (stream == nullptr) return false;
  std::string text;
  char piece[4096];
  unsigned long count = 0;
  HRESULT result = S_OK;
  while ((result = stream->Read(piece, sizeof piece, &count)) == S_OK) text.append(piece, count);
  return result == S_FALSE && text == "many bytes";  // E_FAIL: damaged, or cut
}

bool DeleteAFileAndNeverAFolder() {
  const COrvikFilePath empty_name = COrvikDirectoryPath(u"letters").CreateFilePath(u"");
  if (CFileManipulator::RemoveFile(empty_name)) return false;  // DeleteFile would delete the folder
  return CFileManipulator::RemoveFile(COrvikFilePath(u"settings.txt"));
}

bool WriteXmlAndKnowThatItIsWhole() {
  CComPtr<IORVIKXMLWriter> writer;
  if (IORVIKXMLWriter::CreateORVIKXMLWriter(&writer, COrvikFilePath(u"list.xml")) != S_OK) {
    return false;
  }
  writer->OutputXMLHeader();
  writer->startElement("list");
  writer->WriteTextAttribute("title", CAtlString(u"a < b").ToUtf8().c_str());
  writer->endElement("list");
  return writer->Finish() == S_OK;  // the other results say nothing about the file
}

bool ReadXml() {
  const auto document = boost::make_shared<TiXmlDocument>();
  XMLDocumentError error;
  if (TiXmlHelper::InitializeTiXmlDocumentFromFile(document, COrvikFilePath(u"list.xml"), &error) !=
      S_OK) {
    return false;  // `error` says what is wrong, in which line
  }
  bool found = true;
  const CAtlString title = TiXmlHelper::LoadStringAttributeFromXmlElement(
      document->RootElement(), CAtlStringA("title"), found);
  return found && title == u"a < b"_s;
}

bool EncodeBase64() {
  const unsigned char bytes[] = {'M', 'a', 'n'};
  const CAtlStringA text = ConvertRawBytesIntoBase64String(bytes, sizeof bytes, nullptr);
  return text == "TWFu";
}

bool KeepSettingsInAnXmlFileOfOnesOwn() {
  constexpr int kUserFile = 1;
  SetXMLConfig(kUserFile, COrvikFilePath(u"config.xml"));
  if (!WriteXMLConfigString(kUserFile, u"Editor", u"Font", u"Sans")) return false;
  if (!SaveXMLConfigFile(kUserFile)) return false;
  CAtlArray<CAtlString> names;
  return ListValuesXMLConfig(kUserFile, u"Editor", names) && names.size() == 1;
}

}  // namespace

int main() {
  const struct {
    const char* name;
    bool (*run)();
  } kAnswers[] = {
      {"a setting with a default", ReadASettingWithADefault},
      {"missing or unreadable", TellAMissingSettingFromAnUnreadableOne},
      {"settings of one moment", ReadManySettingsOfOneMoment},
      {"a setting on disk", SaveASettingAndKnowThatItIsOnDisk},
      {"the entries of a key", ListTheEntriesOfAKey},
      {"three settings at once", ChangeThreeSettingsAtOnceOrNone},
      {"a setting if there is none", SetASettingOnlyIfThereIsNone},
      {"a watch", WatchSettings},
      {"UTF-8", TakeAndGiveUtf8},
      {"malformed text", KnowWhetherATextWasMalformed},
      {"a code page", ReadTextInACodePage},
      {"a number", ReadANumberFromText},
      {"a split text", SplitAText},
      {"names that are not UTF-8", OpenNamesThatAreNotUtf8},
      {"paths of the standard library", ExchangePathsWithTheStandardLibrary},
      {"a listing", ListTheFilesOfAFolder},
      {"a copy of a folder", CopyAFolderAndKnowWhatFailed},
      {"a whole file", ReplaceAFileAsAWhole},
      {"a compressed file", CompressIntoAFile},
      {"a compressed file again", ReadACompressedFile},
      {"a deletion", DeleteAFileAndNeverAFolder},
      {"XML out", WriteXmlAndKnowThatItIsWhole},
      {"XML in", ReadXml},
      {"Base64", EncodeBase64},
      {"an XML file of settings", KeepSettingsInAnXmlFileOfOnesOwn},
  };
  int failed = 0;
  for (const auto& [name, run] : kAnswers) {
    if (run()) continue;
    std::cerr << "does not work: " << name << '\n';
    ++failed;
  }
  std::cout << std::size(kAnswers) - failed << " answers work\n";
  return failed == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
