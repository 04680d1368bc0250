#include "streams/readable_stream_on_file.h"

#include <cstdint>
#include <limits>

#include "files/global_memory.h"
#include "streams/com_ptr.h"
#include "streams/stream_factory.h"
#include "tests/files/support.h"

namespace orvik::test {
namespace {

constexpr std::int64_t kSize = 50'000;

class ReadableStreamOnFileTest : public EnvironmentTest {
 protected:
  ReadableStreamOnFileTest() {
    for (int i = 0; i < kSize; ++i) content_ += static_cast<char>('a' + i % 23);
    WriteFile(file_, content_);
    stream_ = CStreamFactory::CreateReadableStreamOnFile(path_);
  }

  std::string ReadText(IStream* stream, unsigned long count) {
    std::string text(count, '?');
    unsigned long read = 0;
    if (stream->Read(text.data(), count, &read) < 0) return "failed";
    return text.substr(0, read);
  }

  const fs::path file_ = env_.folder() / "content";
  const COrvikFilePath path_ = File(file_);
  std::string content_;
  CComPtr<IStream> stream_;
};

TEST_F(ReadableStreamOnFileTest, ReadsOnFromWhereItStands) {
  ASSERT_NE(stream_, nullptr);
  EXPECT_EQ(ReadText(stream_, 10), content_.substr(0, 10));
  EXPECT_EQ(ReadText(stream_, 100'000), content_.substr(10));
  char byte;
  unsigned long read = 9;
  EXPECT_EQ(stream_->Read(&byte, 1, &read), S_FALSE);
  EXPECT_EQ(read, 0u);
  EXPECT_EQ(stream_->Read(&byte, 1, nullptr), E_FAIL);
  EXPECT_EQ(stream_->Read(nullptr, 1, &read), E_FAIL);
  constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
  for (const std::int64_t start :
       {kSize - 3, kSize, kSize + 1, std::int64_t{1} << 52, kMost, std::int64_t{-1}, -kMost}) {
    SCOPED_TRACE(start);
    const auto later = CStreamFactory::CreateReadableStreamOnFile(path_, {start});
    ASSERT_NE(later, nullptr);
    const std::string expected = start == kSize - 3 ? content_.substr(kSize - 3) : "";
    CComPtr<IStreamOnBuffer> target;
    CStreamFactory::CreateWritableBufferStream(&target);
    EXPECT_EQ(later->CopyTo(target, {1}, nullptr, nullptr), expected.empty() ? E_FAIL : S_OK);
    EXPECT_EQ(ReadText(later, 10), expected);
    EXPECT_EQ(ReadText(later, 10), "");
    EXPECT_EQ(later->Seek({5}, STREAM_SEEK_SET, nullptr), S_OK);
    EXPECT_EQ(ReadText(later, 2), content_.substr(5, 2));
  }
}

TEST_F(ReadableStreamOnFileTest, SeeksInsideTheFileOnly) {
  constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
  constexpr std::int64_t kOutside = kSize + 1;
  // Each starts at 100.
  const std::tuple<std::int64_t, unsigned long, std::int64_t> cases[] = {
      {0, STREAM_SEEK_SET, 0},
      {kSize, STREAM_SEEK_SET, kSize},
      {kSize + 1, STREAM_SEEK_SET, kOutside},
      {-1, STREAM_SEEK_SET, kOutside},
      {0, STREAM_SEEK_CUR, 100},
      {-100, STREAM_SEEK_CUR, 0},
      {-101, STREAM_SEEK_CUR, kOutside},
      {kMost, STREAM_SEEK_CUR, kOutside},
      {0, STREAM_SEEK_END, kSize},
      {-1, STREAM_SEEK_END, kSize - 1},
      {1, STREAM_SEEK_END, kOutside},
      {kMost, STREAM_SEEK_END, kOutside}};
  _ULARGE_INTEGER position{};
  for (const auto& [move, origin, expected] : cases) {
    SCOPED_TRACE(testing::Message() << move << " from " << origin);
    ASSERT_EQ(stream_->Seek({100}, STREAM_SEEK_SET, nullptr), S_OK);
    position.QuadPart = kOutside;
    EXPECT_EQ(stream_->Seek({move}, origin, &position),
              expected == kOutside ? STG_E_INVALIDFUNCTION : S_OK);
    EXPECT_EQ(position.QuadPart, static_cast<std::uint64_t>(expected));
    const auto at = static_cast<std::size_t>(std::min(expected, kSize));
    EXPECT_EQ(ReadText(stream_, 5), content_.substr(at, 5));
  }
  ASSERT_EQ(stream_->Seek({100}, STREAM_SEEK_SET, nullptr), S_OK);
  EXPECT_EQ(stream_->Seek({5}, 3, &position), STG_E_INVALIDFUNCTION);
  EXPECT_EQ(ReadText(stream_, 5), content_.substr(100, 5));
}

TEST_F(ReadableStreamOnFileTest, CopiesACountOrFails) {
  CComPtr<IStreamOnBuffer> target;
  CStreamFactory::CreateWritableBufferStream(&target);
  stream_->Seek({10}, STREAM_SEEK_SET, nullptr);
  _ULARGE_INTEGER read{7}, written{7};
  EXPECT_EQ(stream_->CopyTo(target, {kSize - 10}, &read, &written), S_OK);
  EXPECT_EQ(read.QuadPart, static_cast<std::uint64_t>(kSize - 10));
  EXPECT_EQ(written.QuadPart, static_cast<std::uint64_t>(kSize - 10));
  EXPECT_EQ(stream_->CopyTo(target, {kSize - 9}, nullptr, nullptr), E_FAIL);
  EXPECT_EQ(stream_->CopyTo(nullptr, {1}, nullptr, nullptr), E_INVALIDARG);
  EXPECT_EQ(stream_->CopyTo(target, {0}, nullptr, nullptr), S_OK);
  EXPECT_EQ(target->DetachBufferAsString().View(), content_.substr(10) + content_.substr(10));
  EXPECT_EQ(stream_->CopyTo(target, {5}, &read, &written), S_OK);
  EXPECT_EQ(read.QuadPart, 5u);
  EXPECT_EQ(written.QuadPart, 0u);
  EXPECT_EQ(ReadText(stream_, 3), content_.substr(10, 3));
}

TEST_F(ReadableStreamOnFileTest, TellsItsSizeAndNothingElse) {
  char16_t own[] = u"own";
  tagSTATSTG stat;
  stat.pwcsName = own;
  stat.mtime.QuadPart = 5;
  EXPECT_EQ(stream_->Stat(&stat, STATFLAG_NONAME), S_OK);
  EXPECT_EQ(stat.pwcsName, own);
  EXPECT_EQ(stat.type, 2u);
  EXPECT_EQ(stat.cbSize.QuadPart, static_cast<std::uint64_t>(kSize));
  EXPECT_EQ(stat.mtime.QuadPart, 0u);
  EXPECT_TRUE(stat.clsid == GUID_NULL);
  EXPECT_EQ(stream_->Stat(&stat, 0), S_OK);
  ASSERT_NE(stat.pwcsName, own);
  EXPECT_EQ(stat.pwcsName[0], u'\0');
  CoTaskMemFree(stat.pwcsName);
  EXPECT_EQ(stream_->Stat(nullptr, 0), E_POINTER);
}

TEST_F(ReadableStreamOnFileTest, TheFileMayGoAndComeBackBetweenCalls) {
  ReadText(stream_, 4);
  fs::remove(file_);
  char byte;
  unsigned long read = 3;
  EXPECT_EQ(stream_->Read(&byte, 1, &read), S_FALSE);
  EXPECT_EQ(read, 0u);
  _ULARGE_INTEGER position{};
  EXPECT_EQ(stream_->Seek({6}, STREAM_SEEK_SET, &position), E_UNEXPECTED);
  EXPECT_EQ(position.QuadPart, 6u);
  EXPECT_EQ(stream_->CopyTo(stream_, {1}, nullptr, nullptr), E_FAIL);
  CComPtr<IStream> clone;
  EXPECT_EQ(stream_->Clone(&clone), S_OK);
  WriteFile(file_, "0123456789");
  EXPECT_EQ(ReadText(stream_, 2), "67");
  EXPECT_EQ(ReadText(clone, 3), "678");
}

TEST_F(ReadableStreamOnFileTest, WhatCannotBeOpenedIsNoStream) {
  // The other streams of the factory refuse the same paths.
  const COrvikFilePath nowhere = File(At("no/file"));
  for (const COrvikFilePath& path : {nowhere, File(top_), COrvikFilePath()}) {
    EXPECT_EQ(CStreamFactory::CreateReadableStreamOnFile(path), nullptr);
    EXPECT_EQ(CStreamFactory::CreateWritableFileStream(path), nullptr);
    EXPECT_EQ(CStreamFactory::CreateWritableCompressedFileStream(path), nullptr);
  }
  CReadableStreamOnFile* const direct = new CReadableStreamOnFile(nowhere);
  EXPECT_FALSE(direct->opened());
  EXPECT_EQ(direct->Write("a", 1, nullptr), E_NOTIMPL);
  EXPECT_EQ(direct->Release(), 0u);
}

TEST_F(ReadableStreamOnFileTest, ReadsBeyondFourGigabytesButSeeksUpToThere) {
  constexpr std::int64_t kFiveGigabytes = 5ll << 30;
  fs::resize_file(file_, kFiveGigabytes);
  const auto stream = CStreamFactory::CreateReadableStreamOnFile(path_, {kFiveGigabytes - 2});
  EXPECT_EQ(ReadText(stream, 5), std::string(2, '\0'));
  EXPECT_EQ(ReadText(stream, 5), "");
  _ULARGE_INTEGER position{};
  EXPECT_EQ(stream->Seek({0}, STREAM_SEEK_END, &position), S_OK);
  EXPECT_EQ(position.QuadPart, 0xFFFFFFFFu);
  EXPECT_EQ(stream->Seek({1ll << 32}, STREAM_SEEK_SET, nullptr), STG_E_INVALIDFUNCTION);
}

}  // namespace
}  // namespace orvik::test
