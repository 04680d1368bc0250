// Searches, times and the Windows calls that have nothing below them here.
#include "files/windows_files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>

#include "platform/carbon/machine.h"

namespace orvik {
namespace {

TEST(WindowsFind, NothingIsEverFound) {
  _WIN32_FIND_DATA data;
  data.dwFileAttributes = 7;
  EXPECT_EQ(FindFirstFile(u"/tmp/*", &data), INVALID_HANDLE_VALUE);
  EXPECT_EQ(FindNextFile(INVALID_HANDLE_VALUE, &data), FALSE);
  EXPECT_EQ(FindClose(INVALID_HANDLE_VALUE), TRUE);
  EXPECT_EQ(data.dwFileAttributes, 7u);
}

TEST(WindowsFind, TheRecordTakesTheCatalogsNumbersUnconverted) {
  FSCatalogInfo info;
  info.permissions.mode = 040500;
  info.createDate = {1, 2, 3};
  info.accessDate = {4, 5, 6};
  info.contentModDate = {7, 8, 9};
  info.dataLogicalSize = 1;
  info.dataPhysicalSize = 0x300000001;
  HFSUniStr255 name;
  name.length = 255;
  std::fill_n(name.unicode, 255, u'n');
  _WIN32_FIND_DATA data;
  std::fill_n(data.cFileName, MAX_PATH, u'x');
  InitW32FindDataFromCatalogInfo(&info, &name, &data);
  EXPECT_EQ((std::vector<DWORD>{
                data.dwFileAttributes, data.ftCreationTime.dwHighDateTime,
                data.ftCreationTime.dwLowDateTime, data.ftLastAccessTime.dwLowDateTime,
                data.ftLastWriteTime.dwHighDateTime, data.nFileSizeHigh, data.nFileSizeLow}),
            (std::vector<DWORD>{0x11, 1, 2, 5, 7, 3, 1}));
  EXPECT_EQ(std::u16string(data.cFileName), std::u16string(255, u'n'));
}

TEST(StorageFiles, AreNotThere) {
  IStorage* const untouched = reinterpret_cast<IStorage*>(&errno);
  IStorage* storage = untouched;
  EXPECT_EQ(StgCreateDocfile(u"/tmp/x", 0, 0, &storage), E_NOTIMPL);
  EXPECT_EQ(StgOpenStorage(u"/tmp/x", nullptr, 0, nullptr, 0, &storage), E_NOTIMPL);
  EXPECT_EQ(StgIsStorageFile(u"/tmp"), E_NOTIMPL);
  EXPECT_EQ(storage, untouched);
}

TEST(LastError, IsWhatWasSetAndNoCallSetsIt) {
  SetLastError(7);
  FindFirstFile(u"/none", nullptr);
  EXPECT_EQ(GetLastError(), 7u);
  EXPECT_EQ(g_dwLastErrCode, 7u);
  SetLastError(0);
}

TEST(WindowsTime, ClassifiesVersions) {
  const std::pair<DWORD, int> cases[] = {{0x0000, -1}, {0x101F, -1}, {0x1020, 0}, {0x102F, 0},
                                         {0x1030, 1},  {0x103F, 1},  {0x1040, 2}, {0x1049, 2},
                                         {0x104F, 2},  {0x1050, 3},  {0x2000, 3}};
  for (const auto& [word, expected] : cases) EXPECT_EQ(ClassifyOSXVersion(word), expected) << word;
  EXPECT_GE(CurrentMachineOSXVersion(), -1);
}

TEST(WindowsTime, DropsTheRestOfASecond) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < 20; ++i) Sleep(999);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

TEST(WindowsTime, TurnsTicksIntoMilliseconds) {
  UInt32 ticks;
  DWORD milliseconds;
  do {
    ticks = TickCount();
    milliseconds = GetTickCount();
  } while (TickCount() != ticks);
  EXPECT_EQ(milliseconds, static_cast<DWORD>(ticks * 1000u) / 60);
}

}  // namespace
}  // namespace orvik
