#include "streams/com_ptr.h"

#include <gtest/gtest.h>

#include <utility>

#include "streams/reference_counted.h"

namespace orvik {
namespace {

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
