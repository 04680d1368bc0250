#include "strings/unknown.h"

#include <cstring>
#include <memory>

#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

TEST(Guid, HasARegistryForm) {
  unsigned char bytes[16];
  for (unsigned char i = 0; i < 16; ++i) bytes[i] = i;
  _GUID id;
  std::memcpy(&id, bytes, sizeof id);
  char16_t* text = nullptr;
  EXPECT_EQ(StringFromCLSID(id, &text), S_OK);
  const std::unique_ptr<char16_t[]> owned(text);
  EXPECT_EQ(std::u16string_view(text), u"{03020100-0504-0706-0809-0A0B0C0D0E0F}");
  EXPECT_EQ(StringFromCLSID(id, nullptr), E_POINTER);
}

TEST(Guid, EqualInAllBytes) {
  _GUID other = IID_IUnknown;
  EXPECT_TRUE(other == IID_IUnknown);
  other.Data4[7] ^= 1;
  EXPECT_FALSE(other == IID_IUnknown || IsEqualGUID(other, IID_IUnknown) ||
               InlineIsEqualGUID(other, IID_IUnknown) || !InlineIsEqualGUID(other, other));
}

class Counted : public IUnknown {
 public:
  HRESULT QueryInterface(const _GUID& interface_id, void** object) override {
    *object = this;  // also when it fails, as bad objects do
    if (!(interface_id == IID_IUnknown)) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  unsigned long AddRef() override { return ++count; }
  unsigned long Release() override { return --count; }
  unsigned long count = 1;
};

TEST(Unknown, SlotsHoldOneReference) {
  Counted first, second;
  IUnknown* slot = nullptr;
  const auto counts = [&] { return std::pair(first.count, second.count); };
  for (int time = 0; time < 2; ++time) {
    EXPECT_EQ(AtlComPtrAssign(&slot, &first), &first);
    EXPECT_EQ(counts(), std::pair(2ul, 1ul));
  }
  EXPECT_EQ(AtlComQIPtrAssign(&slot, &second, IID_IUnknown), &second);
  EXPECT_EQ(counts(), std::pair(1ul, 2ul));
  EXPECT_EQ(AtlComQIPtrAssign(&slot, &first, _GUID{}), nullptr);
  EXPECT_EQ(slot, nullptr);
  EXPECT_EQ(counts(), std::pair(1ul, 1ul));
  EXPECT_EQ(AtlComPtrAssign(&slot, nullptr), nullptr);
}

}  // namespace
}  // namespace orvik::test
