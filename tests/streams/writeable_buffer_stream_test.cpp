#include "streams/writeable_buffer_stream.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <utility>

#include "streams/com_ptr.h"
#include "streams/finishable_stream.h"
#include "streams/reference_counted.h"
#include "streams/stream_factory.h"

namespace orvik {
namespace {

CComPtr<IStreamOnBuffer> MakeStream() {
  CComPtr<IStreamOnBuffer> stream;
  CStreamFactory::CreateWritableBufferStream(&stream);
  return stream;
}

std::string TextOf(const boost::shared_array<unsigned char>& bytes, std::size_t size) {
  return std::string(reinterpret_cast<const char*>(bytes.get()), size);
}

TEST(WriteableBufferStreamTest, CollectsWritesOfAnySize) {
  const CComPtr<IStreamOnBuffer> stream = MakeStream(), empty = MakeStream();
  EXPECT_EQ(empty->Write(nullptr, 0, nullptr), S_OK);
  EXPECT_EQ(empty->DetachBufferPointer(), nullptr);
  std::mt19937 random(1);
  std::string expected;
  for (int i = 0; i < 2000; ++i) {
    const std::string piece(random() % (i % 50 == 0 ? 9000 : 40), static_cast<char>(i));
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
  stream->Write("abc", 3, nullptr);
  const boost::shared_array<unsigned char> buffer = stream->DetachBufferPointer();
  EXPECT_EQ(stream->GetSize(), 3u);
  unsigned long written = 7;
  EXPECT_EQ(stream->Write("x", 1, &written), E_FAIL);
  EXPECT_EQ(written, 0u);
  EXPECT_EQ(stream->Write("", 0, &written), S_OK);
  EXPECT_EQ(stream->GetSize(), 3u);
  EXPECT_EQ(stream->DetachBufferPointer(), nullptr);
  EXPECT_EQ(stream->DetachBufferAsString().GetLength(), 0);
  stream.Release();
  EXPECT_EQ(TextOf(buffer, 3), "abc");
}

TEST(WriteableBufferStreamTest, TheStringEndsAtTheFirstNul) {
  using namespace std::string_literals;
  for (const auto& [content, text] : {std::pair{""s, ""s}, {"abc"s, "abc"s}, {"ab\0cd"s, "ab"s}}) {
    const CComPtr<IStreamOnBuffer> stream = MakeStream();
    stream->Write(content.data(), content.size(), nullptr);
    EXPECT_EQ(stream->DetachBufferAsString().View(), text);
    EXPECT_EQ(stream->GetSize(), content.size() + 1);
  }
}

TEST(WriteableBufferStreamTest, RefusesToPassFourGigabytesAndBadArguments) {
  const CComPtr<IStreamOnBuffer> stream = MakeStream();
  ASSERT_EQ(stream->Write("abc", 3, nullptr), S_OK);
  EXPECT_EQ(FinishStream(stream), S_OK);
  unsigned long written = 1;
  EXPECT_EQ(stream->Write("x", 0xFFFFFFFDul, &written), E_FAIL);
  EXPECT_EQ(written, 0u);
  EXPECT_EQ(FinishStream(stream), E_FAIL);
  EXPECT_EQ(stream->Write("x", std::numeric_limits<unsigned long>::max(), &written), E_FAIL);
  EXPECT_EQ(stream->Write(nullptr, 1, &written), E_FAIL);
  EXPECT_EQ(stream->DetachBufferAsString().View(), "abc");
}

// Tells how many references are open and whether it is still there.
class CountingStream final : public StreamBase<IStream> {
 public:
  explicit CountingStream(int& references, bool refuses = false)
      : references_(references), refuses_(refuses) {
    references_ = 1;
  }
  HRESULT QueryInterface(const _GUID& identifier, void** out) override {
    return refuses_ ? E_NOTIMPL : StreamBase::QueryInterface(identifier, out);
  }
  unsigned long AddRef() override {
    ++references_;
    return StreamBase::AddRef();
  }
  unsigned long Release() override {
    --references_;
    return StreamBase::Release();
  }

 private:
  int& references_;
  const bool refuses_;
};

CComPtr<IStream> Counting(int& references, bool refuses = false) {
  CComPtr<IStream> pointer;
  pointer.Attach(new CountingStream(references, refuses));
  return pointer;
}

TEST(ComPtrTest, EveryOperationKeepsTheCountBalanced) {
  int one = 0, two = 0;
  {
    CComPtr<IStream> a = Counting(one);
    EXPECT_EQ(one, 1);
    CComPtr<IStream> b(a);
    CComPtr<IStream> c(static_cast<IStream*>(a));
    EXPECT_EQ(one, 3);
    c = std::move(b);
    EXPECT_EQ(one, 2);
    EXPECT_EQ(b, nullptr);
    c = static_cast<IStream*>(c);
    EXPECT_EQ(one, 2);

    CComPtr<IStream> other;
    *&other = new CountingStream(two);
    EXPECT_EQ(two, 1);
    c = other;
    EXPECT_EQ(one, 1);
    EXPECT_EQ(two, 2);
    IStream* const given = c.Detach();
    EXPECT_EQ(c, nullptr);
    EXPECT_EQ(two, 2);
    c.Attach(given);
    c.Release();
    EXPECT_EQ(c, nullptr);
    EXPECT_EQ(two, 1);
    other = nullptr;
    EXPECT_EQ(two, 0);
    EXPECT_EQ(one, 1);
  }
  EXPECT_EQ(one, 0);
}

TEST(ComPtrTest, CopyToHandsOutAReference) {
  int references = 0;
  CComPtr<IStream> pointer = Counting(references);
  EXPECT_EQ(pointer.CopyTo(nullptr), E_POINTER);
  IStream* out = nullptr;
  EXPECT_EQ(pointer.CopyTo(&out), S_OK);
  EXPECT_EQ(references, 2);
  EXPECT_EQ(out->Release(), 1u);
  pointer.Release();
  EXPECT_EQ(pointer.CopyTo(&out), S_OK);
  EXPECT_EQ(out, nullptr);
}

TEST(ComPtrTest, ComparesObjectsByIdentity) {
  for (const bool refuses : {false, true}) {  // the writers refuse every query
    int one = 0, two = 0;
    const CComPtr<IStream> a = Counting(one, refuses), b = Counting(two, refuses), null;
    EXPECT_TRUE(a.IsEqualObject(a));
    EXPECT_FALSE(a.IsEqualObject(b));
    EXPECT_FALSE(a.IsEqualObject(nullptr));
    EXPECT_FALSE(null.IsEqualObject(a));
    EXPECT_TRUE(null.IsEqualObject(nullptr));
    EXPECT_EQ(one + two, 2);
  }
}

TEST(ComPtrTest, QueriesAnswerForTwoIdentifiersOnly) {
  int references = 0;
  const CComPtr<IStream> stream = Counting(references);
  for (const _GUID& identifier : {IID_IUnknown, IID_IStream}) {
    void* out = nullptr;
    EXPECT_EQ(stream->QueryInterface(identifier, &out), S_OK);
    EXPECT_EQ(out, static_cast<IStream*>(stream));
    EXPECT_EQ(static_cast<IStream*>(out)->Release(), 1u);
  }
  const _GUID windows_stream{0x0000000C, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
  void* out = &references;
  EXPECT_EQ(stream->QueryInterface(windows_stream, &out), E_NOINTERFACE);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(stream->QueryInterface(IID_IStream, nullptr), E_POINTER);
  EXPECT_EQ(references, 1);
}

}  // namespace
}  // namespace orvik
