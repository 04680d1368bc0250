// Preferences, the shared lock, streams, the XML writer, the configuration store, property files
// and the installer's recording under faults.

#include <new>
#include <sstream>

#include "host/private_files.h"
#include "host/system.h"
#include "platform/core_foundation/collections.h"
#include "platform/core_foundation/object.h"
#include "platform/core_foundation/string.h"
#include "platform/foundation/application.h"
#include "plist/file.h"
#include "postflight/install_information.h"
#include "postflight/property_file.h"
#include "prefs/preferences.h"
#include "prefs/reporting.h"
#include "prefs/shared_lock.h"
#include "prefs/shared_preference_file.h"
#include "prefs/transaction.h"
#include "streams/stream_factory.h"
#include "streams/stream_interfaces.h"
#include "strings/auto_release.h"
#include "tests/faults/walk.h"
#include "tests/files/support.h"
#include "tools/orvikprefs/commands.h"
#include "xml/config_store.h"
#include "xml/xml_writer.h"

namespace orvik::test {
namespace {

constexpr char kSound[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
    "<key>A</key><dict><key>text</key><string>old</string></dict>"
    "<key>Other</key><string>kept</string></dict></plist>\n";
constexpr char kDamaged[] = "<plist version=\"1.0\"><dict><key>A</key><string>old</string>";
constexpr char16_t kDomain[] = u"com.example.walk";

std::string FileOf(int scope) {
  return PreferenceFilePath(scope, kDomain);
}

Reported FromStatus(const PrefStatus& status) {
  return status.ok() ? Reported::kDone : Reported::kFailed;
}

Reported FromCode(DWORD code) {
  return code == kPreferenceLockNotObtained ? Reported::kFailed : Reported::kNothing;
}

Transaction SetAndDelete(int scope) {
  Transaction transaction(scope, kDomain);
  transaction.Set(u"A/B", u"text", u"new");
  transaction.Set(u"A", u"number", 7);
  transaction.Delete(u"A", u"text");
  return transaction;
}

std::function<void()> Sound(int scope) {
  return [scope] { WriteFile(FileOf(scope), kSound); };
}
std::function<void()> Damaged(int scope) {
  return [scope] {
    WriteFile(FileOf(scope), kDamaged);
    chmod(FileOf(scope).c_str(), 0640);
  };
}
std::function<Reported()> WriteString(int scope) {
  return [scope] { return FromCode(WritePreferenceString(scope, u"A", u"text", u"new", kDomain)); };
}
std::function<Reported()> Change(int scope, IfDamaged if_damaged = IfDamaged::kFail) {
  return [=] { return FromStatus(SetAndDelete(scope).Commit(if_damaged)); };
}

Reported SaveSharedDictionary() {
  const CAutoCFRelease<CFTypeRef> value(
      CreateObject(plist::Value::Dictionary({{u"k", u"v"}}), kCFPropertyListImmutable));
  const CAutoCFRelease<CFStringRef> domain(
      CAtlString(kDomain).CreateCFStringRef(kCFAllocatorDefault));
  return SavePropertiesToSharedFile(value, domain) == 0 ? Reported::kDone : Reported::kFailed;
}

Reported TakeAndReleaseTheLock() {
  if (!LockGlobalSharedPList(kDomain)) return Reported::kFailed;
  try {
    UnlockGlobalSharedPList(kDomain);
  } catch (const std::bad_alloc&) {
    UnlockGlobalSharedPList(kDomain);
    throw;
  }
  return Reported::kNothing;
}

OperationTable Operations() {
  OperationTable add;
  const auto nothing = [] {};
  const std::pair<int, std::string> kScopes[] = {
      {kSharedScope, "shared"}, {kUserScope, "user"}, {kMachineScope, "machine"}};
  for (const auto& [number, name] : kScopes) {
    const int scope = number;
    add(name + " string", Sound(scope), WriteString(scope));
    add(name + " delete", Sound(scope),
        [scope] { return FromCode(DeletePreference(scope, u"A", u"text", kDomain)); });
    if (scope == kMachineScope) break;  // the other operations are the same as for the user
    add(name + " number, first of all", nothing,
        [scope] { return FromCode(WritePreferenceInt(scope, u"A/B", u"number", 7, kDomain)); });
    add(name + " transaction", Sound(scope), Change(scope));
    add(name + " transaction, damaged file", Damaged(scope), Change(scope, IfDamaged::kReplace))
        .steps = Steps::kWhenKilled;
  }
  const int user = kUserScope;
  // Folders of a process that was killed between making and flushing them.
  add("user transaction, in folders not yet on disk", nothing, [] {
    if (host::MakeFolders(fs::path(FileOf(user)).parent_path()) != 0) return Reported::kFailed;
    return FromStatus(SetAndDelete(user).Commit());
  });
  const auto unreadable = [] {
    WriteFile(FileOf(user), kSound);
    chmod(FileOf(user).c_str(), 0);
  };
  add("user transaction, unreadable file", unreadable, Change(user, IfDamaged::kReplace)).steps =
      Steps::kWhenKilled;
  add("user delete key", Sound(user),
      [] { return FromCode(RecursivePreferenceDelete(user, u"A", kDomain)); });
  add("user repair", Damaged(user), [] {
    return FromStatus(RepairDomain(user, kDomain).status);
  }).steps = Steps::kWhenKilled;
  add("user string, damaged file", Damaged(user), WriteString(user)).steps = Steps::kWhenKilled;
  const auto in_utf16 = [] {
    std::string wide = "\xFE\xFF";
    for (const char c : std::string_view(kSound)) wide.append({'\0', c});
    WriteFile(FileOf(user), wide);
  };
  add("user string, file in UTF-16", in_utf16, WriteString(user));
  add("shared string, plain volume", Sound(kSharedScope), WriteString(kSharedScope)).volume =
      Volume::kPlain;
  add("shared dictionary", Sound(kSharedScope), SaveSharedDictionary);
  add("shared lock", nothing, TakeAndReleaseTheLock).volume = Volume::kPlain;
  // Taking and releasing the lock is the longer part of these; the first one walks it.
  for (Operation& operation : add) {
    operation.durable = Durable::kDone;
    if (operation.name.starts_with("shared ") && operation.name != "shared string") {
      operation.stride = 3;
    }
  }
  return add;
}

// Damaged files here are new and stay damaged, and the wait for a lock here never succeeds, so
// neither needs to sleep.
[[maybe_unused]] const plist::FileWriterWait kOldWait = plist::ExchangeFileWriterWait([] {});
[[maybe_unused]] const SharedLockWait kOldLockWait = ExchangeSharedLockWait([] {});

// Makes one call after the other fail. Returns the outcomes of the runs in which it was a flush.
std::vector<bool> OutcomesOfFailedFlushes(const std::function<bool()>& run) {
  std::vector<bool> outcomes;
  for (int point = 1;; ++point) {
    const FaultPlan plan{Fault::kInputOutput, point};
    Arm(plan);
    const bool outcome = run();
    const FaultReport report = Disarm();
    if (!report.struck) return outcomes;
    if (report.call == Call::kFlush) outcomes.push_back(outcome);
  }
}

// A process that died before its flush may have made an existing change.
TEST(PreferenceFlushTest, SuccessMeansOnDiskAlsoWhereNothingChanges) {
  const ScopedEnvironment environment;
  for (const int scope : {kSharedScope, kUserScope, kMachineScope}) {
    WriteFile(FileOf(scope), kSound);
    const std::vector<bool> outcomes = OutcomesOfFailedFlushes([scope] {
      Transaction change(scope, kDomain);
      change.Set(u"A", u"text", u"old");
      return change.Commit().ok();
    });
    EXPECT_GE(outcomes.size(), 2u);  // the file and its folder, and the way there
    EXPECT_EQ(outcomes, std::vector<bool>(outcomes.size(), false));
    EXPECT_EQ(ReadFile(FileOf(scope)), kSound);
  }
}

// The same for an existing copy of a damaged file: it is flushed before the file is replaced.
TEST(PreferenceFlushTest, ACopyThatWasKeptBeforeIsPutOnDisk) {
  const ScopedEnvironment environment;
  const auto flushes_of_repair = [](bool is_kept) {
    const auto repair = [is_kept] {
      {
        const Paused paused;
        WriteFile(FileOf(kUserScope), kDamaged);
        fs::remove(FileOf(kUserScope) + ".damaged");
        if (is_kept) WriteFile(FileOf(kUserScope) + ".damaged", kDamaged);
      }
      return RepairDomain(kUserScope, kDomain).status.ok();
    };
    const std::vector<bool> outcomes = OutcomesOfFailedFlushes(repair);
    EXPECT_EQ(outcomes, std::vector<bool>(outcomes.size(), false));
    return outcomes.size();
  };
  EXPECT_EQ(flushes_of_repair(true), flushes_of_repair(false) + 1);
}

// If the folder cannot be flushed, it has the new file nevertheless.
TEST(PreferenceFlushTest, TheOldFileOrItsBackupOutlivesAChangeThatFails) {
  const ScopedEnvironment environment;
  const std::string file = FileOf(kUserScope), list = environment.folder() / "list";
  WriteFile(list, "{\"A\": {\"text\": \"new\"}}");
  const char* const words[] = {"orvikprefs", "--scope",  "user",    "--domain",  "com.example.walk",
                               "import",     "--backup", "--quiet", list.c_str()};
  bool is_kept = true;
  const std::vector<bool> outcomes = OutcomesOfFailedFlushes([&] {
    {
      const Paused paused;
      fs::remove_all(fs::path(file).parent_path());
      WriteFile(file, kSound);
    }
    std::ostringstream out;
    const int status = prefstool::Run(static_cast<int>(std::size(words)), words, false, out, out);
    const Paused paused;
    bool has_old = false;
    for (const fs::directory_entry& entry : fs::directory_iterator(fs::path(file).parent_path())) {
      has_old = has_old || (entry.file_size() != 0 && ReadFile(entry.path()) == kSound);
    }
    is_kept = is_kept && has_old;
    return status == 0;
  });
  EXPECT_GE(outcomes.size(), 4u);
  EXPECT_EQ(outcomes, std::vector<bool>(outcomes.size(), false));
  EXPECT_TRUE(is_kept);
}

TEST(PreferenceFlushTest, AStrictRunFailsWithItsLastFlush) {
  const ScopedEnvironment environment;
  const ScopedVariable strict("ORVIK_STRICT", "1");
  const ScopedArguments arguments({"-pathToPkg", "/p", "-pathToDest", "/d", "-mountPointOfDest",
                                   "/", "-rootOfCurrSystemFolder", "/"});
  ASSERT_EQ(RunPostflight(), 0);
  // Everything is recorded; only the flushes of the existing files remain.
  const std::vector<bool> outcomes = OutcomesOfFailedFlushes([] { return RunPostflight() == 0; });
  ASSERT_FALSE(outcomes.empty());
  EXPECT_FALSE(outcomes.back());
}

INSTANTIATE_TEST_SUITE_P(Preferences, FaultsTest, ::testing::ValuesIn(Operations()));

// ---- Documents ----

constexpr char kConfig[] =
    "<key name=\"ORVIK Technologies\" scope=\"User\">\n"
    "    <key name=\"A\"><value name=\"v\" data=\"1\"/></key>\n</key>\n";

Reported SaveConfig() {
  SetXMLConfig(1, File(InHome("/config.xml")));
  if (!WriteXMLConfigInt(1, u"A", u"v", 2)) return Reported::kFailed;
  return SaveXMLConfigFile(1) ? Reported::kDone : Reported::kFailed;
}

Reported WriteCompressed(std::string_view piece, int times) {
  const CComPtr<IStream> stream =
      CStreamFactory::CreateWritableCompressedFileStream(File(InHome("/stream")));
  if (stream == nullptr) return Reported::kFailed;
  for (int i = 0; i < times; ++i) {
    const auto size = static_cast<unsigned long>(piece.size());
    if (stream->Write(piece.data(), size, nullptr) < 0) return Reported::kFailed;
  }
  return FinishStream(stream) == S_OK ? Reported::kDone : Reported::kFailed;
}

// Bytes that cannot be compressed are written unchanged.
std::string RandomBytes() {
  std::minstd_rand random(1);
  std::string bytes(400'000, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random() >> 8);
  return bytes;
}

Reported WriteXml() {
  CComPtr<IORVIKXMLWriter> writer;
  if (IORVIKXMLWriter::CreateORVIKXMLWriter(&writer, File(InHome("/doc.xml"))) < 0) {
    return Reported::kFailed;
  }
  writer->OutputXMLHeader();
  writer->startElement("root");
  writer->WriteTextAttribute("name", "a & b");
  writer->endElement("root");
  return writer->Finish() == S_OK ? Reported::kDone : Reported::kFailed;
}

// A stream truncates its file at once and writes it step by step.
bool IsBeginning(const std::string& path, const std::string* content) {
  constexpr std::string_view kWhole =
      "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?><root name=\"a &amp; b\"/>";
  return path == "home/doc.xml" && content != nullptr && kWhole.starts_with(*content);
}

// The leftover of a killed process is not read as the content of a file.
bool IsBeginningOfPrivateFile(const std::string& path, const std::string* content) {
  return path == "home/Library/own/file" && content != nullptr;
}

// A file that is not a configuration is kept beside its place before it is replaced.
bool IsDiscarded(const std::string& path, const std::string* content) {
  return path == "home/config.xml.discarded" && content != nullptr && *content == "x";
}

Reported WritePropertyFile() {
  const NSAutoreleasePool pool;
  const NSString* const path = CFSTR(File(InHome("/p.plist")).GetFilePathString().View());
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

// Any of the recorded values may be missing.
bool IsPartlyRecorded(const std::string& path, const std::string* content) {
  return path == kRegistry && content != nullptr && content->ends_with("</plist>\n") &&
         content->find("<key>Other</key>") != std::string::npos;
}

std::function<void()> With(const char* name, const char* content) {
  return [=] { WriteFile(InHome(name), content); };
}

void WithAnotherValue() {
  WriteFile(Stage() + "/" + kRegistry,
            "<plist version=\"1.0\"><dict><key>Other</key><true/></dict></plist>\n");
}

OperationTable DocumentOperations() {
  OperationTable add;
  const auto nothing = [] {};
  add("configuration", With("/config.xml", kConfig), SaveConfig);
  add("configuration, first of all", nothing, SaveConfig);
  add("emptied configuration", With("/config.xml", kConfig), [] {
    return CreateConfigFile(File(InHome("/config.xml")), 1) ? Reported::kDone : Reported::kFailed;
  });
  Operation& kept = add("private file", nothing, [] {
    constexpr const char* kFolders[] = {"Library", "own"};
    const host::Descriptor folder = host::OpenPrivateFolder(InHome(""), kFolders, true);
    const int error = folder ? host::WritePrivateFile(folder.get(), "file", "text") : errno;
    return error == 0 ? Reported::kDone : Reported::kFailed;
  });
  kept.steps = Steps::kWhenKilled;
  kept.also = IsBeginningOfPrivateFile;
  kept.repeats = false;
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
    // Streams and the writer do not flush.
    const bool is_durable = operation.name.starts_with("configuration") ||
                            operation.name == "property file" || operation.name == "private file" ||
                            operation.name == "postflight";
    if (is_durable) operation.durable = Durable::kDone;
  }
  return add;
}

INSTANTIATE_TEST_SUITE_P(Documents, FaultsTest, ::testing::ValuesIn(DocumentOperations()));

}  // namespace
}  // namespace orvik::test
