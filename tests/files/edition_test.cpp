#include "files/edition.h"

#include <gtest/gtest.h>

#include "tests/files/support.h"

namespace orvik::test {
namespace {

class Edition : public EnvironmentTest {
 protected:
  void TearDown() override { CPagewellEditionHelper::SetPagewellStudentMode(false); }

  std::u16string Below(const char16_t* rest) const {
    return Units(Text(env_.temp())) + u"/ORVIK Technologies" + rest;
  }
};

TEST_F(Edition, StudentModeRenamesTheTemporaryFolders) {
  using Path = COrvikDirectoryPath;
  EXPECT_EQ(Units(Path::GetORVIKDirectoryPath()), Below(u""));
  EXPECT_EQ(Units(Path::GetPagewellTempDirectoryPath()), Below(u"/ORVIK Pagewell"));
  EXPECT_EQ(Units(Path::GetApplicationTempFileDirectoryPath(u"orvik PAGEWELL")),
            Below(u"/orvik PAGEWELL/TempFiles"));

  CPagewellEditionHelper::SetPagewellStudentMode(true);
  EXPECT_EQ(Units(Path::GetPagewellTempDirectoryPath()), Below(u"/ORVIK Pagewell SE"));
  EXPECT_EQ(Units(Path::GetApplicationTempFileDirectoryPath(u"orvik PAGEWELL")),
            Below(u"/ORVIK Pagewell SE/TempFiles"));
  EXPECT_EQ(Units(Path::GetApplicationTempFileDirectoryPath(u"Other")), Below(u"/Other/TempFiles"));
  EXPECT_FALSE(Stands(env_.temp() / "ORVIK Technologies"));
}

TEST_F(Edition, StoresTheUsbModeAndFolder) {
  using Helper = CPagewellEditionHelper;
  EXPECT_FALSE(Helper::IsPagewellStudentUSBMode());
  EXPECT_TRUE(Helper::GetPagewellStudentUSBInstallDirectory().IsEmptyPath());
  Helper::SetPagewellStudentUSBMode(true);
  Helper::SetPagewellStudentUSBInstallDirectory(COrvikDirectoryPath(u"/Volumes/U/"));
  EXPECT_TRUE(Helper::IsPagewellStudentUSBMode());
  EXPECT_EQ(Units(Helper::GetPagewellStudentUSBInstallDirectory()), u"/Volumes/U");
  Helper::SetPagewellStudentUSBMode(false);
  Helper::SetPagewellStudentUSBInstallDirectory({});
}

}  // namespace
}  // namespace orvik::test
