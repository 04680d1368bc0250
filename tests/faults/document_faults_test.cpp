// Streams, the XML writer, the configuration store, property files and the installer's recording
// under faults.

#include "platform/core_foundation/collections.h"
#include "platform/core_foundation/object.h"
#include "platform/core_foundation/string.h"
#include "platform/foundation/application.h"
#include "postflight/install_information.h"
#include "postflight/property_file.h"
#include "streams/stream_factory.h"
#include "streams/stream_interfaces.h"
#include "strings/utf8_strings.h"
#include "tests/faults/walk.h"
#include "tests/support/test_environment.h"
#include "xml/config_store.h"
#include "xml/xml_writer.h"

namespace orvik::test {
namespace {

COrvikFilePath PathOf(const std::string& name) {
  return COrvikFilePath(MakeWideStringFromUTF8String(InHome(name).c_str()));
}

constexpr char kConfig[] =
    "<key name=\"ORVIK Technologies\" scope=\"User\">\n"
    "    <key name=\"A\"><value name=\"v\" data=\"1\"/></key>\n</key>\n";

Reported SaveConfig() {
  SetXMLConfig(1, PathOf("/config.xml"));
  if (!WriteXMLConfigInt(1, u"A", u"v", 2)) return Reported::kFailed;
  return SaveXMLConfigFile(1) ? Reported::kDone : Reported::kFailed;
}

// Writes the piece again and again.
Reported WriteCompressed(std::string_view piece, int times) {
  const CComPtr<IStream> stream =
      CStreamFactory::CreateWritableCompressedFileStream(PathOf("/stream"));
  if (stream == nullptr) return Reported::kFailed;
  for (int i = 0; i < times; ++i) {
    const auto size = static_cast<unsigned long>(piece.size());
    if (stream->Write(piece.data(), size, nullptr) < 0) return Reported::kFailed;
  }
  return FinishStream(stream) == S_OK ? Reported::kDone : Reported::kFailed;
}

// Bytes that do not shrink reach the file as they are.
std::string RandomBytes() {
  std::minstd_rand random(1);
  std::string bytes(400'000, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random() >> 8);
  return bytes;
}

Reported WriteXml() {
  CComPtr<IORVIKXMLWriter> writer;
  if (IORVIKXMLWriter::CreateORVIKXMLWriter(&writer, PathOf("/doc.xml")) < 0) {
    return Reported::kFailed;
  }
  writer->OutputXMLHeader();
  writer->startElement("root");
  writer->WriteTextAttribute("name", "a & b");
  writer->endElement("root");
  return writer->Finish() == S_OK ? Reported::kDone : Reported::kFailed;
}

// A stream empties its file at once and writes it as it goes.
bool IsBeginning(const std::string& path, const std::string* content) {
  constexpr std::string_view kWhole =
      "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?><root name=\"a &amp; b\"/>";
  return path == "home/doc.xml" && content != nullptr && kWhole.starts_with(*content);
}

// What was no configuration is kept before its place is taken.
bool IsDiscarded(const std::string& path, const std::string* content) {
  return path == "home/config.xml.discarded" && content != nullptr && *content == "x";
}

Reported WritePropertyFile() {
  const NSAutoreleasePool pool;
  const NSString* const path = CFSTR(PathOf("/p.plist").GetFilePathString().View());
  auto* const file = new propertyFile;
  NSDictionary* const root = NSDictionary::dictionary();
  root->setObject(CFSTR(u"new"), CFSTR(u"key"));
  file->setpFilePath(path);
  file->setPlist(root);
  const bool written = file->write(100) == YES;
  file->release();
  return written ? Reported::kDone : Reported::kFailed;
}

constexpr char kRegistry[] = "root/Users/Shared/Library/Preferences/com.orviktech.Registry.plist";

Reported RunInstaller() {
  const ScopedArguments arguments({"postflight", "-pathToPkg", "/p", "-pathToDest", "/d",
                                   "-mountPointOfDest", "/", "-rootOfCurrSystemFolder", "/"});
  RunPostflight();
  return Reported::kNothing;
}

// Each of the recorded values is there or not.
bool IsPartlyRecorded(const std::string& path, const std::string* content) {
  return path == kRegistry && content != nullptr && content->ends_with("</plist>\n") &&
         content->find("<key>Other</key>") != std::string::npos;
}

// Puts a file into the home.
std::function<void()> With(const char* name, const char* content) {
  return [=] { WriteFile(InHome(name), content); };
}

void WithAnotherValue() {
  WriteFile(Stage() + "/" + kRegistry,
            "<plist version=\"1.0\"><dict><key>Other</key><true/></dict></plist>\n");
}

OperationTable Operations() {
  OperationTable add;
  const auto nothing = [] {};
  add("configuration", With("/config.xml", kConfig), SaveConfig);
  add("configuration, first of all", nothing, SaveConfig);
  Operation& wrong = add("configuration, wrong file", With("/config.xml", "x"), SaveConfig);
  wrong.steps = Steps::kAlways;
  wrong.also = IsDiscarded;
  add("compressed stream", With("/stream", "old"),
      [] { return WriteCompressed("the bytes of the stream\n", 20); });
  add("compressed stream, uncompressed", With("/stream", "old"),
      [bytes = RandomBytes()] { return WriteCompressed(bytes, 1); });
  add("XML writer", nothing, WriteXml).also = IsBeginning;
  add("property file", With("/p.plist", "old"), WritePropertyFile);
  Operation& installer = add("postflight", WithAnotherValue, RunInstaller);
  installer.also = IsPartlyRecorded;
  installer.stride = 23;
  for (Operation& operation : add) {
    // Streams and the writer flush nothing.
    operation.is_durable = operation.name.starts_with("configuration") ||
                           operation.name == "property file" || operation.name == "postflight";
  }
  return add;
}

INSTANTIATE_TEST_SUITE_P(Documents, FaultsTest, ::testing::ValuesIn(Operations()));

}  // namespace
}  // namespace orvik::test
