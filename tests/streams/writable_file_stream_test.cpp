#include "streams/writable_file_stream.h"

#include "streams/com_ptr.h"
#include "streams/stream_factory.h"
#include "streams/stream_interfaces.h"
#include "tests/files/support.h"

namespace orvik::test {
namespace {

class WritableFileStreamTest : public EnvironmentTest {
 protected:
  const fs::path file_ = env_.folder() / u"gr\u00FCn";
  const COrvikFilePath path_ = File(file_);
};

TEST_F(WritableFileStreamTest, EmptiesTheFileAndWritesFromItsBeginning) {
  WriteFile(file_, "old content");
  CComPtr<IStream> stream = CStreamFactory::CreateWritableFileStream(path_, {5});
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(fs::file_size(file_), 0u);
  unsigned long written = 0;
  EXPECT_EQ(stream->Write("hello", 5, &written), S_OK);
  EXPECT_EQ(written, 5u);
  EXPECT_EQ(stream->Write("", 0, &written), S_OK);
  EXPECT_EQ(stream->Write(nullptr, 1, &written), E_FAIL);
  stream.Release();
  EXPECT_EQ(ReadFile(file_), "hello");
}

TEST_F(WritableFileStreamTest, ReadsAndWritesAtOnePosition) {
  CComPtr<IStream> stream = CStreamFactory::CreateWritableFileStream(path_);
  EXPECT_EQ(stream->Write("0123456789", 10, nullptr), S_OK);
  char text[4] = {};
  unsigned long read = 9;
  EXPECT_EQ(stream->Read(text, 3, &read), S_FALSE);
  EXPECT_EQ(read, 0u);
  _ULARGE_INTEGER position{};
  EXPECT_EQ(stream->Seek({-8}, STREAM_SEEK_END, &position), S_OK);
  EXPECT_EQ(position.QuadPart, 2u);
  EXPECT_EQ(stream->Read(text, 3, &read), S_OK);
  EXPECT_STREQ(text, "234");
  EXPECT_EQ(stream->Write("XY", 2, nullptr), S_OK);
  EXPECT_EQ(stream->Read(text, 3, &read), S_OK);
  EXPECT_STREQ(text, "789");
  EXPECT_EQ(stream->Seek({-1}, STREAM_SEEK_CUR, &position), S_OK);
  EXPECT_EQ(position.QuadPart, 9u);
  EXPECT_EQ(stream->Seek({1}, 3, &position), S_OK);
  EXPECT_EQ(position.QuadPart, 1u);
  EXPECT_EQ(stream->Seek({-1}, STREAM_SEEK_SET, &position), E_FAIL);
  EXPECT_EQ(stream->Read(nullptr, 1, &read), E_FAIL);
  EXPECT_EQ(stream->Read(text, 1, nullptr), E_FAIL);
  EXPECT_EQ(stream->Seek({5ll << 30}, STREAM_SEEK_SET, &position), S_OK);
  EXPECT_EQ(position.QuadPart, 5ull << 30);
  EXPECT_EQ(stream->Write("x", 1, nullptr), S_OK);
  stream.Release();
  EXPECT_EQ(fs::file_size(file_), (5ull << 30) + 1);
  fs::resize_file(file_, 10);
  EXPECT_EQ(ReadFile(file_), "01234XY789");
}

TEST_F(WritableFileStreamTest, WhatCannotBeOpenedIsNoStream) {
  auto* const direct = new CWritableFileStream(File(At("no/file")));
  EXPECT_FALSE(direct->opened());
  unsigned long count = 4;
  char byte;
  EXPECT_EQ(direct->Write("a", 1, &count), E_FAIL);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(direct->Read(&byte, 1, &count), E_FAIL);
  EXPECT_EQ(direct->Seek({0}, STREAM_SEEK_SET, nullptr), E_FAIL);
  EXPECT_EQ(direct->SetSize({}), E_NOTIMPL);
  EXPECT_EQ(direct->Release(), 0u);
}

TEST_F(WritableFileStreamTest, AFullDiskIsReportedByAWriteOrByFinish) {
  for (const std::size_t size : {10, 1'000'000}) {
    const CComPtr<IStream> full =
        CStreamFactory::CreateWritableFileStream(COrvikFilePath(u"/dev/full"));
    unsigned long written = 9;
    const HRESULT result = full->Write(std::string(size, 'x').data(), size, &written);
    EXPECT_EQ(result, size == 10 ? S_OK : E_FAIL);
    EXPECT_EQ(written, size == 10 ? size : 0);
    for (int i = 0; i < 2; ++i) EXPECT_EQ(FinishStream(full), E_FAIL);
  }
  const CComPtr<IStream> stream = CStreamFactory::CreateWritableFileStream(path_);
  EXPECT_EQ(stream->Write("abc", 3, nullptr), S_OK);
  EXPECT_EQ(FinishStream(stream), S_OK);
  EXPECT_EQ(ReadFile(file_), "abc");
  EXPECT_EQ(stream->Write("d", 1, nullptr), E_FAIL);
  EXPECT_EQ(FinishStream(stream), S_OK);
  EXPECT_EQ(FinishStream(nullptr), E_INVALIDARG);
  EXPECT_EQ(FinishStream(CStreamFactory::CreateReadableStreamOnFile(path_)), S_OK);
}

}  // namespace
}  // namespace orvik::test
