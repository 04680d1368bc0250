#include "postflight/property_file.h"

#include "platform/core_foundation/collections.h"
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

}  // namespace
}  // namespace orvik::test
