#include "files/edition.h"

#include <gtest/gtest.h>

#include "tests/files/support.h"

namespace orvik {
namespace {

class Edition : public test::EnvironmentTest {
 protected:
  void TearDown() override { CPagewellEditionHelper::SetPagewellStudentMode(false); }

  std::u16string Below(const char16_t* rest) const {
    return test::Units(test::Text(env_.temp())) + u"/ORVIK Technologies" + rest;
  }
};

TEST_F(Edition, StudentModeRenamesTheTemporaryFolders) {
  using Path = COrvikDirectoryPath;
  EXPECT_FALSE(CPagewellEditionHelper::IsPagewellStudentMode());
  EXPECT_EQ(test::Units(Path::GetORVIKDirectoryPath()), Below(u""));
  EXPECT_EQ(test::Units(Path::GetPagewellTempDirectoryPath()), Below(u"/ORVIK Pagewell"));
  EXPECT_EQ(test::Units(Path::GetApplicationTempFileDirectoryPath(u"orvik PAGEWELL")),
            Below(u"/orvik PAGEWELL/TempFiles"));

  CPagewellEditionHelper::SetPagewellStudentMode(true);
  EXPECT_TRUE(CPagewellEditionHelper::IsPagewellStudentMode());
  EXPECT_EQ(test::Units(Path::GetPagewellTempDirectoryPath()), Below(u"/ORVIK Pagewell SE"));
  EXPECT_EQ(test::Units(Path::GetApplicationTempFileDirectoryPath(u"orvik PAGEWELL")),
            Below(u"/ORVIK Pagewell SE/TempFiles"));
  EXPECT_EQ(test::Units(Path::GetApplicationTempFileDirectoryPath(u"Other")),
            Below(u"/Other/TempFiles"));
  EXPECT_FALSE(test::Stands(env_.temp() / "ORVIK Technologies"));
}

TEST_F(Edition, StoresTheUsbModeAndFolder) {
  EXPECT_FALSE(CPagewellEditionHelper::IsPagewellStudentUSBMode());
  EXPECT_TRUE(CPagewellEditionHelper::GetPagewellStudentUSBInstallDirectory().IsEmptyPath());
  CPagewellEditionHelper::SetPagewellStudentUSBMode(true);
  CPagewellEditionHelper::SetPagewellStudentUSBInstallDirectory(
      COrvikDirectoryPath(u"/Volumes/U/"));
  EXPECT_TRUE(CPagewellEditionHelper::IsPagewellStudentUSBMode());
  EXPECT_EQ(test::Units(CPagewellEditionHelper::GetPagewellStudentUSBInstallDirectory()),
            u"/Volumes/U");
  CPagewellEditionHelper::SetPagewellStudentUSBMode(false);
  CPagewellEditionHelper::SetPagewellStudentUSBInstallDirectory({});
}

}  // namespace
}  // namespace orvik
