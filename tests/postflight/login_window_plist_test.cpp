#include "postflight/property_file.h"

#include "platform/core_foundation/collections.h"
#include "plist/forms.h"

#include "tests/postflight/log_fixture.h"
#include "tests/support/plist_files.h"

namespace orvik::test {
namespace {

class LoginWindowPlistTest : public LogTest {
 protected:
  ~LoginWindowPlistTest() override { file_->release(); }

  void Load(const std::string& dictionary) {
    WriteFile(path_, "<plist version=\"1.0\">" + dictionary + "</plist>");
    ASSERT_EQ(file_->initWithFilePath(Text(path_)), YES);
    Log();
  }

  // The list as another reader finds it after the root was written.
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
