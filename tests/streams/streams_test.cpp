// Streams on files and in memory, and the pointers that hold them.
#include <limits>

#include "files/global_memory.h"
#include "streams/com_ptr.h"
#include "streams/compressed_file_stream.h"
#include "streams/readable_stream_on_file.h"
#include "streams/stream_factory.h"
#include "streams/stream_interfaces.h"
#include "streams/writable_file_stream.h"
#include "streams/writeable_buffer_stream.h"
#include "tests/files/support.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

// The writers refuse every query; so can this stream.
class PlainStream final : public StreamBase<IStream> {
 public:
  explicit PlainStream(bool refuses = false) : refuses_(refuses) {}
  HRESULT QueryInterface(const _GUID& identifier, void** out) override {
    return refuses_ ? E_NOTIMPL : StreamBase::QueryInterface(identifier, out);
  }

 private:
  const bool refuses_;
};

unsigned long References(IStream* stream) {
  stream->AddRef();
  return stream->Release();
}

TEST(ComPtrTest, EveryOperationKeepsTheCountBalanced) {
  IStream* const one = new PlainStream;
  CComPtr<IStream> a, other;
  a.Attach(one);
  CComPtr<IStream> b(a), c(static_cast<IStream*>(a));
  EXPECT_EQ(References(one), 3u);
  c = std::move(b);
  c = static_cast<IStream*>(c);
  EXPECT_EQ(References(one), 2u);
  EXPECT_EQ(b, nullptr);
  IStream* const two = *& other = new PlainStream;
  c = other;
  EXPECT_EQ(References(one), 1u);
  IStream* given = c.Detach();
  EXPECT_EQ(c, nullptr);
  EXPECT_EQ(References(two), 2u);
  c.Attach(given);
  c.Release();
  EXPECT_EQ(References(two), 1u);
  other = nullptr;
  EXPECT_EQ(a.CopyTo(nullptr), E_POINTER);
  EXPECT_EQ(a.CopyTo(&given), S_OK);
  EXPECT_EQ(given->Release(), 1u);
  EXPECT_EQ(c.CopyTo(&given), S_OK);
  EXPECT_EQ(given, nullptr);
}

TEST(ComPtrTest, ComparesObjectsByIdentity) {
  for (const bool refuses : {false, true}) {
    CComPtr<IStream> a, b, null;
    a.Attach(new PlainStream(refuses));
    b.Attach(new PlainStream(refuses));
    EXPECT_TRUE(a.IsEqualObject(a) && null.IsEqualObject(nullptr));
    EXPECT_FALSE(a.IsEqualObject(b) || a.IsEqualObject(nullptr) || null.IsEqualObject(a));
    EXPECT_EQ(References(a) + References(b), 2u);
  }
}

TEST(ComPtrTest, QueriesAnswerForTwoIdentifiersOnly) {
  CComPtr<IStream> stream;
  stream.Attach(new PlainStream);
  void* out = nullptr;
  for (const _GUID& identifier : {IID_IUnknown, IID_IStream}) {
    EXPECT_EQ(stream->QueryInterface(identifier, &out), S_OK);
    EXPECT_EQ(out, static_cast<IStream*>(stream));
    EXPECT_EQ(stream->Release(), 1u);
  }
  EXPECT_EQ(stream->QueryInterface(GUID_NULL, &out), E_NOINTERFACE);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(stream->QueryInterface(IID_IStream, nullptr), E_POINTER);
}

CComPtr<IStreamOnBuffer> MakeStream() {
  CComPtr<IStreamOnBuffer> stream;
  CStreamFactory::CreateWritableBufferStream(&stream);
  return stream;
}

std::string TextOf(const boost::shared_array<unsigned char>& bytes, std::size_t size) {
  return std::string(reinterpret_cast<const char*>(bytes.get()), size);
}

TEST(WriteableBufferStreamTest, CollectsWritesOfAnySize) {
  const CComPtr<IStreamOnBuffer> stream = MakeStream();
  std::string expected;
  for (int i = 0; i < 2000; ++i) {
    const std::string piece(i % 50 == 0 ? 8999 : i % 40, static_cast<char>(i));
    unsigned long written = 1;
    ASSERT_EQ(stream->Write(piece.data(), piece.size(), &written), S_OK);
    ASSERT_EQ(written, piece.size());
    expected += piece;
  }
  ASSERT_EQ(stream->GetSize(), expected.size());
  EXPECT_EQ(TextOf(stream->DetachBufferPointer(), expected.size()), expected);
}

TEST(WriteableBufferStreamTest, TheDetachedBufferOutlivesTheStreamAndIsNotWrittenAgain) {
  CComPtr<IStreamOnBuffer> stream = MakeStream();
  EXPECT_EQ(stream->Write("abc", 3, nullptr) + FinishStream(stream), S_OK);
  unsigned long written = 7;
  for (const unsigned long count : {0xFFFFFFFDul, std::numeric_limits<unsigned long>::max(), 1ul}) {
    EXPECT_EQ(stream->Write(count == 1 ? nullptr : "x", count, &written), E_FAIL);
    EXPECT_EQ(std::exchange(written, 7), 0u);
    EXPECT_EQ(FinishStream(stream), E_FAIL);
  }
  const boost::shared_array<unsigned char> buffer = stream->DetachBufferPointer();
  EXPECT_EQ(stream->Write("x", 1, &written), E_FAIL);
  EXPECT_EQ(written, 0u);
  EXPECT_EQ(stream->Write("", 0, &written), S_OK);
  EXPECT_EQ(stream->GetSize(), 3u);
  EXPECT_EQ(stream->DetachBufferPointer(), nullptr);
  EXPECT_EQ(stream->DetachBufferAsString().GetLength(), 0);
  stream.Release();
  EXPECT_EQ(TextOf(buffer, 3), "abc");
  for (const std::string& content : {std::string(), std::string("ab\0cd", 5)}) {
    stream = MakeStream();
    EXPECT_EQ(stream->Write(content.data(), content.size(), nullptr), S_OK);
    EXPECT_EQ(stream->DetachBufferAsString().View(), content.c_str());
    EXPECT_EQ(stream->GetSize(), content.size() + 1);
  }
}

constexpr std::int64_t kSize = 50'000;

class ReadableStreamOnFileTest : public FileTest {
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

  std::string content_;
  CComPtr<IStream> stream_;
};

TEST_F(ReadableStreamOnFileTest, ReadsOnFromWhereItStands) {
  EXPECT_EQ(ReadText(stream_, 10), content_.substr(0, 10));
  EXPECT_EQ(ReadText(stream_, 100'000), content_.substr(10));
  char byte;
  unsigned long read = 9;
  EXPECT_EQ(stream_->Read(&byte, 1, nullptr), E_FAIL);
  EXPECT_EQ(stream_->Read(nullptr, 1, &read), E_FAIL);
  constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
  for (const std::int64_t start :
       {kSize - 3, kSize, kSize + 1, std::int64_t{1} << 52, kMost, std::int64_t{-1}, -kMost}) {
    SCOPED_TRACE(start);
    const auto later = CStreamFactory::CreateReadableStreamOnFile(path_, {start});
    const std::string expected = start == kSize - 3 ? content_.substr(kSize - 3) : "";
    EXPECT_EQ(later->CopyTo(MakeStream(), {1}, nullptr, nullptr), expected.empty() ? E_FAIL : S_OK);
    EXPECT_EQ(ReadText(later, 10) + ReadText(later, 10), expected);
    EXPECT_EQ(later->Seek({5}, STREAM_SEEK_SET, nullptr), S_OK);
    EXPECT_EQ(ReadText(later, 2), content_.substr(5, 2));
  }
}

TEST_F(ReadableStreamOnFileTest, CopiesACountOrFails) {
  const CComPtr<IStreamOnBuffer> target = MakeStream();
  stream_->Seek({10}, STREAM_SEEK_SET, nullptr);
  _ULARGE_INTEGER read{7}, written{7};
  const auto counts = [&] {
    return std::pair<std::int64_t, std::int64_t>(read.QuadPart, written.QuadPart);
  };
  EXPECT_EQ(stream_->CopyTo(target, {kSize - 10}, &read, &written), S_OK);
  EXPECT_EQ(counts(), std::pair(kSize - 10, kSize - 10));
  EXPECT_EQ(stream_->CopyTo(target, {kSize - 9}, nullptr, nullptr), E_FAIL);
  EXPECT_EQ(stream_->CopyTo(nullptr, {1}, nullptr, nullptr), E_INVALIDARG);
  EXPECT_EQ(stream_->CopyTo(target, {0}, nullptr, nullptr), S_OK);
  EXPECT_EQ(target->DetachBufferAsString().View(), content_.substr(10) + content_.substr(10));
  EXPECT_EQ(stream_->CopyTo(target, {5}, &read, &written), S_OK);
  EXPECT_EQ(counts(), std::pair(std::int64_t{5}, std::int64_t{0}));
  EXPECT_EQ(ReadText(stream_, 3), content_.substr(10, 3));
}

TEST_F(ReadableStreamOnFileTest, TellsItsSizeAndNothingElse) {
  tagSTATSTG stat;
  stat.pwcsName = nullptr;
  EXPECT_EQ(stream_->Stat(&stat, STATFLAG_NONAME), S_OK);
  EXPECT_EQ(stat.pwcsName, nullptr);
  EXPECT_EQ(std::tuple(stat.type, stat.cbSize.QuadPart, stat.mtime.QuadPart),
            std::tuple(2u, kSize, 0u));
  EXPECT_EQ(stream_->Stat(&stat, 0), S_OK);
  ASSERT_NE(stat.pwcsName, nullptr);
  EXPECT_EQ(stat.pwcsName[0], u'\0');
  CoTaskMemFree(stat.pwcsName);
  EXPECT_EQ(stream_->Stat(nullptr, 0), E_POINTER);
}

TEST_F(ReadableStreamOnFileTest, TheFileMayGoAndComeBackBetweenCalls) {
  fs::remove(file_);
  EXPECT_EQ(ReadText(stream_, 1), "");
  _ULARGE_INTEGER position{};
  EXPECT_EQ(stream_->Seek({6}, STREAM_SEEK_SET, &position), E_UNEXPECTED);
  EXPECT_EQ(position.QuadPart, 6u);
  EXPECT_EQ(stream_->CopyTo(stream_, {1}, nullptr, nullptr), E_FAIL);
  CComPtr<IStream> clone;
  EXPECT_EQ(stream_->Clone(&clone), S_OK);
  WriteFile(file_, "0123456789");
  EXPECT_EQ(ReadText(stream_, 2) + ReadText(clone, 3), "67678");
}

TEST_F(ReadableStreamOnFileTest, WhatCannotBeOpenedIsNoStream) {
  // The other streams of the factory refuse the same paths.
  const COrvikFilePath nowhere = File(At("no/file"));
  for (const COrvikFilePath& path : {nowhere, File(top_), COrvikFilePath()}) {
    EXPECT_EQ(CStreamFactory::CreateReadableStreamOnFile(path), nullptr);
    EXPECT_EQ(CStreamFactory::CreateWritableFileStream(path), nullptr);
    EXPECT_EQ(CStreamFactory::CreateWritableCompressedFileStream(path), nullptr);
    EXPECT_EQ(CStreamFactory::CreateReadableCompressedFileStream(path), nullptr);
  }
  // Constructed directly, they exist but do nothing.
  CComPtr<CReadableStreamOnFile> reader;
  CComPtr<CWritableFileStream> writer;
  CComPtr<CWritableCompressedFileStream> compressor;
  reader.Attach(new CReadableStreamOnFile(nowhere));
  writer.Attach(new CWritableFileStream(nowhere));
  compressor.Attach(new CWritableCompressedFileStream(nowhere));
  EXPECT_FALSE(reader->opened() || writer->opened() || compressor->valid());
  char byte;
  unsigned long count = 7;
  EXPECT_EQ((std::vector{reader->Write("a", 1, nullptr), writer->Write("a", 1, &count),
                         compressor->Write("a", 1, nullptr), writer->Read(&byte, 1, nullptr),
                         writer->Seek({0}, 0, nullptr), writer->Finish(), compressor->Finish()}),
            (std::vector{E_NOTIMPL, E_FAIL, E_INVALIDARG, E_FAIL, E_FAIL, E_FAIL, E_FAIL}));
  EXPECT_EQ(count, 0u);
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

using WritableFileStreamTest = FileTest;

TEST_F(WritableFileStreamTest, EmptiesTheFileAndWritesFromItsBeginning) {
  WriteFile(file_, "old content");
  const CComPtr<IStream> stream = CStreamFactory::CreateWritableFileStream(path_, {5});
  EXPECT_EQ(fs::file_size(file_), 0u);
  unsigned long written = 0;
  EXPECT_EQ(stream->Write("hello", 5, &written), S_OK);
  EXPECT_EQ(written, 5u);
  EXPECT_EQ(stream->Write(nullptr, 1, &written), E_FAIL);
  EXPECT_EQ(FinishStream(stream), S_OK);
  EXPECT_EQ(ReadFile(file_), "hello");
  EXPECT_EQ(stream->Write("d", 1, nullptr), E_FAIL);
  EXPECT_EQ(FinishStream(stream), S_OK);
  EXPECT_EQ(FinishStream(CStreamFactory::CreateReadableStreamOnFile(path_)), S_OK);
  EXPECT_EQ(FinishStream(nullptr), E_INVALIDARG);
}

TEST_F(WritableFileStreamTest, ReadsAndWritesAtOnePosition) {
  CComPtr<IStream> stream = CStreamFactory::CreateWritableFileStream(path_);
  EXPECT_EQ(stream->Write("0123456789", 10, nullptr), S_OK);
  const auto read = [&] {
    char text[3];
    unsigned long count = 9;
    const HRESULT result = stream->Read(text, 3, &count);
    EXPECT_EQ(result, count == 0 ? S_FALSE : S_OK);
    return std::string(text, count);
  };
  const auto seek = [&](std::int64_t move, unsigned long origin) {
    _ULARGE_INTEGER position{};
    const HRESULT result = stream->Seek({move}, origin, &position);
    return result == S_OK ? static_cast<std::int64_t>(position.QuadPart) : result;
  };
  EXPECT_EQ(read(), "");
  EXPECT_EQ(seek(-8, STREAM_SEEK_END), 2);
  EXPECT_EQ(read(), "234");
  EXPECT_EQ(stream->Write("XY", 2, nullptr), S_OK);
  EXPECT_EQ(read(), "789");
  unsigned long count = 0;
  EXPECT_EQ(stream->Read(nullptr, 1, &count), E_FAIL);
  EXPECT_EQ(stream->Read(&count, 1, nullptr), E_FAIL);
  EXPECT_EQ((std::vector{seek(-1, STREAM_SEEK_CUR), seek(1, 3), seek(5ll << 30, STREAM_SEEK_SET),
                         seek(-1, STREAM_SEEK_SET)}),
            (std::vector<std::int64_t>{9, 1, 5ll << 30, E_FAIL}));
  EXPECT_EQ(stream->Write("x", 1, nullptr), S_OK);
  stream.Release();
  EXPECT_EQ(fs::file_size(file_), (5ull << 30) + 1);
}

TEST_F(WritableFileStreamTest, AFullDiskIsReportedByAWriteOrByFinish) {
  for (const std::size_t size : {10, 1'000'000}) {
    const auto full = CStreamFactory::CreateWritableFileStream(COrvikFilePath(u"/dev/full"));
    unsigned long written = 9;
    EXPECT_EQ(full->Write(std::string(size, 'x').data(), size, &written),
              size == 10 ? S_OK : E_FAIL);
    EXPECT_EQ(written, size == 10 ? size : 0);
    for (int i = 0; i < 2; ++i) EXPECT_EQ(FinishStream(full), E_FAIL);
  }
}

}  // namespace
}  // namespace orvik::test
