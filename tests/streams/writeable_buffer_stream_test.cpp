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

// The writers refuse every query, as this one may.
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
  EXPECT_EQ(References(two), 1u);
  c = other;
  EXPECT_EQ(References(one), 1u);
  IStream* given = c.Detach();
  EXPECT_EQ(c, nullptr);
  EXPECT_EQ(References(two), 2u);
  c.Attach(given);
  c.Release();
  EXPECT_EQ(c, nullptr);
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
    EXPECT_EQ(static_cast<IStream*>(out)->Release(), 1u);
  }
  const _GUID windows_stream{0x0000000C, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
  EXPECT_EQ(stream->QueryInterface(windows_stream, &out), E_NOINTERFACE);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(stream->QueryInterface(IID_IStream, nullptr), E_POINTER);
}

}  // namespace
}  // namespace orvik
