// The buffer of both strings, searches in it, and sharing between threads.
#include <climits>
#include <new>
#include <thread>

#include <gmock/gmock.h>

#include "platform/core_foundation/string.h"
#include "strings/atl_string.h"
#include "strings/atl_string_a.h"
#include "strings/platform_text.h"
#include "strings/string_buffer.h"
#include "tests/support/test_environment.h"

namespace orvik::test {
namespace {

// The rules for both widths. Text is written as ASCII and widened for the wide string.
template <typename String>
class StringBufferTest : public testing::Test {
 protected:
  using Unit = typename String::Unit;
  using Plain = std::basic_string<Unit>;
  using View = std::basic_string_view<Unit>;

  static Plain T(std::string_view text) { return Plain(text.begin(), text.end()); }
  static String S(std::string_view text) { return String(View(T(text))); }

  // The content, after checking the invariants of every string.
  static std::string Read(const String& string) {
    EXPECT_EQ(string.GetString()[string.GetLength()], Unit{0});
    EXPECT_LE(0, string.GetLength());
    EXPECT_LE(string.GetLength(), string.GetAllocLength());
    const View view = string.View();
    return std::string(view.begin(), view.end());
  }
  static bool IsNil(const String& string) {
    return string.GetString() == String().GetString() && string.GetData()->ref_count == -1 &&
           string.GetLength() == 0 && string.GetAllocLength() == 0;
  }
};

using StringTypes = testing::Types<CAtlString, CAtlStringA>;
TYPED_TEST_SUITE(StringBufferTest, StringTypes);

TYPED_TEST(StringBufferTest, EveryEmptyStringIsTheSharedBlock) {
  using Foreign =
      std::conditional_t<sizeof(typename TypeParam::Unit) == 1, CAtlString, CAtlStringA>;
  const auto text = this->T("abc");
  const typename Foreign::Unit no_units[] = {0};
  for (const TypeParam& string :
       {TypeParam(), TypeParam(nullptr), TypeParam(text.c_str() + 3), TypeParam(text.c_str(), 0),
        TypeParam(text.c_str(), -1), TypeParam(text[0], 0), TypeParam(text[0], -5),
        TypeParam(no_units), TypeParam(no_units, -1), TypeParam(Foreign()),
        TypeParam(static_cast<CFStringRef>(nullptr)), TypeParam(CFSTR(u"")),
        TypeParam(text.c_str()).Left(-1)}) {
    EXPECT_TRUE(this->IsNil(string));
  }
  EXPECT_EQ(TypeParam::SafeStrlen(nullptr), 0);
}

TYPED_TEST(StringBufferTest, KeepsItsHeaderBeforeTheUnitsAndSharesTheBlock) {
  TypeParam text = this->S("hello");
  const auto header = [&text] {
    std::vector<std::int32_t> fields(3);
    std::memcpy(fields.data(), reinterpret_cast<const char*>(text.GetString()) - 12, 12);
    return fields;
  };
  EXPECT_EQ(sizeof(TypeParam), sizeof(void*));
  {
    TypeParam second = text;
    EXPECT_EQ(header(), (std::vector{2, 5, 5}));
    second += second;
    EXPECT_EQ(header()[0], 1);
    second = text;
  }
  EXPECT_EQ(header()[0], 1);
}

TYPED_TEST(StringBufferTest, AppendsToMemoryThatGrows) {
  TypeParam text;
  int blocks = 0;
  const auto* data = text.GetString();
  for (int i = 0; i < 100'000; ++i) {
    i % 3 == 0 ? void(text += 'y') : i % 3 == 1 ? text.Append("y") : void(text.Insert(i, 'y'));
    ASSERT_EQ((std::vector{text.GetLength(), text.GetAllocLength()}), std::vector(2, i + 1));
    blocks += text.GetString() != data;
    data = text.GetString();
  }
  EXPECT_LE(blocks, 21);
  data = text.GetBuffer(text.GetLength() + 1);
  text += 'z';
  EXPECT_EQ(text.GetString(), data);
  text.LockBuffer();
  text += 'z';  // does not fit: a new block, which is not locked
  EXPECT_EQ(text.GetData()->ref_count, 1);
  text.FreeExtra();
  EXPECT_EQ(text.GetAllocLength(), text.GetLength());
}

TYPED_TEST(StringBufferTest, TakesPiecesOfItself) {
  TypeParam text = this->S("abcabcbc");
  text = text.GetString() + 5;
  EXPECT_EQ(this->Read(text), "cbc");
  EXPECT_EQ(text.GetAllocLength(), 8);  // the block stayed
  text = *&text;
  text.ConcatInPlace(2, text.GetString() + 1);
  EXPECT_EQ(this->Read(text), "cbcbc");
  text.ConcatCopy(2, text.GetString() + 1, 2, text.GetString());
  EXPECT_EQ(this->Read(text), "bccb");
  EXPECT_EQ(text.GetAllocLength(), 4);
  text.Replace(text, text.GetString() + 2);
  EXPECT_EQ(this->Read(text), "cb");
}

TYPED_TEST(StringBufferTest, LocksABlockForOneString) {
  TypeParam text = this->S("abc"), other = text;
  const auto* const data = text.LockBuffer();
  EXPECT_NE(data, other.GetString());
  EXPECT_EQ(text.GetData()->ref_count, -1);
  other = text;
  for (const TypeParam& copy : {TypeParam(text), other, text.Left(99)}) {
    EXPECT_NE(copy.GetString(), data);
    EXPECT_EQ(this->Read(copy), "abc");
  }
  for (const char* const content : {"xy", ""}) {  // into the locked buffer
    text = this->S(content);
    EXPECT_EQ(text.GetString(), data);
    EXPECT_EQ(this->Read(text), content);
  }
  text.UnlockBuffer();
  EXPECT_EQ(text.GetData()->ref_count, 1);
  text.LockBuffer();
  text.Release();
  text.LockBuffer();
  text.UnlockBuffer();
  EXPECT_TRUE(this->IsNil(text));
}

TYPED_TEST(StringBufferTest, ReleasesTheBufferAtEveryLength) {
  TypeParam text;
  std::copy_n(this->T("abc").c_str(), 4, text.GetBuffer(10));
  // A length that is not 0 stays for -1.
  for (const auto& [given, length] :
       {std::pair(-1, 3), {5, 5}, {-1, 5}, {INT_MAX, 10}, {INT_MIN, 0}}) {
    text.ReleaseBuffer(given);
    EXPECT_EQ(text.GetLength(), length);
  }
  std::fill_n(text.GetBuffer(), 11, typename TypeParam::Unit{'x'});  // the block has no terminator
  text.ReleaseBuffer();
  EXPECT_EQ(this->Read(text), "xxxxxxxxxx");
  for (const int length : {3, 99}) text.Truncate(length);
  text.FreeExtra();
  EXPECT_EQ(this->Read(text), "xxx");
  EXPECT_EQ(text.GetAllocLength(), 3);
  TypeParam shared = text;
  EXPECT_EQ(shared.GetBuffer(-7)[2], 'x');
  shared.GetBufferSetLength(2);
  text.Truncate(-1);
  EXPECT_EQ(this->Read(shared) + this->Read(text), "xx");
  TypeParam nil;
  nil.GetBufferSetLength(-1);
  nil.ReleaseBuffer(4);
  nil.FreeExtra();
  nil.MakeReverse();
  EXPECT_TRUE(this->IsNil(nil));
}

TYPED_TEST(StringBufferTest, RefusesLengthsBeyondTheHeader) {
  TypeParam text = this->S("abc");
  EXPECT_THROW(text.ConcatInPlace(INT_MAX, text.GetString()), std::bad_alloc);
  EXPECT_THROW(text.ConcatCopy(INT_MAX, text.GetString(), 1, text.GetString()), std::bad_alloc);
  EXPECT_EQ(this->Read(text), "abc");
  EXPECT_EQ(this->Read(text.Mid(1, INT_MAX)), "bc");
  EXPECT_EQ(this->Read(text.Mid(INT_MAX, INT_MAX)), "");
  EXPECT_EQ(text.Delete(1, INT_MAX), 3);
  EXPECT_EQ(this->Read(text), "a");
}

TEST(Pieces, ComparisonIsThatOfTheWholeTexts) {
  const auto compare = [](std::u16string_view a, std::u16string_view b) {
    EXPECT_LE(std::max(a.size(), b.size()), 3u);
    return (a > b) - (a < b);
  };
  const std::u16string_view texts[] = {
      u"", u"abc", u"abcd", u"abcdefg", u"abcdefh", u"abdd", u"ab\xD83D\xDE00z", u"ab\xD83D\xDE01"};
  for (const auto a : texts) {
    for (const auto b : texts) {
      EXPECT_EQ(CompareInPieces(a, b, compare, 3), (a > b) - (a < b))
          << CAtlString(a) << "|" << CAtlString(b);
    }
  }
}

TEST(Pieces, CaseIsMappedInAllOfThem) {
  std::u16string text = u"abc\xD801\xDC28xyz\xDFq";  // a small Deseret letter across the first cut
  MapCaseInPlace(text.data(), text.size(), CFStringUppercase, 4);
  EXPECT_EQ(text, u"ABC\xD801\xDC00XYZSS");
}

// The block lives until its last owner, in any thread, releases it.
TYPED_TEST(StringBufferTest, IsSharedByThreads) {
  for (int round = 0; round < 100; ++round) {
    TypeParam shared = this->S("abc");
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([own = shared]() mutable {
        for (int time = 0; time < 200; ++time) {
          TypeParam second = own;
          second = own.Left(100);
          second.MakeReverse();
        }
        own += 'd';
        EXPECT_EQ(own.Find('d') * own.GetData()->ref_count, 3);
      });
    }
    shared = nullptr;
  }
}

}  // namespace
}  // namespace orvik::test
