#include "strings/string_buffer.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <new>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "strings/atl_string.h"
#include "strings/atl_string_a.h"

namespace orvik {
namespace {

// The rules that hold for both widths. Text is written as ASCII and widened for the wide string.
template <typename String>
class StringBufferTest : public testing::Test {
 protected:
  using Unit = typename String::Unit;
  using Plain = std::basic_string<Unit>;
  using View = std::basic_string_view<Unit>;

  static Plain T(std::string_view text) { return Plain(text.begin(), text.end()); }
  static String S(std::string_view text) { return String(View(T(text))); }

  // The content, having checked what holds for every string.
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

TYPED_TEST(StringBufferTest, KeepsItsHeaderBeforeTheUnits) {
  const TypeParam text = this->S("hello");
  std::int32_t header[3];
  std::memcpy(header, reinterpret_cast<const char*>(text.GetString()) - 12, sizeof header);
  EXPECT_THAT(header, testing::ElementsAre(1, 5, 5));
  EXPECT_EQ(sizeof(TypeParam), sizeof(void*));
}

TYPED_TEST(StringBufferTest, SharesUntilOneSideChanges) {
  TypeParam first = this->S("abc");
  {
    TypeParam second = first;
    EXPECT_EQ(first.GetData(), second.GetData());
    EXPECT_EQ(first.GetData()->ref_count, 2);
    second.Append(this->T("d").c_str());
    EXPECT_EQ(this->Read(second), "abcd");
    EXPECT_EQ(first.GetData()->ref_count, 1);
    second = first;
  }
  EXPECT_EQ(first.GetData()->ref_count, 1);
  EXPECT_EQ(this->Read(first), "abc");
}

TYPED_TEST(StringBufferTest, AppendsInPlaceOnlyIntoSpareRoom) {
  TypeParam text;
  text.GetBuffer(100);
  text.ReleaseBuffer(-1);
  EXPECT_EQ(this->Read(text), "");
  const auto* const data = text.GetString();
  for (int i = 0; i < 100; ++i) text.Append(this->T("x").c_str());
  EXPECT_EQ(text.GetString(), data);
  for (const int length : {101, 102}) {
    text.Append(this->T("y").c_str());
    EXPECT_EQ(text.GetAllocLength(), length);
  }
}

TYPED_TEST(StringBufferTest, AppendsToMemoryThatGrows) {
  using TextUnit = typename TypeParam::Unit;
  TypeParam text = this->S("x");
  int blocks = 0;
  const TextUnit* data = nullptr;
  for (int i = 1; i < 100'000; ++i) {
    if (i % 3 == 0) text += TextUnit{'y'};
    if (i % 3 == 1) text.Append(this->T("y").c_str());
    if (i % 3 == 2) text.Insert(i, TextUnit{'y'});
    ASSERT_EQ((std::vector{text.GetLength(), text.GetAllocLength()}), std::vector(2, i + 1));
    ASSERT_EQ(text.GetString()[i + 1], TextUnit{0});
    if (text.GetString() != data) ++blocks;
    data = text.GetString();
  }
  EXPECT_LE(blocks, 20);
  const TypeParam copy = text;
  text += TextUnit{'z'};
  EXPECT_EQ(copy.GetLength() + 1, text.GetLength());
  data = text.GetBuffer(text.GetLength() + 1);
  text.Append(this->T("z").c_str());
  EXPECT_EQ(text.GetString(), data);
  text.LockBuffer();
  text.Append(this->T("z").c_str());  // does not fit: a new block, which is not locked
  EXPECT_EQ(text.GetData()->ref_count, 1);
  text.FreeExtra();
  EXPECT_EQ(text.GetAllocLength(), text.GetLength());
}

TYPED_TEST(StringBufferTest, TakesPiecesOfItself) {
  TypeParam text = this->S("abc");
  text.Append(text);
  text.Append(text.GetString() + 4);
  EXPECT_EQ(this->Read(text), "abcabcbc");
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
  TypeParam shared = text;
  text = text.GetString() + 1;
  EXPECT_EQ(this->Read(text), "b");
  EXPECT_EQ(this->Read(shared), "cb");
}

TYPED_TEST(StringBufferTest, InsertsItsOwnBufferInPlaceAndNot) {
  for (int room : {0, 40}) {
    for (int offset = 0; offset <= 6; ++offset) {
      for (int index = 0; index <= 6; ++index) {
        TypeParam text = this->S("abcdef");
        text.GetBuffer(room);
        std::string expected = "abcdef";
        expected.insert(static_cast<std::size_t>(index), expected.substr(offset));
        EXPECT_EQ(text.Insert(index, text.GetString() + offset), 12 - offset);
        EXPECT_EQ(this->Read(text), expected) << room << ' ' << offset << ' ' << index;
      }
    }
  }
}

TYPED_TEST(StringBufferTest, LocksABlockForOneString) {
  TypeParam text = this->S("abc");
  TypeParam other = text;
  const auto* const data = text.LockBuffer();
  EXPECT_NE(data, other.GetString());
  EXPECT_EQ(text.GetData()->ref_count, -1);
  TypeParam copy = text;
  EXPECT_NE(copy.GetString(), data);
  EXPECT_EQ(this->Read(copy), "abc");
  other = text;
  EXPECT_NE(other.GetString(), data);
  EXPECT_NE(text.Left(99).GetString(), data);
  text = this->S("xy");  // into the locked buffer
  EXPECT_EQ(text.GetString(), data);
  EXPECT_EQ(this->Read(text), "xy");
  text.Empty();
  EXPECT_EQ(text.GetString(), data);
  EXPECT_EQ(this->Read(text), "");
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
  text.ReleaseBuffer();
  EXPECT_EQ(this->Read(text), "abc");
  std::copy_n(this->T("abcde").c_str(), 6, text.GetBuffer(5));
  // A length that is not 0 stays for -1.
  for (const auto& [given, length] :
       {std::pair(-1, 3), std::pair(5, 5), std::pair(INT_MAX, 10), std::pair(INT_MIN, 0)}) {
    text.ReleaseBuffer(given);
    EXPECT_EQ(text.GetLength(), length);
  }
  std::fill_n(text.GetBuffer(), 11, typename TypeParam::Unit{'x'});  // no terminator in the block
  text.ReleaseBuffer();
  EXPECT_EQ(this->Read(text), "xxxxxxxxxx");
  for (const int length : {3, 99}) text.Truncate(length);
  EXPECT_EQ(this->Read(text), "xxx");
  text.FreeExtra();
  EXPECT_EQ(text.GetAllocLength(), 3);
  text.Truncate(-1);
  EXPECT_EQ(this->Read(text), "");
  TypeParam shared = this->S("abc");
  const TypeParam other = shared;
  EXPECT_EQ(shared.GetBuffer(-7)[2], 'c');
  EXPECT_EQ(shared.GetAllocLength(), 3);
  shared.GetBufferSetLength(2);
  EXPECT_EQ(this->Read(shared), "ab");
  EXPECT_EQ(this->Read(other), "abc");
  TypeParam nil;
  nil.GetBufferSetLength(-1);
  nil.ReleaseBuffer(4);
  nil.FreeExtra();
  nil.TrimRight();
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

// What Tokens yields is what Tokenize yields, without an empty token.
TYPED_TEST(StringBufferTest, YieldsTokensAsViews) {
  std::mt19937 random(3);
  for (int round = 0; round < 2000; ++round) {
    std::string plain(random() % 12, 'a');
    for (char& byte : plain) byte = "ab,;\0"[random() % 5];
    const TypeParam text = this->S(plain);
    const auto set = this->T(std::string(",;x").substr(random() % 4));
    std::vector<std::string> expected, found;
    for (int position = 0; position != -1;) {
      const TypeParam token = text.Tokenize(set, position);
      if (!token.IsEmpty()) expected.push_back(this->Read(token));
    }
    for (const auto token : text.Tokens(set)) found.emplace_back(token.begin(), token.end());
    EXPECT_EQ(found, expected) << testing::PrintToString(plain);
  }
}

// Random edits of two strings that often share a block, beside the same edits of plain ones.
TYPED_TEST(StringBufferTest, AgreesWithPlainStrings) {
  std::mt19937 random(7);
  const auto pick = [&random](int low, int high) {
    return low + static_cast<int>(random() % static_cast<unsigned>(high - low + 1));
  };
  const auto piece = [&] {
    return std::string(static_cast<std::size_t>(pick(0, 3)), static_cast<char>(pick('a', 'c')));
  };
  for (int round = 0; round < 300; ++round) {
    TypeParam string, other;
    std::string plain, other_plain;
    for (int step = 0; step < 40; ++step) {
      const int index = pick(-2, static_cast<int>(plain.size()) + 2);
      const int count = pick(-1, 4);
      const auto at = std::min<std::size_t>(std::max(index, 0), plain.size());
      const std::string text = piece();
      const char a = static_cast<char>(pick('a', 'c')), b = static_cast<char>(pick('a', 'c'));
      switch (pick(0, 13)) {
        case 0:
          EXPECT_EQ(string.Insert(index, this->T(text).c_str()),
                    static_cast<int>((plain.insert(at, text)).size()));
          break;
        case 1:
          EXPECT_EQ(string.Delete(index, count), static_cast<int>(plain.size()));
          if (count > 0) plain.erase(at, static_cast<std::size_t>(count));
          break;
        case 2:
          EXPECT_EQ(string.Remove(a), static_cast<int>(std::erase(plain, a)));
          break;
        case 3:
          std::replace(plain.begin(), plain.end(), a, b);
          string.Replace(typename TypeParam::Unit(a), typename TypeParam::Unit(b));
          break;
        case 4: {
          int replaced = 0;
          for (std::size_t found = 0;
               !text.empty() && (found = plain.find(text, found)) != plain.npos; found += 1) {
            plain.replace(found, text.size(), "b");
            ++replaced;
          }
          EXPECT_EQ(string.Replace(this->T(text).c_str(), this->T("b").c_str()), replaced);
          break;
        }
        case 5:
          plain.append(text);
          string.Append(this->T(text).c_str());
          break;
        case 6:
          std::reverse(plain.begin(), plain.end());
          string.MakeReverse();
          break;
        case 7:
          if (!text.empty()) plain.erase(0, std::min(plain.find_first_not_of(text), plain.size()));
          string.TrimLeft(this->T(text).c_str());
          break;
        case 8:
          plain.erase(plain.find_last_not_of(a) + 1);
          string.TrimRight(typename TypeParam::Unit(a));
          break;
        case 9:
          other = string;
          other_plain = plain;
          break;
        case 10:
          string = other;
          plain = other_plain;
          break;
        case 11:
          plain = plain.substr(at, count < 0 ? 0 : static_cast<std::size_t>(count) * 3);
          string = string.Mid(index, count * 3);
          break;
        case 12:
          string.GetBuffer(pick(0, 30));
          break;
        default:
          plain += plain.substr(0, 8);
          string.Append(string.Left(8));
          if (plain.size() <= 60) break;
          plain.clear();
          string.Empty();
      }
      ASSERT_EQ(this->Read(string), plain);
      ASSERT_EQ(this->Read(other), other_plain);
      const auto start = static_cast<std::size_t>(std::max(index, 0));
      const std::size_t found = text.empty() ? plain.npos : plain.find(text, start);
      ASSERT_EQ(text.empty() ? -1 : string.Find(this->T(text).c_str(), index),
                found == plain.npos ? -1 : static_cast<int>(found));
    }
  }
}

}  // namespace
}  // namespace orvik
