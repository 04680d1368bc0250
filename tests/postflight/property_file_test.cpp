#include "postflight/property_file.h"

#include "platform/core_foundation/collections.h"
#include "plist/forms.h"
#include "tests/postflight/log_fixture.h"
#include "tests/support/plist_files.h"

namespace orvik::test {
namespace {

class PropertyFileTest : public LogTest {
 protected:
  ~PropertyFileTest() override { file_->release(); }

  ObjCBool Load() { return file_->initWithFilePath(Text(path_)); }
  std::string Kind() {
    const std::string bytes = ReadFile(path_);
    return bytes.starts_with("bplist") ? "binary" : bytes.starts_with("<?xml") ? "xml" : "other";
  }
  std::string LoadLines() const {
    return "entering [propertyFile initWithFilePath: " + path_ +
           "]\nentering [propertyFile setpFilePath]\nentering [propertyFile fileExists] with [self "
           "pfilePath] set to " +
           path_ + "\n";
  }

  propertyFile* const file_ = new propertyFile;
  const std::string path_ = (env_.folder() / "l\xC3\xB6gin %d.plist").string();
};

const char kXml[] = "<plist version=\"1.0\"><dict><key>a</key><string>b</string></dict></plist>";
const std::string kData = "[propertyFile write: pFormat] - dataFromPropertyList... ";
const std::string kToFile = "[propertyFile write: pFormat] - writeToFile... ";
const std::string kWriteLine =
    "entering [propertyFile write]\nentering [propertyFile write: pFormat]\n";

TEST_F(PropertyFileTest, AMissingFileIsAnEmptyOne) {
  EXPECT_EQ(Load(), YES);
  EXPECT_EQ(Log(), LoadLines() + "file does not exist\nleaving [propertyFile initWithFilePath]\n");
  EXPECT_EQ(file_->Plist(), nullptr);
  EXPECT_EQ(file_->pFormat(), 0u);
  EXPECT_EQ(Log(), "entering [propertyFile Plist]\nentering [propertyFile pFormat]\n");
  // Format 0 cannot be written.
  file_->setPlist(NSDictionary::dictionary());
  Log();
  EXPECT_EQ(file_->write(), NO);
  const std::string lines = Log();
  EXPECT_TRUE(lines.starts_with(kWriteLine + kData + "failed with error: ")) << lines;
  EXPECT_TRUE(lines.ends_with("\nleaving [propertyFile write: pFormat]\n")) << lines;
  EXPECT_FALSE(fs::exists(path_));
  file_->setpFormat(100);
  EXPECT_EQ(Log(), "");
  EXPECT_EQ(file_->write(), YES);
  EXPECT_EQ(Log(), kWriteLine + kData + "successful\n" + kToFile +
                       "successful, with pfilePath: " + path_ + "\n");
  EXPECT_EQ(Kind(), "xml");
}

TEST_F(PropertyFileTest, FailedLoadsAndWritesKeepRootFormatAndFile) {
  WriteFile(path_, kXml);
  ASSERT_EQ(Load(), YES);
  EXPECT_EQ(Log(), LoadLines() +
                       "file exists\nentering [propertyFile setPlist]\n"
                       "leaving [propertyFile initWithFilePath]\n");
  const std::string gone = At("no/such/folder/x.plist").string();
  file_->setpFilePath(Text(gone));
  Log();
  EXPECT_EQ(file_->write(), NO);
  EXPECT_EQ(Log(), kWriteLine + kData + "successful\n" + kToFile +
                       "failed, with pfilePath: " + gone + "\n");
  NSObject* const root = file_->Plist();
  Log();
  WriteFile(path_, "<plist><dict>");
  EXPECT_EQ(Load(), NO);
  const std::string lines = Log();
  const std::string start =
      LoadLines() +
      "file exists\n[NSPropertyListSerialization propertyListFromData...] failed with error: ";
  EXPECT_TRUE(lines.starts_with(start) && lines.size() > start.size() + 1) << lines;
  fs::remove(path_);
  fs::create_directories(path_);
  EXPECT_EQ(Load(), NO);
  EXPECT_EQ(Log(), LoadLines() + "file exists\n[NSData dataWithContentsOfFile: " + path_ +
                       "] could not create data object\n");
  EXPECT_EQ(file_->Plist(), root);
  EXPECT_EQ(file_->pFormat(), 100u);
}

TEST_F(PropertyFileTest, WritesTheFormatThatWasRead) {
  WritePlist(path_, R"({"a":[1,2.5,true]})", "binary");
  ASSERT_EQ(Load(), YES);
  EXPECT_EQ(file_->pFormat(), 200u);
  static_cast<NSDictionary*>(file_->Plist())->setObject(Text("v"), Text("new"));
  EXPECT_EQ(file_->write(), YES);
  EXPECT_EQ(Kind(), "binary");
  EXPECT_EQ(OnDisk(path_), R"({"a":[1,2.5,true],"new":"v"})");
}

TEST_F(PropertyFileTest, TheOldTextFormCanOnlyBeRead) {
  WriteFile(path_, "{ a = b; list = (1, \"two words\"); }");
  ASSERT_EQ(Load(), YES);
  EXPECT_EQ(file_->pFormat(), 1u);
  Log();
  EXPECT_EQ(file_->write(), NO);
  const std::string start = kWriteLine + kData + "failed with error: ";
  const std::string lines = Log();
  EXPECT_TRUE(lines.starts_with(start) && lines[start.size()] != '\n') << lines;
  EXPECT_EQ(ReadFile(path_), "{ a = b; list = (1, \"two words\"); }");
  EXPECT_EQ(file_->write(200), YES);
  EXPECT_EQ(Kind(), "binary");
}

class LoginWindowPlistTest : public LogTest {
 protected:
  ~LoginWindowPlistTest() override { file_->release(); }

  void Load(const std::string& dictionary) {
    WriteFile(path_, "<plist version=\"1.0\">" + dictionary + "</plist>");
    ASSERT_EQ(file_->initWithFilePath(Text(path_)), YES);
    Log();
  }

  // The list that another reader finds after the root was written.
  std::string Written() {
    file_->setpFormat(100);
    EXPECT_EQ(file_->write(), YES);
    Log();
    return OnDisk(path_);
  }

  LoginWindowPlist* const file_ = new LoginWindowPlist;
  const std::string path_ = (env_.folder() / "loginwindow.plist").string();
};

const std::string kGet = "[LoginWindowPlist autoLaunchedAppDictArr]";
const std::string kAdd = "entering [addFilePathToAutoLaunchedAppDictArr Path: ";
const std::string kAdded =
    "leaving [addFilePathToAutoLaunchedAppDictArr addFilePathToAutoLaunchedAppDictArr]";
const char kItem[] = "<dict><key>Path</key><string>/Applications/A.app</string></dict>";

TEST_F(LoginWindowPlistTest, MakesTheRootAndTheList) {
  file_->initWithFilePath(Text(path_));
  Log();
  EXPECT_EQ(file_->autoLaunchedAppDictArr(), nullptr);
  EXPECT_EQ(Log(), "entering " + kGet + "\nleaving " + kGet + " because [self Plist] is nil\n");
  EXPECT_EQ(file_->addFilePathToAutoLaunchedAppDictArr(Text("/A 100%.app")), YES);
  EXPECT_EQ(Log(), "entering [LoginWindowPlist addFilePathToAutoLaunchedAppDictArr]\n" + kAdd +
                       "/A 100%.app]\nentering [propertyFile setPlist]\n" + kAdded +
                       ", set AutoLaunchedApplicationDictionary onwards \n");
  EXPECT_NE(file_->autoLaunchedAppDictArr(), nullptr);
  EXPECT_EQ(Log(), "entering " + kGet +
                       "\nleaving [autoLaunchedAppDictArr autoLaunchedAppDictArr] with an "
                       "AutoLaunchedAppDictArr\n");
  EXPECT_EQ(Written(),
            R"({"AutoLaunchedApplicationDictionary":[{"Hide":false,"Path":"/A 100%.app"}]})");
}

TEST_F(LoginWindowPlistTest, UpdatesEveryMatchAndAppendsOtherwise) {
  const std::string items = std::string(kItem) + "<string>no item</string><dict/>" + kItem;
  Load("<dict><key>x</key><integer>1</integer><key>AutoLaunchedApplicationDictionary</key><array>" +
       items + "</array></dict>");
  EXPECT_EQ(file_->addFilePathToAutoLaunchedAppDictArr(Text("/Applications/A.app"), YES), YES);
  const std::string set = "bPathFound set to YES for currPath: /Applications/A.app\n";
  EXPECT_EQ(Log(), kAdd + "/Applications/A.app]\n" + set + set + kAdded + "\n");
  EXPECT_EQ(file_->addFilePathToAutoLaunchedAppDictArr(Text("/applications/A.app"), NO), YES);
  EXPECT_EQ(Log(), kAdd +
                       "/applications/A.app]\nbPathFound != YES, adding Path: "
                       "/applications/A.app\n" +
                       kAdded + "\n");
  EXPECT_EQ(Written(),
            R"({"AutoLaunchedApplicationDictionary":[{"Hide":true,"Path":"/Applications/A.app"},)"
            R"("no item",{},{"Hide":true,"Path":"/Applications/A.app"},)"
            R"({"Hide":false,"Path":"/applications/A.app"}],"x":1})");
}

// setPlist copies only the root; its contents stay immutable. The fuzz target login_items covers
// other roots.
TEST_F(LoginWindowPlistTest, RefusesAListThatIsMissingOrCannotBeChanged) {
  Load("<dict><key>x</key><string>y</string></dict>");
  EXPECT_EQ(file_->autoLaunchedAppDictArr(), nullptr);
  EXPECT_EQ(Log(), "entering " + kGet + "\nleaving " + kGet +
                       ", unable to get AutoLaunchedApplicationDictionary array\n");
  // An item needs a path.
  EXPECT_EQ(file_->addFilePathToAutoLaunchedAppDictArr(nullptr), NO);
  EXPECT_EQ(Written(), R"({"x":"y"})");
  const std::string xml = std::string("<dict><key>AutoLaunchedApplicationDictionary</key><array>") +
                          kItem + "</array></dict>";
  const CFTypeRef list = CreateObject(plist::Read(xml).root, kCFPropertyListImmutable);
  file_->setPlist(static_cast<const NSObject*>(list));
  CFRelease(list);
  for (const char* path : {"/Applications/A.app", "/other"}) {
    Log();
    EXPECT_EQ(file_->addFilePathToAutoLaunchedAppDictArr(Text(path), YES), NO);
    EXPECT_TRUE(Contains(Log(), "unable to change AutoLaunchedApplicationDictionary\n"));
  }
}

}  // namespace
}  // namespace orvik::test
