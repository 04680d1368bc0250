#include "streams/writeable_buffer_stream.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <random>
#include <string>

#include "streams/com_ptr.h"
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
  EXPECT_EQ(stream->Write("abc", 3, nullptr), S_OK);
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
    EXPECT_EQ(stream->Write(content.data(), content.size(), nullptr), S_OK);
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

}  // namespace
}  // namespace orvik
