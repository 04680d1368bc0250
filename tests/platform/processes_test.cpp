#include "platform/carbon/machine.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

#include "platform/core_foundation/errno_status.h"
#include "platform/core_foundation/string.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

std::string NameOf(pid_t pid) {
  ProcessSerialNumber process;
  CFStringRef name = nullptr;
  if (GetProcessForPID(pid, &process) != noErr || CopyProcessName(&process, &name) != noErr) {
    return "(none)";
  }
  std::string text = name->ToUtf8();
  CFRelease(name);
  return text;
}

TEST(ProcessesTest, TheCurrentProcessIsFoundByItsIdUnderTheNameOfItsProgram) {
  ProcessSerialNumber first, second;
  EXPECT_EQ(GetProcessForPID(getpid(), &first), noErr);
  EXPECT_EQ(GetProcessForPID(getpid(), &second), noErr);
  EXPECT_EQ(first.highLongOfPSN, second.highLongOfPSN);
  EXPECT_EQ(NameOf(getpid()), "orvik_platform_tests");
}

TEST(ProcessesTest, AZombieAndAReusedIdAreNotTheProcess) {
  OtherProcess other;
  const pid_t child = other.pid();
  ProcessSerialNumber process;
  EXPECT_EQ(GetProcessForPID(child, &process), noErr);
  EXPECT_EQ(NameOf(child), "orvik_platform_tests");
  ProcessSerialNumber earlier = process;
  earlier.highLongOfPSN -= 1;
  CFStringRef name = nullptr;
  EXPECT_EQ(CopyProcessName(&earlier, &name), procNotFound);
  other.Kill();
  EXPECT_EQ(GetProcessForPID(child, &process), procNotFound);
  EXPECT_EQ(CopyProcessName(&process, &name), procNotFound);
  other.End();
  for (const pid_t none : {0, -1, child}) EXPECT_EQ(GetProcessForPID(none, &process), procNotFound);
}

TEST(ProcessesTest, AThreadIsNoProcess) {
  std::thread([] { EXPECT_EQ(NameOf(gettid()), "(none)"); }).join();
}

using ProcessNameTest = EnvironmentTest;

TEST_F(ProcessNameTest, IsWholeForALongNameAndAReplacedProgram) {
  const auto program = env_.folder() / "a (rather) long name of a program";
  fs::copy_file("/bin/sleep", program);
  const pid_t child = fork();
  if (child == 0) {
    execl(program.c_str(), "other", "60", nullptr);
    _exit(1);
  }
  std::string name;
  for (int tries = 0; tries < 500 && name != program.filename(); ++tries) {
    usleep(2000);
    name = NameOf(child);
  }
  EXPECT_EQ(name, program.filename());
  fs::remove(program);
  EXPECT_EQ(NameOf(child), program.filename());
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
}

}  // namespace
}  // namespace orvik::test
