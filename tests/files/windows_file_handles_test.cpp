#include "files/windows_file_handles.h"

#include <fcntl.h>
#include <unistd.h>

#include <thread>

#include "tests/support/test_environment.h"

namespace orvik {
namespace {

namespace fs = std::filesystem;

constexpr DWORD kReadWrite = 0;

class WindowsFileHandlesTest : public test::EnvironmentTest {
 protected:
  HANDLE Open(const char* name, DWORD access, DWORD share, DWORD disposition) {
    return CreateFile(At(name).u16string().c_str(), access, share, nullptr, disposition, 0,
                      nullptr);
  }
  bool Opens(const char* name, DWORD access, DWORD share, DWORD disposition) {
    const HANDLE handle = Open(name, access, share, disposition);
    return handle != INVALID_HANDLE_VALUE && CloseHandle(handle) != FALSE;
  }
};

TEST_F(WindowsFileHandlesTest, CreationDispositions) {
  const std::tuple<DWORD, bool, bool> cases[] = {
      {0, true, true},  {CREATE_NEW, true, false},  {CREATE_ALWAYS, true, true},
      {3, false, true}, {OPEN_ALWAYS, false, true}, {5, false, true},
      {6, false, true}, {0xFFFFFFFF, false, true}};
  for (const auto& [disposition, opens_missing, opens_existing] : cases) {
    SCOPED_TRACE(disposition);
    fs::remove(At("missing"));
    test::WriteFile(At("existing"), "content");
    EXPECT_EQ(Opens("missing", kReadWrite, 1, disposition), opens_missing);
    EXPECT_EQ(fs::exists(At("missing")), opens_missing);
    EXPECT_EQ(Opens("existing", kReadWrite, 1, disposition), opens_existing);
    EXPECT_EQ(test::ReadFile(At("existing")), "content");
  }
  EXPECT_FALSE(Opens("no/folder", kReadWrite, 1, CREATE_ALWAYS));
  EXPECT_FALSE(Opens(".", kAccessRead, 1, OPEN_EXISTING));
  EXPECT_EQ(CreateFile(nullptr, kAccessRead, 1, nullptr, 3, 0, nullptr), INVALID_HANDLE_VALUE);
}

TEST_F(WindowsFileHandlesTest, SharingByAccessAndShareMode) {
  test::WriteFile(At("f"), "x");
  const std::tuple<DWORD, DWORD, DWORD, DWORD, bool> cases[] = {
      {kAccessRead, 1, kAccessReadData, 1, true},  {kAccessRead, 0, kAccessRead, 1, false},
      {kAccessReadData, 0, kAccessWrite, 1, true}, {kAccessWrite, 0, kAccessWrite, 1, false},
      {kAccessWrite, 0, kAccessRead, 1, true},     {kReadWrite, 1, kReadWrite, 1, true},
      {kReadWrite, 0, kReadWrite, 0, false},       {kReadWrite, 0, kAccessRead, 1, true},
  };
  for (const auto& [access, share, other_access, other_share, both] : cases) {
    const HANDLE first = Open("f", access, share, OPEN_EXISTING);
    ASSERT_NE(first, INVALID_HANDLE_VALUE);
    EXPECT_EQ(Opens("f", other_access, other_share, OPEN_EXISTING), both)
        << access << " " << share << " " << other_access << " " << other_share;
    CloseHandle(first);
  }
}

TEST_F(WindowsFileHandlesTest, ReadsWritesAndMoves) {
  const HANDLE handle = Open("f", kReadWrite, 0, CREATE_NEW);
  ASSERT_NE(handle, INVALID_HANDLE_VALUE);
  DWORD count = 0;
  EXPECT_EQ(WriteFile(handle, "0123456789", 10, &count, nullptr), TRUE);
  EXPECT_EQ(count, 10u);
  DWORD high = 77;
  EXPECT_EQ(GetFileSize(handle, &high), 10u);
  EXPECT_EQ(high, 77u);
  std::int32_t distance_high = 1;
  EXPECT_EQ(SetFilePointer(handle, 4, &distance_high, FILE_BEGIN), 4u);
  EXPECT_EQ(SetFilePointer(handle, -1, nullptr, FILE_CURRENT), 3u);
  EXPECT_EQ(SetFilePointer(handle, 9, nullptr, 7), 3u);
  EXPECT_EQ(SetFilePointer(handle, -4, nullptr, FILE_CURRENT), 0xFFFFFFFF);
  EXPECT_EQ(SetFilePointer(handle, -2, nullptr, FILE_END), 8u);
  char buffer[8] = {};
  EXPECT_EQ(ReadFile(handle, buffer, 2, &count, nullptr), TRUE);
  EXPECT_EQ(std::string(buffer, 2), "89");
  EXPECT_EQ(ReadFile(handle, buffer, 1, &count, nullptr), FALSE);
  EXPECT_EQ(count, 0u);
  SetFilePointer(handle, 9, nullptr, FILE_BEGIN);
  EXPECT_EQ(ReadFile(handle, buffer, 8, &count, nullptr), FALSE);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(ReadFile(handle, buffer, 0, nullptr, nullptr), TRUE);
  EXPECT_EQ(CloseHandle(handle), TRUE);
  const HANDLE reader = Open("f", kAccessRead, 1, OPEN_EXISTING);
  EXPECT_EQ(WriteFile(reader, "x", 1, &count, nullptr), FALSE);
  CloseHandle(reader);
  EXPECT_EQ(test::ReadFile(At("f")), "0123456789");
}

TEST_F(WindowsFileHandlesTest, HandlesThatAreNone) {
  DWORD count = 5;
  EXPECT_EQ(SetFilePointer(nullptr, 0, nullptr, FILE_BEGIN), 0u);
  EXPECT_EQ(SetFilePointer(INVALID_HANDLE_VALUE, 0, nullptr, FILE_BEGIN), 0xFFFFFFFF);
  EXPECT_EQ(GetFileSize(nullptr, nullptr), 0u);
  EXPECT_EQ(ReadFile(nullptr, &count, 1, &count, nullptr), FALSE);
  EXPECT_EQ(WriteFile(INVALID_HANDLE_VALUE, &count, 1, nullptr, nullptr), FALSE);
  EXPECT_EQ(CloseHandle(nullptr), FALSE);
  EXPECT_EQ(CloseHandle(INVALID_HANDLE_VALUE), FALSE);
}

TEST_F(WindowsFileHandlesTest, OneHandleSharedByThreads) {
  const HANDLE handle = Open("f", kReadWrite, 0, CREATE_NEW);
  const auto* const record = static_cast<const FileForkHandle*>(handle);
  EXPECT_EQ(record->type_tag, 3u);
  std::vector<std::thread> writers;
  for (int i = 0; i < 4; ++i) {
    writers.emplace_back([&] {
      for (int k = 0; k < 200; ++k) EXPECT_EQ(WriteFile(handle, "1234", 4, nullptr, nullptr), TRUE);
    });
  }
  for (std::thread& writer : writers) writer.join();
  EXPECT_EQ(GetFileSize(handle, nullptr), 4u * 200 * 4);
  CloseHandle(handle);
  EXPECT_EQ(test::ReadFile(At("f")), test::Repeated("1234", 800));
}

TEST_F(WindowsFileHandlesTest, SizesKeepTheirLow32Bits) {
  const std::string path = env_.temp() / "large";
  const int descriptor = open(path.c_str(), O_CREAT | O_RDWR, 0600);
  ASSERT_EQ(ftruncate(descriptor, 0x100000005), 0);
  EXPECT_EQ(filelength(descriptor), 5u);
  close(descriptor);
  EXPECT_EQ(filelength(-1), 0xFFFFFFFF);
  const HANDLE handle = Open("large", kAccessRead, 1, OPEN_EXISTING);
  EXPECT_EQ(GetFileSize(handle, nullptr), 5u);
  EXPECT_EQ(SetFilePointer(handle, -1, nullptr, FILE_END), 4u);
  CloseHandle(handle);
}

}  // namespace
}  // namespace orvik
