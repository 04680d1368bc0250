#include "postflight/installer_args.h"

#include "tests/postflight/log_fixture.h"

namespace orvik::test {
namespace {

class InstallerArgsTest : public LogTest {
 protected:
  ~InstallerArgsTest() override { arguments_->release(); }

  std::string Joined() const {
    const NSString* const joined = arguments_->getDestVolMountPointAndPathToInstallDest();
    return joined == nullptr ? "none" : joined->ToUtf8();
  }

  InstallerArgs* const arguments_ = new InstallerArgs;
};

TEST_F(InstallerArgsTest, BeforeTheArgumentsAreReadThereIsNone) {
  EXPECT_EQ(Joined(), "none");
  arguments_->logValues();
  EXPECT_EQ(Log(), "Options Set:\n");
  arguments_->setDestVolMountPoint(Text("/Volumes/Data"));
  EXPECT_EQ(Joined(), "none");
  arguments_->logValues();
  EXPECT_EQ(Log(), "Options Set:\n/Volumes/Data\n");
}

TEST_F(InstallerArgsTest, JoinsTheDestinationWithItsVolume) {
  arguments_->setPathToInstallDest(Text("/Applications"));
  arguments_->setDestVolMountPoint(Text("/Volumes/Data"));
  EXPECT_EQ(Joined(), "/Volumes/Data/Applications");
  arguments_->setDestVolMountPoint(Text("/"));
  EXPECT_EQ(Joined(), "/Applications");
  arguments_->setDestVolMountPoint(nullptr);
  EXPECT_EQ(Joined(), "none");
}

}  // namespace
}  // namespace orvik::test
