#include "streams/com_ptr.h"

#include <gtest/gtest.h>

#include <utility>

#include "streams/stream_factory.h"
#include "streams/stream_interfaces.h"

namespace orvik {
namespace {

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
